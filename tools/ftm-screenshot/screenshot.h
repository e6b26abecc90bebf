// Reading the simulated panel's pixels and writing them as PNG.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace screenshot {

struct rgb8 {
	uint8_t r, g, b;
	bool operator==(const rgb8 &) const = default;
};
static_assert(sizeof(rgb8) == 3);  // rows go to libpng as they are

// An image of 8-bit red, green, blue pixels, row by row.
struct image {
	int width = 0;
	int height = 0;
	std::vector<rgb8> pixels;
	const rgb8 &at(int x, int y) const { return pixels[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)]; }
};

// The pixel at (x, y) of a framebuffer laid out as the daemon draws it:
// a step of bpp / 8 bytes, 2 or 3 bytes stored (18 bits: 3 at a step of 2).
rgb8 decode_pixel(const uint8_t *fb, size_t fb_len, int width, int bpp, int x, int y);

// What the panel of a board shows: geometry from its board file, pixels
// from its dev/graphics/fb0.
std::optional<image> read_panel(const std::string &board_dir, std::string *error = nullptr);

bool write_png(const image &img, const std::string &path, std::string *error = nullptr);
std::optional<image> read_png(const std::string &path, std::string *error = nullptr);

}  // namespace screenshot
