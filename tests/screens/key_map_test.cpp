// The key map whole: every raw code the keypad can send and the station's
// key number it becomes, typed pair by pair from the station's own table.
#include <gtest/gtest.h>
#include <map>

#include "hal/input.h"

namespace {

struct pair {
	uint16_t raw, reported;
};

// In search order; 192 appears twice and its second pair never matches.
constexpr pair kStationKeys[] = {
	{30, 35}, {48, 36}, {46, 37}, {32, 38}, {18, 39}, {33, 40}, {34, 41}, {35, 42}, {23, 43}, {36, 44},
	{37, 45}, {38, 46}, {50, 47}, {49, 48}, {24, 49}, {25, 50}, {16, 51}, {19, 52}, {31, 53}, {20, 54},
	{22, 55}, {47, 56}, {17, 57}, {45, 58}, {21, 59}, {44, 60}, {103, 9}, {108, 10}, {105, 11}, {106, 12},
	{353, 13}, {128, 1}, {115, 2}, {114, 3}, {183, 4}, {212, 5}, {231, 6}, {107, 7}, {352, 8}, {158, 14},
	{28, 15}, {57, 16}, {52, 17}, {59, 18}, {102, 19}, {51, 20}, {60, 21}, {193, 21}, {11, 22}, {2, 23},
	{3, 24}, {4, 25}, {5, 26}, {6, 27}, {7, 28}, {8, 29}, {9, 30}, {10, 31}, {55, 32}, {228, 33},
	{127, 34}, {139, 61}, {191, 62}, {14, 63}, {56, 64}, {42, 65}, {192, 66}, {194, 67}, {97, 68}, {217, 69},
	{229, 70}, {192, 71}, {272, 8}, {116, 1},
};

uint16_t remap(uint16_t raw)
{
	hal::keycode_remap(&raw);
	return raw;
}

TEST(KeyMap, EveryPairOfTheStationsTable)
{
	static_assert(std::size(kStationKeys) == 74);
	std::map<uint16_t, uint16_t> first;
	for (const pair &p : kStationKeys)
		first.emplace(p.raw, p.reported);
	for (const pair &p : kStationKeys)
		EXPECT_EQ(remap(p.raw), first.at(p.raw)) << "raw " << p.raw;
	EXPECT_EQ(remap(192), 66);
}

TEST(KeyMap, CodesOutsideTheTablePassUnchanged)
{
	for (uint16_t raw = 0; raw < 400; ++raw) {
		bool mapped = false;
		for (const pair &p : kStationKeys)
			mapped = mapped || p.raw == raw;
		if (!mapped) {
			EXPECT_EQ(remap(raw), raw);
		}
	}
	EXPECT_EQ(remap(0xFFFF), 0xFFFF);
}

}  // namespace
