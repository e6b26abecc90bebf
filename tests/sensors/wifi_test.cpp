// Wi-Fi rows, plain and framed (class 0xB0), driving the board's bttest and
// athtestcmd stand-ins, which record each call in var/wifi.calls. Power and
// MAC sequences sleep whole seconds on the phone: time.scale is 0.01.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <sstream>

#include "sensors_support.h"

using namespace sensors_test;
using testing_support::SimPhone;

namespace {

enum : uint8_t { POWER = 0x00, CHANNEL = 0x01, DATARATE = 0x02, TXPOWER = 0x03, TXMODE = 0x04, FER = 0x10, MAC = 0x20 };

SimPhone::Setup board(std::map<std::string, std::string> values = {})
{
	values["time.scale"] = "0.01";
	return SimPhone::Setup{.board = values};
}

std::vector<std::string> calls(SimPhone &phone)
{
	std::vector<std::string> lines;
	std::stringstream in(phone.file("var/wifi.calls"));
	for (std::string line; std::getline(in, line);)
		lines.push_back(line);
	return lines;
}

std::string tool(SimPhone &phone, const std::string &args)
{
	return phone.path("system/bin") + " athtestcmd " + args;
}

std::vector<uint8_t> wifi(SimPhone &phone, uint8_t cmd, const std::vector<uint8_t> &params)
{
	std::string text = phone.ask(station::wifi_frame(cmd, params));
	auto a = station::decode_answer(text);
	EXPECT_TRUE(a && a->checksum_ok && a->req == 0xB0 && a->cmd == cmd && a->status == 0) << text;
	return a ? a->result : std::vector<uint8_t>{0xEE};
}

using bytes = std::vector<uint8_t>;

}  // namespace

TEST(WifiChannel, WorkedExampleByteForByte)
{
	SimPhone phone(board());
	EXPECT_EQ(phone.ask("AT*TAPP=0B00B0010101000300010600BE\n"), "*TAPP=ACK\n*TAPP=0a00b00101010002000600bf\nOK\n");
	// Lower case is upper-cased on entry; op 0 reads the stored channel back.
	EXPECT_EQ(phone.ask("at*tapp=0b00b0010101000300010600be\n"), "*TAPP=ACK\n*TAPP=0a00b00101010002000600bf\nOK\n");
	EXPECT_EQ(wifi(phone, CHANNEL, {0x00}), (bytes{0x06, 0x00}));
}

TEST(WifiChannel, OutOfRangeResetsToOneWithAnEmptyAnswer)
{
	SimPhone phone(board());
	EXPECT_EQ(wifi(phone, CHANNEL, {0x00}), bytes{});  // stored 0 is out of range too
	EXPECT_EQ(wifi(phone, CHANNEL, {0x00}), (bytes{0x01, 0x00}));
	EXPECT_EQ(wifi(phone, CHANNEL, {0x01, 0x0D, 0x00}), (bytes{0x0D, 0x00}));
	EXPECT_EQ(wifi(phone, CHANNEL, {0x01, 0x0E, 0x00}), bytes{});
	EXPECT_EQ(wifi(phone, CHANNEL, {0x02}), (bytes{0x01, 0x00}));
	EXPECT_EQ(wifi(phone, CHANNEL, {0x01, 0x05, 0x01}), bytes{});  // 261
	EXPECT_EQ(wifi(phone, CHANNEL, {0x01, 0xFF, 0xFF}), bytes{});  // -1
	// A frame that stops after op: the channel reads the cleared 0x5959.
	EXPECT_EQ(wifi(phone, CHANNEL, {0x01, 0x07, 0x00}), (bytes{0x07, 0x00}));
	EXPECT_EQ(wifi(phone, CHANNEL, {0x01}), bytes{});
	EXPECT_EQ(wifi(phone, CHANNEL, {}), (bytes{0x01, 0x00}));
}

