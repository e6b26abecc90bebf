#include "station/screen.h"

#include <fstream>
#include <iterator>

#include "station/board.h"

namespace station {

namespace {

int number(const std::string &dir, const char *key, int fallback)
{
	long n = board_number(dir, key, fallback);
	return n > 0 && n < 100000 ? static_cast<int>(n) : fallback;
}

uint8_t widen(uint32_t v, int bits) { return static_cast<uint8_t>((v * 255 + ((1u << bits) - 1) / 2) / ((1u << bits) - 1)); }

}  // namespace

Geometry board_geometry(const std::string &board_dir)
{
	Geometry g;
	g.width = number(board_dir, "lcd.width", g.width);
	g.height = number(board_dir, "lcd.height", g.height);
	g.bpp = number(board_dir, "lcd.bpp", g.bpp);
	return g;
}

std::optional<Image> decode_pixels(std::span<const uint8_t> bytes, const Geometry &g)
{
	if (g.width <= 0 || g.height <= 0)
		return std::nullopt;
	size_t pitch = static_cast<size_t>(g.bpp / 8);
	size_t stored = g.bpp == 18 ? 3 : pitch;
	if (!(g.bpp == 16 || g.bpp == 18 || g.bpp == 24 || g.bpp == 32))
		return std::nullopt;
	size_t pixels = static_cast<size_t>(g.width) * static_cast<size_t>(g.height);
	if (bytes.size() < (pixels - 1) * pitch + stored)
		return std::nullopt;
	Image img{g.width, g.height, {}};
	img.rgb.resize(pixels * 3);
	for (size_t i = 0; i < pixels; ++i) {
		const uint8_t *p = bytes.data() + i * pitch;
		uint32_t v = 0;
		for (size_t k = 0; k < stored; ++k)
			v |= static_cast<uint32_t>(p[k]) << (8 * k);
		uint8_t *o = img.rgb.data() + i * 3;
		switch (g.bpp) {
		case 16:
			o[0] = widen(v >> 11 & 31, 5), o[1] = widen(v >> 5 & 63, 6), o[2] = widen(v & 31, 5);
			break;
		case 18:
			o[0] = widen(v >> 12 & 63, 6), o[1] = widen(v >> 6 & 63, 6), o[2] = widen(v & 63, 6);
			break;
		default:
			o[0] = static_cast<uint8_t>(v >> 16), o[1] = static_cast<uint8_t>(v >> 8), o[2] = static_cast<uint8_t>(v);
			break;
		}
	}
	return img;
}

std::optional<Image> read_screen(const std::string &board_dir, std::string *error)
{
	std::string path = board_dir + "/dev/graphics/fb0";
	std::ifstream in(path, std::ios::binary);
	if (!in) {
		if (error)
			*error = "cannot read " + path;
		return std::nullopt;
	}
	std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
	Geometry g = board_geometry(board_dir);
	auto img = decode_pixels(bytes, g);
	if (!img && error)
		*error = path + ": " + std::to_string(bytes.size()) + " bytes do not hold a " + std::to_string(g.width) + "x" +
		         std::to_string(g.height) + " screen at " + std::to_string(g.bpp) + " bits";
	return img;
}

}  // namespace station
