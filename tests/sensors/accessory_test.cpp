// The accessory frame and its plain form. Pin tests run against whatever
// the factory GPIO device answers; the hook-switch test sleeps 1 s on the
// phone: time.scale is 0.01.
#include <gtest/gtest.h>

#include "sensors_support.h"

using namespace sensors_test;
using testing_support::SimPhone;

namespace {

constexpr uint16_t ACCESSORY = 0x15;

SimPhone::Setup board(std::map<std::string, std::string> values)
{
	values["time.scale"] = "0.01";
	return SimPhone::Setup{.board = values};
}

}  // namespace

TEST(Accessory, AccessZeroAndUnknownTestsAnswerNoResult)
{
	SimPhone phone(board({}));
	for (uint8_t test : {0x00, 0x02, 0x05, 0x06})
		EXPECT_EQ(phone.ask(station::bb_frame(0, ACCESSORY, {test})), bb_answer(0, {})) << int(test);
	EXPECT_EQ(phone.ask(station::bb_frame(1, ACCESSORY, {0x07})), bb_answer(0, {}));
	EXPECT_EQ(phone.ask(station::bb_frame(1, ACCESSORY, {0xFF})), bb_answer(0, {}));
	EXPECT_EQ(phone.ask(station::bb_frame(1, ACCESSORY, {})), bb_answer(0, {}));
	EXPECT_EQ(phone.file("var/alsps.light"), "");  // the light test did not run
}

TEST(Accessory, FlexAndCardTestsSetNothing)
{
	SimPhone phone(board({}));
	EXPECT_EQ(phone.ask(station::bb_frame(1, ACCESSORY, {0x03})), "*TAPP=050040000000" "45\nOK\n");
	EXPECT_EQ(phone.ask(station::bb_frame(1, ACCESSORY, {0x04})), bb_answer(0, {}));
}

TEST(Accessory, PlainRows)
{
	SimPhone phone(board({}));
	EXPECT_EQ(phone.ask("AT+ACCESSORY=0\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+ACCESSORY=1\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+ACCESSORY=2\n"), "ERROR\n");
	EXPECT_EQ(phone.ask("AT+ACCESSORY\n"), "ERROR\n");
	EXPECT_EQ(phone.file("var/alsps.light"), "");
}

TEST(AccessoryPins, HallHighIs01AndAudioJackHighIs00)
{
	SimPhone phone(board({{"gpio.pin.29", "1"}, {"gpio.pin.40", "1"}}));
	EXPECT_EQ(phone.ask(station::bb_frame(1, ACCESSORY, {0x00})), bb_answer(0, {0x01}));
	EXPECT_EQ(phone.ask(station::bb_frame(1, ACCESSORY, {0x01})), bb_answer(0, {0x00}));
	phone.set_board("gpio.pin.29", "0");
	phone.set_board("gpio.pin.40", "0");
	EXPECT_EQ(phone.ask(station::bb_frame(1, ACCESSORY, {0x00})), bb_answer(0, {0x00}));
	EXPECT_EQ(phone.ask(station::bb_frame(1, ACCESSORY, {0x01})), bb_answer(0, {0x01}));
}

TEST(AccessoryPins, HookSwitchLeavesTheMicrophoneBiasOff)
{
	SimPhone phone(board({{"gpio.pin.94", "1"}}));
	EXPECT_EQ(phone.ask(station::bb_frame(1, ACCESSORY, {0x06})), bb_answer(0, {0x00}));
	EXPECT_NE(phone.file("var/ftmgpio").find("mic_bias=0\n"), std::string::npos);
	EXPECT_EQ(phone.ask("AT+ACCESSORY=6\n"), "OK\n");
	phone.set_board("gpio.pin.94", "0");
	EXPECT_EQ(phone.ask(station::bb_frame(1, ACCESSORY, {0x06})), bb_answer(0, {0x01}));
	EXPECT_EQ(phone.ask("AT+ACCESSORY=6\n"), "ERROR\n");
}

TEST(AccessoryPins, UnreadablePinsKeepTheFailCode)
{
	// A driver that answers bytes instead of characters reads as -1.
	SimPhone phone(board({{"gpio.input_raw", "1"}, {"gpio.pin.29", "0"}, {"gpio.pin.40", "1"}, {"gpio.pin.94", "1"}}));
	EXPECT_EQ(phone.ask(station::bb_frame(1, ACCESSORY, {0x00})), bb_answer(0, {0x01}));
	EXPECT_EQ(phone.ask(station::bb_frame(1, ACCESSORY, {0x01})), bb_answer(0, {0x00}));
	EXPECT_EQ(phone.ask(station::bb_frame(1, ACCESSORY, {0x06})), bb_answer(0, {0x01}));
	EXPECT_NE(phone.file("var/ftmgpio").find("mic_bias=0\n"), std::string::npos);
	EXPECT_EQ(phone.ask("AT+ACCESSORY=6\n"), "OK\n");  // only a clear 0 fails

	SimPhone absent(board({{"gpio.absent", "1"}, {"gpio.pin.29", "0"}}));
	EXPECT_EQ(absent.ask(station::bb_frame(1, ACCESSORY, {0x00})), bb_answer(0, {0x01}));
	EXPECT_EQ(absent.ask(station::bb_frame(1, ACCESSORY, {0x06})), bb_answer(0, {0x01}));
	EXPECT_EQ(absent.ask("AT+ACCESSORY=6\n"), "ERROR\n");
	EXPECT_EQ(absent.ask("AT+ACCESSORY=0\n"), "OK\n");
}