TEST(WifiChannel, PlainFormTakesHexDigits)
{
	SimPhone phone(board());
	EXPECT_EQ(phone.ask("AT+WIFICHANNEL010600\n"), "0600OK\n");
	EXPECT_EQ(phone.ask("AT+WIFICHANNEL00\n"), "0600OK\n");
	EXPECT_EQ(phone.ask("AT+WIFICHANNEL010000\n"), "ERROR\n");
	EXPECT_EQ(phone.ask("AT+WIFICHANNEL01\r\n"), "ERROR\n");
	// "AT+DATARATE0..." holds "ATE0": the short answer wins, nothing runs.
	EXPECT_EQ(phone.ask("AT+DATARATE010B00\n"), "OK\n");
	EXPECT_EQ(wifi(phone, DATARATE, {0x00}), (bytes{0x00, 0x00}));
	EXPECT_EQ(phone.ask("AT+DATARATE11\n"), "0000OK\n");
	EXPECT_EQ(phone.ask("AT+WIFITXPOWER01FBFF\n"), "fbffOK\n");
}

TEST(WifiSettings, RatePowerAndModeAreStoredAndReadBack)
{
	SimPhone phone(board());
	EXPECT_EQ(wifi(phone, DATARATE, {0x00}), (bytes{0x00, 0x00}));
	EXPECT_EQ(wifi(phone, DATARATE, {0x01, 0x34, 0x12}), (bytes{0x34, 0x12}));
	EXPECT_EQ(wifi(phone, DATARATE, {0x07}), (bytes{0x34, 0x12}));
	EXPECT_EQ(wifi(phone, TXPOWER, {0x01, 0x00, 0x80}), (bytes{0x00, 0x80}));
	EXPECT_EQ(wifi(phone, TXPOWER, {0x00}), (bytes{0x00, 0x80}));
	EXPECT_EQ(wifi(phone, TXPOWER, {0x01}), (bytes{0x59, 0x59}));  // cleared digits
	// txmode 7 with on 1 has no command line: stored, answered, nothing run.
	EXPECT_EQ(wifi(phone, TXMODE, {0x01, 0x07, 0x00}), (bytes{0x07, 0x00}));
	EXPECT_EQ(wifi(phone, TXMODE, {0x02, 0x01, 0x00}), (bytes{0x01, 0x00}));
	EXPECT_EQ(wifi(phone, TXMODE, {0x01, 0xFF, 0xFF}), (bytes{0xFF, 0xFF}));
	EXPECT_EQ(calls(phone), std::vector<std::string>{});
}

TEST(WifiTransmit, CommandLinesFollowChannelRateAndPower)
{
	SimPhone phone(board());
	wifi(phone, CHANNEL, {0x01, 0x0D, 0x00});
	wifi(phone, DATARATE, {0x01, 0x05, 0x00});
	wifi(phone, TXPOWER, {0x01, 0x0F, 0x00});
	for (uint8_t mode = 0; mode < 4; ++mode)
		EXPECT_EQ(wifi(phone, TXMODE, {0x01, mode, 0x00}), (bytes{mode, 0x00}));
	wifi(phone, CHANNEL, {0x01, 0x01, 0x00});
	wifi(phone, DATARATE, {0x01, 0x04, 0x00});
	wifi(phone, TXPOWER, {0x01, 0xF6, 0xFF});
	EXPECT_EQ(wifi(phone, TXMODE, {0x00, 0x09, 0x00}), (bytes{0x09, 0x00}));
	EXPECT_EQ(calls(phone), (std::vector<std::string>{
		tool(phone, "-i wlan0 --tx tx99 --txfreq 2472 --txrate 3 --txpwr 15 --txantenna 1"),
		tool(phone, "-i wlan0 --tx tx100 --txfreq 2472 --txrate 3 --txpwr 15 --txantenna 1"),
		tool(phone, "-i wlan0 --tx sine --txfreq 2472 --txrate 3 --txpwr 15 --txantenna 1"),
		tool(phone, "-i wlan0 --tx tx100 --txfreq 2472 --txrate 3 --txpwr 15 --txpattern 2 --scrambleroff "
		            "--txantenna 1"),
		tool(phone, "-i wlan0 --tx off --txfreq 2412 --txrate 3 --txpwr -10 --txantenna 1"),
	}));
}

