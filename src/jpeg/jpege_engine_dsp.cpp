#include "jpeg/jpege_engine_dsp.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

namespace jpeg {

namespace {

jpege_engine_dsp_t *dsp_of(jpege_engine_obj_t *engine)
{
	return engine ? static_cast<jpege_engine_dsp_t *>(engine->p_engine) : nullptr;
}

uint32_t round_up(uint32_t v, uint32_t to) { return (v + to - 1) / to * to; }

void put16(uint8_t *m, size_t off, uint32_t v)
{
	m[off] = static_cast<uint8_t>(v);
	m[off + 1] = static_cast<uint8_t>(v >> 8);
}
void put32(uint8_t *m, size_t off, uint32_t v)
{
	put16(m, off, v & 0xFFFF);
	put16(m, off + 2, v >> 16);
}

void notify(jpege_engine_dsp_t *e, int event, const char *detail)
{
	if (e->p_handler)
		e->p_handler(e->p_wrapper, event, detail);
}

int send_action(jpege_engine_dsp_t *e, uint32_t code, uint32_t a = 0, uint32_t b = 0)
{
	std::array<uint32_t, 3> cmd{code, a, b};
	uint32_t length = code == JPEG_DSP_ACT_OUTPUT_CONSUMED ? 12 : 4;
	return jpeg_dsp_helper_send_action_command(&e->helper, cmd.data(), length);
}

void set_state(jpege_engine_dsp_t *e, uint32_t state)
{
	std::lock_guard lock(e->mutex);
	e->state = state;
	e->cond.notify_all();
}

void output_event(jpege_engine_dsp_t *e, const uint32_t *data, uint32_t words)
{
	if (!data || words < 3)
		return;
	uint32_t address = data[0], size = data[1], flags = data[2];
	jpeg_buffer_t buffer = nullptr;
	for (uint32_t i = 0; i < e->dest.buffer_cnt && i < 2; ++i)
		if (e->dest.buffers[i] && e->dest.buffers[i]->phy_addr == address)
			buffer = e->dest.buffers[i];
	if (!buffer || size > buffer->size) {
		std::fputs("jpege_engine_dsp_event_handler: invalid output buffer detected\n", stderr);
		notify(e, JPEG_EVENT_ERROR, "invalid output buffer from dsp");
		return;
	}
	buffer->offset = size;
	if (size) {
		jpeg_buffer_mark_filled(buffer);
		e->dest.p_output_handler(e->p_wrapper, buffer);
	}
	if (flags & 1) {
		set_state(e, JPEGE_DSP_FINISHING);
		if (send_action(e, JPEG_DSP_ACT_IDLE)) {
			set_state(e, JPEGE_DSP_IDLE);
			notify(e, JPEG_EVENT_ERROR, "error sending idle command to dsp");
		}
		return;
	}
	jpeg_buffer_wait_until_empty(buffer);
	if (send_action(e, JPEG_DSP_ACT_OUTPUT_CONSUMED, address, buffer->size)) {
		set_state(e, JPEGE_DSP_IDLE);
		notify(e, JPEG_EVENT_ERROR, "error sending output consumed command to dsp");
	}
}

void jpege_engine_dsp_notify_done(jpege_engine_dsp_t *e) { notify(e, JPEG_EVENT_DONE, nullptr); }

void jpege_engine_dsp_event_handler(void *user, uint16_t id, const uint32_t *data, uint32_t words)
{
	auto *e = static_cast<jpege_engine_dsp_t *>(user);
	switch (id) {
	case JPEG_DSP_EVT_START_ACK: {
		std::lock_guard lock(e->mutex);
		if (e->state == JPEGE_DSP_CONFIGURED)
			e->state = JPEGE_DSP_ENCODING;
		e->cond.notify_all();
		break;
	}
	case JPEG_DSP_EVT_OUTPUT:
		output_event(e, data, words);
		break;
	case JPEG_DSP_EVT_IDLE: {
		bool finished;
		{
			std::lock_guard lock(e->mutex);
			finished = e->state == JPEGE_DSP_FINISHING;
			e->state = JPEGE_DSP_IDLE;
			e->cond.notify_all();
		}
		// Done starts the next encoding, which must not run on the listener
		// it will wait upon.
		if (finished) {
			try {
				std::thread(jpege_engine_dsp_notify_done, e).detach();
			} catch (const std::system_error &) {
				std::fputs("jpege_engine_dsp_event_handler: pthread_create failed\n", stderr);
				notify(e, JPEG_EVENT_ERROR, nullptr);
			}
		}
		break;
	}
	case JPEG_DSP_EVT_REFUSED: {
		std::lock_guard lock(e->mutex);
		if (e->state == JPEGE_DSP_CONFIGURED) {
			e->state = JPEGE_DSP_IDLE;
			e->start_refused = true;
		}
		e->cond.notify_all();
		break;
	}
	case JPEG_DSP_LISTENER_FAILED:
		set_state(e, JPEGE_DSP_IDLE);
		notify(e, JPEG_EVENT_ERROR, "error communicating with dsp");
		break;
	default:
		break;
	}
}

bool scale_ok(const jpege_scale_cfg_t &s, const jpege_img_data_t *img)
{
	auto within = [](uint32_t v, uint32_t lo, uint32_t hi) { return v >= lo && v <= hi; };
	return within(s.input_width, 1, 4095) && within(s.input_height, 1, 4095) &&
	       within(s.output_width, s.input_width, 4 * s.input_width) &&
	       within(s.output_height, s.input_height, 4 * s.input_height) && within(s.h_offset, 4, 4095) &&
	       within(s.v_offset, 4, 4095) && s.h_offset + s.input_width + 4 <= img->width &&
	       s.v_offset + s.input_height + 4 <= img->height;
}

int jpege_engine_dsp_check_start_param(jpege_engine_obj_t *, const jpege_img_cfg_t *cfg,
				       const jpege_img_data_t *src, const jpege_engine_dst_t *dest)
{
	if (!cfg || !src || !dest)
		return JPEGERR_ENULLPTR;
	const char *p = "jpege_engine_dsp_check_start_param: ";
	uint32_t format = src->color_format;
	if (format != YCRCBLP_H2V2 && format != YCRCBLP_H2V1 && format != YCRCBLP_H1V2) {
		std::fprintf(stderr, "%sonly support YCRCB (H2V2, H2V1 and H1V2)\n", p);
		return JPEGERR_EUNSUPPORTED;
	}
	if (cfg->rotation % 90)
		return JPEGERR_EBADPARM;
	if ((format == YCRCBLP_H2V1 && cfg->rotation % 180) || (format == YCRCBLP_H1V2 && cfg->rotation % 180 == 0)) {
		std::fprintf(stderr, "%sH2V1 with even rotation/H1V2 with odd rotation not supported\n", p);
		return JPEGERR_EUNSUPPORTED;
	}
	if (src->fragment_cnt == 0 || src->fragment_cnt > JPEGE_MAX_FRAGMENTS) {
		std::fprintf(stderr, "%sno valid fragment\n", p);
		return JPEGERR_EBADPARM;
	}
	for (uint32_t i = 0; i < src->fragment_cnt; ++i) {
		const jpege_img_frag_t &f = src->fragment[i];
		if (!f.luma_buf || !f.chroma_buf || f.luma_buf->pmem_fd <= 0 || f.chroma_buf->pmem_fd <= 0) {
			std::fprintf(stderr, "%sinput buffer needs to be physically mapped\n", p);
			return JPEGERR_EUNSUPPORTED;
		}
	}
	const jpege_img_frag_t &f0 = src->fragment[0];
	if ((format != YCRCBLP_H1V2 && f0.width != round_up(src->width, 16)) ||
	    (format != YCRCBLP_H2V1 && f0.height != round_up(src->height, 16))) {
		std::fprintf(stderr, "%sinput fragment not pre-padded\n", p);
		return JPEGERR_EUNSUPPORTED;
	}
	if (dest->buffer_cnt < 2)
		std::fprintf(stderr, "%swarning: 2 destination buffers needed; use internal ones\n", p);
	bool unmapped = false;
	for (uint32_t i = 0; i < dest->buffer_cnt && i < dest->buffers.size(); ++i)
		unmapped |= !dest->buffers[i] || dest->buffers[i]->pmem_fd <= 0;
	if (unmapped)
		std::fprintf(stderr, "%swarning: destination buffer not physically mapped; use internal ones\n", p);
	if (!cfg->scale_cfg.enable)
		return JPEGERR_SUCCESS;
	if (format == YCRCBLP_H1V2) {
		std::fprintf(stderr, "%sDo not support H1V2 with upsampling\n", p);
		return JPEGERR_EUNSUPPORTED;
	}
	if (!scale_ok(cfg->scale_cfg, src)) {
		std::fprintf(stderr, "%sinvalid upsampling config\n", p);
		return JPEGERR_EBADPARM;
	}
	return JPEGERR_SUCCESS;
}

int jpege_engine_dsp_init(jpege_engine_obj_t *engine, jpege_engine_event_handler_t handler)
{
	jpege_engine_dsp_t *e = dsp_of(engine);
	if (!e)
		return JPEGERR_EUNINITIALIZED;
	e->p_handler = handler;
	if (jpeg_dsp_helper_init(&e->helper, e, jpege_engine_dsp_event_handler)) {
		std::fputs("jpege_engine_dsp_init: jpeg_dsp_helper_init failed\n", stderr);
		return JPEGERR_EFAILED;
	}
	e->state = JPEGE_DSP_IDLE;
	return JPEGERR_SUCCESS;
}

bool use_internal_buffers(jpege_engine_dsp_t *e)
{
	for (jpeg_buffer_t &b : e->internal_buf)
		if (!b && (jpeg_buffer_init(&b) || jpeg_buffer_allocate(b, JPEG_DSP_INTERNAL_BUF_BYTES, true))) {
			jpeg_buffer_destroy(&b);
			return false;
		}
	e->dest.buffer_cnt = 2;
	e->dest.buffers = e->internal_buf;
	for (jpeg_buffer_t b : e->internal_buf)
		jpeg_buffer_mark_empty(b);
	return true;
}

// Input planes: one fragment tall enough goes as four slices of it.
int fill_fragments(jpege_engine_dsp_t *e, uint8_t *m, const jpege_img_data_t *src)
{
	uint32_t count = src->fragment_cnt;
	const jpege_img_frag_t &f0 = src->fragment[0];
	bool h2v2 = src->color_format == YCRCBLP_H2V2;
	if (count == 1 && f0.height >= JPEG_DSP_SLICE_MIN_HEIGHT) {
		uint32_t slice = f0.height >> 2, chroma_slice = h2v2 ? slice >> 1 : slice;
		if (jpeg_dsp_helper_register_pmem(&e->helper, f0.luma_buf) ||
		    jpeg_dsp_helper_register_pmem(&e->helper, f0.chroma_buf))
			return JPEGERR_EFAILED;
		for (uint32_t i = 0; i < 4; ++i) {
			put32(m, 20 + i * 8, f0.luma_buf->phy_addr + slice * f0.width * i);
			put32(m, 24 + i * 8, f0.chroma_buf->phy_addr + chroma_slice * f0.width * i);
		}
		put16(m, 16, slice);
		return 4;
	}
	for (uint32_t i = 0; i < count; ++i) {
		const jpege_img_frag_t &f = src->fragment[i];
		if (jpeg_dsp_helper_register_pmem(&e->helper, f.luma_buf) ||
		    jpeg_dsp_helper_register_pmem(&e->helper, f.chroma_buf))
			return JPEGERR_EFAILED;
		put32(m, 20 + i * 8, f.luma_buf->phy_addr);
		put32(m, 24 + i * 8, f.chroma_buf->phy_addr);
	}
	put16(m, 16, f0.height);
	return static_cast<int>(count);
}

void fill_sizes(uint8_t *m, const jpege_img_cfg_t *cfg, const jpege_img_data_t *src)
{
	const jpege_img_frag_t &f0 = src->fragment[0];
	put16(m, 6, cfg->restart_interval);
	put16(m, 8, f0.height);
	put16(m, 10, f0.width);
	uint32_t w = src->width, h = src->height;
	const jpege_scale_cfg_t &s = cfg->scale_cfg;
	if (s.enable) {
		w = s.output_width;
		h = s.output_height;
	}
	uint32_t sub = (src->color_format >> 1) & 3;
	uint32_t wr = sub == JPEG_H1V2 || sub == JPEG_H1V1 ? 8 : 16, hr = sub == JPEG_H2V1 ? 8 : 16;
	put16(m, 12, round_up(h, hr));
	put16(m, 14, round_up(w, wr));
	for (int i = 0; i < 64; ++i) {
		put16(m, 104 + i * 2, 65535 / std::max<uint16_t>(1, cfg->luma_quant_tbl[i]));
		put16(m, 232 + i * 2, 65535 / std::max<uint16_t>(1, cfg->chroma_quant_tbl[i]));
	}
	put16(m, 360, s.input_width & 0xFFF);
	put16(m, 362, (s.input_height & 0xFFF) | (s.enable ? 0x8000u : 0));
	put16(m, 364, s.h_offset & 0xFFF);
	put16(m, 366, s.v_offset & 0xFFF);
	std::memcpy(m + 368, polyphase_coeff.data(), 256);
}

int jpege_engine_dsp_start(jpege_engine_obj_t *engine, const jpege_img_cfg_t *cfg, const jpege_img_data_t *src,
			   const jpege_engine_dst_t *dest)
{
	jpege_engine_dsp_t *e = dsp_of(engine);
	if (!e || !cfg || !src || !dest)
		return JPEGERR_ENULLPTR;
	std::unique_lock lock(e->mutex);
	if (e->state != JPEGE_DSP_IDLE) {
		std::fputs("jpege_engine_dsp_start: engine not idle\n", stderr);
		return JPEGERR_EBADSTATE;
	}
	e->dest = *dest;
	if ((dest->buffer_cnt < 2 || dest->buffers[0]->pmem_fd <= 0 || dest->buffers[1]->pmem_fd <= 0) &&
	    !use_internal_buffers(e))
		return JPEGERR_EMALLOC;
	std::array<uint8_t, JPEG_DSP_CFG_BYTES> m{};
	jpeg_dsp_helper_unregister_pmem(&e->helper);
	for (int i = 0; i < 2; ++i) {
		jpeg_buffer_t b = e->dest.buffers[i];
		if (jpeg_dsp_helper_register_pmem(&e->helper, b) || !b->phy_addr) {
			std::fputs("jpege_engine_dsp_start: failed to obtain physical address\n", stderr);
			return JPEGERR_EFAILED;
		}
		put32(m.data(), 88 + i * 8, b->phy_addr);
		put32(m.data(), 92 + i * 8, b->size);
	}
	m[4] = static_cast<uint8_t>((src->color_format >> 1) & 3);
	int fragments = fill_fragments(e, m.data(), src);
	if (fragments <= 0)
		return JPEGERR_EFAILED;
	m[5] = static_cast<uint8_t>(((cfg->rotation / 90) & 3) | (static_cast<uint32_t>(fragments) & 0xF) << 2);
	fill_sizes(m.data(), cfg, src);
	if (int rc = jpeg_dsp_helper_send_cfg_command(&e->helper, m.data(), m.size()))
		return rc;
	e->state = JPEGE_DSP_CONFIGURED;
	e->start_refused = false;
	lock.unlock();
	if (int rc = send_action(e, JPEG_DSP_ACT_START)) {
		set_state(e, JPEGE_DSP_IDLE);
		return rc;
	}
	lock.lock();
	while (e->state == JPEGE_DSP_CONFIGURED)
		if (e->cond.wait_for(lock, std::chrono::seconds(2)) == std::cv_status::timeout)
			break;
	if (e->state == JPEGE_DSP_CONFIGURED || e->start_refused) {
		e->state = JPEGE_DSP_IDLE;  // no acknowledgement, or refused
		return JPEGERR_EFAILED;
	}
	return JPEGERR_SUCCESS;
}

int jpege_engine_dsp_abort(jpege_engine_obj_t *engine)
{
	jpege_engine_dsp_t *e = dsp_of(engine);
	if (!e)
		return JPEGERR_SUCCESS;
	std::unique_lock lock(e->mutex);
	if (e->state != JPEGE_DSP_ENCODING && e->state != JPEGE_DSP_CONFIGURED)
		return JPEGERR_SUCCESS;
	e->state = JPEGE_DSP_ABORTING;
	lock.unlock();
	if (send_action(e, JPEG_DSP_ACT_IDLE))
		return JPEGERR_EFAILED;
	lock.lock();
	// A DSP that never goes idle is given up on after the same wait as a start.
	e->cond.wait_for(lock, std::chrono::seconds(2), [e] { return e->state == JPEGE_DSP_IDLE; });
	e->state = JPEGE_DSP_IDLE;
	return JPEGERR_SUCCESS;
}

void jpege_engine_dsp_destroy(jpege_engine_obj_t *engine)
{
	if (jpege_engine_dsp_t *e = dsp_of(engine)) {
		jpege_engine_dsp_abort(engine);
		jpeg_dsp_helper_destroy(&e->helper);
		for (jpeg_buffer_t &b : e->internal_buf)
			jpeg_buffer_destroy(&b);
		std::unique_ptr<jpege_engine_dsp_t>(e).reset();
	}
	jpege_obj_t *owner = engine->owner;
	*engine = jpege_engine_obj_t{};
	engine->owner = owner;
}

}  // namespace

void jpege_engine_dsp_create(jpege_engine_obj_t *engine, jpege_obj_t *owner)
{
	if (!engine)
		return;
	if (engine->destroy)
		engine->destroy(engine);
	*engine = jpege_engine_obj_t{};
	engine->create = jpege_engine_dsp_create;
	engine->init = jpege_engine_dsp_init;
	engine->check_start_param = jpege_engine_dsp_check_start_param;
	engine->start = jpege_engine_dsp_start;
	engine->abort = jpege_engine_dsp_abort;
	engine->destroy = jpege_engine_dsp_destroy;
	engine->owner = owner;
	auto e = make_nothrow<jpege_engine_dsp_t>();
	if (e) {
		e->p_wrapper = engine;
		engine->p_engine = e.release();
	}
}

// A gentle four-phase cubic, sixteen taps a phase in Q14; the first half of
// the table goes to the DSP.
const std::array<int16_t, 256> polyphase_coeff = [] {
	std::array<int16_t, 256> t{};
	for (size_t i = 0; i < t.size(); ++i) {
		int phase = static_cast<int>(i / 16), tap = static_cast<int>(i % 16);
		double x = (tap - 7.5 - phase / 4.0) / 2.0, ax = x < 0 ? -x : x;
		double w = ax < 1 ? 1.5 * ax * ax * ax - 2.5 * ax * ax + 1
			   : ax < 2 ? -0.5 * ax * ax * ax + 2.5 * ax * ax - 4 * ax + 2
				    : 0;
		t[i] = static_cast<int16_t>(w * 8192);
	}
	return t;
}();

}  // namespace jpeg
