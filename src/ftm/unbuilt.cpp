// Handlers and hooks whose hardware is not built yet. Each answers as a
// command the daemon does not support; a later change moves it to its own
// file and deletes it here.
#include "ftm/graphics.h"
#include "ftm/handlers.h"
#include "hal/fqc.h"
#include "hal/gpio.h"
#include "hal/input.h"

namespace ftm {

namespace {
constexpr int NOT_BUILT = 2;  // the station reads "NOTSUPPORTED\n"
}

int tapp_lcd_test(tapp_record *) { return NOT_BUILT; }
int at_lcd_test(tapp_record *) { return NOT_BUILT; }
int tapp_keypad_test(tapp_record *) { return NOT_BUILT; }
int at_keypad_test(tapp_record *) { return NOT_BUILT; }
int at_touch_test(tapp_record *) { return NOT_BUILT; }

int at_camera_preview(tapp_record *) { return NOT_BUILT; }
int at_camera_capture(tapp_record *) { return NOT_BUILT; }
int at_camera_retrieve(tapp_record *) { return NOT_BUILT; }
int at_camera_close(tapp_record *) { return NOT_BUILT; }

int tapp_accessory_test(tapp_record *) { return NOT_BUILT; }
int at_accessory_test(tapp_record *) { return NOT_BUILT; }
int tapp_ecompass_test(tapp_record *) { return NOT_BUILT; }
int at_ecompass_test(tapp_record *) { return NOT_BUILT; }
int at_light_sensor_test(tapp_record *) { return NOT_BUILT; }
int at_rec_interrupt_test(tapp_record *) { return NOT_BUILT; }
int tapp_proximity_test(tapp_record *) { return NOT_BUILT; }
int at_proximity_test(tapp_record *) { return NOT_BUILT; }

int tapp_wifi_power(tapp_record *) { return NOT_BUILT; }
int tapp_wifi_mac(tapp_record *) { return NOT_BUILT; }
int tapp_wifi_channel(tapp_record *) { return NOT_BUILT; }
int tapp_wifi_datarate(tapp_record *) { return NOT_BUILT; }
int tapp_wifi_txpower(tapp_record *) { return NOT_BUILT; }
int tapp_wifi_txmode(tapp_record *) { return NOT_BUILT; }
int tapp_wifi_fer(tapp_record *) { return NOT_BUILT; }

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

// The drawing layer arrives with the screens; until then the FQC test
// screens draw nothing. Weak, so that the real ones take over: delete these
// when the drawing layer is merged.
namespace ftm {

__attribute__((weak)) void lcd_clear() {}
__attribute__((weak)) int draw_str(int, int, int, int, int, int, const char *, ...) { return 0; }

}  // namespace ftm