TEST(WifiFer, ReceiveStartAndReport)
{
	SimPhone phone(board());
	wifi(phone, CHANNEL, {0x01, 0x06, 0x00});
	EXPECT_EQ(wifi(phone, FER, {0x00}), (bytes{0, 0, 0, 0}));
	EXPECT_EQ(wifi(phone, FER, {0x01}), (bytes{0xE8, 0x03, 0, 0}));  // 1000
	// Six digits of the count reach a 16-bit field: 123456 is 0xE240, negative.
	phone.set_board("wifi.rx_packets", "1234567");
	EXPECT_EQ(wifi(phone, FER, {0x01}), (bytes{0x40, 0xE2, 0xFF, 0xFF}));
	phone.set_board("wifi.rx_packets", "12");
	EXPECT_EQ(wifi(phone, FER, {0x01}), (bytes{0x0C, 0, 0, 0}));
	phone.set_board("wifi.rx_report", "0");
	EXPECT_EQ(wifi(phone, FER, {0x01}), (bytes{0, 0, 0, 0}));
	EXPECT_EQ(wifi(phone, FER, {0x02}), bytes{});
	EXPECT_EQ(phone.ask("AT+WIFIFER01\n"), "00000000OK\n");
	std::string promis = tool(phone, "--rx promis --rxfreq 2437 --rxantenna 1");
	std::string report = tool(phone, "--rx report --rxfreq 2437 --rxantenna 1");
	EXPECT_EQ(calls(phone), (std::vector<std::string>{promis, report, report, report, report, report}));
}

TEST(WifiPower, PoweredChipPassesAtOnce)
{
	SimPhone phone(board());
	EXPECT_EQ(wifi(phone, POWER, {0x00}), (bytes{0, 0, 0, 0}));
	EXPECT_EQ(calls(phone), std::vector<std::string>{"bttest wifienable"});
	EXPECT_EQ(phone.file("sys/module/ar6000/parameters/work_mode"), "1\n");
	EXPECT_EQ(phone.file("sys/class/rfkill/rfkill1/state"), "1\n");
	EXPECT_EQ(phone.ask("AT+WIFIPW\n"), "00000000OK\n");
}

TEST(WifiPower, ChipThatStaysOffFailsAfterSixRetries)
{
	SimPhone phone(board({{"wifi.power", "0"}}));
	EXPECT_EQ(wifi(phone, POWER, {0x00}), (bytes{0, 0, 0, 0x01}));
	std::vector<std::string> expected{"bttest wifienable"};
	for (int i = 0; i < 6; ++i) {
		expected.push_back("bttest wifidisable");
		expected.push_back("bttest wifienable");
	}
	EXPECT_EQ(calls(phone), expected);
	EXPECT_NE(phone.file("data/ftm.log").find("WIFI turn on failed.\n"), std::string::npos);
}

TEST(WifiPower, VerdictIsTheRfkillStateNotTheDriver)
{
	// Powered but the driver never answers: still a pass, after the retries.
	SimPhone phone(board({{"wifi.ready", "0"}}));
	EXPECT_EQ(wifi(phone, POWER, {0x00}), (bytes{0, 0, 0, 0}));
	EXPECT_EQ(calls(phone).size(), 13u);
	// No state file at all also passes.
	std::filesystem::remove(phone.path("sys/class/rfkill/rfkill1/state"));
	phone.set_board("wifi.ready", "1");
	EXPECT_EQ(wifi(phone, POWER, {0x00}), (bytes{0, 0, 0, 0}));
	EXPECT_NE(phone.file("ftmd.out").find("open(/sys/class/rfkill/rfkill1/state) failed: "), std::string::npos);
}

