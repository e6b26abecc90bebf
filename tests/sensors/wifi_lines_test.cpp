// The transmit command lines word for word, leading blank and tab included,
// and the mapping of the station's channel and rate to the tool's.
#include <gtest/gtest.h>

#include <string>

#include "hal/wifi.h"

namespace {

std::string line(int on, int16_t txmode, int16_t channel = 6, int16_t rate = 2, int16_t power = 12)
{
	hal::wifi_settings s{};
	s.txmode = txmode;
	s.channel = channel;
	s.datarate = rate;
	s.txpower = power;
	char out[hal::WIFI_CMD_LINE];
	std::fill(std::begin(out), std::end(out), 'X');
	return hal::wifi_txmode_line(on, s, out) ? std::string(out) : std::string("none");
}

}  // namespace

TEST(WifiLines, EveryFormByteForByte)
{
	EXPECT_EQ(line(1, 0), " cd /system/bin/;./athtestcmd -i wlan0 --tx tx99 --txfreq 2437 --txrate 1 --txpwr 12 "
	                      "--txantenna 1");
	EXPECT_EQ(line(1, 1), " cd /system/bin/;./athtestcmd -i wlan0 --tx tx100 --txfreq 2437 --txrate 1 --txpwr 12 "
	                      "--txantenna 1");
	EXPECT_EQ(line(1, 2), " cd /system/bin/;./athtestcmd -i wlan0 --tx sine --txfreq 2437 --txrate 1 --txpwr 12 "
	                      "--txantenna 1");
	EXPECT_EQ(line(1, 3), " cd /system/bin/;./athtestcmd -i wlan0 --tx tx100 --txfreq 2437 --txrate 1 --txpwr 12 "
	                      "--txpattern 2 --scrambleroff \t--txantenna 1");
	EXPECT_EQ(line(0, 3), " cd /system/bin/;./athtestcmd -i wlan0 --tx off --txfreq 2437 --txrate 1 --txpwr 12 "
	                      "--txantenna 1");
	EXPECT_EQ(line(0, -4), line(0, 0));
	EXPECT_EQ(line(1, 4), "none");
	EXPECT_EQ(line(1, -1), "none");
	EXPECT_EQ(line(2, 0), "none");
	// The widest numbers still fit the 150-byte limit whole.
	std::string wide = line(1, 3, -32768, -32768, -32768);
	EXPECT_EQ(wide.size(), 141u);
	EXPECT_TRUE(wide.ends_with("--txpwr -32768 --txpattern 2 --scrambleroff \t--txantenna 1"));
}

TEST(WifiLines, FrequencyAndRateMapping)
{
	hal::wifi_settings s{};
	s.channel = 1;
	EXPECT_EQ(hal::wifi_freq(s), 2412);
	s.channel = 13;
	EXPECT_EQ(hal::wifi_freq(s), 2472);
	for (auto [station, tool] : {std::pair{1, 0}, {4, 3}, {5, 3}, {6, 4}, {0, -1}}) {
		s.datarate = static_cast<int16_t>(station);
		EXPECT_EQ(hal::wifi_rate(s), tool) << station;
	}
}
