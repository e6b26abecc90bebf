// The simulated panel as an image of pixels, for the screen tests and the
// ftm-screenshot tool; decoding and PNG are the station library's.
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

// What the panel of a board shows: geometry from its board file, pixels
// from its dev/graphics/fb0.
std::optional<image> read_panel(const std::string &board_dir, std::string *error = nullptr);

bool write_png(const image &img, const std::string &path, std::string *error = nullptr);
std::optional<image> read_png(const std::string &path, std::string *error = nullptr);

}  // namespace screenshot