TEST(WifiMac, ReadAfterPoweringTheChip)
{
	SimPhone phone(board({{"wifi.mac", "00:03:7F:AB:cd:09"}}));
	EXPECT_EQ(wifi(phone, MAC, {0x00}), (bytes{0x00, 0x03, 0x7F, 0xAB, 0xCD, 0x09}));
	EXPECT_EQ(calls(phone), (std::vector<std::string>{"bttest wifidisable", "bttest wifienable"}));
	EXPECT_EQ(phone.ask("AT+MAC\n"), "00037fabcd09OK\n");
	EXPECT_EQ(calls(phone).size(), 2u);  // ready now: no second power cycle
}

TEST(WifiMac, DriverThatNeverAnswersTellsTheStation)
{
	SimPhone phone(board({{"wifi.ready", "0"}}));
	std::string text = phone.ask(station::wifi_frame(MAC, {0x00}));
	EXPECT_EQ(text.rfind("Read MAC Address via IOCTL failed.\n*TAPP=ACK\n", 0), 0u) << text;
	auto a = station::decode_answer(text);
	ASSERT_TRUE(a && a->checksum_ok);
	EXPECT_EQ(a->result, bytes{});
	EXPECT_EQ(phone.ask("AT+MAC\n"), "Read MAC Address via IOCTL failed.\nOK\n");
	EXPECT_NE(phone.file("data/ftm.log").find("TESTMODE_EXT - ioctl fail ifr_name: wlan0!Error number=19\n"),
	          std::string::npos);
}

TEST(WifiInput, StationTextNeverReachesACommandLine)
{
	SimPhone phone(board());
	const std::string marker = phone.path("pwned");
	const std::vector<std::string> attacks = {
		"AT+WIFIMODE01;touch " + marker + ";\n",
		"AT+WIFIMODE01`touch " + marker + "`\n",
		"AT+WIFITXPOWER01$(touch " + marker + ")\n",
		// Not "01": "DATARATE0" holds "ATE0" and would be answered before the row runs.
		"AT+DATARATE11|touch " + marker + "\n",
		"AT+WIFICHANNEL01&&touch " + marker + "\n",
		"AT+WIFIMODE01'\"; touch " + marker + " #\n",
		"AT+WIFIFER00;touch " + marker + "\n",
		"AT+WIFIFER01 && touch " + marker + "\n",
		"AT+WIFIMODE00\n",
	};
	for (const std::string &attack : attacks) {
		std::string answer = phone.ask(attack);
		EXPECT_TRUE(testing_support::is_complete_answer(answer)) << attack;
		// A bare "OK" is the short answer: the line never reached its row.
		EXPECT_NE(answer, "OK\n") << attack;
	}
	EXPECT_FALSE(std::filesystem::exists(marker));
	const std::regex numbers_only(
		"(bttest wifi(en|dis)able|.* athtestcmd( -i wlan0)? --(tx|rx) [a-z0-9]+ --(tx|rx)freq -?[0-9]+"
		"( --txrate -?[0-9]+ --txpwr -?[0-9]+( --txpattern 2 --scrambleroff)?)? --(tx|rx)antenna 1)");
	std::vector<std::string> lines = calls(phone);
	EXPECT_FALSE(lines.empty());
	for (const std::string &line : lines)
		EXPECT_TRUE(std::regex_match(line, numbers_only)) << line;
	EXPECT_TRUE(alive(phone));
}

TEST(WifiInput, ShortAndEmptyFramesForEveryRow)
{
	SimPhone phone(board());
	for (uint8_t cmd : {POWER, CHANNEL, DATARATE, TXPOWER, TXMODE, FER, MAC}) {
		std::string text = phone.ask(station::wifi_frame(cmd, {}));
		auto a = station::decode_answer(text);
		EXPECT_TRUE(a && a->checksum_ok && a->cmd == cmd) << text;
	}
	// An unknown Wi-Fi command finds no row: status 1, no result.
	auto a = station::decode_answer(phone.ask(station::wifi_frame(0x05, {0x01})));
	ASSERT_TRUE(a);
	EXPECT_EQ(a->status, 1);
	EXPECT_EQ(a->result, bytes{});
	EXPECT_TRUE(alive(phone));
}
