// The drawing layer over a framebuffer in memory: pixel layout at each
// depth, glyphs, and where draw_str puts text.
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "ftm/graphics.h"

namespace {

using ftm::gfx;

constexpr int kLitInA = 2 + 4 + 4 + 4 + 6 + 4 + 4;

// A panel in memory: the drawing layer sees it as already mapped.
class Panel : public ::testing::Test {
protected:
	void use(uint32_t width, uint32_t height, uint32_t bpp)
	{
		mem.assign(static_cast<size_t>(width) * height * bpp / 8, 0);
		gfx = {};
		gfx.fbp = mem.data();
		gfx.fb_len = mem.size();
		gfx.fbfd = 99;
		gfx.lcd_width = width;
		gfx.lcd_height = height;
		gfx.lcd_bpp = bpp;
	}
	void TearDown() override { gfx = {}; }

	uint32_t at16(int x, int y) const
	{
		size_t off = 2 * (static_cast<size_t>(y) * gfx.lcd_width + static_cast<size_t>(x));
		return mem[off] | mem[off + 1] << 8;
	}
	bool lit(int x, int y) const { return at16(x, y) != 0; }
	// The lit pixels of a rectangle as rows of '#' and '.'.
	std::string picture(int x0, int y0, int w, int h) const
	{
		std::string s;
		for (int y = y0; y < y0 + h; ++y) {
			for (int x = x0; x < x0 + w; ++x)
				s += lit(x, y) ? '#' : '.';
			s += '\n';
		}
		return s;
	}
	int lit_count() const
	{
		int n = 0;
		for (uint32_t y = 0; y < gfx.lcd_height; ++y)
			for (uint32_t x = 0; x < gfx.lcd_width; ++x)
				n += lit(static_cast<int>(x), static_cast<int>(y));
		return n;
	}

