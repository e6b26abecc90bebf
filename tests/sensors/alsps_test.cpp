// Light and proximity sensor, plain and framed, on a normal and a failing
// board. The framed tests sleep 300 ms on the phone: time.scale is 0.01.
#include <gtest/gtest.h>

#include "sensors_support.h"

using namespace sensors_test;
using testing_support::SimPhone;

namespace {

constexpr uint16_t ACCESSORY = 0x15;
constexpr uint16_t PROXIMITY = 0x2C;

SimPhone::Setup board(std::map<std::string, std::string> values)
{
	values["time.scale"] = "0.01";
	return SimPhone::Setup{.board = values};
}

}  // namespace

TEST(LightSensor, FramedReadingIsTheValueAndTheSensorIsOffAfter)
{
	SimPhone phone(board({{"alsps.light", "0x1f"}}));
	EXPECT_EQ(phone.ask(station::bb_frame(1, ACCESSORY, {0x02})), bb_answer(0, {0x1F}));
	EXPECT_EQ(phone.file("var/alsps.light"), "off");
	phone.set_board("alsps.light", "200");
	EXPECT_EQ(result_of(phone.ask(station::bb_frame(1, ACCESSORY, {0x02}))), std::vector<uint8_t>{200});
}

TEST(LightSensor, FramedReadingIsNotCutToAByte)
{
	// "%02x" of the whole value, whatever its width; the result length stays 1.
	struct row {
		const char *setting, *value, *tail;
	};
	for (const row &r : {row{"alsps.light", "300", "0012c55\nOK\n"}, row{"alsps.fail_ioctl", "5", "00ffffffffb8\nOK\n"}}) {
		SimPhone phone(board({{r.setting, r.value}}));
		std::string answer = phone.ask(station::bb_frame(1, ACCESSORY, {0x02}));
		EXPECT_TRUE(answer.starts_with("*TAPP=")) << answer;
		EXPECT_TRUE(answer.ends_with(r.tail)) << r.setting << " " << r.value << ": " << answer;
	}
}

TEST(LightSensor, FramedFailuresAnswer01)
{
	SimPhone phone(board({{"alsps.present", "0"}}));
	EXPECT_EQ(phone.ask(station::bb_frame(1, ACCESSORY, {0x02})), bb_answer(0, {0x01}));
	EXPECT_NE(phone.file("data/ftm.log").find("operation failed\n"), std::string::npos);

	phone.set_board("alsps.present", "1");
	phone.set_board("alsps.fail_ioctl", "2");
	EXPECT_EQ(phone.ask(station::bb_frame(1, ACCESSORY, {0x02})), bb_answer(0, {0x01}));
	EXPECT_NE(phone.file("data/ftm.log").find("light sensor turn on failed\n"), std::string::npos);
	phone.set_board("alsps.fail_ioctl", "3");
	EXPECT_EQ(phone.ask(station::bb_frame(1, ACCESSORY, {0x02})), bb_answer(0, {0x01}));
	EXPECT_NE(phone.file("data/ftm.log").find("light sensor turn off failed\n"), std::string::npos);
}

TEST(LightSensor, PlainSwitchesAndTheDarknessLimit)
{
	SimPhone phone(board({}));
	EXPECT_EQ(phone.ask("AT+LIGHTSENSOR=1\n"), "OK\n");
	EXPECT_EQ(phone.file("var/alsps.light"), "on");
	EXPECT_EQ(phone.ask("AT+LIGHTSENSOR=0\n"), "OK\n");
	EXPECT_EQ(phone.file("var/alsps.light"), "off");
	EXPECT_EQ(phone.ask("AT+LIGHTSENSOR=2\n"), "ERROR\n");
	EXPECT_EQ(phone.ask("AT+LIGHTSENSOR\n"), "ERROR\n");

	phone.set_board("alsps.light", "31");
	EXPECT_EQ(phone.ask("AT+RECINTERRUPT=0\n"), "OK\n");
	phone.set_board("alsps.light", "32");
	EXPECT_EQ(phone.ask("AT+RECINTERRUPT=0\n"), "ERROR\n");
	std::string log = phone.file("data/ftm.log");
	EXPECT_NE(log.find("light sensor test ok, value(<0x20) = 31\n"), std::string::npos);
	EXPECT_NE(log.find("light sensor test failed, value(>=0x20) = 32\n"), std::string::npos);
	EXPECT_EQ(phone.ask("AT+RECINTERRUPT=5\n"), "ERROR\n");

	phone.set_board("alsps.fail_ioctl", "2");
	EXPECT_EQ(phone.ask("AT+LIGHTSENSOR=1\n"), "ERROR\n");
	SimPhone fresh(board({{"alsps.present", "0"}}));
	EXPECT_EQ(fresh.ask("AT+LIGHTSENSOR=1\n"), "ERROR\n");
	EXPECT_EQ(fresh.ask("AT+RECINTERRUPT=0\n"), "ERROR\n");
}

