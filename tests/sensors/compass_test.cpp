// The compass bus: compass id and temperature, and the acceleration sensor
// on the same bus. The acceleration test sleeps 1 s on the phone:
// time.scale is 0.01.
#include <gtest/gtest.h>

#include "sensors_support.h"

using namespace sensors_test;
using testing_support::SimPhone;

namespace {

constexpr uint16_t ACCESSORY = 0x15;
constexpr uint16_t ECOMPASS = 0x23;

SimPhone::Setup board(std::map<std::string, std::string> values)
{
	values["time.scale"] = "0.01";
	return SimPhone::Setup{.board = values};
}

std::string g_sensor(SimPhone &phone, int x, int y, int z)
{
	phone.set_board("gsensor.x", std::to_string(x));
	phone.set_board("gsensor.y", std::to_string(y));
	phone.set_board("gsensor.z", std::to_string(z));
	return phone.ask(station::bb_frame(1, ACCESSORY, {0x05}));
}

}  // namespace

TEST(Ecompass, FramedIdAndTemperature)
{
	SimPhone phone(board({}));
	EXPECT_EQ(phone.ask(station::bb_frame(1, ECOMPASS, {0x00})), bb_answer(0, {0x01}));
	// 0x2A5 = 677: four decimal digits, two result bytes.
	EXPECT_EQ(phone.ask(station::bb_frame(1, ECOMPASS, {0x01})), bb_answer(0, {0x06, 0x77}));
	phone.set_board("compass.temp", "0x7ff");
	EXPECT_EQ(result_of(phone.ask(station::bb_frame(1, ECOMPASS, {0x01}))), (std::vector<uint8_t>{0x20, 0x47}));
	phone.set_board("compass.temp", "5");
	EXPECT_EQ(result_of(phone.ask(station::bb_frame(1, ECOMPASS, {0x01}))), (std::vector<uint8_t>{0x00, 0x05}));

	phone.set_board("compass.id", "0x41");
	EXPECT_EQ(phone.ask(station::bb_frame(1, ECOMPASS, {0x00})), bb_answer(0, {0x00}));
	EXPECT_EQ(phone.ask(station::bb_frame(0, ECOMPASS, {0x00})), bb_answer(0, {}));
	EXPECT_EQ(phone.ask(station::bb_frame(1, ECOMPASS, {0x02})), bb_answer(0, {}));
}

TEST(Ecompass, BusyChipIsPolledNineteenTimesAtMost)
{
	SimPhone phone(board({{"compass.busy_reads", "18"}}));
	EXPECT_EQ(phone.ask(station::bb_frame(1, ECOMPASS, {0x01})), bb_answer(0, {0x06, 0x77}));
	// The twentieth read is never looked at.
	phone.set_board("compass.busy_reads", "19");
	EXPECT_EQ(phone.ask(station::bb_frame(1, ECOMPASS, {0x01})), bb_answer(0, {}));
	EXPECT_NE(phone.file("data/ftm.log").find("read data timeout\n"), std::string::npos);
	EXPECT_EQ(phone.ask("AT+ECOMPASS=2\n"), "ERROR\n");
}

TEST(Ecompass, DeadChipShortReadsAndMissingBus)
{
	SimPhone phone(board({{"compass.chip", "0"}}));
	EXPECT_EQ(phone.ask(station::bb_frame(1, ECOMPASS, {0x00})), bb_answer(0, {}));
	EXPECT_EQ(phone.ask(station::bb_frame(1, ECOMPASS, {0x01})), bb_answer(0, {}));
	EXPECT_EQ(phone.ask("AT+ECOMPASS=1\n"), "ERROR\n");
	phone.set_board("compass.chip", "1");
	phone.set_board("i2c.short_read", "1");
	EXPECT_EQ(phone.ask(station::bb_frame(1, ECOMPASS, {0x00})), bb_answer(0, {0x00}));
	EXPECT_EQ(phone.ask(station::bb_frame(1, ECOMPASS, {0x01})), bb_answer(0, {}));

	SimPhone absent(board({{"compass.present", "0"}}));
	EXPECT_EQ(absent.ask(station::bb_frame(1, ECOMPASS, {0x00})), bb_answer(0, {}));
	EXPECT_EQ(absent.ask("AT+ECOMPASS=2\n"), "ERROR\n");
	EXPECT_TRUE(alive(absent));
}

TEST(Ecompass, PlainPrintsTheValueAndAnswersOkOrError)
{
	SimPhone phone(board({}));
	EXPECT_EQ(phone.ask("AT+ECOMPASS=1\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+ECOMPASS=2\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+ECOMPASS=3\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+ECOMPASS\n"), "OK\n");
	EXPECT_NE(phone.file("ftmd.out").find("val = 64\nval = 677\n"), std::string::npos);
	EXPECT_NE(phone.file("data/ftm.log").find("at_ecompass_read_id() - device id = 64\n"), std::string::npos);
	phone.set_board("compass.id", "0x41");
	EXPECT_EQ(phone.ask("AT+ECOMPASS=1\n"), "ERROR\n");
	EXPECT_NE(phone.file("data/ftm.log").find("device id not match\n"), std::string::npos);
}

TEST(GSensor, LevelBoundsAndSignedAxes)
{
	SimPhone phone(board({}));
	EXPECT_EQ(phone.ask(station::bb_frame(1, ACCESSORY, {0x05})), bb_answer(0, {0x00}));
	EXPECT_EQ(g_sensor(phone, -54, 40, -21), bb_answer(0, {0x00}));   // 4957
	EXPECT_EQ(g_sensor(phone, 13, -5, 69), bb_answer(0, {0x01}));     // 4955
	EXPECT_EQ(g_sensor(phone, 138, -129, 108), bb_answer(0, {0x00})); // 47349
	EXPECT_EQ(g_sensor(phone, -135, 127, 114), bb_answer(0, {0x01})); // 47350
	EXPECT_EQ(g_sensor(phone, 0, 0, -511), bb_answer(0, {0x01}));
}

TEST(GSensor, BusFailuresLeaveAnEmptyOneByteResult)
{
	// The verdict is missing but the frame still claims one result byte;
	// the checksum takes the missing digits as the hex rule decodes them.
	SimPhone phone(board({{"gsensor.chip", "0"}}));
	EXPECT_EQ(phone.ask(station::bb_frame(1, ACCESSORY, {0x05})), "*TAPP=0600400001001e\nOK\n");
	EXPECT_NE(phone.file("data/ftm.log").find("write error("), std::string::npos);
	// Short reads give zeros, never stale bytes: no acceleration, a fail.
	phone.set_board("gsensor.chip", "1");
	phone.set_board("i2c.short_read", "1");
	EXPECT_EQ(phone.ask(station::bb_frame(1, ACCESSORY, {0x05})), bb_answer(0, {0x01}));

	SimPhone absent(board({{"compass.present", "0"}}));
	EXPECT_EQ(absent.ask(station::bb_frame(1, ACCESSORY, {0x05})), bb_answer(0, {0x01}));
	EXPECT_NE(absent.file("data/ftm.log").find("get gsensor fd FAILED\n"), std::string::npos);
}
