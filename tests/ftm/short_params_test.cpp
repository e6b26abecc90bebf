// Requests that carry fewer parameter bytes than their row reads. The row
// then decodes the record's cleared parameter text: a byte the station never
// sent reads 0x59 (two NULs), and in a plain line the "\n" before a NUL reads
// 0xF9. Every expected answer below is worked out by hand from that rule.
#include <gtest/gtest.h>

#include <sstream>

#include "station/tapp_frame.h"
#include "support/sim_phone.h"

namespace {

using testing_support::SimPhone;
using bytes = std::vector<uint8_t>;

// A framed answer that claims one result byte and carries none.
const std::string kEmptyResult = "*TAPP=0600400001001e\nOK\n";

struct ShortRequest {
	const char *what;
	std::string request;
	std::string answer;  // exact text, or empty to compare result bytes
	bytes result;
	const char *file = nullptr;  // a board file the row must leave as given
	const char *contents = "";
};

const std::vector<ShortRequest> kRows = {
	// Mask 0x59: channels 0, 3, 4 and 6 (battery 3800 mV, then 4, 5, 7).
	{"adc, no byte", station::bb_frame(1, 0x7, {}), "", {0xD8, 0x0E, 0x04, 0x00, 0x05, 0x00, 0x07, 0x00}},
	{"vibrator, no byte", station::bb_frame(1, 0x4, {}), "", {0x00}, "var/vibrator", ""},
	{"backlight, one byte", station::bb_frame(1, 0x1, {0x00}), kEmptyResult, {}, "var/max7302", ""},
	{"keypad backlight, one byte", station::bb_frame(1, 0x2, {0x01}), kEmptyResult, {}, "var/tca6507", ""},
	// Index 0x59 has no channel: -1 reaches the chip, which refuses it.
	{"led, on only", station::bb_frame(1, 0x1D, {0x01}), "", {0x55}},
	{"led, no byte", station::bb_frame(1, 0x1D, {}), kEmptyResult, {}},
	{"lcd, no byte", station::bb_frame(1, 0x8, {}), "", {0x00}},
	// Index 5 (channel 3), on: the NULs behind "=" ask for it.
	{"led plain, no digits", "AT+LED\n", "OK\n", {}, "var/tca6507", "0001000\n"},
	{"led plain, line end", "AT+LED=\n", "ERROR\n", {}},  // 0xF9: index 15
	{"wifi mode, on only", station::wifi_frame(0x04, {0x01}), "", {0x59, 0x59}},
	{"wifi mode, no byte", station::wifi_frame(0x04, {}), "", {0x59, 0x59}},
	{"wifi mode plain, on only", "AT+WIFIMODE01\n", "f959OK\n", {}},
	{"wifi mode plain, one digit", "AT+WIFIMODE0\n", "5959OK\n", {}},  // on 0xD3
	{"wifi fer, no byte", station::wifi_frame(0x10, {}), "", {}},
	{"wifi fer plain", "AT+WIFIFER\n", "OK\n", {}},
	{"wifi channel, op only", station::wifi_frame(0x01, {0x01}), "", {}},  // 0x5959, reset to 1
	{"wifi channel plain, op only", "AT+WIFICHANNEL01\n", "ERROR\n", {}},
	{"wifi rate, op only", station::wifi_frame(0x02, {0x01}), "", {0x59, 0x59}},
	{"wifi power, low byte only", station::wifi_frame(0x03, {0x01, 0x05}), "", {0x05, 0x59}},
	{"wifi power plain, op only", "AT+WIFITXPOWER01\n", "f959OK\n", {}},
	{"wifi power plain, no op", "AT+WIFITXPOWER\n", "0000OK\n", {}},  // op 0xF9 reads back
};

TEST(ShortParameters, EachRowDecodesTheClearedRecord)
{
	for (const ShortRequest &row : kRows) {
		SCOPED_TRACE(row.what);
		SimPhone phone({.board = {{"battery.voltage_mv", "3800"}}});
		std::string answer = phone.ask(row.request);
		if (!row.answer.empty()) {
			EXPECT_EQ(answer, row.answer);
		} else {
			auto a = station::decode_answer(answer);
			ASSERT_TRUE(a && a->checksum_ok) << answer;
			EXPECT_EQ(a->result, row.result) << answer;
		}
		if (row.file) {
			EXPECT_EQ(phone.file(row.file), row.contents);
		}
		// No short request starts a transmitter or a receive test.
		EXPECT_EQ(phone.file("var/wifi.calls"), "");
		EXPECT_EQ(phone.ask("AT\n"), "OK\n");
	}
}

TEST(ShortParameters, AFullRequestStillRunsItsTool)
{
	// The same rows with every byte given do reach athtestcmd.
	SimPhone phone;
	EXPECT_EQ(phone.ask("AT+WIFIMODE010000\n"), "0000OK\n");
	EXPECT_EQ(phone.ask(station::wifi_frame(0x10, {0x00})).find("*TAPP=ACK\n"), 0u);
	std::stringstream calls(phone.file("var/wifi.calls"));
	int lines = 0;
	for (std::string line; std::getline(calls, line);)
		++lines;
	EXPECT_EQ(lines, 2);
}

}  // namespace
