// The JPEG and Exif writer: every byte of the file that is not entropy
// coded, composed big-endian into a scratch buffer and handed out in pieces.
#pragma once

#include <cstdint>

#include "jpeg/exif.h"
#include "jpeg/jpeg_buffer.h"
#include "jpeg/jpege_types.h"

namespace jpeg {

constexpr uint32_t JPEGW_SCRATCH_SIZE = 65535;

struct jpeg_writer_t {
	jpeg_buffer_t scratch_buf;
	jpeg_buffer_t ahead_buf;
	jpeg_buffer_t thumbnail_buf;
	uint32_t tiff_start;
	uint32_t app_len_pos;
	uint32_t ifd1_start;
	uint32_t tn_soi_pos;
	uint32_t field_count;
	uint32_t ifd_start;
	uint32_t ifd1_link_pos;
	uint32_t tn_len_value_pos;
	uint8_t header_written;
	uint8_t in_exif;
	void *p_user_data;  // the encoder object
	const jpege_src_t *p_source;
	const jpege_dst_t *p_dest;
	const jpege_cfg_t *p_cfg;
	exif_info_obj_t exif_info;
	uint8_t owns_exif;
	uint8_t overflow;
};

int jpegw_init(jpeg_writer_t *writer, void *p_user_data);
void jpegw_configure(jpeg_writer_t *writer, const jpege_src_t *source, const jpege_dst_t *dest,
                     const jpege_cfg_t *cfg, exif_info_obj_t *p_exif);
void jpegw_reset(jpeg_writer_t *writer);
void jpegw_destroy(jpeg_writer_t *writer);
int jpegw_emit_header(jpeg_writer_t *writer);
int jpegw_emit_thumbnail(jpeg_writer_t *writer, const uint8_t *data, uint32_t count);

}  // namespace jpeg
