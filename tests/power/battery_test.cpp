// Battery readings, ADC channels and charge current, from the station's side.
#include <gtest/gtest.h>

#include <optional>

#include "station/tapp_frame.h"
#include "support/sim_phone.h"

namespace {

using testing_support::SimPhone;

std::vector<uint8_t> adc_result(SimPhone &phone, std::optional<uint8_t> mask)
{
	std::vector<uint8_t> params;
	if (mask)
		params.push_back(*mask);
	auto a = station::decode_answer(phone.ask(station::bb_frame(1, 0x7, params)));
	EXPECT_TRUE(a && a->checksum_ok);
	return a ? a->result : std::vector<uint8_t>{};
}

TEST(Adc, FramedMaskGivesTwoBytesPerChannelLowFirst)
{
	SimPhone phone({.board = {{"battery.voltage_mv", "3800"}}});
	// 0x81: the battery (3800 = 0x0ED8), then ADIN4's fixed value 8.
	EXPECT_EQ(adc_result(phone, 0x81), (std::vector<uint8_t>{0xD8, 0x0E, 0x08, 0x00}));
	EXPECT_EQ(adc_result(phone, 0x06), (std::vector<uint8_t>{0x02, 0x00, 0x03, 0x00}));
	EXPECT_EQ(adc_result(phone, 0x00), std::vector<uint8_t>{});
	// A frame that claims no parameter reads the cleared mask 0x59:
	// channels 0, 3, 4 and 6.
	EXPECT_EQ(adc_result(phone, std::nullopt),
	          (std::vector<uint8_t>{0xD8, 0x0E, 0x04, 0x00, 0x05, 0x00, 0x07, 0x00}));
}

TEST(Adc, FramedStopsAtAChannelThatCannotBeRead)
{
	SimPhone phone({.board = {{"battery.present", "0"}}});
	// The battery is the first channel: nothing is appended.
	auto a = station::decode_answer(phone.ask(station::bb_frame(1, 0x7, {0x83})));
	ASSERT_TRUE(a && a->checksum_ok);
	EXPECT_TRUE(a->result.empty());
	// A failed ioctl reads as the value 1, indistinguishable from a reading.
	phone.set_board("battery.present", "1");
	phone.set_board("battery.ioctl_result", "-1000");
	EXPECT_EQ(adc_result(phone, 0x01), (std::vector<uint8_t>{0x01, 0x00}));
}

TEST(Adc, PlainAnswersErrorOnlyForTheValueOne)
{
	SimPhone phone;
	EXPECT_EQ(phone.ask("AT+ADC=BATTERY\n"), "OK\n");
	EXPECT_NE(phone.file("/data/ftm.log").find("Get value: 0x0ed8"), std::string::npos);
	EXPECT_EQ(phone.ask("at+adc=battery\n"), "OK\n");
	phone.set_board("battery.ioctl_result", "-998");
	EXPECT_EQ(phone.ask("AT+ADC=BATTERY\n"), "ERROR\n");
	EXPECT_NE(phone.file("/data/ftm.log").find("Transfer data from kernel error"), std::string::npos);
	// A true reading of 1 mV cannot be told from a failure.
	phone.set_board("battery.ioctl_result", "0");
	phone.set_board("battery.voltage_mv", "1");
	EXPECT_EQ(phone.ask("AT+ADC=BATTERY\n"), "ERROR\n");
}

TEST(BatteryId, AlwaysOkWithTheIdInTheLog)
{
	SimPhone phone({.board = {{"battery.id", "0x5c"}}});
	EXPECT_EQ(phone.ask("AT+BIC\n"), "OK\n");
	EXPECT_NE(phone.file("/data/ftm.log").find("BID = 5c, "), std::string::npos);
	phone.set_board("battery.ioctl_result", "-999");
	EXPECT_EQ(phone.ask("AT+BIC\n"), "OK\n");
	std::string log = phone.file("/data/ftm.log");
	EXPECT_NE(log.find("Unknow command"), std::string::npos);
	EXPECT_NE(log.find("BID = 01, "), std::string::npos);
}

// Pin levels of the charge selector as the GPIO device keeps them.
std::string charge_pins(SimPhone &phone)
{
	std::string state = phone.file("/var/ftmgpio"), out;
	for (const char *pin : {"pin.33=", "pin.26=", "pin.123="}) {
		size_t at = state.find(std::string("\n") + pin);
		out += at == std::string::npos ? "?" : state.substr(state.find(',', at) + 1, 1);
	}
	return out;
}

TEST(Charge, EachCurrentSelectsItsRow)
{
	SimPhone phone;
	EXPECT_EQ(phone.ask("AT+CHARGE=1000\n"), "OK\n");
	EXPECT_EQ(charge_pins(phone), "011");
	EXPECT_EQ(phone.ask("AT+CHARGE=500\n"), "OK\n");
	EXPECT_EQ(charge_pins(phone), "001");
	// "=1000" is tried before "=100", so this is its own row.
	EXPECT_EQ(phone.ask("AT+CHARGE=100\n"), "OK\n");
	EXPECT_EQ(charge_pins(phone), "000");
	EXPECT_EQ(phone.ask("AT+NOCHARGE\n"), "OK\n");
	EXPECT_EQ(charge_pins(phone), "100");
	EXPECT_EQ(phone.ask("AT+CHARGE=50\n"), "ERROR\n");
	EXPECT_EQ(phone.ask("AT+CHARGE\n"), "ERROR\n");
	EXPECT_EQ(charge_pins(phone), "100");
}

TEST(Charge, WithoutTheGpioDeviceIsAnError)
{
	SimPhone phone({.board = {{"gpio.absent", "1"}}});
	EXPECT_EQ(phone.ask("AT+CHARGE=500\n"), "ERROR\n");
	EXPECT_EQ(phone.ask("AT+NOCHARGE\n"), "ERROR\n");
	EXPECT_NE(phone.file("/data/ftm.log").find("GPIO init fail"), std::string::npos);
}

}  // namespace
