#include "screenshot.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <png.h>

#include "sim/board.h"
#include "sim/framebuffer.h"

namespace screenshot {

namespace {

bool fail(std::string *error, const std::string &why)
{
	if (error)
		*error = why;
	return false;
}

uint8_t widen(uint32_t v, uint32_t max) { return static_cast<uint8_t>((v * 255 + max / 2) / max); }

struct file_closer {
	void operator()(FILE *f) const { std::fclose(f); }
};
using file_ptr = std::unique_ptr<FILE, file_closer>;

}  // namespace

rgb8 decode_pixel(const uint8_t *fb, size_t fb_len, int width, int bpp, int x, int y)
{
	size_t step = static_cast<size_t>(bpp / 8);
	size_t off = step * (static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x));
	size_t stored = bpp == 16 ? 2 : bpp == 32 ? 4 : 3;
	uint32_t v = 0;
	for (size_t i = 0; i < stored && off + i < fb_len; ++i)
		v |= static_cast<uint32_t>(fb[off + i]) << (8 * i);
	switch (bpp) {
	case 16: return {widen(v >> 11 & 31, 31), widen(v >> 5 & 63, 63), widen(v & 31, 31)};
	case 18: return {widen(v >> 12 & 63, 63), widen(v >> 6 & 63, 63), widen(v & 63, 63)};
	default: return {static_cast<uint8_t>(v >> 16), static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v)};
	}
}

std::optional<image> read_panel(const std::string &board_dir, std::string *error)
{
	sim::Board board(board_dir);
	sim::panel_geometry panel = sim::panel_of(board);
	std::string path = board.map(sim::kFramebufferPath);
	std::ifstream in(path, std::ios::binary);
	if (!in) {
		fail(error, "no framebuffer at " + path + " (has the daemon drawn yet?)");
		return std::nullopt;
	}
	std::vector<uint8_t> fb((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
	image img;
	img.width = panel.width;
	img.height = panel.height;
	img.pixels.reserve(static_cast<size_t>(panel.width) * static_cast<size_t>(panel.height));
	for (int y = 0; y < panel.height; ++y)
		for (int x = 0; x < panel.width; ++x)
			img.pixels.push_back(decode_pixel(fb.data(), fb.size(), panel.width, panel.bpp, x, y));
	return img;
}

bool write_png(const image &img, const std::string &path, std::string *error)
{
	file_ptr f(std::fopen(path.c_str(), "wb"));
	if (!f)
		return fail(error, "cannot write " + path);
	png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
	png_infop info = png ? png_create_info_struct(png) : nullptr;
	if (!info) {
		png_destroy_write_struct(&png, nullptr);
		return fail(error, "libpng: out of memory");
	}
	if (setjmp(png_jmpbuf(png))) {
		png_destroy_write_struct(&png, &info);
		return fail(error, "libpng: cannot encode " + path);
	}
	png_init_io(png, f.get());
	png_set_IHDR(png, info, static_cast<png_uint_32>(img.width), static_cast<png_uint_32>(img.height), 8,
	             PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
	png_write_info(png, info);
	for (int y = 0; y < img.height; ++y)
		png_write_row(png, reinterpret_cast<png_const_bytep>(&img.at(0, y)));
	png_write_end(png, nullptr);
	png_destroy_write_struct(&png, &info);
	return true;
}

std::optional<image> read_png(const std::string &path, std::string *error)
{
	png_image pi{};
	pi.version = PNG_IMAGE_VERSION;
	if (!png_image_begin_read_from_file(&pi, path.c_str())) {
		fail(error, "cannot read " + path + ": " + pi.message);
		return std::nullopt;
	}
	pi.format = PNG_FORMAT_RGB;
	image img;
	img.width = static_cast<int>(pi.width);
	img.height = static_cast<int>(pi.height);
	img.pixels.resize(static_cast<size_t>(img.width) * static_cast<size_t>(img.height));
	if (!png_image_finish_read(&pi, nullptr, img.pixels.data(), 0, nullptr)) {
		fail(error, "cannot decode " + path + ": " + pi.message);
		png_image_free(&pi);
		return std::nullopt;
	}
	return img;
}

}  // namespace screenshot
