#include "screenshot.h"

#include <cstring>
#include <fstream>
#include <iterator>

#include "station/png.h"
#include "station/screen.h"

namespace screenshot {

namespace {

image from_station(const station::Image &s)
{
	image img;
	img.width = s.width;
	img.height = s.height;
	img.pixels.resize(s.rgb.size() / 3);
	std::memcpy(img.pixels.data(), s.rgb.data(), img.pixels.size() * sizeof(rgb8));
	return img;
}

station::Image to_station(const image &img)
{
	station::Image s{img.width, img.height, {}};
	s.rgb.resize(img.pixels.size() * sizeof(rgb8));
	std::memcpy(s.rgb.data(), img.pixels.data(), s.rgb.size());
	return s;
}

}  // namespace

std::optional<image> read_panel(const std::string &board_dir, std::string *error)
{
	auto s = station::read_screen(board_dir, error);
	if (!s)
		return std::nullopt;
	return from_station(*s);
}

bool write_png(const image &img, const std::string &path, std::string *error)
{
	return station::write_png(path, to_station(img), error);
}

std::optional<image> read_png(const std::string &path, std::string *error)
{
	std::ifstream in(path, std::ios::binary);
	if (!in) {
		if (error)
			*error = "cannot read " + path;
		return std::nullopt;
	}
	std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
	auto s = station::decode_png(bytes, error);
	if (!s)
		return std::nullopt;
	return from_station(*s);
}

}  // namespace screenshot