TEST(Proximity, FramedVerdictAccessAndUnknownTest)
{
	SimPhone phone(board({}));
	EXPECT_EQ(phone.ask(station::bb_frame(1, PROXIMITY, {0x00})), bb_answer(0, {0x00}));
	EXPECT_EQ(phone.file("var/alsps.proximity"), "off");
	phone.set_board("alsps.proximity", "0");
	EXPECT_EQ(phone.ask(station::bb_frame(1, PROXIMITY, {0x00})), bb_answer(0, {0x01}));
	// access 0 and an unknown test touch nothing and answer no result.
	phone.set_board("alsps.proximity", "1");
	EXPECT_EQ(phone.ask(station::bb_frame(0, PROXIMITY, {0x00})), bb_answer(0, {}));
	EXPECT_EQ(phone.ask(station::bb_frame(1, PROXIMITY, {0x01})), bb_answer(0, {}));
	EXPECT_EQ(phone.ask(station::bb_frame(1, PROXIMITY, {})), bb_answer(0, {}));
}

TEST(Proximity, FramedFailuresAnswer01)
{
	SimPhone phone(board({{"alsps.fail_ioctl", "1"}}));
	EXPECT_EQ(phone.ask(station::bb_frame(1, PROXIMITY, {0x00})), bb_answer(0, {0x01}));
	phone.set_board("alsps.fail_ioctl", "0");
	EXPECT_EQ(phone.ask(station::bb_frame(1, PROXIMITY, {0x00})), bb_answer(0, {0x01}));
	std::string log = phone.file("data/ftm.log");
	EXPECT_NE(log.find("proximity turn on failed\n"), std::string::npos);
	EXPECT_NE(log.find("proximity turn off failed\n"), std::string::npos);

	SimPhone absent(board({{"alsps.present", "0"}}));
	EXPECT_EQ(absent.ask(station::bb_frame(1, PROXIMITY, {0x00})), bb_answer(0, {0x01}));
	EXPECT_EQ(absent.ask("AT+PROXIMITY=1\n"), "ERROR\n");
	EXPECT_EQ(absent.ask("AT+RECINTERRUPT=1\n"), "ERROR\n");
}

TEST(Proximity, PlainSwitchesAndInterruptLeavesTheSensorOn)
{
	SimPhone phone(board({}));
	EXPECT_EQ(phone.ask("AT+PROXIMITY=1\n"), "OK\n");
	EXPECT_EQ(phone.file("var/alsps.proximity"), "on");
	EXPECT_EQ(phone.ask("AT+PROXIMITY=0\n"), "OK\n");
	EXPECT_EQ(phone.file("var/alsps.proximity"), "off");
	EXPECT_EQ(phone.ask("AT+PROXIMITY=9\n"), "ERROR\n");

	phone.set_board("alsps.proximity", "0");
	EXPECT_EQ(phone.ask("AT+RECINTERRUPT=1\n"), "OK\n");
	EXPECT_EQ(phone.file("var/alsps.proximity"), "on");
	phone.set_board("alsps.proximity", "1");
	EXPECT_EQ(phone.ask("AT+RECINTERRUPT=1\n"), "ERROR\n");
	phone.set_board("alsps.fail_ioctl", "6");
	EXPECT_EQ(phone.ask("AT+RECINTERRUPT=1\n"), "ERROR\n");
}
