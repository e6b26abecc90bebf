// The dispatcher in process: what a received buffer is answered with.
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "ftm/command.h"
#include "ftm/ftm.h"
#include "ftm/handlers.h"
#include "station/tapp_frame.h"
#include "support/dispatch.h"

namespace {

using namespace ftm;

using testing_support::dispatch;

std::string frame_with_checksum(std::string hex_without_checksum)
{
	auto bytes = station::from_hex(hex_without_checksum).value();
	uint8_t x = 0;
	for (uint8_t b : bytes)
		x ^= b;
	bytes.push_back(x);
	return "AT*TAPP=" + station::to_hex(bytes) + "\n";
}

class Dispatcher : public ::testing::Test {
protected:
	void SetUp() override { reset_loop_globals(); }
	void TearDown() override { reset_loop_globals(); }
};

TEST_F(Dispatcher, ShortAnswers)
{
	EXPECT_EQ(dispatch("at\n"), "OK\n");
	EXPECT_EQ(dispatch("ATE0\r\n"), "OK\n");
	EXPECT_EQ(dispatch("XATE0"), "OK\n");
	EXPECT_EQ(dispatch("\n"), "OK\n");
	EXPECT_EQ(dispatch("Z"), "OK\n");
	// Neither exactly "AT\n" nor one character, and no keyword matches.
	EXPECT_EQ(dispatch("AT\r\n"), "NOTSUPPORTED\n");
	EXPECT_EQ(dispatch("HELLO\n"), "NOTSUPPORTED\n");
}

TEST_F(Dispatcher, CalibrationStateKeepsCaseAndSkipsShortAnswers)
{
	loop.ftm_state = FTM_STATE_CALIBRATION;
	EXPECT_EQ(dispatch("AT\n"), "NOTSUPPORTED\n");
	EXPECT_EQ(dispatch("at*tapp=0600400001000146\n"), "NOTSUPPORTED\n");  // not upper-cased: not a frame
}

TEST_F(Dispatcher, FrameToRowWithoutResultAnswersStatusZero)
{
	// Row 13 (vibrator) exists; whatever its handler returns, the frame is answered.
	std::string answer = dispatch("AT*TAPP=0A004001040001000000014F\n");
	auto a = station::decode_answer(answer);
	ASSERT_TRUE(a) << answer;
	EXPECT_EQ(a->req, 0x40);
	EXPECT_EQ(a->status, 0);
	EXPECT_TRUE(a->checksum_ok);
	EXPECT_TRUE(answer.ends_with("\nOK\n"));
}

TEST_F(Dispatcher, LowerCaseFrameIsAccepted)
{
	EXPECT_EQ(dispatch("at*tapp=0900400177770000000048\n"), "*TAPP=05004001000044\nOK\n");
}

TEST_F(Dispatcher, UnknownIdsAnswerWithStatusOne)
{
	EXPECT_EQ(dispatch("AT*TAPP=0900400177770000000048\n"), "*TAPP=05004001000044\nOK\n");
	// Wi-Fi command 0x55 has no row: status 1, echoed block fields.
	std::string wifi = dispatch(station::wifi_frame(0x55, {}));
	EXPECT_EQ(wifi, "*TAPP=ACK\n*TAPP=0800b0010155010000ec\nOK\n");
	// Bluetooth command 0x77 has no row: the frame has no status.
	std::string bt = dispatch(station::bt_frame(0x77, {}));
	auto a = station::decode_answer(bt);
	ASSERT_TRUE(a) << bt;
	EXPECT_EQ(a->cmd, 0x77);
	EXPECT_TRUE(bt.starts_with("\n*TAPP=ACK\n"));
}

TEST_F(Dispatcher, BadFramesGetNoAnswer)
{
	EXPECT_EQ(dispatch("AT*TAPP=0A004001040001000000014E\n"), "");  // checksum
	EXPECT_EQ(dispatch(station::bb_frame(1, 4, {}).replace(8, 4, "8D00")), "");  // frame_len 141
	EXPECT_EQ(dispatch(frame_with_checksum("0300" "80" "0000")), "");  // e2p class
	EXPECT_EQ(dispatch(frame_with_checksum("0300" "41" "0000")), "");  // unknown class
	EXPECT_EQ(dispatch("AT*TAPP=ZZ\n"), "");  // not hex: checksum fails
}

TEST_F(Dispatcher, FrameLengthLimitIs140)
{
	// 131 parameter bytes: frame_len = 9 + 131 = 140.
	std::vector<uint8_t> params(131, 0x11);
	std::string at_limit = station::bb_frame(1, 0x7777, params);
	EXPECT_EQ(at_limit.substr(8, 4), "8C00");
	EXPECT_EQ(dispatch(at_limit), "*TAPP=05004001000044\nOK\n");
	params.push_back(0x11);
	EXPECT_EQ(dispatch(station::bb_frame(1, 0x7777, params)), "");
}

TEST_F(Dispatcher, NegativeFrameLengthSkipsTheChecksum)
{
	// frame_len 0xFFFE is -2: the checksum runs over no bytes and passes.
	EXPECT_EQ(dispatch("AT*TAPP=FEFF4001777700000000\n"), "*TAPP=05004001000044\nOK\n");
}

TEST_F(Dispatcher, FrameNamingRowWithoutFramedHandlerSendsNothing)
{
	// 0x1A is the camera rows' id, which have no framed handler.
	EXPECT_EQ(dispatch(station::bb_frame(1, 0x1A, {})), "");
	EXPECT_EQ(dispatch(station::bb_frame(1, 0x888, {})), "");
	EXPECT_EQ(dispatch(station::bb_frame(1, 0x9010, {0x31})), "");
	EXPECT_EQ(dispatch("AT\n"), "OK\n");  // and the dispatcher goes on
}

TEST_F(Dispatcher, LyingLengthsAndLongLinesStayInBounds)
{
	// A parameter length of 0xFFFF in a short frame.
	EXPECT_EQ(dispatch(frame_with_checksum("0900" "40" "01" "7777" "FFFF" "0000")),
	          "*TAPP=05004001000044\nOK\n");
	// A wifi frame claiming a negative length.
	std::string wifi = dispatch(frame_with_checksum("0800" "B0" "01" "01" "55" "00" "00F0"));
	EXPECT_TRUE(wifi.starts_with("*TAPP=ACK\n")) << wifi;
	// A full read of one unterminated line behind a keyword.
	EXPECT_EQ(dispatch("AT+ALIVX" + std::string(COMMAND_SIZE, 'Q')), "NOTSUPPORTED\n");
	EXPECT_EQ(dispatch(std::string(COMMAND_SIZE, 'A')), "NOTSUPPORTED\n");
}

// The table stations are built against, typed row by row: the order is the
// search order (AT+KBL before nothing that would shadow it, AT+BT twice).
struct expected_row {
	const char *keyword;
	uint32_t id;
	cmd_handler tapp;
	cmd_handler at;
};
const expected_row expected_table[] = {
		{"AT+FTM", 0x888, nullptr, at_ftm_diag},
		{"~AT+FTM~", 0x888, nullptr, at_ftm_no_diag},
		{"ATBT", 0x888, nullptr, at_board_test},
		{"AT+ALIVE", 0x888, nullptr, at_alive},
		{"AT+LCD", 0x8, tapp_lcd_test, at_lcd_test},
		{"AT+DEBUG", 0x888, nullptr, at_debug_switcher},
		{"AT+QUIT", 0x888, nullptr, at_ftm_quit},
		{"AT+MMCT", 0x8001, tapp_mmc_test, tapp_mmc_test},
		{"AT+MMCEX", 0x8004, tapp_mmc_ex_test, tapp_mmc_ex_test},
		{"AT+DSCP", 0x1A, nullptr, at_camera_preview},
		{"AT+DSCC", 0x1A, nullptr, at_camera_capture},
		{"AT+DSCR", 0x1A, nullptr, at_camera_retrieve},
		{"AT+DSCE", 0x1A, nullptr, at_camera_close},
		{"AT+VIB", 0x4, tapp_vibrator_test, at_vibrator_test},
		{"AT+ADC", 0x7, tapp_adc_test, at_adc_test},
		{"AT+CHARGE", 0x6, nullptr, at_charge_test},
		{"AT+NOCHARGE", 0x6, nullptr, at_nocharge_test},
		{"AT+BL", 0x1, tapp_backlight_test, at_backlight_test},
		{"AT+ACCESSORY", 0x15, tapp_accessory_test, at_accessory_test},
		{"AT+KEYPAD", 0x9, tapp_keypad_test, at_keypad_test},
		{"AT%TPNTEST", 0x29, nullptr, at_touch_test},
		{"AT+ECOMPASS", 0x23, tapp_ecompass_test, at_ecompass_test},
		{"AT+LIGHTSENSOR", 0x888, nullptr, at_light_sensor_test},
		{"AT+RECINTERRUPT", 0x888, nullptr, at_rec_interrupt_test},
		{"AT+GPIO", 0x888, nullptr, at_gpio_test},
		{"AT%V", 0x888, nullptr, at_version},
		{"AT+KBL", 0x2, tapp_keypad_backlight_test, at_keypad_backlight_test},
		{"AT+LED", 0x1D, tapp_led_test, at_led_test},
		{"AT+BIC", 0x32, nullptr, at_battery_ID_test},
		{"AT*DEEPSLEEP", 0xA7, nullptr, at_deepsleep_test},
		{"AT+PROXIMITY", 0x2C, tapp_proximity_test, at_proximity_test},
		{"AT+WIFIPW", 0x200, tapp_wifi_power, tapp_wifi_power},
		{"AT+MAC", 0x220, tapp_wifi_mac, tapp_wifi_mac},
		{"AT+WIFICHANNEL", 0x201, tapp_wifi_channel, tapp_wifi_channel},
		{"AT+DATARATE", 0x202, tapp_wifi_datarate, tapp_wifi_datarate},
		{"AT+WIFITXPOWER", 0x203, tapp_wifi_txpower, tapp_wifi_txpower},
		{"AT+WIFIMODE", 0x204, tapp_wifi_txmode, tapp_wifi_txmode},
		{"AT+WIFIFER", 0x210, tapp_wifi_fer, tapp_wifi_fer},
		{"AT+BT", 0x101, tapp_bt_active_test, at_bt_test},
		{"AT+BT", 0x100, tapp_bt_hci_test, at_bt_test},
		{"AT+LOG", 0x888, nullptr, at_log},
		{"AT+RTC", 0x12, tapp_rtc_test, at_rtc_test},
		{"AT*POWERCYCLE", 0x900C, nullptr, at_power_off_test},
		{"AT+FLASHLED", 0x888, nullptr, at_flashled_test},
		{"AT+WPID=", 0x9010, nullptr, at_wpid_test},
		{"AT+RPID", 0x9011, nullptr, at_rpid_test},
		{"AT+WTF=", 0x9012, nullptr, at_wtsflag_test},
		{"AT+RTF", 0x9013, nullptr, at_rtsflag_test},
		{"AT+BAUD=", 0x9014, nullptr, at_UART3_BAUDR_460800},
		{"AT+NV=", 0x9015, nullptr, at_Write_NV_num_val},
		{"AT+DUMPLOG", 0x9016, at_dumpLog, at_dumpLog},
		{"SD GETSIZE", 0x9017, tapp_mmc_size, tapp_mmc_size},
		{"AT+WFUSE", 0x888, nullptr, at_Write_FUSE},
		{"AT+RFUSE", 0x888, nullptr, at_Read_FUSE},
};

TEST(CommandTable, EveryRowAsStationsUseIt)
{
	ASSERT_EQ(cmd_table.size(), std::size(expected_table));
	for (size_t i = 0; i < cmd_table.size(); ++i) {
		const cmd_entry &row = cmd_table[i];
		const expected_row &want = expected_table[i];
		SCOPED_TRACE("row " + std::to_string(i) + " " + want.keyword);
		EXPECT_STREQ(row.keyword, want.keyword);
		EXPECT_EQ(row.id, want.id);
		EXPECT_EQ(row.tapp_handler, want.tapp);
		EXPECT_EQ(row.at_handler, want.at);
	}
}

}  // namespace
