#include "ftm/command.h"

#include "ftm/handlers.h"

namespace ftm {

constexpr uint32_t NO_FRAME = 0x888;

// Searched in this order; a keyword matches any text it is a prefix of.
const std::array<cmd_entry, CMD_TABLE_ROWS> cmd_table = {{
	{NO_FRAME, "AT+FTM", nullptr, at_ftm_diag, "switch on diag mode"},
	{NO_FRAME, "~AT+FTM~", nullptr, at_ftm_no_diag, "switch off diag mode"},
	{NO_FRAME, "ATBT", nullptr, at_board_test, "Board Test"},
	{NO_FRAME, "AT+ALIVE", nullptr, at_alive, "Check Modem status"},
	{0x8, "AT+LCD", tapp_lcd_test, at_lcd_test, "LCD test"},
	{NO_FRAME, "AT+DEBUG", nullptr, at_debug_switcher, "Debug mode"},
	{NO_FRAME, "AT+QUIT", nullptr, at_ftm_quit, "Quit FTM"},
	{0x8001, "AT+MMCT", tapp_mmc_test, tapp_mmc_test, "MMC transfer test"},
	{0x8004, "AT+MMCEX", tapp_mmc_ex_test, tapp_mmc_ex_test, "MMC ex test"},
	{0x1A, "AT+DSCP", nullptr, at_camera_preview, "Camera preview test"},
	{0x1A, "AT+DSCC", nullptr, at_camera_capture, "Camera capture test"},
	{0x1A, "AT+DSCR", nullptr, at_camera_retrieve, "Camera retrieve file"},
	{0x1A, "AT+DSCE", nullptr, at_camera_close, "Camera close"},
	{0x4, "AT+VIB", tapp_vibrator_test, at_vibrator_test, "Vibrator test"},
	{0x7, "AT+ADC", tapp_adc_test, at_adc_test, "ADC test"},
	{0x6, "AT+CHARGE", nullptr, at_charge_test, "enable charge test"},
	{0x6, "AT+NOCHARGE", nullptr, at_nocharge_test, "disable charge test"},
	{0x1, "AT+BL", tapp_backlight_test, at_backlight_test, "Backlight test"},
	{0x15, "AT+ACCESSORY", tapp_accessory_test, at_accessory_test, "Accessory test"},
	{0x9, "AT+KEYPAD", tapp_keypad_test, at_keypad_test, "Keypad and Side-keys test"},
	{0x29, "AT%TPNTEST", nullptr, at_touch_test, "Touch panel test"},
	{0x23, "AT+ECOMPASS", tapp_ecompass_test, at_ecompass_test, "Ecompass id and temperature test"},
	{NO_FRAME, "AT+LIGHTSENSOR", nullptr, at_light_sensor_test, "Light Sensor test"},
	{NO_FRAME, "AT+RECINTERRUPT", nullptr, at_rec_interrupt_test, "Recive Interrupt test"},
	{NO_FRAME, "AT+GPIO", nullptr, at_gpio_test, "GPIO test"},
	{NO_FRAME, "AT%V", nullptr, at_version, "Version Information"},
	{0x2, "AT+KBL", tapp_keypad_backlight_test, at_keypad_backlight_test, "Keypad backlight test"},
	{0x1D, "AT+LED", tapp_led_test, at_led_test, "LED test"},
	{0x32, "AT+BIC", nullptr, at_battery_ID_test, "Battery ID test"},
	{0xA7, "AT*DEEPSLEEP", nullptr, at_deepsleep_test, "deepsleep test"},
	{0x2C, "AT+PROXIMITY", tapp_proximity_test, at_proximity_test, "Proximity test"},
	{0x200, "AT+WIFIPW", tapp_wifi_power, tapp_wifi_power, "wifi power"},
	{0x220, "AT+MAC", tapp_wifi_mac, tapp_wifi_mac, "wifi mac address"},
	{0x201, "AT+WIFICHANNEL", tapp_wifi_channel, tapp_wifi_channel, "wifi channel"},
	{0x202, "AT+DATARATE", tapp_wifi_datarate, tapp_wifi_datarate, "wifi data rate"},
	{0x203, "AT+WIFITXPOWER", tapp_wifi_txpower, tapp_wifi_txpower, "wifi tx power"},
	{0x204, "AT+WIFIMODE", tapp_wifi_txmode, tapp_wifi_txmode, "wifi txmode"},
	{0x210, "AT+WIFIFER", tapp_wifi_fer, tapp_wifi_fer, "wifi fer"},
	{0x101, "AT+BT", tapp_bt_active_test, at_bt_test, "BT Active test"},
	{0x100, "AT+BT", tapp_bt_hci_test, at_bt_test, "BT HCI test"},
	{NO_FRAME, "AT+LOG", nullptr, at_log, "Enable or disable log"},
	{0x12, "AT+RTC", tapp_rtc_test, at_rtc_test, "RTC test"},
	{0x900C, "AT*POWERCYCLE", nullptr, at_power_off_test, "Power off test"},
	{NO_FRAME, "AT+FLASHLED", nullptr, at_flashled_test, "Flash LED test"},
	{0x9010, "AT+WPID=", nullptr, at_wpid_test, "write PID test"},
	{0x9011, "AT+RPID", nullptr, at_rpid_test, "read PID test"},
	{0x9012, "AT+WTF=", nullptr, at_wtsflag_test, "write test flag"},
	{0x9013, "AT+RTF", nullptr, at_rtsflag_test, "read test flag"},
	{0x9014, "AT+BAUD=", nullptr, at_UART3_BAUDR_460800, "set UART3 R460800"},
	{0x9015, "AT+NV=", nullptr, at_Write_NV_num_val, "write NV"},
	{0x9016, "AT+DUMPLOG", at_dumpLog, at_dumpLog, "dump log"},
	{0x9017, "SD GETSIZE", tapp_mmc_size, tapp_mmc_size, "Micro SD - get size"},
	{NO_FRAME, "AT+WFUSE", nullptr, at_Write_FUSE, "write FUSE"},
	{NO_FRAME, "AT+RFUSE", nullptr, at_Read_FUSE, "read FUSE"},
}};

}  // namespace ftm
