// ftm-jpeg: encodes a raw two-plane YCbCr picture, as the camera delivers it
// (luma plane, then the interleaved chroma plane), with the daemon's JPEG
// library.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "jpeg_client.h"

namespace {

struct size_arg {
	uint32_t width = 0, height = 0;
};

// "WxH" with both sides at least 1; the message names what is wrong.
std::string size_error(const std::string &text)
{
	unsigned w = 0, h = 0;
	char tail = 0;
	if (std::sscanf(text.c_str(), "%ux%u%c", &w, &h, &tail) != 2 || text.find('-') != std::string::npos)
		return "'" + text + "' is not a size WxH such as 640x480";
	if (w == 0 || h == 0 || w > 65535 || h > 65535)
		return "'" + text + "': width and height must be 1 to 65535";
	return {};
}

size_arg size_of(const std::string &text)
{
	size_arg s;
	std::sscanf(text.c_str(), "%ux%u", &s.width, &s.height);
	return s;
}

const CLI::Validator kSize(size_error, "WxH", "size");

// Subsampling names in the order of the library's format codes.
const std::vector<std::string> kFormats = {"h2v2", "h2v1", "h1v2", "h1v1"};

}  // namespace

int main(int argc, char **argv)
{
	jpeg_client::yuv_image img;
	jpeg_client::options opt;
	std::string size, thumbnail, input, output, format = "h2v2", order = "crcb", engine = "sw";
	bool jfif = false;

	CLI::App app{"ftm-jpeg: encodes a raw two-plane YCbCr picture (luma plane, then the interleaved chroma "
	             "plane) with the daemon's JPEG library",
	             "ftm-jpeg"};
	app.add_option("-s,--size", size, "picture size WxH")->required()->check(kSize);
	app.add_option("-f,--format", format, "chroma subsampling: h2v2 (default), h2v1, h1v2 or h1v1")
	    ->check(CLI::IsMember(kFormats));
	app.add_option("-c,--chroma", order, "chroma byte order: crcb (default) or cbcr")
	    ->check(CLI::IsMember({"crcb", "cbcr"}));
	app.add_option("-q,--quality", opt.quality, "quality 1 to 100 (default 90)")->check(CLI::Range(1, 100));
	app.add_option("-r,--rotation", opt.rotation, "rotation in degrees: 0 (default), 90, 180 or 270")
	    ->check(CLI::IsMember({0u, 90u, 180u, 270u}));
	// The DRI segment holds 16 bits.
	app.add_option("-i,--restart", opt.restart_interval, "restart interval in MCUs, 0 (default: none) to 65535")
	    ->check(CLI::Range(0, 65535));
	app.add_option("-t,--thumbnail", thumbnail, "add a thumbnail of size WxH (point sampled)")->check(kSize);
	app.add_flag("-j,--jfif", jfif, "JFIF header instead of Exif");
	// The DSP takes pictures in pmem whose width and height are padded to 16.
	app.add_option("-e,--engine", engine, "sw (default), dsp, or auto: the DSP first, then software")
	    ->check(CLI::IsMember({"sw", "dsp", "auto"}));
	app.add_option("input", input, "the raw picture (input.yuv)")->required();
	app.add_option("output", output, "the JPEG file to write (output.jpg)")->required();
	try {
		app.parse(argc, argv);
	} catch (const CLI::ParseError &e) {
		return app.exit(e) == 0 ? 0 : 2;
	}
	int subsampling = static_cast<int>(std::find(kFormats.begin(), kFormats.end(), format) - kFormats.begin());
	bool cbcr = order == "cbcr";
	opt.preference = engine == "dsp"    ? jpeg::JPEG_ENCODER_PREF_DSP_ONLY
	                 : engine == "auto" ? jpeg::JPEG_ENCODER_PREF_DSP_ACCELERATED
	                                    : jpeg::JPEG_ENCODER_PREF_SOFTWARE_ONLY;
	size_arg picture = size_of(size);
	img.width = picture.width;
	img.height = picture.height;
	if (jfif)
		opt.header_type = jpeg::JPEG_HEADER_JFIF;
	size_arg thumb_size = thumbnail.empty() ? size_arg{} : size_of(thumbnail);
	uint32_t tw = thumb_size.width, th = thumb_size.height;
	img.format = uint32_t(subsampling) << 1 | (cbcr ? 1 : 0);

	std::ifstream in(input, std::ios::binary);
	std::vector<uint8_t> raw((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
	size_t luma = size_t(img.width) * img.height;
	size_t chroma = jpeg_client::chroma_bytes(img.format, img.width, img.height);
	if (!in.eof() && !in.good()) {
		fprintf(stderr, "ftm-jpeg: cannot read %s\n", input.c_str());
		return 1;
	}
	if (raw.size() < luma + chroma) {
		fprintf(stderr, "ftm-jpeg: %s holds %zu bytes, %ux%u needs %zu\n", input.c_str(), raw.size(), img.width,
		        img.height, luma + chroma);
		return 1;
	}
	img.luma.assign(raw.begin(), raw.begin() + luma);
	img.chroma.assign(raw.begin() + luma, raw.begin() + luma + chroma);

	jpeg_client::yuv_image thumb;
	if (tw) {
		thumb = jpeg_client::downscale(img, tw, th);
		opt.thumbnail = &thumb;
	}
	jpeg_client::result r = jpeg_client::encode(img, opt);
	if (r.start_rc != 0) {
		fprintf(stderr, "ftm-jpeg: jpege_start failed: %d\n", r.start_rc);
		return 1;
	}
	for (int ev : r.events)
		if (ev == jpeg::JPEG_EVENT_THUMBNAIL_DROPPED)
			fprintf(stderr, "ftm-jpeg: thumbnail dropped: it does not fit the Exif segment\n");
	if (!r.finished || r.events.empty() || r.events.back() != jpeg::JPEG_EVENT_DONE) {
		fprintf(stderr, "ftm-jpeg: encoding failed\n");
		return 1;
	}
	std::ofstream out(output, std::ios::binary);
	out.write(reinterpret_cast<const char *>(r.bytes.data()), std::streamsize(r.bytes.size()));
	if (!out) {
		fprintf(stderr, "ftm-jpeg: cannot write %s\n", output.c_str());
		return 1;
	}
	printf("%s: %ux%u, %zu bytes\n", output.c_str(), img.width, img.height, r.bytes.size());
	return 0;
}
