// A synchronous client of the JPEG library: wraps two-plane YCbCr images in
// library buffers, runs one encoding and collects the file and the events.
// Shared by the ftm-jpeg tool, the tests and the benchmark.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <optional>
#include <vector>

#include "jpeg/jpege.h"

namespace jpeg_client {

struct yuv_image {
	uint32_t width = 0, height = 0;
	uint32_t format = jpeg::YCRCBLP_H2V2;
	std::vector<uint8_t> luma;    // width x height
	std::vector<uint8_t> chroma;  // interleaved pairs, chroma width x chroma height
};

inline void chroma_size(uint32_t format, uint32_t w, uint32_t h, uint32_t *cw, uint32_t *ch)
{
	uint32_t s = (format >> 1) & 3;
	*cw = (s == jpeg::JPEG_H2V2 || s == jpeg::JPEG_H2V1) ? (w + 1) / 2 : w;
	*ch = (s == jpeg::JPEG_H2V2 || s == jpeg::JPEG_H1V2) ? (h + 1) / 2 : h;
}

inline size_t chroma_bytes(uint32_t format, uint32_t w, uint32_t h)
{
	uint32_t cw, ch;
	chroma_size(format, w, h, &cw, &ch);
	return size_t(cw) * ch * 2;
}

// Point-sampled copy at another size, same format: a thumbnail source.
inline yuv_image downscale(const yuv_image &src, uint32_t w, uint32_t h)
{
	yuv_image out{w, h, src.format, std::vector<uint8_t>(size_t(w) * h), std::vector<uint8_t>(chroma_bytes(src.format, w, h))};
	for (uint32_t y = 0; y < h; y++)
		for (uint32_t x = 0; x < w; x++)
			out.luma[size_t(y) * w + x] = src.luma[size_t(y * src.height / h) * src.width + x * src.width / w];
	uint32_t scw, sch, cw, ch;
	chroma_size(src.format, src.width, src.height, &scw, &sch);
	chroma_size(src.format, w, h, &cw, &ch);
	for (uint32_t y = 0; y < ch; y++)
		for (uint32_t x = 0; x < cw; x++)
			for (int k = 0; k < 2; k++)
				out.chroma[(size_t(y) * cw + x) * 2 + k] =
				    src.chroma[(size_t(y * sch / ch) * scw + x * scw / cw) * 2 + k];
	return out;
}

struct options {
	uint32_t quality = 90;
	uint32_t rotation = 0;
	uint32_t restart_interval = 0;
	uint32_t header_type = jpeg::JPEG_HEADER_EXIF;
	uint32_t preference = jpeg::JPEG_ENCODER_PREF_SOFTWARE_ONLY;
	const yuv_image *thumbnail = nullptr;
	uint32_t thumbnail_quality = 90;
	uint32_t buffer_cnt = 2;
	uint32_t buffer_size = 8192;
	jpeg::exif_info_obj_t exif = nullptr;
	jpeg::jpege_obj_handle encoder = nullptr;  // reuse this one instead of making one
};

struct result {
	int start_rc = -1;
	bool finished = false;
	std::vector<int> events;
	std::vector<uint8_t> bytes;
	std::vector<uint32_t> pieces;  // size of each output call
};

struct session {
	std::mutex mutex;
	std::condition_variable cond;
	result out;
};

inline void on_output(jpeg::jpege_obj_t *, void *user, jpeg::jpeg_buffer_t buf)
{
	auto *s = static_cast<session *>(user);
	std::lock_guard lock(s->mutex);
	s->out.bytes.insert(s->out.bytes.end(), buf->ptr, buf->ptr + buf->offset);
	s->out.pieces.push_back(buf->offset);
}

inline void on_event(void *user, int event, const char *)
{
	auto *s = static_cast<session *>(user);
	std::lock_guard lock(s->mutex);
	s->out.events.push_back(event);
	if (event == jpeg::JPEG_EVENT_DONE || event == jpeg::JPEG_EVENT_ERROR) {
		s->out.finished = true;
		s->cond.notify_all();
	}
}

// Library buffers over an image's planes, released with the holder. For an
// encoding that may go to the DSP the planes are copied into pmem, which
// the DSP can address; without pmem they stay on the heap (and the DSP
// refuses them).
struct image_buffers {
	jpeg::jpege_img_data_t data{};
	jpeg::jpeg_buffer_t luma = nullptr, chroma = nullptr;
	image_buffers(const yuv_image &img, bool want_pmem = false)
	{
		jpeg::jpeg_buffer_init(&luma);
		jpeg::jpeg_buffer_init(&chroma);
		if (!want_pmem || !in_pmem(img)) {
			auto *l = const_cast<uint8_t *>(img.luma.data());
			auto *c = const_cast<uint8_t *>(img.chroma.data());
			jpeg::jpeg_buffer_use_external_buffer(luma, l, uint32_t(img.luma.size()), 0);
			jpeg::jpeg_buffer_use_external_buffer(chroma, c, uint32_t(img.chroma.size()), 0);
		}
		data.color_format = img.format;
		data.width = img.width;
		data.height = img.height;
		data.fragment_cnt = 1;
		data.fragment[0] = {luma, chroma, img.width, img.height};
	}
	bool in_pmem(const yuv_image &img)
	{
		if (jpeg::jpeg_buffer_allocate(luma, uint32_t(img.luma.size()), true) != 0)
			return false;
		if (jpeg::jpeg_buffer_allocate(chroma, uint32_t(img.chroma.size()), true) != 0) {
			jpeg::jpeg_buffer_reset(luma);
			return false;
		}
		std::memcpy(luma->ptr, img.luma.data(), img.luma.size());
		std::memcpy(chroma->ptr, img.chroma.data(), img.chroma.size());
		return true;
	}
	~image_buffers()
	{
		jpeg::jpeg_buffer_destroy(&luma);
		jpeg::jpeg_buffer_destroy(&chroma);
	}
	image_buffers(const image_buffers &) = delete;
	image_buffers &operator=(const image_buffers &) = delete;
};

// Runs one encoding to its end (or to the time limit, a failed run).
inline result encode(const yuv_image &img, const options &opt,
                     std::chrono::seconds limit = std::chrono::seconds(60))
{
	session s;
	bool dsp = opt.preference != jpeg::JPEG_ENCODER_PREF_SOFTWARE_ONLY;
	image_buffers main_buf(img, dsp);
	std::optional<image_buffers> tn_buf;
	if (opt.thumbnail)
		tn_buf.emplace(*opt.thumbnail, dsp);
	jpeg::jpege_obj_handle enc = opt.encoder;
	if (!enc && jpeg::jpege_init(&enc, on_event) != 0)
		return s.out;
	std::array<jpeg::jpeg_buffer_t, 2> bufs{};
	for (uint32_t i = 0; i < opt.buffer_cnt && i < 2; i++) {
		jpeg::jpeg_buffer_init(&bufs[i]);
		jpeg::jpeg_buffer_allocate(bufs[i], opt.buffer_size, false);
	}
	jpeg::jpege_src_t src{&main_buf.data, tn_buf ? &tn_buf->data : nullptr};
	jpeg::jpege_dst_t dst{on_output, &s, opt.buffer_cnt, bufs};
	jpeg::jpege_cfg_t cfg{};
	jpeg::jpege_get_default_config(enc, &cfg);
	cfg.header_type = opt.header_type;
	cfg.preference = opt.preference;
	cfg.main_cfg.quality = opt.quality;
	cfg.main_cfg.rotation = opt.rotation;
	cfg.main_cfg.restart_interval = opt.restart_interval;
	cfg.thumbnail_present = opt.thumbnail ? 1 : 0;
	cfg.thumbnail_cfg.quality = opt.thumbnail_quality;
	cfg.thumbnail_cfg.rotation = opt.rotation;
	jpeg::exif_info_obj_t exif = opt.exif;
	int rc = jpeg::jpege_set_source(enc, &src);
	if (!rc)
		rc = jpeg::jpege_set_destination(enc, &dst);
	if (!rc)
		rc = jpeg::jpege_start(enc, &cfg, exif ? &exif : nullptr);
	{
		std::unique_lock lock(s.mutex);
		s.out.start_rc = rc;
		if (!rc)
			s.cond.wait_for(lock, limit, [&s] { return s.out.finished; });
	}
	if (!s.out.finished)
		jpeg::jpege_abort(enc);
	if (opt.encoder)
		jpeg::jpege_abort(enc);  // leaves it idle for the next use
	else
		jpeg::jpege_destroy(&enc);
	for (auto &b : bufs)
		jpeg::jpeg_buffer_destroy(&b);
	std::lock_guard lock(s.mutex);
	return s.out;
}

}  // namespace jpeg_client
