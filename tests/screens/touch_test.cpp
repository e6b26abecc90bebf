// The touch panel test: the target grid, the reports a station reads and
// the FQC form that ends back in the menu.
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "hal/touch.h"
#include "screen_support.h"
#include "station/link.h"

namespace screens_test {
namespace {

// The report a touch at (x, y) gives, read up to the answer of an AT sent
// behind it.
std::string report_of(SimPhone &phone, int x, int y)
{
	phone.touch(x, y);
	wait_taken(phone, 1);
	return phone.ask("AT\n");
}

std::string report_of_key(SimPhone &phone, int code)
{
	phone.input_event(1, 1, code, 1);
	wait_taken(phone, 1);
	return phone.ask("AT\n");
}

// Block centres of the default 800 x 480 panel: 3 x 3 blocks of 266 x 160.
constexpr int kCx[3] = {132, 398, 664};
constexpr int kCy[3] = {79, 239, 399};

bool marked(const image &img, int x, int y) { return !(img.at(x, y) == kBlack); }

TEST(TouchTest, CoordinateModeDrawsNineTargetsAndReportsRawCoordinates)
{
	SimPhone phone;
	ASSERT_EQ(phone.ask("AT%TPNTEST=1,2\n"), "OK\n");
	image grid = panel(phone);
	EXPECT_TRUE(matches_golden(grid, "touch_grid9"));
	// Each target is a white cross of 9 by 9 pixels, one wide, and nothing else.
	EXPECT_EQ(count(grid, kWhite, 0, 0, 800, 480), 9 * 17);
	for (int r = 0; r < 3; ++r)
		for (int c = 0; c < 3; ++c) {
			EXPECT_EQ(grid.at(kCx[c], kCy[r]), kWhite);
			EXPECT_EQ(grid.at(kCx[c] - 4, kCy[r]), kWhite);
			EXPECT_EQ(grid.at(kCx[c], kCy[r] + 4), kWhite);
		}
	EXPECT_EQ(report_of(phone, 100, 200), "%TPN:(100,200)~\nOK\n");
	EXPECT_EQ(report_of(phone, 0, 479), "%TPN:(0,479)~\nOK\n");
	EXPECT_EQ(report_of(phone, 799, 0), "%TPN:(799,0)~\nOK\n");
}

TEST(TouchTest, ATouchNearATargetColoursItsBlockAndOneFarFromItDoesNot)
{
	SimPhone phone;
	ASSERT_EQ(phone.ask("AT%TPNTEST=1,2\n"), "OK\n");
	EXPECT_EQ(report_of(phone, kCx[0] + 100, kCy[0] - 100), "%TPN:(232,-21)~\nOK\n");
	EXPECT_EQ(report_of(phone, kCx[1] + 150, kCy[0]), "%TPN:(548,79)~\nOK\n");
	image img = panel(phone);
	EXPECT_FALSE(marked(img, 0, 0));
	EXPECT_FALSE(marked(img, 267, 1));
	EXPECT_EQ(report_of(phone, kCx[0] + 100, kCy[0] + 80), "%TPN:(232,159)~\nOK\n");
	img = panel(phone);
	// The whole block takes one colour, crosses included; its neighbours none.
	rgb8 c = img.at(0, 0);
	EXPECT_TRUE(marked(img, 0, 0));
	EXPECT_EQ(count(img, c, 0, 0, 266, 160), 266 * 160);
	EXPECT_FALSE(marked(img, 266, 0));
	EXPECT_FALSE(marked(img, 0, 160));
}

TEST(TouchTest, CoordinatesOffThePanelAreReportedAndMarkNothing)
{
	SimPhone phone;
	ASSERT_EQ(phone.ask("AT%TPNTEST=1,2\n"), "OK\n");
	image grid = panel(phone);
	for (auto [x, y] : {std::pair{5000, 100}, {100, 100000}, {-7, 20}, {800, 480}, {-2147483647, 2147483647}}) {
		std::string want = "%TPN:(" + std::to_string(x) + "," + std::to_string(y) + ")~\nOK\n";
		EXPECT_EQ(report_of(phone, x, y), want);
	}
	EXPECT_TRUE(panel(phone).rgb == grid.rgb);
}

TEST(TouchTest, APanelRangeUnlikeTheScreenIsScaledAndItsEdgesStayInTheGrid)
{
	SimPhone phone(SimPhone::Setup{.board = {{"touch.x_min", "100"}, {"touch.x_max", "1699"},
	                                         {"touch.y_min", "0"}, {"touch.y_max", "959"}}});
	ASSERT_EQ(phone.ask("AT%TPNTEST=1,2\n"), "OK\n");
	// Twice the screen in each axis, x shifted by 100.
	EXPECT_EQ(report_of(phone, 100 + 2 * kCx[2], 2 * kCy[2]), "%TPN:(1428,798)~\nOK\n");
	EXPECT_TRUE(marked(panel(phone), 797, 479));  // blocks are 266 wide: 798 and 799 lie in none
	EXPECT_EQ(report_of(phone, 1699, 959), "%TPN:(1699,959)~\nOK\n");
	EXPECT_EQ(report_of(phone, 1700, 960), "%TPN:(1700,960)~\nOK\n");
	EXPECT_EQ(report_of(phone, 99, 0), "%TPN:(99,0)~\nOK\n");
	EXPECT_FALSE(marked(panel(phone), 0, 0));
}

TEST(TouchTest, CapModeReportsTheRegionOfAThreeByThreeDivision)
{
	SimPhone phone;
	ASSERT_EQ(phone.ask("AT%TPNTEST=1,1\n"), "OK\n");
	struct Case {
		int x, y, region;
	};
	// Width 800: columns split at 266 and 533; height 480: rows at 160 and 320.
	for (const Case &c : {Case{265, 0, 1}, {266, 0, 2}, {532, 159, 2}, {533, 159, 3}, {0, 160, 4},
	                      {400, 240, 5}, {799, 319, 6}, {0, 320, 7}, {400, 479, 8}, {799, 479, 9},
	                      {900, 100, 9}, {-1, -1, 9}, {300, 200, 5}, {100, 5000, 5}}) {
		std::string want = "%TPN:(" + std::to_string(c.region) + ")~\nOK\n";
		EXPECT_EQ(report_of(phone, c.x, c.y), want) << c.x << "," << c.y;
	}
}

TEST(TouchTest, VirtualKeysAreReportedByTheirIndex)
{
	SimPhone phone;
	ASSERT_EQ(phone.ask("AT%TPNTEST=1,3\n"), "OK\n");
	EXPECT_EQ(count(panel(phone), kWhite, 0, 0, 800, 480), 16 * 17);
	for (auto [code, index] : {std::pair{229, 0}, {102, 1}, {217, 1}, {192, 2}, {158, 3}})
		EXPECT_EQ(report_of_key(phone, code), "%TPN:(" + std::to_string(index) + ")~\nOK\n") << code;
	EXPECT_EQ(report_of_key(phone, 231), "OK\n");
	// Touches are not reported in this mode.
	EXPECT_EQ(report_of(phone, 10, 10), "OK\n");

	ASSERT_EQ(phone.ask("AT%TPNTEST=1,4\n"), "OK\n");
	EXPECT_EQ(count(panel(phone), kWhite, 0, 0, 800, 480), 9 * 17);
	for (auto [code, index] : {std::pair{229, 0}, {217, 1}, {158, 3}, {231, 5}, {107, 6}})
		EXPECT_EQ(report_of_key(phone, code), "%TPN:(" + std::to_string(index) + ")~\nOK\n") << code;
	EXPECT_EQ(report_of_key(phone, 192), "OK\n");
}

TEST(TouchTest, EndingTheTestClearsTheScreenAndOtherParametersKeepTheGrid)
{
	SimPhone phone;
	ASSERT_EQ(phone.ask("AT%TPNTEST=1,2\n"), "OK\n");
	image grid = panel(phone);
	ASSERT_EQ(phone.ask("AT%TPNTEST=7\n"), "OK\n");
	EXPECT_EQ(report_of(phone, 100, 100), "OK\n");
	EXPECT_TRUE(panel(phone).rgb == grid.rgb);
	ASSERT_EQ(phone.ask("AT%TPNTEST=1,2\n"), "OK\n");
	ASSERT_EQ(phone.ask("AT%TPNTEST=1,0\n"), "OK\n");
	EXPECT_EQ(count(panel(phone), kBlack, 0, 0, 800, 480), 800 * 480);
	EXPECT_EQ(report_of(phone, 100, 100), "OK\n");
}

TEST(TouchTest, WithoutThePanelRangeNoTargetsAreDrawnAndNothingIsReported)
{
	SimPhone phone(SimPhone::Setup{.board = {{"touch.abs_fail", "1"}}});
	ASSERT_EQ(phone.ask("AT+LCD=B\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT%TPNTEST=1,2\n"), "OK\n");
	EXPECT_EQ(report_of(phone, 100, 100), "OK\n");
	EXPECT_EQ(count(panel(phone), kBlue, 0, 0, 800, 480), 800 * 480);
	EXPECT_NE(phone.file("/data/ftm.log").find("can not get touchpad ABS_X information\n"), std::string::npos);
}

// The heap refuses the test's memory: the environment first, then the nine
// blocks. Either way no grid is drawn and touches report nothing.
TEST(TouchTest, WithoutMemoryNoTargetsAreDrawnAndNothingIsReported)
{
	const std::pair<size_t, const char *> refusals[] = {
	    {sizeof(hal::touch_env), "can not allocate memory for touchpanel enviroment\n"},
	    {9 * sizeof(hal::touch_block), "can not allocate memory for block information\n"}};
	for (const auto &[size, trace] : refusals) {
		SCOPED_TRACE(trace);
		SimPhone phone(SimPhone::Setup{.board = {{"mem.fail_sizes", std::to_string(size)}}});
		ASSERT_EQ(phone.ask("AT+LCD=B\n"), "OK\n");
		EXPECT_EQ(phone.ask("AT%TPNTEST=1,2\n"), "OK\n");
		EXPECT_EQ(report_of(phone, 100, 100), "OK\n");
		EXPECT_EQ(count(panel(phone), kBlue, 0, 0, 800, 480), 800 * 480);
		EXPECT_NE(phone.file("/data/ftm.log").find(trace), std::string::npos);
	}
}

// Hitting all targets ends the test after a second; the board runs 100
// times fast here (time.scale 0.01).
TEST(TouchTest, InFqcHittingEveryTargetEndsBackInTheMenu)
{
	SimPhone phone(SimPhone::Setup{.board = {{"time.scale", "0.01"}}});
	ASSERT_EQ(phone.ask("AT%TPNTEST=1,2\n"), "OK\n");
	enter_fqc(phone);
	ASSERT_TRUE(matches_golden(panel(phone), "menu"));
	// Ten times stricter than the station's test: 11 pixels off misses.
	touch(phone, kCx[0] + 11, kCy[0]);
	EXPECT_FALSE(marked(panel(phone), 0, 479 - 1));
	for (int r = 0; r < 3; ++r)
		for (int c = 0; c < 3; ++c) {
			if (r == 2 && c == 2)
				continue;
			touch(phone, kCx[c] + 10, kCy[r] - 10);
			EXPECT_TRUE(marked(panel(phone), kCx[c] - 100, kCy[r] + 50)) << r << "," << c;
		}
	// Nothing goes to the station in FQC.
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
	touch(phone, kCx[2], kCy[2]);
	EXPECT_TRUE(matches_golden(panel(phone), "menu"));
	// The test is over: touches do nothing, keys move the menu.
	touch(phone, kCx[0], kCy[0]);
	EXPECT_TRUE(matches_golden(panel(phone), "menu"));
	key(phone, 108);
	EXPECT_EQ(count(panel(phone), kRed, 0, 23, 800, 31), count(panel(phone), kRed, 0, 0, 800, 480));
}

}  // namespace
}  // namespace screens_test