	std::vector<uint8_t> mem;
};

TEST_F(Panel, SixteenBitPixelsAreRgb565LowByteFirstWithChannelsMasked)
{
	use(4, 2, 16);
	ftm::draw(1, 1, 31, 63, 31);
	ftm::draw(2, 0, 255, 0, 0);  // 255 masks to full red
	ftm::draw(3, 0, 0, 1, 0);
	EXPECT_EQ(at16(1, 1), 0xFFFFu);
	EXPECT_EQ(at16(2, 0), 0xF800u);
	EXPECT_EQ(at16(3, 0), 0x0020u);
	EXPECT_EQ(mem[2 * 2], 0x00);
	EXPECT_EQ(mem[2 * 2 + 1], 0xF8);
	EXPECT_EQ(at16(0, 0), 0u);
}

TEST_F(Panel, TwentyFourBitPixelsAreThreeBytesBlueFirst)
{
	use(3, 2, 24);
	ftm::draw(2, 1, 0x12, 0x34, 0x56);
	size_t off = 3 * 2 + 3 * 3 * 1;
	EXPECT_EQ(mem[off], 0x56);
	EXPECT_EQ(mem[off + 1], 0x34);
	EXPECT_EQ(mem[off + 2], 0x12);
}

TEST_F(Panel, EighteenBitPixelsStepTwoBytesAndOverlapTheirRightNeighbour)
{
	use(4, 2, 18);
	ftm::draw(0, 0, 63, 0, 0);  // 0x3F000: bytes 00 F0 03
	EXPECT_EQ(mem[0], 0x00);
	EXPECT_EQ(mem[1], 0xF0);
	EXPECT_EQ(mem[2], 0x03);
	// The neighbour's low byte lands on the third byte of pixel 0.
	ftm::draw(1, 0, 0, 0, 0x2A);
	EXPECT_EQ(mem[2], 0x2A);
	EXPECT_EQ(mem[3], 0x00);
	EXPECT_EQ(mem[4], 0x00);
	// A row is width * 2 bytes on.
	ftm::draw(0, 1, 0, 0, 1);
	EXPECT_EQ(mem[8], 0x01);
}

TEST_F(Panel, OtherDepthsStoreNothing)
{
	use(2, 2, 32);
	ftm::draw(0, 0, 255, 255, 255);
	EXPECT_EQ(std::vector<uint8_t>(mem.size(), 0), mem);
}

TEST_F(Panel, PixelsOffThePanelAreDroppedNotWrappedOrWrittenPastTheMapping)
{
	use(4, 3, 16);
	for (auto [x, y] : {std::pair{4, 0}, {-1, 0}, {0, 3}, {0, -1}, {1000000, 1000000}, {-70000, 2}})
		ftm::draw(x, y, 31, 63, 31);
	EXPECT_EQ(lit_count(), 0);
	// A mapping shorter than the panel claims is not written past.
	gfx.fb_len = 2 * 4;
	ftm::draw(0, 1, 31, 63, 31);
	EXPECT_EQ(lit_count(), 0);
	ftm::draw(3, 0, 31, 63, 31);
	EXPECT_TRUE(lit(3, 0));
}

TEST_F(Panel, ClearPaintsEveryPixelBlack)
{
	use(5, 4, 16);
	std::fill(mem.begin(), mem.end(), 0xFF);
	ftm::lcd_clear();
	EXPECT_EQ(lit_count(), 0);
}

TEST(Font, HasTheLayoutTheScreensWereMadeFor)
{
	const uint32_t a[8] = {0x30, 0x78, 0xCC, 0xCC, 0xFC, 0xCC, 0xCC, 0x00};
	for (int row = 0; row < 8; ++row)
		EXPECT_EQ(ftm::fonts['A' * 8 + row], a[row]) << "row " << row;
	for (int c : {0, 31, 32})
		for (int row = 0; row < 8; ++row)
			EXPECT_EQ(ftm::fonts[static_cast<size_t>(c * 8 + row)], 0u) << "code " << c;
	// Every printable character and the house has a glyph of its own.
	for (int c = 33; c <= 127; ++c) {
		uint32_t any = 0;
		for (int row = 0; row < 8; ++row) {
			any |= ftm::fonts[static_cast<size_t>(c * 8 + row)];
			EXPECT_EQ(ftm::fonts[static_cast<size_t>(c * 8 + row)] & ~0xFFu, 0u);
		}
		EXPECT_NE(any, 0u) << "code " << c;
		for (int d = 33; d < c; ++d) {
			bool same = true;
			for (int row = 0; row < 8; ++row)
				same &= ftm::fonts[static_cast<size_t>(c * 8 + row)] == ftm::fonts[static_cast<size_t>(d * 8 + row)];
			EXPECT_FALSE(same) << "codes " << c << " and " << d << " look alike";
		}
	}
}

TEST_F(Panel, GlyphBitSevenIsTheLeftmostPixelAndScaleMakesBlocks)
{
	use(40, 40, 16);
	ftm::show_font('A', 3, 2, 31, 63, 31, 1);
	EXPECT_EQ(picture(3, 2, 8, 8),
	          "..##....\n"
	          ".####...\n"
	          "##..##..\n"
	          "##..##..\n"
	          "######..\n"
	          "##..##..\n"
	          "##..##..\n"
	          "........\n");
	EXPECT_EQ(lit_count(), kLitInA);

	use(40, 40, 16);
	ftm::show_font('A', 0, 0, 31, 63, 31, 2);
	EXPECT_EQ(picture(0, 0, 8, 4),
	          "....####\n"
	          "....####\n"
	          "..######\n"
	          "..######\n");
	EXPECT_EQ(lit_count(), 4 * kLitInA);
}

TEST_F(Panel, GlyphsOverlayTheBackgroundAndCodesOutsideTheFontDrawNothing)
{
	use(16, 16, 16);
	ftm::draw(0, 0, 0, 0, 31);  // left of 'A' on its top row: an unset bit
	ftm::show_font('A', 0, 0, 31, 63, 31, 1);
	EXPECT_EQ(at16(0, 0), 31u);
	int before = lit_count();
	for (int c : {128, 200, 255, -1, 100000})
		ftm::show_font(c, 0, 8, 31, 63, 31, 1);
	ftm::show_font('A', 0, 8, 31, 63, 31, 0);
	EXPECT_EQ(lit_count(), before);
}

TEST_F(Panel, TextStandsSixteenPixelsRightOfXAndANewlineStartsAtTheMargin)
{
	use(200, 100, 16);
	EXPECT_EQ(ftm::draw_str(40, 10, 31, 63, 31, 1, "A\nA"), 2);
	// First glyph at x + 16, second at column 16 one line of 8 + 2 lower.
	EXPECT_TRUE(lit(40 + 16 + 2, 10));
	EXPECT_FALSE(lit(40 + 16 + 2 - 1, 10));
	EXPECT_TRUE(lit(16 + 2, 20));
	EXPECT_FALSE(lit(16 + 2, 19));
	EXPECT_EQ(lit_count(), 2 * kLitInA);
}

TEST_F(Panel, ScaleTwoDoublesTheCellAndKeepsTheMargin)
{
	use(200, 100, 16);
	EXPECT_EQ(ftm::draw_str(0, 0, 31, 63, 31, 2, "AA\nA"), 2);
	EXPECT_TRUE(lit(16 + 4, 0));       // first A: top row starts at column 2 * 2
	EXPECT_TRUE(lit(16 + 16 + 4, 0));  // second A, one 16-pixel cell on
	EXPECT_TRUE(lit(16 + 4, 18));      // next line at 2 * 8 + 2
	EXPECT_EQ(lit_count(), 3 * 4 * kLitInA);
}

TEST_F(Panel, ControlCharactersAdvanceOneCellAndDrawNothing)
{
	use(200, 40, 16);
	EXPECT_EQ(ftm::draw_str(0, 0, 31, 63, 31, 1, "\tA\x01" "A"), 1);
	EXPECT_FALSE(lit(16 + 2, 0));
	EXPECT_TRUE(lit(16 + 8 + 2, 0));
	EXPECT_TRUE(lit(16 + 24 + 2, 0));
	EXPECT_EQ(lit_count(), 2 * kLitInA);
}

TEST_F(Panel, ALongLineWrapsBeforeTheCellWouldPassTheRightEdgeLessTen)
{
	// Width 64: cells at x 0 to 40; at x 48, 8 + 48 + 10 > 64 wraps.
	use(64, 60, 16);
	EXPECT_EQ(ftm::draw_str(0, 0, 31, 63, 31, 1, "AAAAAAA"), 2);
	EXPECT_TRUE(lit(16 + 40 + 2, 0));
	EXPECT_TRUE(lit(16 + 2, 8));  // the wrap goes down one cell, no gap
	EXPECT_FALSE(lit(16 + 2, 7));
	EXPECT_EQ(lit_count(), 7 * kLitInA);
}

TEST_F(Panel, AtTheBottomNewlinesOverprintTheLastLine)
{
	use(100, 36, 16);
	// 36 - 8 - 10 = 18 > y holds for y 0 and 10, not for 20.
	EXPECT_EQ(ftm::draw_str(0, 0, 31, 63, 31, 1, "A\nA\nA\nA\nB"), 3);
	EXPECT_TRUE(lit(16 + 2, 20));
	EXPECT_EQ(picture(16, 20, 8, 1), "######..\n");  // B over A on the last line
}

TEST_F(Panel, TextLongerThanTheFormatBufferIsCutAtIt)
{
	use(64, 4000, 16);
	std::string text(5000, 'A');
	// Width 64 holds six cells a line; 1023 characters make 171 lines.
	EXPECT_EQ(ftm::draw_str(0, 0, 31, 63, 31, 1, "%s", text.c_str()), 171);
	EXPECT_EQ(lit_count(), 1023 * kLitInA);
}

TEST_F(Panel, AHugeScaleOrFarPositionOnlyClipsToThePanel)
{
	use(32, 32, 16);
	ftm::show_font('A', -5, -5, 31, 63, 31, 1000000);
	ftm::draw_str(2000000000, 2000000000, 31, 63, 31, 1, "AAAA");
	EXPECT_EQ(lit_count(), 0);  // every lit block of that glyph lies off the panel
}

}  // namespace

