#include <cstdio>
#include <gtest/gtest.h>
#include <png.h>
#include <string>
#include <unistd.h>

#include "station/board.h"
#include "station/png.h"
#include "station/screen.h"

namespace {

using station::decode_pixels;
using station::Geometry;

TEST(StationScreen, DecodesTheDepthsTheDaemonDraws)
{
	// 16 bits: white, red, green, blue, low byte first.
	std::vector<uint8_t> px16{0xFF, 0xFF, 0x00, 0xF8, 0xE0, 0x07, 0x1F, 0x00};
	auto img = decode_pixels(px16, Geometry{2, 2, 16});
	ASSERT_TRUE(img);
	EXPECT_EQ(img->at(0, 0), (station::Rgb{255, 255, 255}));
	EXPECT_EQ(img->at(1, 0), (station::Rgb{255, 0, 0}));
	EXPECT_EQ(img->at(0, 1), (station::Rgb{0, 255, 0}));
	EXPECT_EQ(img->at(1, 1), (station::Rgb{0, 0, 255}));
	// 24 bits: 0x123456 stored 56 34 12.
	std::vector<uint8_t> px24{0x56, 0x34, 0x12};
	EXPECT_EQ(decode_pixels(px24, Geometry{1, 1, 24})->at(0, 0), (station::Rgb{0x12, 0x34, 0x56}));
	// 18 bits: three bytes a pixel at a pitch of two; full red is 0x3F000.
	std::vector<uint8_t> px18{0x00, 0xF0, 0x03, 0x00};
	auto img18 = decode_pixels(px18, Geometry{1, 1, 18});
	ASSERT_TRUE(img18);
	EXPECT_EQ(img18->at(0, 0), (station::Rgb{255, 0, 0}));
	// Too few bytes, or an unknown depth.
	EXPECT_FALSE(decode_pixels(px16, Geometry{3, 2, 16}));
	EXPECT_FALSE(decode_pixels(px16, Geometry{1, 1, 12}));
}

TEST(StationScreen, GeometryFromTheBoardAndPngRoundTrip)
{
	char templ[] = "/tmp/ftm-screen-XXXXXX";
	ASSERT_TRUE(::mkdtemp(templ));
	std::string dir = templ;
	ASSERT_TRUE(station::init_board(dir));
	ASSERT_TRUE(station::set_board_value(dir, "lcd.width", "4"));
	ASSERT_TRUE(station::set_board_value(dir, "lcd.height", "0x3"));
	Geometry g = station::board_geometry(dir);
	EXPECT_EQ(g.width, 4);
	EXPECT_EQ(g.height, 3);
	EXPECT_EQ(g.bpp, 16);

	std::string error;
	EXPECT_FALSE(station::read_screen(dir, &error));  // no framebuffer yet
	FILE *fb = std::fopen((dir + "/dev/graphics/fb0").c_str(), "wb");
	for (int i = 0; i < 12; ++i) {
		uint16_t v = static_cast<uint16_t>(i % 2 ? 0xF800 : 0x001F);
		std::fwrite(&v, 2, 1, fb);
	}
	std::fclose(fb);
	auto img = station::read_screen(dir, &error);
	ASSERT_TRUE(img) << error;

	std::string png_path = dir + "/screen.png";
	ASSERT_TRUE(station::write_png(png_path, *img, &error)) << error;
	png_image back{};
	back.version = PNG_IMAGE_VERSION;
	ASSERT_TRUE(png_image_begin_read_from_file(&back, png_path.c_str()));
	EXPECT_EQ(back.width, 4u);
	EXPECT_EQ(back.height, 3u);
	back.format = PNG_FORMAT_RGB;
	std::vector<uint8_t> pixels(PNG_IMAGE_SIZE(back));
	ASSERT_TRUE(png_image_finish_read(&back, nullptr, pixels.data(), 0, nullptr));
	EXPECT_EQ(pixels, img->rgb);
	EXPECT_EQ(std::vector<uint8_t>(pixels.begin(), pixels.begin() + 6), (std::vector<uint8_t>{0, 0, 255, 255, 0, 0}));

	EXPECT_FALSE(station::write_png("/nonexistent/x.png", *img, &error));
	int removed = std::system(("rm -rf '" + dir + "'").c_str());
	(void)removed;
}

}  // namespace
