// The version screen and the FQC menu, driven through the key device as an
// operator would, read back from the board's framebuffer file.
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "screen_support.h"

namespace screens_test {
namespace {

// The row drawn in red, or -1 if none or several are.
int selected_row(const image &img)
{
	int found = -1;
	for (int row = 0; row < 11; ++row) {
		int y = 10 + 13 * row;
		if (count(img, kRed, 0, y, img.width, y + 8) > 0) {
			if (found != -1)
				return -1;
			found = row;
		}
	}
	return found;
}

// A version file of the test's own, with no '~' (so no hardware version is
// spliced in), for pictures that do not depend on the GPIO device.
constexpr char kPlainVersion[] = "FTM SIM 2.0\nMODEL:GOLDEN";

void boot_with_version(SimPhone &phone, const std::string &text)
{
	{
		std::ofstream out(phone.path("/ftm/version.ftm"), std::ios::binary | std::ios::trunc);
		out << text;
	}
	ASSERT_EQ(phone.boot(), "FTMModeReady\n");
}

TEST(VersionScreen, ShowsTheVersionFileAndTheWayOut)
{
	SimPhone phone(SimPhone::Setup{.start = false});
	boot_with_version(phone, kPlainVersion);
	image img = panel(phone);
	EXPECT_TRUE(matches_golden(img, "version"));
	// Scale 2 text in white, nothing red.
	EXPECT_GT(count(img, kWhite, 0, 100, img.width, 300), 1000);
	EXPECT_EQ(count(img, kRed, 0, 0, img.width, img.height), 0);
}

// The first two '~' end lines, and the board's hardware version follows the
// third field's 6-character label. This board has no way to read the
// version, so it shows "XX".
TEST(VersionScreen, SplicesTheHardwareVersionBehindTheThirdLabel)
{
	SimPhone stock(SimPhone::Setup{.board = {{"gpio.hw_version", "1A7"}}});
	ASSERT_EQ(stock.file("/ftm/version.ftm"), "SW:FTM-1.0.3~MODEL:ARM11-PHONE~HWVER:~");
	SimPhone spelled(SimPhone::Setup{.start = false});
	boot_with_version(spelled, "SW:FTM-1.0.3\nMODEL:ARM11-PHONE\nHWVER:1A7");
	EXPECT_TRUE(panel(stock).rgb == panel(spelled).rgb);

	// A failing version read shows XX in its place.
	SimPhone failing(SimPhone::Setup{.board = {{"gpio.fail.hw_ver", "1"}}});
	SimPhone xx(SimPhone::Setup{.start = false});
	boot_with_version(xx, "SW:FTM-1.0.3\nMODEL:ARM11-PHONE\nHWVER:XX");
	EXPECT_TRUE(panel(failing).rgb == panel(xx).rgb);
	EXPECT_FALSE(panel(failing).rgb == panel(stock).rgb);
}

TEST(VersionScreen, TextIsDrawnAsReadAndCutAt256Bytes)
{
	SimPhone phone(SimPhone::Setup{.start = false});
	boot_with_version(phone, "%s%n%d" + std::string(400, 'W'));
	image img = panel(phone);
	SimPhone cut(SimPhone::Setup{.start = false});
	boot_with_version(cut, "%s%n%d" + std::string(250, 'W'));
	EXPECT_TRUE(img.rgb == panel(cut).rgb);
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
}

TEST(VersionScreen, AMissingVersionFileLeavesTheScreenAndTheDaemonWorksOn)
{
	SimPhone phone(SimPhone::Setup{.start = false});
	ASSERT_EQ(std::remove(phone.path("/ftm/version.ftm").c_str()), 0);
	ASSERT_EQ(phone.boot(), "FTMModeReady\n");
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
	EXPECT_EQ(phone.file("/dev/graphics/fb0").find_first_not_of('\0'), std::string::npos);
	EXPECT_EQ(phone.ask("AT+LCD=W\n"), "OK\n");
	EXPECT_EQ(count(panel(phone), kWhite, 0, 0, 800, 480), 800 * 480);
}

TEST(FqcMenu, FivePressesOfEachKeyEnterItAndFourDoNot)
{
	SimPhone phone;
	image start = panel(phone);
	for (int i = 0; i < 5; ++i)
		key(phone, 100);
	for (int i = 0; i < 4; ++i)
		key(phone, 229);
	key(phone, 108);  // not yet a menu key
	EXPECT_TRUE(panel(phone).rgb == start.rgb);
	key(phone, 229);
	image menu = panel(phone);
	EXPECT_TRUE(matches_golden(menu, "menu"));
	EXPECT_EQ(selected_row(menu), 0);
}

TEST(FqcMenu, KeysMoveTheSelectionWrapAndGoBackToTheTop)
{
	SimPhone phone;
	enter_fqc(phone);
	struct Step {
		int code;
		int row;
	};
	const Step steps[] = {
	    {103, 10}, {103, 9}, {108, 10}, {108, 0}, {114, 1}, {114, 2}, {115, 1},
	    {14, 0},   {108, 1}, {108, 2},  {158, 0}, {115, 10}, {14, 0},
	};
	for (const Step &s : steps) {
		key(phone, s.code);
		EXPECT_EQ(selected_row(panel(phone)), s.row) << "after key " << s.code;
	}
	key(phone, 115);
	EXPECT_TRUE(matches_golden(panel(phone), "menu_row10"));
}

TEST(FqcMenu, RowsWithoutATestDoNothingWhenSelected)
{
	SimPhone phone;
	enter_fqc(phone);
	for (int row = 0; row <= 6; ++row) {
		if (row == 1)
			continue;  // the version screen
		while (selected_row(panel(phone)) != row) {
			key(phone, 108);
		}
		image before = panel(phone);
		key(phone, row % 2 ? 28 : 231);
		EXPECT_TRUE(panel(phone).rgb == before.rgb) << "row " << row;
	}
}

TEST(FqcMenu, RowOneShowsTheVersionScreenAndABackKeyTheMenu)
{
	SimPhone phone(SimPhone::Setup{.start = false});
	boot_with_version(phone, kPlainVersion);
	enter_fqc(phone);
	key(phone, 108);
	key(phone, 28);
	image img = panel(phone);
	EXPECT_TRUE(matches_golden(img, "version_from_menu"));
	EXPECT_EQ(count(img, kRed, 0, 0, img.width, img.height), 0);
	key(phone, 158);
	EXPECT_TRUE(matches_golden(panel(phone), "menu"));
}

// The LCD row holds each pattern 2 s; the board runs 100 times fast here
// (time.scale 0.01).
TEST(FqcMenu, LcdRowRunsThePatternsAndEndsOnTheBands)
{
	SimPhone phone(SimPhone::Setup{.board = {{"time.scale", "0.01"}}});
	enter_fqc(phone);
	for (int i = 0; i < 7; ++i)
		key(phone, 108);
	key(phone, 28);
	image img = panel(phone);
	for (int y = 0; y < 480; y += 7) {
		rgb8 want = y < 96 ? kRed : y < 192 ? kGreen : y < 288 ? kBlue : y < 384 ? kBlack : kWhite;
		EXPECT_EQ(count(img, want, 0, y, 800, y + 1), 800) << "row " << y;
	}
	key(phone, 14);
	EXPECT_TRUE(matches_golden(panel(phone), "menu"));
}

TEST(FqcMenu, AStationPatternDrawsOverTheMenuAndTheNextKeyRedrawsIt)
{
	SimPhone phone;
	enter_fqc(phone);
	ASSERT_EQ(phone.ask("AT+LCD=G\n"), "OK\n");
	EXPECT_EQ(count(panel(phone), kGreen, 0, 0, 800, 480), 800 * 480);
	key(phone, 108);
	EXPECT_EQ(selected_row(panel(phone)), 1);
}

}  // namespace
}  // namespace screens_test
