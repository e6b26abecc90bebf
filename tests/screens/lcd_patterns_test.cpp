// AT+LCD and its framed form, read back from the board's framebuffer file.
#include <fstream>
#include <functional>
#include <iterator>
#include <vector>

#include "screen_support.h"
#include "station/tapp_frame.h"

namespace screens_test {
namespace {

using Expect = std::function<rgb8(int x, int y, int w, int h)>;

rgb8 tone(int, int y, int, int h)
{
	int band = h / 5;
	return y < band ? kRed : y < 2 * band ? kGreen : y < 3 * band ? kBlue : y < 4 * band ? kBlack : kWhite;
}

rgb8 bars(int x, int, int w, int)
{
	int bar = w / 3;
	return x < bar ? kRed : x < 2 * bar ? kGreen : kBlue;
}

Expect fill(rgb8 c)
{
	return [c](int, int, int, int) { return c; };
}

::testing::AssertionResult shows(const image &img, const Expect &expect)
{
	if (img.width == 0)
		return ::testing::AssertionFailure() << "no panel";
	for (int y = 0; y < img.height; ++y)
		for (int x = 0; x < img.width; ++x) {
			rgb8 want = expect(x, y, img.width, img.height);
			if (!(img.at(x, y) == want))
				return ::testing::AssertionFailure()
				       << "pixel (" << x << ", " << y << ") is " << int(img.at(x, y).r) << "," << int(img.at(x, y).g)
				       << "," << int(img.at(x, y).b) << ", want " << int(want.r) << "," << int(want.g) << ","
				       << int(want.b);
		}
	return ::testing::AssertionSuccess();
}

struct Case {
	const char *command;
	Expect expect;
};

TEST(LcdPatterns, EachParameterPaintsItsPatternOverTheWholePanel)
{
	SimPhone phone;
	const Case cases[] = {
	    {"AT+LCD=W\n", fill(kWhite)},  {"AT+LCD=R\n", fill(kRed)},     {"AT+LCD=BB\n", fill(kBlack)},
	    {"AT+LCD=G\n", fill(kGreen)},  {"AT+LCD=B\n", fill(kBlue)},    {"AT+LCD=T\n", tone},
	    {"AT+LCD=RGB\n", bars},        {"AT+LCD=W\n", fill(kWhite)},   {"AT+LCD=RESET\n", fill(kBlack)},
	    {"at+lcd=rgb\n", bars},        {"AT+LCD=X\n", fill(kBlack)},
	};
	for (const Case &c : cases) {
		SCOPED_TRACE(c.command);
		EXPECT_EQ(phone.ask(c.command), "OK\n");
		EXPECT_TRUE(shows(panel(phone), c.expect));
	}
}

TEST(LcdPatterns, BarsThatHaveNoPatternAnswerErrorAndLeaveTheScreen)
{
	SimPhone phone;
	ASSERT_EQ(phone.ask("AT+LCD=G\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+LCD=HB\n"), "ERROR\n");
	EXPECT_EQ(phone.ask("AT+LCD=VB\n"), "ERROR\n");
	EXPECT_TRUE(shows(panel(phone), fill(kGreen)));
	EXPECT_EQ(phone.ask("AT+LCD=HELP\n"), "OK\n");
	EXPECT_TRUE(shows(panel(phone), fill(kGreen)));
	EXPECT_NE(phone.file("ftmd.out").find("Usage = AT+LCD=<option> \n \t\t\t\tW  = white\n"), std::string::npos);
}

TEST(LcdPatterns, FramedFormAnswersOneForDoneAndZeroForNoPattern)
{
	SimPhone phone;
	auto ask = [&](uint8_t pattern) {
		auto a = station::decode_answer(phone.ask(station::bb_frame(1, 0x8, {pattern, 0x55})));
		EXPECT_TRUE(a && a->checksum_ok);
		return a ? a->result : std::vector<uint8_t>{};
	};
	EXPECT_EQ(ask(8), std::vector<uint8_t>{0x01});
	EXPECT_TRUE(shows(panel(phone), bars));
	EXPECT_EQ(ask(2), std::vector<uint8_t>{0x01});
	EXPECT_TRUE(shows(panel(phone), tone));
	for (uint8_t bad : {3, 4, 10, 0xFF})
		EXPECT_EQ(ask(bad), std::vector<uint8_t>{0x00}) << int(bad);
	EXPECT_TRUE(shows(panel(phone), tone));
}

TEST(LcdPatterns, DeeperPanelsGetTheSamePatterns)
{
	for (const char *bpp : {"24", "18"}) {
		SCOPED_TRACE(bpp);
		SimPhone phone(SimPhone::Setup{.board = {{"lcd.bpp", bpp}, {"lcd.width", "240"}, {"lcd.height", "100"}}});
		ASSERT_EQ(phone.ask("AT+LCD=T\n"), "OK\n");
		image img = panel(phone);
		ASSERT_EQ(img.width, 240);
		if (std::string(bpp) == "18") {
			// A pixel's third byte is overwritten by its right neighbour's
			// low byte: check each pixel's own two bytes, and the last whole.
			std::ifstream in(phone.path("/dev/graphics/fb0"), std::ios::binary);
			std::vector<uint8_t> fb((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
			ASSERT_GE(fb.size(), size_t{2 * 240 * 100 + 1});
			auto value18 = [](rgb8 c) { return uint32_t(c.r & 63) << 12 | uint32_t(c.g & 63) << 6 | (c.b & 63); };
			for (int y = 0; y < 100; ++y)
				for (int x = 0; x < 240; ++x) {
					size_t off = 2 * size_t(x + 240 * y);
					uint32_t want = value18(tone(x, y, 240, 100));
					ASSERT_EQ(fb[off] | fb[off + 1] << 8, int(want & 0xFFFF)) << x << "," << y;
				}
			EXPECT_EQ(img.at(239, 99), kWhite);
		} else {
			EXPECT_TRUE(shows(img, tone));
		}
		EXPECT_EQ(std::ifstream(phone.path("/dev/graphics/fb0"), std::ios::ate).tellg(),
		          std::streamoff(240 * 100 * std::stoi(bpp) / 8));
	}
}

TEST(LcdPatterns, APanelFileOfTheWrongSizeIsMadeOneFrame)
{
	SimPhone phone(SimPhone::Setup{.start = false});
	{
		std::ofstream junk(phone.path("/dev/graphics/fb0"), std::ios::binary | std::ios::trunc);
		junk << "too short";
	}
	EXPECT_EQ(phone.boot(), "FTMModeReady\n");
	EXPECT_EQ(phone.ask("AT+LCD=RGB\n"), "OK\n");
	EXPECT_TRUE(shows(panel(phone), bars));
}

TEST(LcdPatterns, WithoutAPanelTheTestFailsAndTheDaemonAnswersOn)
{
	SimPhone phone(SimPhone::Setup{.board = {{"lcd.present", "0"}}});
	EXPECT_EQ(phone.ask("AT+LCD=W\n"), "ERROR\n");
	auto a = station::decode_answer(phone.ask(station::bb_frame(1, 0x8, {0, 0})));
	ASSERT_TRUE(a);
	EXPECT_EQ(a->result, std::vector<uint8_t>{0x00});
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
	EXPECT_NE(phone.file("/data/ftm.log").find("Error: cannot open framebuffer device.\n"), std::string::npos);
}

TEST(LcdPatterns, AFailingPanIsTracedAndThePatternStillCounts)
{
	SimPhone phone(SimPhone::Setup{.board = {{"lcd.pan_fail", "1"}}});
	EXPECT_EQ(phone.ask("AT+LCD=B\n"), "OK\n");
	EXPECT_TRUE(shows(panel(phone), fill(kBlue)));
	EXPECT_NE(phone.file("/data/ftm.log").find("FBIOPAN_DISPLAY failed! line="), std::string::npos);
}

}  // namespace
}  // namespace screens_test
