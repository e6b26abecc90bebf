// The encoder object: sources, destination, configuration, a writer and one
// engine, and the order of the two encodings of a file (thumbnail, header,
// main image).
#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>

#include "jpeg/exif.h"
#include "jpeg/jpeg_buffer.h"
#include "jpeg/jpeg_writer.h"
#include "jpeg/jpege_types.h"

namespace jpeg {

// ---- Engines ----

struct jpege_engine_obj_t;
using jpege_engine_output_handler_t = void (*)(jpege_engine_obj_t *engine, jpeg_buffer_t buffer);
using jpege_engine_event_handler_t = void (*)(jpege_engine_obj_t *engine, int event, const char *detail);

struct jpege_engine_dst_t {
	jpege_engine_output_handler_t p_output_handler;
	uint32_t buffer_cnt;
	std::array<jpeg_buffer_t, 2> buffers;
};

using jpege_engine_create_t = void (*)(jpege_engine_obj_t *engine, jpege_obj_t *owner);

// Operations in slot order, then the engine's private record.
struct jpege_engine_obj_t {
	jpege_engine_create_t create;
	int (*init)(jpege_engine_obj_t *engine, jpege_engine_event_handler_t handler);
	int (*check_start_param)(jpege_engine_obj_t *engine, const jpege_img_cfg_t *cfg,
	                         const jpege_img_data_t *source, const jpege_engine_dst_t *dest);
	int (*start)(jpege_engine_obj_t *engine, const jpege_img_cfg_t *cfg,
	             const jpege_img_data_t *source, const jpege_engine_dst_t *dest);
	int (*abort)(jpege_engine_obj_t *engine);
	void (*destroy)(jpege_engine_obj_t *engine);
	void *p_engine;
	jpege_obj_t *owner;
	uint8_t is_initialized;
};

struct jpege_engine_profile_t {
	jpege_engine_create_t create;  // null: the engine is not built in
	const char *name;
};
// The DSP engine refuses what its task cannot take (memory without a
// physical address, formats it lacks); the encoder then falls back.
extern jpege_engine_profile_t jpege_engine_dsp_profile;
extern const jpege_engine_profile_t jpege_engine_sw_profile;

// ---- The encoder ----

constexpr uint32_t JPEGE_STATE_IDLE = 0;
constexpr uint32_t JPEGE_STATE_THUMBNAIL = 1;
constexpr uint32_t JPEGE_STATE_MAIN = 2;
constexpr uint32_t JPEGE_STATE_ABORTING = 3;

struct jpege_obj_t {
	jpeg_writer_t writer;  // first, as the writer's user data is the object
	jpege_engine_obj_t engine;
	jpege_event_handler_t p_handler;
	jpege_src_t source;
	jpege_dst_t dest;
	jpege_cfg_t cfg;
	std::array<std::unique_ptr<jpeg_quant_table_t>, 4> scaled_tbls;  // main luma, chroma, thumbnail luma, chroma
	jpege_engine_dst_t engine_dst;
	uint32_t state;
	std::mutex mutex;
	std::condition_variable cond;
};
using jpege_obj_handle = jpege_obj_t *;

int jpege_init(jpege_obj_handle *p_handle, jpege_event_handler_t handler);
int jpege_get_default_config(jpege_obj_handle obj, jpege_cfg_t *cfg);
int jpege_get_default_img_cfg(jpege_img_cfg_t *cfg);
int jpege_set_source(jpege_obj_handle obj, const jpege_src_t *source);
int jpege_set_destination(jpege_obj_handle obj, const jpege_dst_t *dest);
int jpege_start(jpege_obj_handle obj, const jpege_cfg_t *cfg, exif_info_obj_t *p_exif);
int jpege_abort(jpege_obj_handle obj);
// Aborts and waits for the engine's threads: not to be called from the
// encoder's own event or output handler.
void jpege_destroy(jpege_obj_handle *p_handle);

int jpege_validate_image_data(const jpege_img_data_t *img);
int jpege_validate_image_config(const jpege_img_cfg_t *cfg);
// Returns the table to use for `quality`: `table` itself at 50, else `store`.
const uint16_t *jpege_scale_quant_table(std::unique_ptr<jpeg_quant_table_t> &store,
                                        const uint16_t *table, uint32_t quality);

}  // namespace jpeg
