// Software engine control: the six engine operations, configuration, the
// encode thread's MCU loop, and the output thread with its two-place queue.
#include "jpeg/jpege_engine_sw.h"

#include <cmath>
#include <cstdio>
#include <cstring>

namespace jpeg {

const jpege_engine_profile_t jpege_engine_sw_profile{jpege_engine_sw_create, "Jpeg Software Encode Engine"};

namespace {

constexpr uint32_t INTERNAL_BUF_SIZE = 8192;

jpege_engine_sw_t *sw_of(jpege_engine_obj_t *engine)
{
	return engine ? static_cast<jpege_engine_sw_t *>(engine->p_engine) : nullptr;
}

uint32_t halved(uint32_t n) { return (n + 1) >> 1; }

// Chroma plane size by subsampling.
void chroma_size(uint32_t subsampling, uint32_t w, uint32_t h, uint32_t *cw, uint32_t *ch)
{
	bool across = subsampling == JPEG_H2V2 || subsampling == JPEG_H2V1;
	bool down = subsampling == JPEG_H2V2 || subsampling == JPEG_H1V2;
	*cw = across ? halved(w) : w;
	*ch = down ? halved(h) : h;
}

}  // namespace

// ---- Output ----

int jpege_engine_sw_flush_output(jpege_engine_sw_t *e)
{
	std::lock_guard lock(e->mutex);
	auto &entry = e->queue[e->queue_write];
	if (entry.valid) {
		fprintf(stderr, "jpege_engine_sw_flush_output: fatal error: queue is full\n");
		return JPEGERR_EFAILED;
	}
	entry.buffer = e->current_buf;
	entry.valid = 1;
	e->queue_write = (e->queue_write + 1) % 2;
	jpeg_buffer_mark_filled(e->current_buf);
	e->output_cond.notify_all();
	return JPEGERR_SUCCESS;
}

bool jpege_engine_sw_next_buffer(jpege_engine_sw_t *e)
{
	if (jpege_engine_sw_flush_output(e)) {
		std::lock_guard lock(e->mutex);
		e->error_flag = 1;
		e->current_buf->offset = 0;  // what follows is dropped anyway
		return false;
	}
	e->buf_index = (e->buf_index + 1) % e->dest.buffer_cnt;
	e->current_buf = e->dest.buffers[e->buf_index];
	jpeg_buffer_wait_until_empty(e->current_buf);
	e->current_buf->offset = 0;
	return true;
}

static void jpege_engine_sw_output_thread(jpege_engine_sw_t *e)
{
	std::unique_lock lock(e->mutex);
	for (;;) {
		e->output_cond.wait(lock, [e] { return e->queue[e->queue_read].valid || e->exit_output; });
		if (e->exit_output)
			return;
		// The handler runs under the lock: the owner's handler may mark the
		// buffer empty, and the encoder must not queue it again before the
		// entry is cleared here. Meanwhile the encoder fills the other buffer.
		jpeg_buffer_t buf = e->queue[e->queue_read].buffer;
		e->dest.p_output_handler(e->p_wrapper, buf);
		e->queue[e->queue_read].valid = 0;
		e->queue_read = (e->queue_read + 1) % 2;
		jpeg_buffer_mark_empty(buf);
	}
}

// ---- Encoding ----

static void jpege_engine_sw_encode_mcu(jpege_engine_sw_t *e)
{
	alignas(16) int32_t dct[64];
	alignas(16) int16_t coef[64];
	uint32_t x0 = e->mcu_col * e->mcu_width, y0 = e->mcu_row * e->mcu_height;
	for (uint32_t by = 0; by < e->mcu_height; by += 8) {
		for (uint32_t bx = 0; bx < e->mcu_width; bx += 8) {
			const uint8_t *p = jpege_engine_sw_fetch_luma(e, x0 + bx, y0 + by, e->block);
			if (p)
				jpege_engine_sw_dct_wrapper(p, e->luma_width, dct);
			else
				jpege_engine_sw_dct_wrapper(e->block, 8, dct);
			uint64_t nonzero = jpege_engine_sw_quant_zigzag(dct, coef, e->zigzag, e->quant_luma.data());
			jpege_engine_sw_huff_encode(e, coef, nonzero, 0);
		}
	}
	jpege_engine_sw_fetch_chroma(e, e->mcu_col * 8, e->mcu_row * 8);
	for (int comp = 1; comp <= 2; comp++) {
		jpege_engine_sw_dct_wrapper(e->chroma_block[comp - 1], 8, dct);
		uint64_t nonzero = jpege_engine_sw_quant_zigzag(dct, coef, e->zigzag, e->quant_chroma.data());
		jpege_engine_sw_huff_encode(e, coef, nonzero, comp);
	}
}

// Ends the encode thread: waits for the queued buffers to come back so the
// next encoding starts on empty buffers, then reports.
static void jpege_engine_sw_finish(jpege_engine_sw_t *e, bool completed, bool failed)
{
	for (uint32_t i = 0; i < e->dest.buffer_cnt; i++)
		jpeg_buffer_wait_until_empty(e->dest.buffers[i]);
	bool aborted;
	{
		std::lock_guard lock(e->mutex);
		e->active = 0;
		aborted = e->abort_flag;
		failed = failed || e->error_flag;
		e->abort_flag = e->error_flag = 0;
		e->abort_cond.notify_all();
	}
	if (!aborted && (failed || completed))
		e->p_handler(e->p_wrapper, failed ? JPEG_EVENT_ERROR : JPEG_EVENT_DONE, nullptr);
	std::lock_guard lock(e->mutex);
	e->encode_threads--;
	e->abort_cond.notify_all();
}

static void jpege_engine_sw_encode(jpege_engine_sw_t *e)
{
	for (int t = 0; t < 2; t++) {
		jpege_engine_sw_init_huff(e->dc_counts[t].data(), e->dc_values[t].data(), 12, e->dc_codes[t].data(), 12);
		jpege_engine_sw_init_huff(e->ac_counts[t].data(), e->ac_values[t].data(), 162, e->ac_codes[t].data(), 256);
	}
	uint32_t total = e->horiz_mcu_cnt * e->vert_mcu_cnt;
	for (uint32_t mcu = 0; mcu < total; mcu++) {
		// An abort is looked for once a row: a lock for every MCU showed in
		// the ARM build's timing, and a row is a few milliseconds at most.
		if (e->mcu_col == 0) {
			std::lock_guard lock(e->mutex);
			if (e->abort_flag || e->error_flag)
				break;
		}
		if (e->restart_interval && e->restart_cnt == e->restart_interval) {
			e->restart_cnt = 0;
			jpege_engine_sw_insert_restart_marker(e);
		}
		e->restart_cnt++;
		jpege_engine_sw_encode_mcu(e);
		if (mcu + 1 == total) {
			jpege_engine_sw_stuff_bs(e);
			jpege_engine_sw_emit_byte(e, 0xFF);
			jpege_engine_sw_emit_byte(e, 0xD9);
			bool failed = jpege_engine_sw_flush_output(e) != 0;
			jpege_engine_sw_finish(e, true, failed);
			return;
		}
		if (++e->mcu_col == e->horiz_mcu_cnt) {
			e->mcu_col = 0;
			e->mcu_row++;
		}
	}
	jpege_engine_sw_finish(e, false, false);
}

// Waits for each picture that start configures; leaves at destroy.
static void jpege_engine_sw_encode_thread(jpege_engine_sw_t *e)
{
	for (;;) {
		{
			std::unique_lock lock(e->mutex);
			e->encode_cond.wait(lock, [e] { return e->encode_pending || e->exit_encode; });
			if (e->exit_encode)
				return;
			e->encode_pending = 0;
		}
		jpege_engine_sw_encode(e);
	}
}

// ---- Configuration ----

static void jpege_engine_sw_set_quant(std::array<int16_t, 64> &out, const uint16_t *table, uint32_t rotation)
{
	bool turned = rotation == 90 || rotation == 270;
	for (uint32_t k = 0; k < 64; k++) {
		uint32_t row = k >> 3, col = k & 7;
		// Coefficient k of the source block lands at the transposed place
		// of the output block when the picture turns by a quarter.
		uint16_t q = table[turned ? col * 8 + row : k];
		bool negative = (rotation == 90 && (row & 1)) || (rotation == 180 && ((row + col) & 1)) ||
		                (rotation == 270 && (col & 1));
		auto r = int16_t((1.0 / (q ? q : 1)) * 32767.0 + 0.5);
		out[k] = negative ? int16_t(-r) : r;
	}
}

static void copy_huff(const uint8_t *table, std::array<uint8_t, 16> &counts, uint8_t *values, uint32_t n)
{
	memcpy(counts.data(), table + 1, 16);
	memcpy(values, table + 17, n);
}

static int jpege_engine_sw_configure(jpege_engine_sw_t *e, const jpege_img_cfg_t *cfg, const jpege_img_data_t *src,
                                     const jpege_engine_dst_t *dest)
{
	uint32_t rotation = cfg->rotation;
	if (rotation != 0 && rotation != 90 && rotation != 180 && rotation != 270) {
		fprintf(stderr, "jpege_engine_sw_configure: unrecognized rotation: %d\n", rotation);
		return JPEGERR_EBADPARM;
	}
	uint32_t subsampling = src->color_format >> 1;
	if (subsampling > JPEG_H1V1) {
		fprintf(stderr, "jpege_engine_sw_configure: invalid jpeg subsampling: %d\n", subsampling);
		return JPEGERR_EBADPARM;
	}
	e->rotation = rotation;
	e->subsampling = subsampling;
	e->restart_interval = cfg->restart_interval;
	e->is_crcb = (src->color_format & 1) == 0;
	e->luma_width = src->width;
	e->luma_height = src->height;
	chroma_size(subsampling, src->width, src->height, &e->chroma_width, &e->chroma_height);
	e->luma_plane = src->fragment[0].luma_buf->ptr;
	e->chroma_plane = src->fragment[0].chroma_buf->ptr;

	if (dest->buffer_cnt == 0) {
		if (!e->internal_buf) {
			int rc = jpeg_buffer_init(&e->internal_buf);
			if (!rc)
				rc = jpeg_buffer_allocate(e->internal_buf, INTERNAL_BUF_SIZE, false);
			if (rc) {
				jpeg_buffer_destroy(&e->internal_buf);
				return rc;
			}
		}
		e->dest = {dest->p_output_handler, 1, {e->internal_buf, nullptr}};
	} else {
		e->dest = *dest;
	}
	e->buf_index = 0;
	e->current_buf = e->dest.buffers[0];
	e->current_buf->offset = 0;
	e->queue_read = e->queue_write = 0;

	copy_huff(cfg->luma_dc_huff, e->dc_counts[0], e->dc_values[0].data(), 12);
	copy_huff(cfg->chroma_dc_huff, e->dc_counts[1], e->dc_values[1].data(), 12);
	copy_huff(cfg->luma_ac_huff, e->ac_counts[0], e->ac_values[0].data(), 162);
	copy_huff(cfg->chroma_ac_huff, e->ac_counts[1], e->ac_values[1].data(), 162);
	jpege_engine_sw_set_quant(e->quant_luma, cfg->luma_quant_tbl, rotation);
	jpege_engine_sw_set_quant(e->quant_chroma, cfg->chroma_quant_tbl, rotation);

	bool turned = rotation == 90 || rotation == 270;
	e->zigzag = turned ? zigzagTableTranspose.data() : zigzagTable.data();
	static constexpr uint32_t mcu_size[4][2] = {{16, 16}, {16, 8}, {8, 16}, {8, 8}};
	e->mcu_width = mcu_size[subsampling][turned];
	e->mcu_height = mcu_size[subsampling][!turned];
	e->out_luma_width = turned ? e->luma_height : e->luma_width;
	e->out_luma_height = turned ? e->luma_width : e->luma_height;
	e->out_chroma_width = turned ? e->chroma_height : e->chroma_width;
	e->out_chroma_height = turned ? e->chroma_width : e->chroma_height;
	e->horiz_mcu_cnt = (e->out_chroma_width + 7) >> 3;
	e->vert_mcu_cnt = (e->out_chroma_height + 7) >> 3;
	e->mcu_col = e->mcu_row = 0;

	e->prev_dc[0] = e->prev_dc[1] = e->prev_dc[2] = 0;
	e->restart_cnt = 0;
	e->restart_index = 0;
	e->bit_acc = 0;
	e->bit_free = 64;
	return JPEGERR_SUCCESS;
}

// ---- The six operations ----

static int jpege_engine_sw_init(jpege_engine_obj_t *engine, jpege_engine_event_handler_t handler)
{
	if (!engine || !handler)
		return JPEGERR_ENULLPTR;
	auto e = make_nothrow<jpege_engine_sw_t>();
	if (!e)
		return JPEGERR_EMALLOC;
	e->p_wrapper = engine;
	e->p_handler = handler;
	try {
		e->output_thread = std::thread(jpege_engine_sw_output_thread, e.get());
	} catch (const std::exception &) {
		return JPEGERR_EFAILED;
	}
	engine->p_engine = e.release();
	return JPEGERR_SUCCESS;
}

static int jpege_engine_sw_check_start_param(jpege_engine_obj_t *engine, const jpege_img_cfg_t *cfg,
                                             const jpege_img_data_t *src, const jpege_engine_dst_t *dest)
{
	if (!engine || !cfg || !src || !dest)
		return JPEGERR_ENULLPTR;
	if (cfg->rotation % 90)
		return JPEGERR_EBADPARM;
	if (cfg->scale_cfg.enable) {
		fprintf(stderr, "jpege_engine_sw_check_start_param: software engine does not support upsampling\n");
		return JPEGERR_EUNSUPPORTED;
	}
	// The planes must hold the whole picture: only fragment 0 is read.
	uint32_t cw, ch;
	chroma_size((src->color_format >> 1) & 3, src->width, src->height, &cw, &ch);
	const jpege_img_frag_t &f = src->fragment[0];
	if (!src->width || !src->height || src->width > 65535 || src->height > 65535 || !f.luma_buf ||
	    !f.chroma_buf || !f.luma_buf->ptr || !f.chroma_buf->ptr ||
	    f.luma_buf->size < uint64_t(src->width) * src->height || f.chroma_buf->size < 2ull * cw * ch)
		return JPEGERR_EBADPARM;
	return JPEGERR_SUCCESS;
}

static int jpege_engine_sw_start(jpege_engine_obj_t *engine, const jpege_img_cfg_t *cfg,
                                 const jpege_img_data_t *src, const jpege_engine_dst_t *dest)
{
	jpege_engine_sw_t *e = sw_of(engine);
	if (!e || !cfg || !src || !dest)
		return JPEGERR_ENULLPTR;
	std::lock_guard lock(e->mutex);
	if (e->active) {
		fprintf(stderr, "jpege_engine_sw_start: previous encoding still active\n");
		return JPEGERR_EBADSTATE;
	}
	int rc = jpege_engine_sw_check_start_param(engine, cfg, src, dest);
	if (!rc)
		rc = jpege_engine_sw_configure(e, cfg, src, dest);
	if (rc)
		return rc;
	e->abort_flag = e->error_flag = 0;
	if (!e->encode_thread.joinable()) {
		try {
			e->encode_thread = std::thread(jpege_engine_sw_encode_thread, e);
		} catch (const std::system_error &err) {
			fprintf(stderr, "jpege_engine_sw_start: pthread_create() failed: %d\n", err.code().value());
			return JPEGERR_EFAILED;
		}
	}
	e->encode_threads++;
	e->active = 1;
	e->encode_pending = 1;
	e->encode_cond.notify_all();
	return JPEGERR_SUCCESS;
}

static int jpege_engine_sw_abort(jpege_engine_obj_t *engine)
{
	jpege_engine_sw_t *e = sw_of(engine);
	if (!e)
		return JPEGERR_ENULLPTR;
	std::unique_lock lock(e->mutex);
	if (e->active) {
		e->abort_flag = 1;
		e->abort_cond.wait(lock, [e] { return !e->abort_flag; });
	}
	return JPEGERR_SUCCESS;
}

static void jpege_engine_sw_destroy(jpege_engine_obj_t *engine)
{
	jpege_engine_sw_t *e = sw_of(engine);
	if (e) {
		jpege_engine_sw_abort(engine);
		{
			std::unique_lock lock(e->mutex);
			e->abort_cond.wait(lock, [e] { return e->encode_threads == 0; });
			e->exit_output = 1;
			e->output_cond.notify_all();
			e->exit_encode = 1;
			e->encode_cond.notify_all();
		}
		if (e->encode_thread.joinable())
			e->encode_thread.join();
		e->output_thread.join();
		jpeg_buffer_destroy(&e->internal_buf);
		std::unique_ptr<jpege_engine_sw_t>(e).reset();
	}
	jpege_obj_t *owner = engine->owner;
	*engine = jpege_engine_obj_t{};
	engine->owner = owner;
}

void jpege_engine_sw_create(jpege_engine_obj_t *engine, jpege_obj_t *owner)
{
	if (!engine)
		return;
	if (engine->destroy)
		engine->destroy(engine);
	*engine = jpege_engine_obj_t{};
	engine->create = jpege_engine_sw_create;
	engine->init = jpege_engine_sw_init;
	engine->check_start_param = jpege_engine_sw_check_start_param;
	engine->start = jpege_engine_sw_start;
	engine->abort = jpege_engine_sw_abort;
	engine->destroy = jpege_engine_sw_destroy;
	engine->owner = owner;
}

}  // namespace jpeg
