// The records a client fills for the encoder: source images, destination,
// configuration, and the standard tables.
#pragma once

#include <array>
#include <cstdint>

#include "jpeg/jpeg_buffer.h"

namespace jpeg {

// Events to the client's handler.
constexpr int JPEG_EVENT_DONE = 0;
constexpr int JPEG_EVENT_WARNING = 1;
constexpr int JPEG_EVENT_ERROR = 2;
constexpr int JPEG_EVENT_THUMBNAIL_DROPPED = 3;

// Two planes, chroma interleaved; format >> 1 is the subsampling.
enum jpege_color_format : uint32_t {
	YCRCBLP_H2V2 = 0,
	YCBCRLP_H2V2 = 1,
	YCRCBLP_H2V1 = 2,
	YCBCRLP_H2V1 = 3,
	YCRCBLP_H1V2 = 4,
	YCBCRLP_H1V2 = 5,
	YCRCBLP_H1V1 = 6,
	YCBCRLP_H1V1 = 7,
	RGB_FIRST = 8,  // and above: no engine takes them
};
enum jpeg_subsampling : uint32_t { JPEG_H2V2 = 0, JPEG_H2V1 = 1, JPEG_H1V2 = 2, JPEG_H1V1 = 3 };

constexpr uint32_t JPEGE_MAX_FRAGMENTS = 8;

struct jpege_img_frag_t {
	jpeg_buffer_t luma_buf;
	jpeg_buffer_t chroma_buf;
	uint32_t width;
	uint32_t height;
};

struct jpege_img_data_t {
	uint32_t color_format;
	uint32_t width;
	uint32_t height;
	uint32_t fragment_cnt;
	std::array<jpege_img_frag_t, JPEGE_MAX_FRAGMENTS> fragment;
};

struct jpege_src_t {
	jpege_img_data_t *p_main;
	jpege_img_data_t *p_thumbnail;  // may be null
};

// Gets the encoder handle, the destination's user data and a filled buffer;
// the bytes must be taken before it returns.
struct jpege_obj_t;
using jpege_output_handler_t = void (*)(jpege_obj_t *obj, void *p_user_data, jpeg_buffer_t buffer);
using jpege_event_handler_t = void (*)(void *p_user_data, int event, const char *detail);

struct jpege_dst_t {
	jpege_output_handler_t output_handler;
	void *p_user_data;
	uint32_t buffer_cnt;  // 1 or 2; 0 lets the engine use its own
	std::array<jpeg_buffer_t, 2> buffers;
};

struct jpege_scale_cfg_t {
	uint32_t input_width;
	uint32_t input_height;
	uint32_t h_offset;
	uint32_t v_offset;
	uint32_t output_width;
	uint32_t output_height;
	uint8_t enable;
};

// Huffman table: index 0 unused, 16 counts, 256 values.
using jpeg_huff_table_t = std::array<uint8_t, 273>;
using jpeg_quant_table_t = std::array<uint16_t, 64>;  // natural order

struct jpege_img_cfg_t {
	uint32_t quality;
	uint32_t rotation;
	const uint16_t *luma_quant_tbl;
	const uint16_t *chroma_quant_tbl;
	const uint8_t *luma_dc_huff;
	const uint8_t *chroma_dc_huff;
	const uint8_t *luma_ac_huff;
	const uint8_t *chroma_ac_huff;
	uint32_t restart_interval;
	jpege_scale_cfg_t scale_cfg;
};

constexpr uint32_t JPEG_HEADER_EXIF = 0;
constexpr uint32_t JPEG_HEADER_JFIF = 1;

enum jpege_preference : uint32_t {
	JPEG_ENCODER_PREF_DSP_ACCELERATED = 0,
	JPEG_ENCODER_PREF_DSP_ONLY = 1,
	JPEG_ENCODER_PREF_SOFTWARE_PREFERRED = 2,
	JPEG_ENCODER_PREF_SOFTWARE_ONLY = 3,
};

struct jpege_cfg_t {
	uint32_t target_file_size;  // must be 0
	uint32_t header_type;
	jpege_img_cfg_t main_cfg;
	jpege_img_cfg_t thumbnail_cfg;
	uint8_t thumbnail_present;
	uint32_t preference;
};

extern const jpeg_quant_table_t standard_luma_q_tbl;
extern const jpeg_quant_table_t standard_chroma_q_tbl;
extern const jpeg_huff_table_t standard_luma_dc_huff_tbl;
extern const jpeg_huff_table_t standard_chroma_dc_huff_tbl;
extern const jpeg_huff_table_t standard_luma_ac_huff_tbl;
extern const jpeg_huff_table_t standard_chroma_ac_huff_tbl;
extern const std::array<uint8_t, 64> jpeg_natural_order;  // zig-zag position to natural index

}  // namespace jpeg
