#include "png_file.h"

#include <cstdio>
#include <memory>
#include <png.h>

namespace ftm_station {

namespace {

struct FileCloser {
	void operator()(std::FILE *f) const { std::fclose(f); }
};

}  // namespace

bool write_png(const std::string &path, const station::Image &image, std::string *error)
{
	auto fail = [&](const char *what) {
		if (error)
			*error = path + ": " + what;
		return false;
	};
	if (image.width <= 0 || image.height <= 0 ||
	    image.rgb.size() != static_cast<size_t>(image.width) * static_cast<size_t>(image.height) * 3)
		return fail("no image");
	std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "wb"));
	if (!file)
		return fail("cannot open for writing");
	png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
	png_infop info = png ? png_create_info_struct(png) : nullptr;
	if (!info) {
		png_destroy_write_struct(&png, nullptr);
		return fail("out of memory");
	}
	// libpng reports errors by longjmp; nothing here owns memory across it.
	if (setjmp(png_jmpbuf(png))) {
		png_destroy_write_struct(&png, &info);
		return fail("PNG encoding failed");
	}
	png_init_io(png, file.get());
	png_set_IHDR(png, info, static_cast<png_uint_32>(image.width), static_cast<png_uint_32>(image.height), 8,
	             PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
	png_write_info(png, info);
	for (int y = 0; y < image.height; ++y)
		png_write_row(png, image.rgb.data() + static_cast<size_t>(y) * static_cast<size_t>(image.width) * 3);
	png_write_end(png, nullptr);
	png_destroy_write_struct(&png, &info);
	return true;
}

}  // namespace ftm_station
