// Handlers and hooks whose hardware is not built yet. Each answers as a
// command the daemon does not support; a later change moves it to its own
// file and deletes it here.
#include "ftm/handlers.h"
#include "hal/fqc.h"
#include "hal/gpio.h"
#include "hal/input.h"

namespace ftm {

namespace {
constexpr int NOT_BUILT = 2;  // the station reads "NOTSUPPORTED\n"
}

int at_ftm_diag(tapp_record *) { return NOT_BUILT; }
int at_ftm_no_diag(tapp_record *) { return NOT_BUILT; }
int at_board_test(tapp_record *) { return NOT_BUILT; }
int at_alive(tapp_record *) { return NOT_BUILT; }
int at_ftm_quit(tapp_record *) { return NOT_BUILT; }
int at_version(tapp_record *) { return NOT_BUILT; }
int at_deepsleep_test(tapp_record *) { return NOT_BUILT; }
int at_power_off_test(tapp_record *) { return NOT_BUILT; }

int tapp_lcd_test(tapp_record *) { return NOT_BUILT; }
int at_lcd_test(tapp_record *) { return NOT_BUILT; }
int tapp_keypad_test(tapp_record *) { return NOT_BUILT; }
int at_keypad_test(tapp_record *) { return NOT_BUILT; }
int at_touch_test(tapp_record *) { return NOT_BUILT; }

int tapp_mmc_test(tapp_record *) { return NOT_BUILT; }
int tapp_mmc_ex_test(tapp_record *) { return NOT_BUILT; }
int tapp_mmc_size(tapp_record *) { return NOT_BUILT; }

int at_camera_preview(tapp_record *) { return NOT_BUILT; }
int at_camera_capture(tapp_record *) { return NOT_BUILT; }
int at_camera_retrieve(tapp_record *) { return NOT_BUILT; }
int at_camera_close(tapp_record *) { return NOT_BUILT; }

int tapp_vibrator_test(tapp_record *) { return NOT_BUILT; }
int at_vibrator_test(tapp_record *) { return NOT_BUILT; }
int tapp_adc_test(tapp_record *) { return NOT_BUILT; }
int at_adc_test(tapp_record *) { return NOT_BUILT; }
int at_charge_test(tapp_record *) { return NOT_BUILT; }
int at_nocharge_test(tapp_record *) { return NOT_BUILT; }
int tapp_backlight_test(tapp_record *) { return NOT_BUILT; }
int at_backlight_test(tapp_record *) { return NOT_BUILT; }
int tapp_keypad_backlight_test(tapp_record *) { return NOT_BUILT; }
int at_keypad_backlight_test(tapp_record *) { return NOT_BUILT; }
int tapp_led_test(tapp_record *) { return NOT_BUILT; }
int at_led_test(tapp_record *) { return NOT_BUILT; }
int at_battery_ID_test(tapp_record *) { return NOT_BUILT; }
int at_flashled_test(tapp_record *) { return NOT_BUILT; }

int tapp_bt_active_test(tapp_record *) { return NOT_BUILT; }
int tapp_bt_hci_test(tapp_record *) { return NOT_BUILT; }
int at_bt_test(tapp_record *) { return NOT_BUILT; }

}  // namespace ftm

namespace hal {

int keypad_handler(const uint8_t *, int, char (*)[ftm::SLOT_SIZE], int *used)
{
	*used = 0;
	return 0;
}

int touchpad_handler(const uint8_t *, int, char (*)[ftm::SLOT_SIZE], int *used)
{
	*used = 0;
	return 0;
}

void show_info() {}
void show_fqc_menu() {}
void fqc_menu_select_up() {}
void fqc_menu_select_down() {}
void fqc_menu_select() {}
void fqc_touchpanel_test(const unsigned char *, int) {}

}  // namespace hal
