// ftm-jpeg: encodes a raw two-plane YCbCr picture, as the camera delivers it
// (luma plane, then the interleaved chroma plane), with the daemon's JPEG
// library.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "jpeg_client.h"

namespace {

void usage()
{
	fprintf(stderr,
	        "usage: ftm-jpeg -s WxH [options] input.yuv output.jpg\n"
	        "  -s WxH       picture size (required)\n"
	        "  -f FORMAT    h2v2 (default), h2v1, h1v2 or h1v1\n"
	        "  -c ORDER     crcb (default) or cbcr: the chroma byte order\n"
	        "  -q N         quality 1 to 100 (default 90)\n"
	        "  -r DEG       rotation 0, 90, 180 or 270 (default 0)\n"
	        "  -i N         restart interval in MCUs (default 0: none)\n"
	        "  -t WxH       add a thumbnail of that size (point sampled)\n"
	        "  -j           JFIF header instead of Exif\n"
	        "  -e ENGINE    sw (default), dsp, or auto: the DSP first, then software\n");
}

bool parse_size(const char *s, uint32_t *w, uint32_t *h)
{
	return s && sscanf(s, "%ux%u", w, h) == 2;
}

int subsampling_of(std::string_view name)
{
	constexpr std::string_view names[] = {"h2v2", "h2v1", "h1v2", "h1v1"};
	for (int i = 0; i < 4; i++)
		if (name == names[i])
			return i;
	return -1;
}

// The DSP takes pictures in pmem whose width and height are padded to 16.
bool engine_of(std::string_view name, uint32_t *preference)
{
	if (name == "sw")
		*preference = jpeg::JPEG_ENCODER_PREF_SOFTWARE_ONLY;
	else if (name == "dsp")
		*preference = jpeg::JPEG_ENCODER_PREF_DSP_ONLY;
	else if (name == "auto")
		*preference = jpeg::JPEG_ENCODER_PREF_DSP_ACCELERATED;
	else
		return false;
	return true;
}

}  // namespace

int main(int argc, char **argv)
{
	jpeg_client::yuv_image img;
	jpeg_client::options opt;
	uint32_t tw = 0, th = 0;
	int subsampling = 0;
	bool cbcr = false;
	int i = 1;
	for (; i < argc && argv[i][0] == '-' && argv[i][1]; i++) {
		std::string_view a = argv[i];
		const char *v = i + 1 < argc ? argv[i + 1] : nullptr;
		bool ok = true;
		if (a == "-j") {
			opt.header_type = jpeg::JPEG_HEADER_JFIF;
			continue;
		}
		if (!v) {
			usage();
			return 2;
		}
		i++;
		if (a == "-s")
			ok = parse_size(v, &img.width, &img.height);
		else if (a == "-t")
			ok = parse_size(v, &tw, &th) && tw && th;
		else if (a == "-f")
			ok = (subsampling = subsampling_of(v)) >= 0;
		else if (a == "-c")
			ok = (cbcr = std::string_view(v) == "cbcr") || std::string_view(v) == "crcb";
		else if (a == "-q")
			opt.quality = uint32_t(atoi(v));
		else if (a == "-r")
			opt.rotation = uint32_t(atoi(v));
		else if (a == "-i")
			opt.restart_interval = uint32_t(atoi(v));
		else if (a == "-e")
			ok = engine_of(v, &opt.preference);
		else
			ok = false;
		if (!ok) {
			usage();
			return 2;
		}
	}
	if (argc - i != 2 || !img.width || !img.height) {
		usage();
		return 2;
	}
	img.format = uint32_t(subsampling) << 1 | (cbcr ? 1 : 0);

	std::ifstream in(argv[i], std::ios::binary);
	std::vector<uint8_t> raw((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
	size_t luma = size_t(img.width) * img.height;
	size_t chroma = jpeg_client::chroma_bytes(img.format, img.width, img.height);
	if (!in.eof() && !in.good()) {
		fprintf(stderr, "ftm-jpeg: cannot read %s\n", argv[i]);
		return 1;
	}
	if (raw.size() < luma + chroma) {
		fprintf(stderr, "ftm-jpeg: %s holds %zu bytes, %ux%u needs %zu\n", argv[i], raw.size(), img.width,
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
	std::ofstream out(argv[i + 1], std::ios::binary);
	out.write(reinterpret_cast<const char *>(r.bytes.data()), std::streamsize(r.bytes.size()));
	if (!out) {
		fprintf(stderr, "ftm-jpeg: cannot write %s\n", argv[i + 1]);
		return 1;
	}
	printf("%s: %ux%u, %zu bytes\n", argv[i + 1], img.width, img.height, r.bytes.size());
	return 0;
}
