#include "station/png.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <png.h>

namespace station {

namespace {

struct FileCloser {
	void operator()(std::FILE *f) const { std::fclose(f); }
};

bool whole(const Image &image)
{
	return image.width > 0 && image.height > 0 &&
	       image.rgb.size() == static_cast<size_t>(image.width) * static_cast<size_t>(image.height) * 3;
}

void append_bytes(png_structp png, png_bytep data, png_size_t length)
{
	static_cast<std::string *>(png_get_io_ptr(png))->append(reinterpret_cast<const char *>(data), length);
}

void no_flush(png_structp) {}

// Encodes to a file when file is set, else appends to out. libpng reports
// errors by longjmp; nothing here owns memory across it but out and file,
// which outlive the call.
const char *encode(const Image &image, std::FILE *file, std::string *out)
{
	png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
	png_infop info = png ? png_create_info_struct(png) : nullptr;
	if (!info) {
		png_destroy_write_struct(&png, nullptr);
		return "out of memory";
	}
	if (setjmp(png_jmpbuf(png))) {
		png_destroy_write_struct(&png, &info);
		return "PNG encoding failed";
	}
	if (file)
		png_init_io(png, file);
	else
		png_set_write_fn(png, out, append_bytes, no_flush);
	png_set_IHDR(png, info, static_cast<png_uint_32>(image.width), static_cast<png_uint_32>(image.height), 8,
	             PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
	png_write_info(png, info);
	for (int y = 0; y < image.height; ++y)
		png_write_row(png, image.rgb.data() + static_cast<size_t>(y) * static_cast<size_t>(image.width) * 3);
	png_write_end(png, nullptr);
	png_destroy_write_struct(&png, &info);
	return nullptr;
}

}  // namespace

bool write_png(const std::string &path, const Image &image, std::string *error)
{
	auto fail = [&](const char *what) {
		if (error)
			*error = path + ": " + what;
		return false;
	};
	if (!whole(image))
		return fail("no image");
	std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "wb"));
	if (!file)
		return fail("cannot open for writing");
	if (const char *why = encode(image, file.get(), nullptr))
		return fail(why);
	return true;
}

std::optional<std::string> encode_png(const Image &image, std::string *error)
{
	const char *why = whole(image) ? nullptr : "no image";
	std::string out;
	if (!why)
		why = encode(image, nullptr, &out);
	if (!why)
		return out;
	if (error)
		*error = why;
	return std::nullopt;
}

std::optional<Image> decode_png(std::span<const uint8_t> bytes, std::string *error)
{
	png_image pi{};
	pi.version = PNG_IMAGE_VERSION;
	if (!png_image_begin_read_from_memory(&pi, bytes.data(), bytes.size())) {
		if (error)
			*error = std::string("not a PNG: ") + pi.message;
		return std::nullopt;
	}
	if (pi.width > 16384 || pi.height > 16384) {
		if (error)
			*error = "the PNG is larger than any panel";
		png_image_free(&pi);
		return std::nullopt;
	}
	pi.format = PNG_FORMAT_RGB;
	Image img{static_cast<int>(pi.width), static_cast<int>(pi.height), {}};
	img.rgb.resize(PNG_IMAGE_SIZE(pi));
	if (!png_image_finish_read(&pi, nullptr, img.rgb.data(), 0, nullptr)) {
		if (error)
			*error = std::string("cannot decode the PNG: ") + pi.message;
		png_image_free(&pi);
		return std::nullopt;
	}
	return img;
}

std::optional<Image> read_png(const std::string &path, std::string *error)
{
	std::ifstream in(path, std::ios::binary);
	if (!in) {
		if (error)
			*error = "cannot read " + path;
		return std::nullopt;
	}
	std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
	return decode_png(bytes, error);
}

}  // namespace station
