// The JPEG front end. Buffers are made once and reused for every encoding;
// the pmem memory itself stays the client's.
#include "hal/jpeg_encoder.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "jpeg/exif.h"
#include "jpeg/jpeg_buffer.h"
#include "jpeg/jpege.h"

namespace hal {

using namespace jpeg;

namespace {

struct encoder_globals {
	jpege_obj_handle jpeg_encoder = nullptr;
	exif_info_obj_t exif_info = nullptr;
	jpege_img_data_t main_img_info{}, tn_img_info{};
	jpege_src_t source{};
	jpege_dst_t dest{};
	jpege_cfg_t config{};
	std::atomic<int> is_encoding{0};
	std::mutex jpege_mutex;
	int rc = 0;
	std::chrono::steady_clock::time_point tdBefore, tdAfter;
	exif_tag_entry_t sample_tag{};
	jpeg_buffer_t temp = nullptr;
	jpeg_buffer_t tn_luma = nullptr, tn_chroma = nullptr, main_luma = nullptr, main_chroma = nullptr;
	std::array<jpeg_buffer_t, 2> out{};
	uint32_t jpegMainimageQuality = 75;
	jpeg_fragment_hook jpegfragment_callback = nullptr;
	jpeg_done_hook jpeg_callback = nullptr;
};
encoder_globals enc;

constexpr uint32_t DEST_BYTES = 8192;
constexpr uint32_t MAKE_TAG = 0x21010F;  // place 0x21, tag 0x010F (Make)
constexpr char sample_make[20] = "Example camera make";

void jpege_event_handler(void *, int event, const char *)
{
	std::fprintf(stderr, "jpege_event_handler is called with event %d!\n", event);
	if (event != JPEG_EVENT_DONE)
		return;
	enc.is_encoding = 0;
	uint8_t *tn = nullptr, *main = nullptr;
	uint32_t tn_size = 0, main_size = 0;
	jpeg_buffer_get_addr(enc.tn_luma, &tn);
	jpeg_buffer_get_actual_size(enc.tn_luma, &tn_size);
	jpeg_buffer_get_addr(enc.main_luma, &main);
	jpeg_buffer_get_actual_size(enc.main_luma, &main_size);
	if (enc.jpeg_callback)
		enc.jpeg_callback(jpeg_buffer_get_pmem_fd(enc.tn_luma), tn_size, tn, jpeg_buffer_get_pmem_fd(enc.main_luma),
				  main_size, main);
	enc.tdAfter = std::chrono::steady_clock::now();
	long elapsed = static_cast<long>(
	    std::chrono::duration_cast<std::chrono::microseconds>(enc.tdAfter - enc.tdBefore).count());
	std::fprintf(stderr, "Profiling: JPEG encoding latency %ld ms\n", elapsed);
}

void jpege_output_produced_handler(jpege_obj_t *, void *, jpeg_buffer_t buffer)
{
	std::lock_guard lock(enc.jpege_mutex);
	uint32_t size = 0;
	uint8_t *addr = nullptr;
	jpeg_buffer_get_actual_size(buffer, &size);
	jpeg_buffer_get_addr(buffer, &addr);
	if (enc.jpegfragment_callback)
		enc.jpegfragment_callback(addr, size);
}

bool make_buffers()
{
	if (enc.temp)
		return true;  // made by an earlier encoding
	for (jpeg_buffer_t *b : {&enc.temp, &enc.tn_luma, &enc.tn_chroma, &enc.main_luma, &enc.main_chroma, &enc.out[0],
				 &enc.out[1]})
		if (int rc = jpeg_buffer_init(b)) {
			std::fprintf(stderr, "jpeg_buffer_init failed: %d\n", rc);
			return false;
		}
	for (jpeg_buffer_t b : enc.out)
		if (int rc = jpeg_buffer_allocate(b, DEST_BYTES, false)) {
			std::fprintf(stderr, "jpeg_buffer_allocate failed: %d\n", rc);
			return false;
		}
	return true;
}

// One image in a pmem buffer: luma, then chroma at the next word.
bool wrap_image(jpege_img_data_t &img, jpeg_buffer_t luma, jpeg_buffer_t chroma, uint32_t w, uint32_t h, uint8_t *buf,
		int fd, const char *failure)
{
	img = jpege_img_data_t{};
	img.color_format = YCRCBLP_H2V2;
	img.width = w;
	img.height = h;
	img.fragment_cnt = 1;
	img.fragment[0] = {luma, chroma, w, h};
	jpeg_buffer_reset(luma);
	if (!buf || w == 0 || h == 0 || jpeg_buffer_use_external_buffer(luma, buf, w * h * 2, fd) != 0) {
		std::fputs(failure, stderr);
		return false;
	}
	return jpeg_buffer_attach_existing(chroma, luma, (w * h + 3) & ~3u) == 0;
}

void set_scale(jpege_scale_cfg_t &s, const uint32_t *r, uint32_t w, uint32_t h)
{
	s.input_width = r[0] * w / r[1];
	s.input_height = r[2] * h / r[3];
	s.h_offset = (w - s.input_width) >> 1;
	s.v_offset = (h - s.input_height) >> 1;
	s.output_width = w;
	s.output_height = h;
	s.enable = 1;
}

}  // namespace

void jpeg_encoder_set_callbacks(jpeg_fragment_hook fragment, jpeg_done_hook done)
{
	enc.jpegfragment_callback = fragment;
	enc.jpeg_callback = done;
}

int jpeg_encoder_init()
{
	if (enc.jpeg_encoder)
		return 1;
	if (int rc = jpege_init(&enc.jpeg_encoder, jpege_event_handler)) {
		std::fprintf(stderr, "jpege_init failed: %d\n", rc);
		return 0;
	}
	return 1;
}

void jpeg_encoder_join()
{
	jpege_destroy(&enc.jpeg_encoder);
	for (jpeg_buffer_t *b : {&enc.temp, &enc.tn_luma, &enc.tn_chroma, &enc.main_luma, &enc.main_chroma, &enc.out[0],
				 &enc.out[1]})
		jpeg_buffer_destroy(b);
	exif_destroy(&enc.exif_info);
	enc.is_encoding = 0;
}

bool jpeg_encoder_setMainImageQuality(uint32_t quality)
{
	if (quality > 100)
		return false;
	enc.jpegMainimageQuality = quality;
	return true;
}

bool jpeg_encoder_busy() { return enc.is_encoding != 0; }

int jpeg_encoder_encode(const char *, const cam::cam_ctrl_dimension_t *d, uint8_t *thumbnail_buf, int thumbnail_fd,
			uint8_t *main_buf, int main_fd, const uint32_t *scaling, int rotation)
{
	if (enc.is_encoding) {
		std::fputs("Previous Jpeg Encoding is not done!\n", stderr);
		return 0;
	}
	// Without an encoder the source is refused further on (7), as before
	// any set-up; without a dimension record there is nothing to encode.
	if (!d)
		return 0;
	std::fprintf(stderr, "jpeg_encoder_encode: thumbnail_fd = %d snapshot_fd = %d\n", thumbnail_fd, main_fd);
	enc.tdBefore = std::chrono::steady_clock::now();
	exif_destroy(&enc.exif_info);
	if (exif_init(&enc.exif_info) != 0 || !make_buffers())
		return 0;
	if (!wrap_image(enc.tn_img_info, enc.tn_luma, enc.tn_chroma, d->thumbnail_width, d->thumbnail_height,
			thumbnail_buf, thumbnail_fd, "jpeg_buffer_use_external_buffer Thumbnail pmem failed...\n") ||
	    !wrap_image(enc.main_img_info, enc.main_luma, enc.main_chroma, d->orig_picture_dx, d->orig_picture_dy,
			main_buf, main_fd, "jpeg_buffer_use_external_buffer Snapshot pmem failed...\n"))
		return 0;

	enc.source = {&enc.main_img_info, &enc.tn_img_info};
	std::fprintf(stderr, "fragment_cnt: %d  %d\n", static_cast<int>(enc.main_img_info.fragment_cnt),
		     static_cast<int>(enc.tn_img_info.fragment_cnt));
	if (int rc = jpege_set_source(enc.jpeg_encoder, &enc.source)) {
		std::fprintf(stderr, "jpege_set_source failed: %d\n", rc);
		return 0;
	}
	for (jpeg_buffer_t b : enc.out)
		jpeg_buffer_mark_empty(b);
	enc.dest = {jpege_output_produced_handler, nullptr, 2, enc.out};
	if (int rc = jpege_set_destination(enc.jpeg_encoder, &enc.dest)) {
		std::fprintf(stderr, "jpege_set_desination failed: %d\n", rc);
		return 0;
	}
	jpege_get_default_config(enc.jpeg_encoder, &enc.config);
	enc.config.thumbnail_present = 1;
	enc.config.preference = JPEG_ENCODER_PREF_DSP_ACCELERATED;
	enc.config.main_cfg.quality = enc.jpegMainimageQuality;
	bool scale = scaling != nullptr;
	for (int i = 0; scale && i < 8; ++i)
		scale = scaling[i] != 0;
	if (scale) {
		set_scale(enc.config.main_cfg.scale_cfg, scaling, enc.main_img_info.width, enc.main_img_info.height);
		set_scale(enc.config.thumbnail_cfg.scale_cfg, scaling, enc.tn_img_info.width, enc.tn_img_info.height);
	} else {
		std::fputs("There is no scaling information for JPEG upscaling.", stderr);
	}
	uint32_t angle = static_cast<uint32_t>(rotation & 3) * 90;
	enc.config.main_cfg.rotation = angle;
	enc.config.thumbnail_cfg.rotation = angle;

	enc.sample_tag = {EXIF_ASCII, 1, 20, {}};
	enc.sample_tag.data._ascii = sample_make;
	if (int rc = exif_set_tag(enc.exif_info, MAKE_TAG, &enc.sample_tag))
		std::fprintf(stderr, "exif_set_tag failed: %d\n", rc);
	enc.is_encoding = 1;
	enc.rc = jpege_start(enc.jpeg_encoder, &enc.config, &enc.exif_info);
	if (enc.rc) {
		std::fprintf(stderr, "jpege_start failed: %d\n", enc.rc);
		enc.is_encoding = 0;  // nothing started: nothing will clear it
		return 0;
	}
	return 1;
}

}  // namespace hal
