#include <gtest/gtest.h>
#include <set>
#include <string>

#include "ftm/command.h"
#include "station/commands.h"

namespace {

std::string wire(std::string_view text)
{
	std::string error;
	auto r = station::build_request(text, &error);
	EXPECT_TRUE(r) << text << ": " << error;
	return r ? r->text : std::string();
}

std::string why_not(std::string_view text)
{
	std::string error;
	EXPECT_FALSE(station::build_request(text, &error)) << text;
	return error;
}

TEST(StationCommands, FramesByteForByte)
{
	// The vibrator frame and the Wi-Fi channel frame of the protocol's own examples.
	EXPECT_EQ(wire("tapp vibrator on"), "AT*TAPP=0A004001040001000000014F\n");
	EXPECT_EQ(wire("wifi channel 01 06 00"), "AT*TAPP=0B00B0010101000300010600BE\n");
	// Bluetooth: class A0, one block, the HCI reset packet as parameters.
	EXPECT_EQ(wire("bt hci 01 03 0c 00"), "AT*TAPP=0B00A0010104000001030C00A1\n");
	EXPECT_EQ(wire("bt active"), "AT*TAPP=0700A00101000001A6\n");
	// Keypad: access 0, two parameter bytes; 16-bit func_index low byte first.
	EXPECT_EQ(wire("tapp keypad on"), "AT*TAPP=0B004000090002000000010041\n");
	EXPECT_EQ(wire("tapp mmc present"), "AT*TAPP=09004001048000000000CC\n");
}

TEST(StationCommands, PlainLines)
{
	EXPECT_EQ(wire("vibrator on"), "AT+VIB=1\n");
	EXPECT_EQ(wire("lcd rgb"), "AT+LCD=RGB\n");
	EXPECT_EQ(wire("rpid"), "AT+RPID\n");
	EXPECT_EQ(wire("sd size"), "SD GETSIZE\n");
	EXPECT_EQ(wire("charge 1000"), "AT+CHARGE=1000\n");
	EXPECT_EQ(wire("  touch   1,2 \n"), "AT%TPNTEST=1,2\n");
	// The longest name wins, and names match whole words only.
	EXPECT_EQ(wire("keypad backlight on"), "AT+KBL=ON\n");
	EXPECT_EQ(wire("keypad on"), "AT+KEYPAD=1\n");
	EXPECT_EQ(wire("bt"), "AT+BT\n");
	EXPECT_EQ(station::build_request("dump log")->reply, station::Reply::stream);
	EXPECT_EQ(station::build_request("camera retrieve")->reply, station::Reply::stream);
}

TEST(StationCommands, BadRequestsSayWhy)
{
	EXPECT_EQ(why_not("rpid now"), "'rpid' takes no arguments");
	EXPECT_EQ(why_not("vibrator sideways"), "unknown command 'vibrator sideways' (known: vibrator on, vibrator off)");
	EXPECT_NE(why_not("vibratoron").find("unknown command"), std::string::npos);
	EXPECT_NE(why_not("frobnicate").find("unknown command"), std::string::npos);
	EXPECT_NE(why_not("charge").find("needs an argument"), std::string::npos);
	EXPECT_NE(why_not("bt hci 01 0G").find("hexadecimal"), std::string::npos);
	EXPECT_NE(why_not("bt hci 1").find("hexadecimal"), std::string::npos);  // half a byte
	std::string big(129 * 3, ' ');
	for (size_t i = 0; i < big.size(); i += 3)
		big[i] = '0', big[i + 1] = '1';
	EXPECT_NE(why_not("bt hci " + big).find("too many"), std::string::npos);
}

TEST(StationCommands, NamesAreUniqueAndAllBuild)
{
	std::set<std::string_view> names;
	for (const station::Command &c : station::commands()) {
		EXPECT_TRUE(names.insert(c.name).second) << c.name;
		std::string text(c.name);
		if (c.arg == station::Arg::text)
			text += " 1";
		if (c.arg == station::Arg::hex)
			text += " 00";
		auto r = station::build_request(text);
		ASSERT_TRUE(r) << text;
		EXPECT_EQ(r->command, &c) << text;  // no other name shadows it
	}
}

// The first row the daemon's own prefix search picks for a line.
int row_of_line(const std::string &text)
{
	for (size_t i = 0; i < ftm::cmd_table.size(); ++i) {
		std::string_view k = ftm::cmd_table[i].keyword;
		if (text.compare(0, k.size(), k) == 0)
			return static_cast<int>(i);
	}
	return -1;
}

TEST(StationCommands, EveryRowOfTheDaemonIsReached)
{
	std::set<int> lines;
	std::set<uint32_t> ids;
	for (const station::Command &c : station::commands()) {
		if (c.form == station::Form::line)
			lines.insert(row_of_line(std::string(c.line)));
		else
			ids.insert(c.form == station::Form::bb ? c.id : (c.form == station::Form::bt ? 0x100u : 0x200u) + c.id);
	}
	EXPECT_EQ(lines.count(-1), 0u) << "a named line reaches no row";
	for (size_t i = 0; i < ftm::cmd_table.size(); ++i) {
		const ftm::cmd_entry &row = ftm::cmd_table[i];
		// A second row with the same keyword is only reached through the first.
		bool shadowed = i > 0 && std::string_view(row.keyword) == ftm::cmd_table[i - 1].keyword;
		bool by_line = lines.count(static_cast<int>(i)) || shadowed;
		bool by_frame = row.tapp_handler && ids.count(row.id);
		EXPECT_TRUE(by_line || by_frame) << "row " << i << " " << row.keyword;
		if (row.tapp_handler) {
			EXPECT_TRUE(by_frame) << "row " << i << " " << row.keyword << " has no named frame";
		}
	}
}

}  // namespace
