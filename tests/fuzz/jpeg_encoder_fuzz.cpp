// The JPEG encoder's inputs as a camera client gives them: a small picture of
// any size and format, quality, rotation, restart interval, header type, a
// thumbnail, output buffers, and Exif tags of any type, count and value.
//
// Layout: width, height, format, quality, rotation, restart, flags, buffer
// size, tag count, then per tag: place (2), number (2), type, count and the
// count's bytes of value; what is left are the pixels, repeated as needed.
#include <cstdint>
#include <cstring>
#include <vector>

#include "jpeg/exif.h"
#include "jpeg_client.h"

namespace {

struct reader {
	const uint8_t *p;
	size_t left;
	uint8_t byte()
	{
		if (!left)
			return 0;
		--left;
		return *p++;
	}
	uint16_t u16() { return static_cast<uint16_t>(byte() | byte() << 8); }
};

void fill(std::vector<uint8_t> &plane, const reader &pixels)
{
	for (size_t i = 0; i < plane.size(); ++i)
		plane[i] = pixels.left ? pixels.p[i % pixels.left] : static_cast<uint8_t>(i);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	using namespace jpeg;
	reader in{data, size};
	jpeg_client::yuv_image img;
	img.width = 1 + in.byte() % 48;
	img.height = 1 + in.byte() % 48;
	img.format = in.byte() % 8;
	jpeg_client::options opt;
	opt.quality = in.byte();
	static constexpr uint32_t rotations[] = {0, 90, 180, 270, 45, 360};
	opt.rotation = rotations[in.byte() % 6];
	opt.restart_interval = in.byte() % 16;
	uint8_t flags = in.byte();
	opt.header_type = flags & 1 ? JPEG_HEADER_JFIF : JPEG_HEADER_EXIF;
	opt.buffer_cnt = 1 + (flags >> 2 & 1);
	opt.buffer_size = 64u + 64u * in.byte();

	exif_info_obj_t exif = nullptr;
	exif_init(&exif);
	std::vector<std::vector<uint8_t>> values;  // the store may point at them
	for (int tags = in.byte() % 4; tags > 0; --tags) {
		uint32_t id = static_cast<uint32_t>(in.u16() % (EXIF_TAG_MAX_OFFSET + 2)) << 16 | in.u16();
		exif_tag_entry_t entry{};
		entry.type = in.byte() % 12;
		entry.count = in.byte();
		entry.copy = flags >> 3 & 1;
		size_t elem = entry.type < tag_type_sizes.size() ? tag_type_sizes[entry.type] : 0;
		std::vector<uint8_t> &v = values.emplace_back(elem * entry.count + 8, 0);
		for (size_t i = 0; i + 8 < v.size(); ++i)
			v[i] = in.byte();
		if (exif_data_is_pointer(entry.type, entry.count))
			entry.data._ptr = v.data();
		else
			std::memcpy(&entry.data, v.data(), sizeof entry.data);
		exif_set_tag(exif, id, &entry);
	}
	opt.exif = exif;

	img.luma.resize(size_t(img.width) * img.height);
	img.chroma.resize(jpeg_client::chroma_bytes(img.format, img.width, img.height));
	fill(img.luma, in);
	fill(img.chroma, in);
	jpeg_client::yuv_image thumbnail;
	if (flags & 2) {
		thumbnail = jpeg_client::downscale(img, 1 + img.width / 4, 1 + img.height / 4);
		opt.thumbnail = &thumbnail;
		opt.thumbnail_quality = opt.quality;
	}
	auto result = jpeg_client::encode(img, opt, std::chrono::seconds(8));
	if (result.start_rc == 0 && !result.finished)
		__builtin_trap();  // an encoding that started must end
	exif_destroy(&exif);
	return 0;
}
