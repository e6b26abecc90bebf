// Handlers and hooks whose hardware is not built yet. Each answers as a
// command the daemon does not support; a later change moves it to its own
// file and deletes it here.
#include "ftm/handlers.h"
#include "hal/fqc_tests.h"
#include "hal/gpio.h"

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

// FQC menu tests of devices not built yet: they draw nothing.
void fqc_led_test() {}
void fqc_backlight_test() {}
void fqc_battery_test() {}
void fqc_mmc_test() {}

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
