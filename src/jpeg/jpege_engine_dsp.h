// The DSP engine: one configuration message names input and output
// buffers by physical address; the DSP's JPEG task encodes and hands the
// output back piece by piece.
#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "jpeg/jpeg_dsp_helper.h"
#include "jpeg/jpege.h"

namespace jpeg {

enum : uint32_t {
	JPEGE_DSP_IDLE = 1,
	JPEGE_DSP_ENCODING = 2,
	JPEGE_DSP_CONFIGURED = 3,
	JPEGE_DSP_FINISHING = 4,
	JPEGE_DSP_ABORTING = 5,
};

// DSP events and action codes.
enum : uint16_t { JPEG_DSP_EVT_START_ACK = 0, JPEG_DSP_EVT_OUTPUT = 1, JPEG_DSP_EVT_IDLE = 2, JPEG_DSP_EVT_REFUSED = 3 };
enum : uint32_t { JPEG_DSP_ACT_WAKE = 0, JPEG_DSP_ACT_START = 1, JPEG_DSP_ACT_OUTPUT_CONSUMED = 2, JPEG_DSP_ACT_IDLE = 6 };

constexpr size_t JPEG_DSP_CFG_BYTES = 624;
constexpr uint32_t JPEG_DSP_INTERNAL_BUF_BYTES = 4096;
// A single fragment this tall or taller goes to the DSP in four slices.
constexpr uint32_t JPEG_DSP_SLICE_MIN_HEIGHT = 145;

struct jpege_engine_dsp_t {
	jpege_engine_obj_t *p_wrapper = nullptr;
	std::mutex mutex;
	std::condition_variable cond;
	jpege_engine_dst_t dest{};
	jpege_engine_event_handler_t p_handler = nullptr;
	uint32_t state = JPEGE_DSP_IDLE;
	// The DSP refused the last start. Kept apart from the state: a small
	// picture may be encoded and idle before the start looks again.
	bool start_refused = false;
	jpeg_dsp_helper_t helper;
	std::array<jpeg_buffer_t, 2> internal_buf{};
};

void jpege_engine_dsp_create(jpege_engine_obj_t *engine, jpege_obj_t *owner);

// The filter taps of the upscaler, the first 256 bytes of which go out in
// every configuration.
extern const std::array<int16_t, 256> polyphase_coeff;

}  // namespace jpeg
