// Vibrator, backlights, LEDs and flash LED, from the station's side.
#include <gtest/gtest.h>

#include "station/tapp_frame.h"
#include "support/sim_phone.h"

namespace {

using testing_support::SimPhone;

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

}  // namespace
