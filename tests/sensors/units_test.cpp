// Daemon code run in the test process on a local board: the hook-switch
// handlers that no table row names, and the compass's digit writer.
// The hook-switch test sleeps 1 s on the phone: time.scale is 0.01.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "factory/local_board.h"
#include "ftm/tapp.h"
#include "hal/sensors.h"

namespace {

void prepare()
{
	factory_test::set_local("time.scale", "0.01");
	factory_test::clear_kernel_log();
}

}  // namespace

TEST(HookSwitchHandlers, FramedAndPlainFormsOfThePin)
{
	prepare();
	factory_test::set_local("gpio.pin.94", "1");
	ftm::tapp_record r{};
	EXPECT_EQ(ftm::tapp_hookswitch_test(&r), 0);
	EXPECT_STREQ(r.result, "00");
	EXPECT_EQ(r.result_len, 1);
	EXPECT_EQ(ftm::at_hookswitch_test(&r), 0);

	factory_test::set_local("gpio.pin.94", "0");
	ftm::tapp_record low{};
	EXPECT_EQ(ftm::tapp_hookswitch_test(&low), 0);  // the verdict is in the result only
	EXPECT_STREQ(low.result, "01");
	EXPECT_EQ(ftm::at_hookswitch_test(&low), 1);
	std::string log = factory_test::kernel_log();
	EXPECT_NE(log.find("Vibrator test\n"), std::string::npos);
	EXPECT_NE(log.find("Hook Switch test\n"), std::string::npos);
	EXPECT_NE(log.find("Hook Switch status = 1\n"), std::string::npos);
}

TEST(CompassDigits, WidthDigitsFromTheRightWithoutTerminator)
{
	char text[8];
	std::memset(text, '#', sizeof text);
	hal::itoa(677, text, 4);
	EXPECT_EQ(std::string(text, 5), "0677#");
	hal::itoa(12345, text, 4);
	EXPECT_EQ(std::string(text, 5), "2345#");
	hal::itoa(0, text, 2);
	EXPECT_EQ(std::string(text, 5), "0045#");
}
