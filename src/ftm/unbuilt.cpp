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


int tapp_mmc_test(tapp_record *) { return NOT_BUILT; }
int tapp_mmc_ex_test(tapp_record *) { return NOT_BUILT; }
int tapp_mmc_size(tapp_record *) { return NOT_BUILT; }

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


}  // namespace ftm

namespace hal {

// FQC menu tests of devices not built yet: they draw nothing.
void fqc_led_test() {}
void fqc_backlight_test() {}
void fqc_battery_test() {}
void fqc_mmc_test() {}

}  // namespace hal
