// The software engine: a baseline sequential encoder in integer arithmetic.
// An encode thread, started with the first picture and kept for the next,
// fills the destination buffers; the output thread hands them on through a
// two-place queue. Rotation happens in the
// frequency domain: blocks are read whole in rotated order and their
// coefficients transposed and sign-flipped on the way to the entropy coder.
#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "jpeg/jpege.h"

namespace jpeg {

struct huff_code_t {
	uint16_t length;
	uint16_t code;
};

struct jpege_engine_sw_t {
	// Control
	std::mutex mutex;
	std::condition_variable abort_cond;
	std::condition_variable output_cond;
	std::thread output_thread;
	// One encode thread serves every picture: a thread created per picture
	// was a fixed cost that showed at small pictures.
	std::thread encode_thread;
	std::condition_variable encode_cond;
	uint32_t encode_threads;  // running encodings, for destroy to wait on
	uint8_t encode_pending;   // a picture is configured for the encode thread
	uint8_t exit_encode;
	jpege_engine_obj_t *p_wrapper;
	jpege_engine_dst_t dest;
	jpege_engine_event_handler_t p_handler;
	uint8_t active;
	uint8_t exit_output;
	uint8_t abort_flag;
	uint8_t error_flag;

	// Output queue
	struct {
		jpeg_buffer_t buffer;
		uint8_t valid;
	} queue[2];
	uint16_t queue_read;
	uint16_t queue_write;

	// Image
	uint32_t restart_interval;
	uint32_t rotation;
	uint32_t subsampling;
	uint32_t luma_width, luma_height;
	uint32_t chroma_width, chroma_height;
	uint8_t is_crcb;
	const uint8_t *luma_plane;
	const uint8_t *chroma_plane;

	// Tables
	std::array<uint8_t, 16> dc_counts[2], ac_counts[2];
	std::array<uint8_t, 12> dc_values[2];
	std::array<uint8_t, 162> ac_values[2];
	std::array<huff_code_t, 12> dc_codes[2];  // [0] luma, [1] chroma
	std::array<huff_code_t, 256> ac_codes[2];
	std::array<int16_t, 64> quant_luma;  // signed 15-bit reciprocals, by source position
	std::array<int16_t, 64> quant_chroma;
	const uint8_t *zigzag;

	// Walk, in output (rotated) terms
	uint32_t mcu_width, mcu_height;
	uint32_t horiz_mcu_cnt, vert_mcu_cnt;
	uint32_t out_luma_width, out_luma_height;
	uint32_t out_chroma_width, out_chroma_height;
	uint32_t mcu_col, mcu_row;

	// Entropy
	int16_t prev_dc[3];
	uint32_t restart_cnt;
	uint32_t restart_index;
	uint64_t bit_acc;  // wider than a word so that a word can go out at once
	int32_t bit_free;  // of the 64; whenever 32 are pending they are sent

	// Work
	alignas(16) uint8_t block[64];
	alignas(16) uint8_t chroma_block[2][64];  // Cb then Cr

	jpeg_buffer_t current_buf;
	uint32_t buf_index;
	jpeg_buffer_t internal_buf;
};

extern const std::array<uint8_t, 64> zigzagTable;
extern const std::array<uint8_t, 64> zigzagTableTranspose;

// Transform stage (jpege_engine_sw_dct)
void jpege_engine_sw_fdct_block(const uint8_t *p, ptrdiff_t stride, int32_t out[64]);
void jpege_engine_sw_dct_wrapper(const uint8_t *p, ptrdiff_t stride, int32_t out[64]);
// Returns a mask of the non-zero outputs, bit i for zig-zag position i.
uint64_t jpege_engine_sw_quant_zigzag(const int32_t dct[64], int16_t out[64], const uint8_t *zigzag,
                                      const int16_t *quant);

// Fetch stage (jpege_engine_sw_fetch): source rows of the block at output
// position (x, y), or null when it crosses an edge and was built in `work`.
const uint8_t *jpege_engine_sw_fetch_luma(jpege_engine_sw_t *e, uint32_t x, uint32_t y, uint8_t *work);
void jpege_engine_sw_fetch_chroma(jpege_engine_sw_t *e, uint32_t x, uint32_t y);

// Entropy stage (jpege_engine_sw_huff)
void jpege_engine_sw_init_huff(const uint8_t *counts, const uint8_t *values, uint32_t n_values,
                               huff_code_t *codes, uint32_t n_codes);
void jpege_engine_sw_huff_encode(jpege_engine_sw_t *e, const int16_t block[64], uint64_t nonzero, int component);
void jpege_engine_sw_stuff_bs(jpege_engine_sw_t *e);
void jpege_engine_sw_insert_restart_marker(jpege_engine_sw_t *e);

// Output (jpege_engine_sw)
bool jpege_engine_sw_next_buffer(jpege_engine_sw_t *e);
int jpege_engine_sw_flush_output(jpege_engine_sw_t *e);

inline void jpege_engine_sw_emit_byte(jpege_engine_sw_t *e, uint8_t b)
{
	jpeg_buf_t *buf = e->current_buf;
	if (buf->offset >= buf->size) {
		if (!jpege_engine_sw_next_buffer(e))
			return;  // byte dropped; the error ends the encoding
		buf = e->current_buf;
	}
	buf->ptr[buf->offset++] = b;
}

void jpege_engine_sw_create(jpege_engine_obj_t *engine, jpege_obj_t *owner);

}  // namespace jpeg
