// Every handler named in the command table. Each takes the command's record
// and returns 0 (done, "OK"), 1 ("ERROR") or another value (search goes on).
#pragma once

#include "ftm/tapp.h"

namespace ftm {

// Mode and housekeeping
int at_ftm_diag(tapp_record *r);
int at_ftm_no_diag(tapp_record *r);
int at_board_test(tapp_record *r);
int at_alive(tapp_record *r);
int at_ftm_quit(tapp_record *r);
int at_version(tapp_record *r);
int at_deepsleep_test(tapp_record *r);
int at_power_off_test(tapp_record *r);

// Trace and log
int at_debug_switcher(tapp_record *r);
int at_log(tapp_record *r);
int at_dumpLog(tapp_record *r);

// Factory data
int at_gpio_test(tapp_record *r);
int at_wpid_test(tapp_record *r);
int at_rpid_test(tapp_record *r);
int at_wtsflag_test(tapp_record *r);
int at_rtsflag_test(tapp_record *r);
int at_UART3_BAUDR_460800(tapp_record *r);
int at_Write_NV_num_val(tapp_record *r);
int at_Write_FUSE(tapp_record *r);
int at_Read_FUSE(tapp_record *r);

// Screens, keys and touch
int tapp_lcd_test(tapp_record *r);
int at_lcd_test(tapp_record *r);
int tapp_keypad_test(tapp_record *r);
int at_keypad_test(tapp_record *r);
int at_touch_test(tapp_record *r);

// Memory card
int tapp_mmc_test(tapp_record *r);
int tapp_mmc_ex_test(tapp_record *r);
int tapp_mmc_size(tapp_record *r);

// Camera
int at_camera_preview(tapp_record *r);
int at_camera_capture(tapp_record *r);
int at_camera_retrieve(tapp_record *r);
int at_camera_close(tapp_record *r);

// Power and indicators
int tapp_vibrator_test(tapp_record *r);
int at_vibrator_test(tapp_record *r);
int tapp_adc_test(tapp_record *r);
int at_adc_test(tapp_record *r);
int at_charge_test(tapp_record *r);
int at_nocharge_test(tapp_record *r);
int tapp_backlight_test(tapp_record *r);
int at_backlight_test(tapp_record *r);
int tapp_keypad_backlight_test(tapp_record *r);
int at_keypad_backlight_test(tapp_record *r);
int tapp_led_test(tapp_record *r);
int at_led_test(tapp_record *r);
int at_battery_ID_test(tapp_record *r);
int at_flashled_test(tapp_record *r);

// Sensors and accessories
int tapp_accessory_test(tapp_record *r);
int at_accessory_test(tapp_record *r);
int tapp_ecompass_test(tapp_record *r);
int at_ecompass_test(tapp_record *r);
int at_light_sensor_test(tapp_record *r);
int at_rec_interrupt_test(tapp_record *r);
int tapp_proximity_test(tapp_record *r);
int at_proximity_test(tapp_record *r);

// Wi-Fi
int tapp_wifi_power(tapp_record *r);
int tapp_wifi_mac(tapp_record *r);
int tapp_wifi_channel(tapp_record *r);
int tapp_wifi_datarate(tapp_record *r);
int tapp_wifi_txpower(tapp_record *r);
int tapp_wifi_txmode(tapp_record *r);
int tapp_wifi_fer(tapp_record *r);

// Bluetooth
int tapp_bt_active_test(tapp_record *r);
int tapp_bt_hci_test(tapp_record *r);
int at_bt_test(tapp_record *r);

// Clock
int tapp_rtc_test(tapp_record *r);
int at_rtc_test(tapp_record *r);

}  // namespace ftm
