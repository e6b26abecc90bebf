// The encoder object: validation, configuration, engine choice, and the
// thumbnail -> header -> main image sequence driven by engine events.
#include "jpeg/jpege.h"
#include "jpeg/jpege_engine_dsp.h"

#include <cstdio>

namespace jpeg {

jpege_engine_profile_t jpege_engine_dsp_profile{jpege_engine_dsp_create, "Jpeg DSP Encode Engine"};

namespace {

void notify(jpege_obj_t *obj, int event, const char *detail)
{
	if (obj->p_handler)
		obj->p_handler(obj->dest.p_user_data, event, detail);
}

void set_state(jpege_obj_t *obj, uint32_t state)
{
	std::lock_guard lock(obj->mutex);
	obj->state = state;
}

uint32_t get_state(jpege_obj_t *obj)
{
	std::lock_guard lock(obj->mutex);
	return obj->state;
}

}  // namespace

// ---- Validation and configuration ----

int jpege_validate_image_data(const jpege_img_data_t *img)
{
	if (!img)
		return JPEGERR_ENULLPTR;
	if (img->color_format >= RGB_FIRST) {
		fprintf(stderr, "jpege_validate_image_data: RGB input not supported: %d\n", img->color_format);
		return JPEGERR_EUNSUPPORTED;
	}
	if (img->fragment_cnt == 0 || img->fragment_cnt > JPEGE_MAX_FRAGMENTS)
		return JPEGERR_EBADPARM;
	for (uint32_t i = 0; i < img->fragment_cnt; i++) {
		const jpege_img_frag_t &f = img->fragment[i];
		if (!f.luma_buf || !f.luma_buf->ptr || !f.chroma_buf || !f.chroma_buf->ptr) {
			fprintf(stderr, "jpege_validate_image_data: broken fragment (%d)\n", i);
			return JPEGERR_EBADPARM;
		}
	}
	if (!img->width || !img->height) {
		fprintf(stderr, "jpege_validate_image_data: bad image dimension: (%dx%d)\n", img->width, img->height);
		return JPEGERR_EBADPARM;
	}
	return JPEGERR_SUCCESS;
}

int jpege_validate_image_config(const jpege_img_cfg_t *cfg)
{
	if (!cfg || cfg->quality < 1 || cfg->quality > 100 || !cfg->luma_quant_tbl || !cfg->chroma_quant_tbl)
		return JPEGERR_EBADPARM;
	if (!cfg->luma_dc_huff || !cfg->chroma_dc_huff || !cfg->luma_ac_huff || !cfg->chroma_ac_huff)
		return JPEGERR_EBADPARM;
	// The DRI segment has 16 bits for it; more would write a corrupt file.
	if (cfg->restart_interval > 0xFFFF) {
		fprintf(stderr, "jpege_validate_image_config: restart interval %u does not fit in 16 bits (max 65535)\n",
		        cfg->restart_interval);
		return JPEGERR_EBADPARM;
	}
	return JPEGERR_SUCCESS;
}

const uint16_t *jpege_scale_quant_table(std::unique_ptr<jpeg_quant_table_t> &store, const uint16_t *table,
                                        uint32_t quality)
{
	if (quality == 50)
		return table;
	if (!store)
		store = make_nothrow<jpeg_quant_table_t>();
	if (!store)
		return nullptr;
	if (quality == 0)
		quality = 1;
	if (quality > 98)
		quality = 98;
	double scale = quality < 51 ? quality / 50.0 : 50.0 / (100 - quality);
	for (size_t i = 0; i < 64; i++) {
		auto v = static_cast<uint32_t>(table[i] / scale + 0.5);
		(*store)[i] = static_cast<uint16_t>(v == 0 ? 1 : v > 255 ? 255 : v);
	}
	return store->data();
}

static int jpege_configure_image(jpege_obj_t *obj, jpege_img_cfg_t *cfg, size_t first_table)
{
	int rc = jpege_validate_image_config(cfg);
	if (rc)
		return rc;
	const uint16_t *luma = jpege_scale_quant_table(obj->scaled_tbls[first_table], cfg->luma_quant_tbl, cfg->quality);
	const uint16_t *chroma =
	    jpege_scale_quant_table(obj->scaled_tbls[first_table + 1], cfg->chroma_quant_tbl, cfg->quality);
	if (!luma || !chroma)
		return JPEGERR_EMALLOC;
	cfg->luma_quant_tbl = luma;
	cfg->chroma_quant_tbl = chroma;
	return JPEGERR_SUCCESS;
}

static int jpege_configure(jpege_obj_t *obj, const jpege_cfg_t *cfg)
{
	if (!cfg)
		return JPEGERR_ENULLPTR;
	if (cfg->header_type > JPEG_HEADER_JFIF || cfg->preference > JPEG_ENCODER_PREF_SOFTWARE_ONLY)
		return JPEGERR_EBADPARM;
	if (cfg->target_file_size) {
		fprintf(stderr, "jpege_configure: file size control not currently supported\n");
		return JPEGERR_EUNSUPPORTED;
	}
	obj->cfg = *cfg;
	int rc = jpege_configure_image(obj, &obj->cfg.main_cfg, 0);
	if (!rc && obj->cfg.thumbnail_present)
		rc = jpege_configure_image(obj, &obj->cfg.thumbnail_cfg, 2);
	return rc;
}

// ---- Public set-up ----

int jpege_init(jpege_obj_handle *p_handle, jpege_event_handler_t handler)
{
	if (!p_handle || !handler)
		return JPEGERR_ENULLPTR;
	auto obj = make_nothrow<jpege_obj_t>();
	if (!obj)
		return JPEGERR_EMALLOC;
	int rc = jpegw_init(&obj->writer, obj.get());
	if (rc)
		return rc;
	obj->p_handler = handler;
	obj->state = JPEGE_STATE_IDLE;
	*p_handle = obj.release();
	return JPEGERR_SUCCESS;
}

int jpege_get_default_img_cfg(jpege_img_cfg_t *cfg)
{
	if (!cfg)
		return JPEGERR_ENULLPTR;
	*cfg = jpege_img_cfg_t{};
	cfg->quality = 75;
	cfg->luma_quant_tbl = standard_luma_q_tbl.data();
	cfg->chroma_quant_tbl = standard_chroma_q_tbl.data();
	cfg->luma_dc_huff = standard_luma_dc_huff_tbl.data();
	cfg->chroma_dc_huff = standard_chroma_dc_huff_tbl.data();
	cfg->luma_ac_huff = standard_luma_ac_huff_tbl.data();
	cfg->chroma_ac_huff = standard_chroma_ac_huff_tbl.data();
	return JPEGERR_SUCCESS;
}

int jpege_get_default_config(jpege_obj_handle obj, jpege_cfg_t *cfg)
{
	if (!obj)
		return JPEGERR_EUNINITIALIZED;
	if (!cfg)
		return JPEGERR_ENULLPTR;
	*cfg = jpege_cfg_t{};
	jpege_get_default_img_cfg(&cfg->main_cfg);
	jpege_get_default_img_cfg(&cfg->thumbnail_cfg);
	return JPEGERR_SUCCESS;
}

int jpege_set_source(jpege_obj_handle obj, const jpege_src_t *source)
{
	if (!obj)
		return JPEGERR_EUNINITIALIZED;
	if (!source || !source->p_main)
		return JPEGERR_ENULLPTR;
	int rc = jpege_validate_image_data(source->p_main);
	if (!rc && source->p_thumbnail)
		rc = jpege_validate_image_data(source->p_thumbnail);
	if (!rc)
		obj->source = *source;
	return rc;
}

int jpege_set_destination(jpege_obj_handle obj, const jpege_dst_t *dest)
{
	if (!obj)
		return JPEGERR_EUNINITIALIZED;
	if (!dest || !dest->output_handler)
		return JPEGERR_ENULLPTR;
	if (dest->buffer_cnt > 2) {
		fprintf(stderr, "jpege_set_destination: invalid buffer cnt\n");
		return JPEGERR_EBADPARM;
	}
	for (uint32_t i = 0; i < dest->buffer_cnt; i++) {
		jpeg_buffer_t b = dest->buffers[i];
		if (!b || !b->ptr || !b->size || b->offset >= b->size) {
			fprintf(stderr, "jpege_set_destination: invalid destination buffer\n");
			return JPEGERR_EBADPARM;
		}
	}
	obj->dest = *dest;
	return JPEGERR_SUCCESS;
}

// ---- Engine side ----

static void jpege_engine_output_handler(jpege_engine_obj_t *engine, jpeg_buffer_t buffer)
{
	jpege_obj_t *obj = engine->owner;
	if (get_state(obj) == JPEGE_STATE_THUMBNAIL)
		jpegw_emit_thumbnail(&obj->writer, buffer->ptr, buffer->offset);
	else
		obj->dest.output_handler(obj, obj->dest.p_user_data, buffer);
	jpeg_buffer_mark_empty(buffer);
}

// The thumbnail is done: its bytes stand in the header, so the header goes
// out now, and then the main image starts.
static void jpege_thumbnail_done(jpege_obj_t *obj)
{
	int rc = jpegw_emit_header(&obj->writer);
	if (rc == JPEGERR_THUMBNAIL_DROPPED) {
		notify(obj, JPEG_EVENT_THUMBNAIL_DROPPED, nullptr);
		rc = JPEGERR_SUCCESS;
	}
	if (!rc) {
		std::unique_lock lock(obj->mutex);
		if (obj->state != JPEGE_STATE_THUMBNAIL)
			return;  // aborted meanwhile
		obj->state = JPEGE_STATE_MAIN;
		lock.unlock();
		rc = obj->engine.start(&obj->engine, &obj->cfg.main_cfg, obj->source.p_main, &obj->engine_dst);
	}
	if (rc) {
		set_state(obj, JPEGE_STATE_IDLE);
		notify(obj, JPEG_EVENT_ERROR, nullptr);
	}
}

static void jpege_engine_event_handler(jpege_engine_obj_t *engine, int event, const char *detail)
{
	jpege_obj_t *obj = engine->owner;
	if (event != JPEG_EVENT_DONE) {
		notify(obj, event, detail);
		return;
	}
	std::unique_lock lock(obj->mutex);
	uint32_t state = obj->state;
	if (state == JPEGE_STATE_MAIN)
		obj->state = JPEGE_STATE_IDLE;
	lock.unlock();
	if (state == JPEGE_STATE_THUMBNAIL)
		jpege_thumbnail_done(obj);
	else if (state == JPEGE_STATE_MAIN)
		notify(obj, JPEG_EVENT_DONE, nullptr);
}

static int jpege_try_engine(jpege_obj_t *obj, const jpege_engine_profile_t &profile)
{
	if (!profile.create)
		return JPEGERR_EUNSUPPORTED;  // not built in
	jpege_engine_obj_t *engine = &obj->engine;
	int rc;
	if (engine->create == profile.create && engine->is_initialized) {
		rc = engine->check_start_param(engine, &obj->cfg.main_cfg, obj->source.p_main, &obj->engine_dst);
	} else {
		profile.create(engine, obj);
		rc = engine->check_start_param(engine, &obj->cfg.main_cfg, obj->source.p_main, &obj->engine_dst);
		if (!rc && obj->cfg.thumbnail_present)
			rc = engine->check_start_param(engine, &obj->cfg.thumbnail_cfg, obj->source.p_thumbnail,
			                               &obj->engine_dst);
		if (!rc)
			rc = engine->init(engine, jpege_engine_event_handler);
		if (rc) {
			engine->destroy(engine);
			return rc;
		}
		engine->is_initialized = 1;
	}
	if (!rc)
		fprintf(stderr, "jpege_try_engine: Use %s\n", profile.name);
	return rc;
}

static int jpege_choose_engine(jpege_obj_t *obj)
{
	const jpege_engine_profile_t *order[4][2] = {
	    {&jpege_engine_dsp_profile, &jpege_engine_sw_profile},
	    {&jpege_engine_dsp_profile, nullptr},
	    {&jpege_engine_sw_profile, &jpege_engine_dsp_profile},
	    {&jpege_engine_sw_profile, nullptr},
	};
	const auto &choice = order[obj->cfg.preference];
	int rc = jpege_try_engine(obj, *choice[0]);
	if (rc && choice[1])
		rc = jpege_try_engine(obj, *choice[1]);
	return rc;
}

// ---- Encoding ----

static int jpege_begin(jpege_obj_t *obj, const jpege_cfg_t *cfg, exif_info_obj_t *p_exif)
{
	jpegw_configure(&obj->writer, &obj->source, &obj->dest, &obj->cfg, p_exif);
	int rc = jpege_configure(obj, cfg);
	if (rc)
		return rc;
	// What every engine's start check refuses, before any engine is made.
	if (!obj->source.p_main || !obj->dest.output_handler ||
	    (obj->cfg.thumbnail_present && !obj->source.p_thumbnail))
		return JPEGERR_ENULLPTR;
	obj->engine_dst.p_output_handler = jpege_engine_output_handler;
	obj->engine_dst.buffer_cnt = obj->dest.buffer_cnt;
	obj->engine_dst.buffers = obj->dest.buffers;
	rc = jpege_choose_engine(obj);
	if (rc)
		return rc;
	jpege_engine_obj_t *engine = &obj->engine;
	if (obj->cfg.thumbnail_present) {
		set_state(obj, JPEGE_STATE_THUMBNAIL);
		return engine->start(engine, &obj->cfg.thumbnail_cfg, obj->source.p_thumbnail, &obj->engine_dst);
	}
	rc = jpegw_emit_header(&obj->writer);
	if (!rc)
		rc = engine->start(engine, &obj->cfg.main_cfg, obj->source.p_main, &obj->engine_dst);
	return rc;
}

int jpege_start(jpege_obj_handle obj, const jpege_cfg_t *cfg, exif_info_obj_t *p_exif)
{
	if (!obj)
		return JPEGERR_EUNINITIALIZED;
	{
		std::lock_guard lock(obj->mutex);
		if (obj->state != JPEGE_STATE_IDLE)
			return JPEGERR_EBADSTATE;
		obj->state = JPEGE_STATE_MAIN;  // taken: a second start now gives 5
	}
	int rc = jpege_begin(obj, cfg, p_exif);
	if (rc)
		set_state(obj, JPEGE_STATE_IDLE);
	return rc;
}

int jpege_abort(jpege_obj_handle obj)
{
	if (!obj)
		return JPEGERR_EUNINITIALIZED;
	{
		std::lock_guard lock(obj->mutex);
		if (obj->state == JPEGE_STATE_IDLE)
			return JPEGERR_SUCCESS;
		obj->state = JPEGE_STATE_ABORTING;
	}
	int rc = obj->engine.abort ? obj->engine.abort(&obj->engine) : JPEGERR_SUCCESS;
	set_state(obj, JPEGE_STATE_IDLE);  // an aborted engine sends no event
	return rc;
}

void jpege_destroy(jpege_obj_handle *p_handle)
{
	if (!p_handle || !*p_handle)
		return;
	jpege_obj_t *obj = *p_handle;
	jpege_abort(obj);
	if (obj->engine.destroy)
		obj->engine.destroy(&obj->engine);
	jpegw_destroy(&obj->writer);
	std::unique_ptr<jpege_obj_t>(obj).reset();
	*p_handle = nullptr;
}

}  // namespace jpeg
