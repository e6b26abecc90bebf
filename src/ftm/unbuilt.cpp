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

int at_debug_switcher(tapp_record *) { return NOT_BUILT; }
int at_log(tapp_record *) { return NOT_BUILT; }
int at_dumpLog(tapp_record *) { return NOT_BUILT; }

int at_gpio_test(tapp_record *) { return NOT_BUILT; }
int at_wpid_test(tapp_record *) { return NOT_BUILT; }
int at_rpid_test(tapp_record *) { return NOT_BUILT; }
int at_wtsflag_test(tapp_record *) { return NOT_BUILT; }
int at_rtsflag_test(tapp_record *) { return NOT_BUILT; }
int at_UART3_BAUDR_460800(tapp_record *) { return NOT_BUILT; }
int at_Write_NV_num_val(tapp_record *) { return NOT_BUILT; }
int at_Write_FUSE(tapp_record *) { return NOT_BUILT; }
int at_Read_FUSE(tapp_record *) { return NOT_BUILT; }

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

int tapp_rtc_test(tapp_record *) { return NOT_BUILT; }
int at_rtc_test(tapp_record *) { return NOT_BUILT; }

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

// Factory GPIO wrappers: until the device is built, none is available.
namespace hal {

int gpio_pin_init(int, int) { return 1; }
int gpio_set_output(int, int) { return 1; }
int gpio_get_input(int) { return -1; }
int power_off_test() { return 1; }
int Get_Hardware_Ver(unsigned char *) { return -1; }
int put_modem_to_LPM() { return 1; }
int Get_FTM_PID(unsigned char *) { return -1; }
int Set_FTM_PID(const unsigned char *) { return -1; }
int Get_FTM_TESTFLAG(unsigned char *) { return -1; }
int Set_FTM_TESTFLAG(const unsigned char *) { return -1; }
int MIC_Bias_set(int) { return 1; }
int Set_UART_Source_Clock_TCXO(int) { return -1; }
int Write_NV_single(int, int) { return -1; }
int Write_FUSE() { return -1; }
int read_FUSE(unsigned char *) { return -1; }
int gpio_test() { return 0; }

}  // namespace hal