TEST_F(Panel, NewlineAndWrapTestsAreUnsignedAsThePanelSizes)
{
	// lines returned for "\n" and for "ab" at a given start on a panel of a
	// given size; a size of 0 is a panel not yet set up.
	struct row {
		uint32_t width, height;
		int y, scale;
		int newline_lines, wrap_lines;
	};
	const row rows[] = {
	    {0, 0, 100, 1, 2, 3},      // 0 - 8 - 10 wraps round: the newline moves down
	    {0, 0, 100, 2, 2, 3},
	    {64, 48, -5, 1, 1, 1},     // a start above the panel counts as far below it
	    {64, 48, 29, 1, 2, 1},
	    {64, 48, 30, 1, 1, 1},     // the last line is overprinted
	    {16, 48, 0, 1, 2, 3},      // 8 + 0 + 10 > 16: every glyph wraps
	};
	for (const row &r : rows) {
		use(r.width, r.height, 16);
		EXPECT_EQ(ftm::draw_str(0, r.y, 31, 63, 31, r.scale, "\n"), r.newline_lines)
		    << r.width << "x" << r.height << " y " << r.y << " scale " << r.scale;
		EXPECT_EQ(ftm::draw_str(0, r.y, 31, 63, 31, r.scale, "ab"), r.wrap_lines)
		    << r.width << "x" << r.height << " y " << r.y << " scale " << r.scale;
	}
}
