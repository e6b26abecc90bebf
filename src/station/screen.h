// Reading the simulated phone's screen: the framebuffer file of its board.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace station {

struct Geometry {
	int width = 800, height = 480, bpp = 16;  // a board file without lcd.* keys
};

// The panel of a board: lcd.width, lcd.height and lcd.bpp of its board file,
// the defaults above where a key is absent.
Geometry board_geometry(const std::string &board_dir);

struct Rgb {
	uint8_t r, g, b;
	bool operator==(const Rgb &) const = default;
};

struct Image {
	int width = 0, height = 0;
	std::vector<uint8_t> rgb;  // 8-bit red, green, blue, row after row

	// The pixel at (x, y), which must lie inside the image.
	Rgb at(int x, int y) const
	{
		const uint8_t *p = rgb.data() + (static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)) * 3;
		return {p[0], p[1], p[2]};
	}
};

// Pixels as the daemon stores them, little-endian: 16 bits 5-6-5, 18 bits
// 6-6-6 in three bytes at a pitch of two, 24 bits 8-8-8, 32 bits x-8-8-8.
// Empty if the bytes are too few for the geometry or the depth is unknown.
std::optional<Image> decode_pixels(std::span<const uint8_t> bytes, const Geometry &g);

// The screen of a board now: $board/dev/graphics/fb0 read whole.
std::optional<Image> read_screen(const std::string &board_dir, std::string *error = nullptr);

}  // namespace station
