// Vibrator, backlights, LEDs and flash LED, from the station's side.
#include <gtest/gtest.h>

#include "station/tapp_frame.h"
#include "support/sim_phone.h"

namespace {

using testing_support::SimPhone;

// A framed answer that claims one result byte and carries none: its
// checksum runs one byte into the empty text (two NULs decode as 0x59).
const std::string kEmptyResult = "*TAPP=0600400001001e\nOK\n";

// The one result byte of a framed answer, or -1 if the answer has none.
int answer_byte(const std::string &answer)
{
	auto a = station::decode_answer(answer);
	if (!a || !a->checksum_ok || a->result.size() != 1)
		return -1;
	return a->result[0];
}

TEST(Vibrator, PlainRunsFifteenSecondsAndStopsEarly)
{
	SimPhone phone;
	EXPECT_EQ(phone.ask("AT+VIB=1\n"), "OK\n");
	EXPECT_EQ(phone.file("/var/vibrator"), "15000\n");
	EXPECT_EQ(phone.ask("AT+VIB=0\n"), "OK\n");
	EXPECT_EQ(phone.file("/var/vibrator"), "0\n");
	// An unknown option turns the motor off and still answers OK.
	EXPECT_EQ(phone.ask("AT+VIB=1\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+VIB=7\n"), "OK\n");
	EXPECT_EQ(phone.file("/var/vibrator"), "0\n");
	EXPECT_NE(phone.file("/data/ftm.log").find("unknown option =7\n, turn off now\n"), std::string::npos);
}

TEST(Vibrator, FramedAnswersOneOnSuccessZeroOtherwise)
{
	SimPhone phone;
	EXPECT_EQ(answer_byte(phone.ask(station::bb_frame(1, 0x4, {1}))), 0x01);
	EXPECT_EQ(phone.file("/var/vibrator"), "15000\n");
	EXPECT_EQ(answer_byte(phone.ask(station::bb_frame(1, 0x4, {0}))), 0x01);
	EXPECT_EQ(phone.file("/var/vibrator"), "0\n");
	EXPECT_EQ(answer_byte(phone.ask(station::bb_frame(1, 0x4, {2}))), 0x00);
	// A frame that claims no parameter is a bad value, not a switch.
	EXPECT_EQ(answer_byte(phone.ask(station::bb_frame(1, 0x4, {}))), 0x00);
	EXPECT_EQ(phone.file("/var/vibrator"), "0\n");
}

TEST(Vibrator, FailingMotorStillAnswersOkPlainAndZeroFramed)
{
	SimPhone phone({.board = {{"vibrator.fail", "1"}}});
	EXPECT_EQ(phone.ask("AT+VIB=1\n"), "OK\n");
	EXPECT_EQ(answer_byte(phone.ask(station::bb_frame(1, 0x4, {1}))), 0x00);
	phone.set_board("vibrator.fail", "0");
	phone.set_board("vibrator.present", "0");
	EXPECT_EQ(answer_byte(phone.ask(station::bb_frame(1, 0x4, {1}))), 0x00);
	EXPECT_EQ(phone.file("/var/vibrator"), "");
}

TEST(Backlight, PlainOnOffAndUnknownGoesOn)
{
	SimPhone phone;
	EXPECT_EQ(phone.ask("AT+BL=OFF\n"), "OK\n");
	EXPECT_EQ(phone.file("/var/max7302"), "level 0\n");
	EXPECT_EQ(phone.ask("at+bl=on\n"), "OK\n");
	EXPECT_EQ(phone.file("/var/max7302"), "level 100\n");
	EXPECT_EQ(phone.ask("AT+BL=OFF\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+BL=DIM\n"), "OK\n");
	EXPECT_EQ(phone.file("/var/max7302"), "level 100\n");
}

TEST(Backlight, FramedAnswersByStateAndFailure)
{
	SimPhone phone;
	EXPECT_EQ(answer_byte(phone.ask(station::bb_frame(1, 0x1, {0, 1}))), 0x01);
	EXPECT_EQ(phone.file("/var/max7302"), "level 100\n");
	EXPECT_EQ(answer_byte(phone.ask(station::bb_frame(1, 0x1, {0, 0}))), 0x00);
	EXPECT_EQ(phone.file("/var/max7302"), "level 0\n");
	// An on-or-off byte other than 0 or 1: result_len 1, no result text.
	EXPECT_EQ(phone.ask(station::bb_frame(1, 0x1, {0, 5})), kEmptyResult);
	EXPECT_EQ(phone.file("/var/max7302"), "level 0\n");
	// Only the first byte: the frame has no on-or-off byte at all.
	EXPECT_EQ(answer_byte(phone.ask(station::bb_frame(1, 0x1, {1}))), -1);
	EXPECT_EQ(phone.file("/var/max7302"), "level 0\n");

	phone.set_board("max7302.fail", "1");
	EXPECT_EQ(answer_byte(phone.ask(station::bb_frame(1, 0x1, {0, 1}))), 0x02);
	EXPECT_EQ(phone.ask("AT+BL=ON\n"), "ERROR\n");
	EXPECT_EQ(phone.file("/var/max7302"), "level 0\n");
}

TEST(Backlight, MissingChipIsAnError)
{
	SimPhone phone({.board = {{"max7302.present", "0"}}});
	EXPECT_EQ(phone.ask("AT+BL=ON\n"), "ERROR\n");
	EXPECT_EQ(answer_byte(phone.ask(station::bb_frame(1, 0x1, {0, 0}))), 0x02);
}

TEST(KeypadBacklight, SwitchesItsFiveChannelsOnly)
{
	SimPhone phone;
	// AT+KBL is its own row, not AT+BL with a tail.
	EXPECT_EQ(phone.ask("AT+KBL=ON\n"), "OK\n");
	EXPECT_EQ(phone.file("/var/tca6507"), "1110011\n");
	EXPECT_EQ(phone.file("/var/max7302"), "");
	EXPECT_EQ(phone.ask("AT+KBL=OFF\n"), "OK\n");
	EXPECT_EQ(phone.file("/var/tca6507"), "0000000\n");
	EXPECT_EQ(phone.ask("AT+KBL=?\n"), "OK\n");
	EXPECT_EQ(phone.file("/var/tca6507"), "1110011\n");
}

TEST(KeypadBacklight, FramedAnswersOneForOnAndOff)
{
	SimPhone phone;
	EXPECT_EQ(answer_byte(phone.ask(station::bb_frame(1, 0x2, {0, 1}))), 0x01);
	EXPECT_EQ(phone.file("/var/tca6507"), "1110011\n");
	EXPECT_EQ(answer_byte(phone.ask(station::bb_frame(1, 0x2, {0, 0}))), 0x01);
	EXPECT_EQ(phone.file("/var/tca6507"), "0000000\n");
	EXPECT_EQ(phone.ask(station::bb_frame(1, 0x2, {0, 2})), kEmptyResult);
}

TEST(KeypadBacklight, StopsAtTheFirstFailingChannel)
{
	SimPhone phone({.board = {{"tca6507.fail_channel", "2"}}});
	EXPECT_EQ(answer_byte(phone.ask(station::bb_frame(1, 0x2, {0, 1}))), 0x02);
	EXPECT_EQ(phone.file("/var/tca6507"), "1100000\n");
	EXPECT_EQ(phone.ask("AT+KBL=ON\n"), "ERROR\n");
}

TEST(Led, PlainIndexMapsToChannel)
{
	SimPhone phone;
	// Index 6 is channel 4; index 1 is channel 2.
	EXPECT_EQ(phone.ask("AT+LED=61\n"), "OK\n");
	EXPECT_EQ(phone.file("/var/tca6507"), "0000100\n");
	EXPECT_EQ(phone.ask("AT+LED=11\n"), "OK\n");
	EXPECT_EQ(phone.file("/var/tca6507"), "0010100\n");
	EXPECT_EQ(phone.ask("AT+LED=60\n"), "OK\n");
	EXPECT_EQ(phone.file("/var/tca6507"), "0010000\n");
	// Index 7 does not exist.
	EXPECT_EQ(phone.ask("AT+LED=71\n"), "ERROR\n");
	EXPECT_NE(phone.file("/data/ftm.log").find("Wrong led index:7\n"), std::string::npos);
	EXPECT_EQ(phone.file("/var/tca6507"), "0010000\n");
	// The digits are decoded as frame text is, unchecked: "1G" is 0x20,
	// index 2 off.
	EXPECT_EQ(phone.ask("AT+LED=1G\n"), "OK\n");
}

TEST(Led, FramedAnswersFiftyFourOrFiftyFive)
{
	SimPhone phone;
	// Byte 1 on or off, byte 2 the index: index 3 is channel 6.
	EXPECT_EQ(answer_byte(phone.ask(station::bb_frame(1, 0x1D, {1, 3}))), 0x54);
	EXPECT_EQ(phone.file("/var/tca6507"), "0000001\n");
	EXPECT_EQ(answer_byte(phone.ask(station::bb_frame(1, 0x1D, {0, 3}))), 0x54);
	EXPECT_EQ(phone.file("/var/tca6507"), "0000000\n");
	// An unknown index reaches the chip as channel -1, which refuses it.
	EXPECT_EQ(answer_byte(phone.ask(station::bb_frame(1, 0x1D, {1, 9}))), 0x55);
	EXPECT_EQ(phone.ask(station::bb_frame(1, 0x1D, {3, 0})), kEmptyResult);
	phone.set_board("tca6507.fail", "1");
	EXPECT_EQ(answer_byte(phone.ask(station::bb_frame(1, 0x1D, {1, 0}))), 0x55);
	EXPECT_EQ(phone.ask("AT+LED=01\n"), "ERROR\n");
}

TEST(FlashLed, OnOffAndUnknownGoesOff)
{
	SimPhone phone;
	EXPECT_EQ(phone.ask("AT+FLASHLED=1\n"), "OK\n");
	EXPECT_EQ(phone.file("/var/flashled"), "1\n");
	EXPECT_EQ(phone.ask("AT+FLASHLED=0\n"), "OK\n");
	EXPECT_EQ(phone.file("/var/flashled"), "0\n");
	EXPECT_EQ(phone.ask("AT+FLASHLED=1\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+FLASHLED=ON\n"), "OK\n");
	EXPECT_EQ(phone.file("/var/flashled"), "0\n");
}

TEST(FlashLed, FailingOrMissingFileIsAnError)
{
	SimPhone phone({.board = {{"flashled.present", "0"}, {"tca6507.present", "0"}}});
	EXPECT_EQ(phone.ask("AT+FLASHLED=1\n"), "ERROR\n");
	// A device that is not there fails as the write or switch on it does.
	EXPECT_EQ(phone.ask("AT+LED=61\n"), "ERROR\n");
	std::string log = phone.file("/data/ftm.log");
	EXPECT_NE(log.find("flash led test error\n"), std::string::npos);
	EXPECT_NE(log.find("tca6507 led error\n"), std::string::npos);
	// The registry opens the file again once it is there.
	phone.set_board("flashled.present", "1");
	EXPECT_EQ(phone.ask("AT+FLASHLED=1\n"), "OK\n");
	EXPECT_EQ(phone.file("/var/flashled"), "1\n");
	phone.set_board("flashled.fail", "1");
	EXPECT_EQ(phone.ask("AT+FLASHLED=0\n"), "ERROR\n");
	EXPECT_EQ(phone.file("/var/flashled"), "1\n");
}

}  // namespace
