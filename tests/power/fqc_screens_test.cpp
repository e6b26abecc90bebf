// The FQC screens of the power devices, run in the test process on a board
// of its own, with sleeps scaled down (time.scale 0.001). What they switch
// is read from the device models' records.
#include <gtest/gtest.h>

#include "factory/local_board.h"
#include "hal/backlight.h"
#include "hal/hal.h"
#include "hal/led.h"
#include "hal/mmc.h"
#include "platform/platform.h"

namespace {

using factory_test::local_board;
using factory_test::set_local;

class FastBoard : public ::testing::Environment {
public:
	void SetUp() override
	{
		local_board();
		set_local("time.scale", "0.001");  // read once, when the board is first used
		plat::init();
	}
};
const auto *const fast_board = ::testing::AddGlobalTestEnvironment(new FastBoard);

std::string record(const std::string &name) { return sim::Board::get().load_state(name); }

class FqcScreen : public ::testing::Test {
protected:
	void SetUp() override
	{
		hal::hal_reset_cache();
		for (const char *name : {"tca6507", "tca6507.log", "max7302", "max7302.log"})
			::unlink((local_board() + "/var/" + name).c_str());
	}
};

TEST_F(FqcScreen, LedTestLightsEachChannelThenDarkensEach)
{
	hal::fqc_led_test();
	// Channels go straight to the chip, not through the test-index map.
	EXPECT_EQ(record("tca6507.log"),
	          "on 0\non 1\non 2\non 3\non 4\non 5\non 6\noff 0\noff 1\noff 2\noff 3\noff 4\noff 5\noff 6\n");
	EXPECT_EQ(record("tca6507"), "0000000\n");
}

TEST_F(FqcScreen, BacklightTestAlternatesLcdAndKeypad)
{
	hal::fqc_backlight_test();
	EXPECT_EQ(record("max7302.log"), "level 0\nlevel 100\n");
	EXPECT_EQ(record("tca6507.log"), "on 0\non 1\non 2\non 5\non 6\noff 0\noff 1\noff 2\noff 5\noff 6\n");
}

// The card screen waits at most twenty one-second passes for the card to
// come and go; the transfer test in between leaves its file on the card.
TEST_F(FqcScreen, MemoryCardScreenEndsWithinItsPasses)
{
	set_local("mmc.card", "absent");
	hal::fqc_mmc_test();
	set_local("mmc.card", "present");
	::unlink((local_board() + "/var/card/ftm_test_mmc_transfer").c_str());
	hal::fqc_mmc_test();
	EXPECT_EQ(record("card/ftm_test_mmc_transfer"), "0123456789");
}

}  // namespace
