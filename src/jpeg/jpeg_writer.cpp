// The file header: SOI, the Exif or JFIF segment with its IFDs and the
// thumbnail, tables, frame and scan headers. Engines write only scan data.
#include "jpeg/jpeg_writer.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace jpeg {

// ---- Primitive emits: bounded, and silent once a buffer has overflowed ----

static void jpegw_emit_byte(uint8_t v, uint8_t *base, uint32_t *off, uint32_t cap, uint8_t *overflow)
{
	if (*overflow)
		return;
	if (*off < cap)
		base[(*off)++] = v;
	else
		*overflow = 1;
}

static void jpegw_overwrite_short(uint16_t v, uint8_t *base, uint32_t off, uint32_t cap, uint8_t *overflow)
{
	if (*overflow)
		return;
	if (uint64_t(off) + 1 < cap) {
		base[off] = uint8_t(v >> 8);
		base[off + 1] = uint8_t(v);
	} else {
		*overflow = 1;
	}
}

static void jpegw_overwrite_long(uint32_t v, uint8_t *base, uint32_t off, uint32_t cap, uint8_t *overflow)
{
	if (*overflow)
		return;
	if (uint64_t(off) + 3 < cap) {
		base[off] = uint8_t(v >> 24);
		base[off + 1] = uint8_t(v >> 16);
		base[off + 2] = uint8_t(v >> 8);
		base[off + 3] = uint8_t(v);
	} else {
		*overflow = 1;
	}
}

static void jpegw_emit_short(uint16_t v, uint8_t *base, uint32_t *off, uint32_t cap, uint8_t *overflow)
{
	jpegw_overwrite_short(v, base, *off, cap, overflow);
	if (!*overflow)
		*off += 2;
}

static void jpegw_emit_long(uint32_t v, uint8_t *base, uint32_t *off, uint32_t cap, uint8_t *overflow)
{
	jpegw_overwrite_long(v, base, *off, cap, overflow);
	if (!*overflow)
		*off += 4;
}

static void jpegw_emit_nbytes(const uint8_t *p, uint64_t n, uint8_t *base, uint32_t *off, uint32_t cap,
                              uint8_t *overflow)
{
	if (*overflow)
		return;
	if (*off + n < cap) {
		if (n)
			memcpy(base + *off, p, n);
		*off += uint32_t(n);
	} else {
		*overflow = 1;
	}
}

static uint32_t jpegw_read_long(const uint8_t *p)
{
	return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
}

static uint16_t jpegw_read_short(const uint8_t *p) { return uint16_t(p[0] << 8 | p[1]); }

// Shorthands on the scratch and ahead buffers.
#define SCRATCH(w) (w)->scratch_buf->ptr, &(w)->scratch_buf->offset, (w)->scratch_buf->size, &(w)->overflow
#define AHEAD(w) (w)->ahead_buf->ptr, &(w)->ahead_buf->offset, (w)->ahead_buf->size, &(w)->overflow

static void put_byte(jpeg_writer_t *w, uint8_t v) { jpegw_emit_byte(v, SCRATCH(w)); }
static void put_short(jpeg_writer_t *w, uint16_t v) { jpegw_emit_short(v, SCRATCH(w)); }
static void put_long(jpeg_writer_t *w, uint32_t v) { jpegw_emit_long(v, SCRATCH(w)); }
static void put_bytes(jpeg_writer_t *w, const void *p, uint32_t n)
{
	jpegw_emit_nbytes(static_cast<const uint8_t *>(p), n, SCRATCH(w));
}
static void patch_long(jpeg_writer_t *w, uint32_t pos, uint32_t v)
{
	jpegw_overwrite_long(v, w->scratch_buf->ptr, pos, w->scratch_buf->size, &w->overflow);
}
static void patch_short(jpeg_writer_t *w, uint32_t pos, uint16_t v)
{
	jpegw_overwrite_short(v, w->scratch_buf->ptr, pos, w->scratch_buf->size, &w->overflow);
}
static uint32_t here(const jpeg_writer_t *w) { return w->scratch_buf->offset; }
static void pad_even(jpeg_writer_t *w)
{
	if (here(w) & 1)
		put_byte(w, 0);
}

// ---- Life cycle ----

int jpegw_init(jpeg_writer_t *w, void *p_user_data)
{
	if (!w)
		return JPEGERR_ENULLPTR;
	*w = jpeg_writer_t{};
	w->p_user_data = p_user_data;
	int rc = jpeg_buffer_init(&w->scratch_buf);
	if (!rc)
		rc = jpeg_buffer_allocate(w->scratch_buf, JPEGW_SCRATCH_SIZE, false);
	if (!rc)
		rc = jpeg_buffer_init(&w->ahead_buf);
	if (!rc)
		rc = jpeg_buffer_allocate(w->ahead_buf, JPEGW_SCRATCH_SIZE, false);
	if (!rc)
		rc = jpeg_buffer_init(&w->thumbnail_buf);
	if (rc)
		jpegw_destroy(w);
	return rc;
}

void jpegw_reset(jpeg_writer_t *w)
{
	w->tiff_start = w->app_len_pos = w->ifd1_start = w->tn_soi_pos = 0;
	w->field_count = w->ifd_start = w->ifd1_link_pos = w->tn_len_value_pos = 0;
	w->header_written = w->in_exif = w->overflow = 0;
	if (w->scratch_buf)
		w->scratch_buf->offset = 0;
	if (w->ahead_buf)
		w->ahead_buf->offset = 0;
	if (w->thumbnail_buf)
		jpeg_buffer_reset(w->thumbnail_buf);
}

void jpegw_configure(jpeg_writer_t *w, const jpege_src_t *source, const jpege_dst_t *dest,
                     const jpege_cfg_t *cfg, exif_info_obj_t *p_exif)
{
	jpegw_reset(w);
	w->p_source = source;
	w->p_dest = dest;
	w->p_cfg = cfg;
	if (p_exif && *p_exif && *p_exif != w->exif_info) {
		if (w->owns_exif)
			exif_destroy(&w->exif_info);
		w->exif_info = *p_exif;
		w->owns_exif = 0;
	} else if ((!p_exif || !*p_exif) && !w->owns_exif) {
		// A client's store is borrowed for one picture only: it may be gone
		// by the next, which then gets a store of the writer's own.
		w->exif_info = nullptr;
	}
}

void jpegw_destroy(jpeg_writer_t *w)
{
	if (!w)
		return;
	jpeg_buffer_destroy(&w->scratch_buf);
	jpeg_buffer_destroy(&w->ahead_buf);
	jpeg_buffer_destroy(&w->thumbnail_buf);
	if (w->owns_exif)
		exif_destroy(&w->exif_info);
	w->exif_info = nullptr;
	w->owns_exif = 0;
}

// ---- IFDs ----

static void jpegw_start_ifd(jpeg_writer_t *w)
{
	w->field_count = 0;
	w->ifd_start = here(w);
	put_short(w, 0);
}

// Value field of the tag emitted last.
static uint32_t last_value_pos(const jpeg_writer_t *w) { return here(w) - 4; }

static void jpegw_emit_exif_tag(jpeg_writer_t *w, uint16_t number, const exif_tag_entry_t *e)
{
	if (!e)
		return;
	uint32_t tag_pos = here(w);
	put_short(w, number);
	put_short(w, uint16_t(e->type));
	put_long(w, e->count);
	uint32_t type = e->type < tag_type_sizes.size() ? e->type : 0;
	uint64_t bytes = uint64_t(tag_type_sizes[type]) * e->count;
	const exif_tag_data_t &d = e->data;
	bool ptr = exif_data_is_pointer(type, e->count);
	if (bytes > 4) {
		if (w->ahead_buf->offset & 1)
			jpegw_emit_byte(0, AHEAD(w));
		put_long(w, w->ahead_buf->offset);  // made absolute when the IFD closes
		if (type == EXIF_ASCII || type == EXIF_UNDEFINED) {
			jpegw_emit_nbytes(d._bytes, e->count, AHEAD(w));
			w->field_count++;
			return;
		}
		for (uint32_t i = 0; i < e->count && !w->overflow; i++) {
			switch (type) {
			case EXIF_SHORT:
				jpegw_emit_short(ptr ? d._shorts[i] : d._short, AHEAD(w));
				break;
			case EXIF_LONG:
				jpegw_emit_long(ptr ? d._longs[i] : d._long, AHEAD(w));
				break;
			case EXIF_SLONG:
				jpegw_emit_long(uint32_t(ptr ? d._slongs[i] : d._slong), AHEAD(w));
				break;
			case EXIF_RATIONAL: {
				rat_t r = ptr ? d._rats[i] : d._rat;
				jpegw_emit_long(r.num, AHEAD(w));
				jpegw_emit_long(r.denom, AHEAD(w));
				break;
			}
			case EXIF_SRATIONAL: {
				srat_t r = ptr ? d._srats[i] : d._srat;
				jpegw_emit_long(uint32_t(r.num), AHEAD(w));
				jpegw_emit_long(uint32_t(r.denom), AHEAD(w));
				break;
			}
			default:  // BYTE
				jpegw_emit_byte(ptr ? d._bytes[i] : d._byte, AHEAD(w));
				break;
			}
		}
		w->field_count++;
		return;
	}
	uint32_t written = 0;
	if (type == EXIF_ASCII || type == EXIF_UNDEFINED) {
		put_bytes(w, d._bytes, e->count);
		written = e->count;
	} else if (type == EXIF_BYTE) {
		for (uint32_t i = 0; i < e->count; i++)
			put_byte(w, ptr ? d._bytes[i] : d._byte);
		written = e->count;
	} else if (type == EXIF_SHORT) {
		for (uint32_t i = 0; i < e->count; i++)
			put_short(w, ptr ? d._shorts[i] : d._short);
		written = 2 * e->count;
	} else if ((type == EXIF_LONG || type == EXIF_SLONG) && e->count == 1) {
		put_long(w, d._long);
		written = 4;
	} else {
		fprintf(stderr, "jpegw_emit_exif_tag: impossible case! p_entry->entry.type = %d\n", e->type);
		// Take the half-written record back so the IFD stays well formed.
		w->scratch_buf->offset = tag_pos;
		return;
	}
	for (; written < 4; written++)
		put_byte(w, 0);
	w->field_count++;
}

static void jpegw_emit_store_tag(jpeg_writer_t *w, uint32_t place)
{
	const auto &tag = w->exif_info->tags[place];
	if (tag)
		jpegw_emit_exif_tag(w, exif_tag_number(tag->tag_id), &tag->entry);
}

static void jpegw_emit_long_tag(jpeg_writer_t *w, uint16_t number, uint32_t value)
{
	exif_tag_entry_t e{EXIF_LONG, 0, 1, {}};
	e.data._long = value;
	jpegw_emit_exif_tag(w, number, &e);
}

static void jpegw_finish_ifd(jpeg_writer_t *w)
{
	put_long(w, 0);  // link to the next IFD
	patch_short(w, w->ifd_start, uint16_t(w->field_count));
	uint32_t data_start = w->ifd_start + w->field_count * 12 + 6;
	uint8_t *base = w->scratch_buf->ptr;
	for (uint32_t i = 0; i < w->field_count && !w->overflow; i++) {
		uint32_t rec = w->ifd_start + 2 + i * 12;
		uint16_t type = jpegw_read_short(base + rec + 2);
		uint32_t count = jpegw_read_long(base + rec + 4);
		uint32_t size = type < tag_type_sizes.size() ? tag_type_sizes[type] : 0;
		if (uint64_t(size) * count > 4)
			patch_long(w, rec + 8, jpegw_read_long(base + rec + 8) + data_start - w->tiff_start);
	}
	jpegw_emit_nbytes(w->ahead_buf->ptr, w->ahead_buf->offset, SCRATCH(w));
	w->ahead_buf->offset = 0;
	w->field_count = 0;
}

// ---- Frame and scan headers ----

static const jpege_img_data_t *image_of(const jpeg_writer_t *w, bool thumbnail)
{
	return thumbnail ? w->p_source->p_thumbnail : w->p_source->p_main;
}

static void jpegw_emit_frame_header(jpeg_writer_t *w, const jpege_img_cfg_t *cfg, const jpege_img_data_t *img)
{
	static constexpr uint8_t sampling[4][2] = {{0x22, 0x22}, {0x21, 0x12}, {0x12, 0x21}, {0x11, 0x11}};
	put_short(w, 0xFFDB);
	put_short(w, 132);
	put_byte(w, 0);
	for (uint8_t k : jpeg_natural_order)
		put_byte(w, uint8_t(cfg->luma_quant_tbl[k]));
	put_byte(w, 1);
	for (uint8_t k : jpeg_natural_order)
		put_byte(w, uint8_t(cfg->chroma_quant_tbl[k]));

	uint32_t width = cfg->scale_cfg.enable ? cfg->scale_cfg.output_width : img->width;
	uint32_t height = cfg->scale_cfg.enable ? cfg->scale_cfg.output_height : img->height;
	bool turned = cfg->rotation % 180 != 0;
	if (turned)
		std::swap(width, height);
	put_short(w, 0xFFC0);
	put_short(w, 17);
	put_byte(w, 8);
	put_short(w, uint16_t(height));
	put_short(w, uint16_t(width));
	put_byte(w, 3);
	put_byte(w, 1);
	put_byte(w, sampling[(img->color_format >> 1) & 3][turned]);
	put_byte(w, 0);
	for (uint8_t id = 2; id <= 3; id++) {
		put_byte(w, id);
		put_byte(w, 0x11);
		put_byte(w, 1);
	}
}

static uint32_t huff_value_count(const uint8_t *t)
{
	uint32_t n = 0;
	for (int i = 1; i <= 16; i++)
		n += t[i];
	return std::min<uint32_t>(n, 256);
}

static void jpegw_emit_scan_header(jpeg_writer_t *w, const jpege_img_cfg_t *cfg)
{
	const uint8_t *tables[4] = {cfg->luma_dc_huff, cfg->luma_ac_huff, cfg->chroma_dc_huff, cfg->chroma_ac_huff};
	static constexpr uint8_t ids[4] = {0x00, 0x10, 0x01, 0x11};
	uint32_t len = 70;
	for (const uint8_t *t : tables)
		len += huff_value_count(t);
	put_short(w, 0xFFC4);
	put_short(w, uint16_t(len));
	for (int i = 0; i < 4; i++) {
		put_byte(w, ids[i]);
		put_bytes(w, tables[i] + 1, 16);
		put_bytes(w, tables[i] + 17, huff_value_count(tables[i]));
	}
	if (cfg->restart_interval) {
		put_short(w, 0xFFDD);
		put_short(w, 4);
		put_short(w, uint16_t(cfg->restart_interval));
	}
	static constexpr uint8_t sos[] = {0xFF, 0xDA, 0x00, 0x0C, 0x03, 0x01, 0x00, 0x02,
	                                  0x11, 0x03, 0x11, 0x00, 0x3F, 0x00};
	put_bytes(w, sos, sizeof sos);
}

// ---- Exif segment ----

static void jpegw_emit_thumbnail_ifd(jpeg_writer_t *w)
{
	patch_long(w, w->ifd1_link_pos, here(w) - w->tiff_start);
	jpegw_start_ifd(w);
	uint32_t tn_offset_pos = 0;
	for (uint32_t place = 41; place <= 52; place++) {
		if (place == 50) {
			jpegw_emit_long_tag(w, 0x0201, 0);  // JPEGInterchangeFormat
			tn_offset_pos = last_value_pos(w);
		} else if (place == 51) {
			jpegw_emit_long_tag(w, 0x0202, 0);  // JPEGInterchangeFormatLength
			w->tn_len_value_pos = last_value_pos(w);
		} else {
			jpegw_emit_store_tag(w, place);
		}
	}
	jpegw_finish_ifd(w);
	w->tn_soi_pos = here(w);
	put_short(w, 0xFFD8);
	jpegw_emit_frame_header(w, &w->p_cfg->thumbnail_cfg, image_of(w, true));
	jpegw_emit_scan_header(w, &w->p_cfg->thumbnail_cfg);
	patch_long(w, tn_offset_pos, w->tn_soi_pos - w->tiff_start);
}

static void jpegw_emit_app1(jpeg_writer_t *w)
{
	const jpege_img_data_t *main = image_of(w, false);
	put_short(w, 0xFFE1);
	w->app_len_pos = here(w);
	put_short(w, 0);
	put_bytes(w, "Exif\0\0", 6);
	w->tiff_start = here(w);
	put_bytes(w, "MM", 2);
	put_short(w, 0x002A);
	put_long(w, 8);
	w->in_exif = 1;

	jpegw_start_ifd(w);
	for (uint32_t place = 31; place <= 40; place++)
		jpegw_emit_store_tag(w, place);
	jpegw_emit_long_tag(w, 0x8769, 0);  // ExifIFDPointer
	uint32_t exif_ptr_pos = last_value_pos(w);
	jpegw_emit_long_tag(w, 0x8825, 0);  // GPSInfo
	uint32_t gps_ptr_pos = last_value_pos(w);
	w->ifd1_link_pos = here(w);
	jpegw_finish_ifd(w);

	pad_even(w);
	patch_long(w, exif_ptr_pos, here(w) - w->tiff_start);
	jpegw_start_ifd(w);
	for (uint32_t place = 53; place <= 73; place++)
		jpegw_emit_store_tag(w, place);
	bool turned = w->p_cfg->main_cfg.rotation % 180 != 0;
	jpegw_emit_long_tag(w, 0xA002, turned ? main->height : main->width);
	jpegw_emit_long_tag(w, 0xA003, turned ? main->width : main->height);
	jpegw_emit_long_tag(w, 0xA005, 0);  // InteroperabilityIFDPointer
	uint32_t interop_ptr_pos = last_value_pos(w);
	for (uint32_t place = 76; place <= 93; place++)
		jpegw_emit_store_tag(w, place);
	jpegw_finish_ifd(w);

	patch_long(w, interop_ptr_pos, here(w) - w->tiff_start);
	jpegw_start_ifd(w);
	for (const exif_default_tag_t *t : {&default_tag_interopindexstr, &default_tag_r98_version})
		jpegw_emit_exif_tag(w, exif_tag_number(t->tag_id), &t->entry);
	jpegw_finish_ifd(w);

	pad_even(w);
	patch_long(w, gps_ptr_pos, here(w) - w->tiff_start);
	jpegw_start_ifd(w);
	for (uint32_t place = 0; place <= 30; place++)
		jpegw_emit_store_tag(w, place);
	jpegw_finish_ifd(w);

	if (w->thumbnail_buf->ptr) {
		pad_even(w);
		w->ifd1_start = here(w);
		jpegw_emit_thumbnail_ifd(w);
	}
}

// ---- JFIF segment ----

static void jpegw_emit_app0(jpeg_writer_t *w)
{
	put_short(w, 0xFFE0);
	if (w->thumbnail_buf->ptr) {
		w->app_len_pos = here(w);
		put_short(w, 0);
		put_bytes(w, "JFXX", 4);
		put_byte(w, 0x00);
		put_byte(w, 0x10);
		w->tn_soi_pos = here(w);
		put_short(w, 0xFFD8);
		jpegw_emit_frame_header(w, &w->p_cfg->thumbnail_cfg, image_of(w, true));
		jpegw_emit_scan_header(w, &w->p_cfg->thumbnail_cfg);
		return;
	}
	put_short(w, 16);
	put_bytes(w, "JFIF", 4);
	put_long(w, 0x00010100);
	put_long(w, 0x00010001);
	put_short(w, 0);
}

// ---- Output ----

static int jpegw_flush_buffer(jpeg_writer_t *w, jpeg_buffer_t buf)
{
	if (w->overflow) {
		fprintf(stderr, "jpegw_flush_scratch_buffer: scratch buffer overflew earlier\n");
		return JPEGERR_EFAILED;
	}
	if (buf->offset) {
		w->p_dest->output_handler(static_cast<jpege_obj_t *>(w->p_user_data), w->p_dest->p_user_data, buf);
		buf->offset = 0;
	}
	return JPEGERR_SUCCESS;
}

static int jpegw_flush_file_header(jpeg_writer_t *w)
{
	jpeg_buffer_t tn = w->thumbnail_buf;
	bool dropped = false;
	if (tn->ptr) {
		// The whole APP segment, thumbnail included, must fit its 16-bit length.
		bool fits = uint64_t(tn->offset) + here(w) - w->app_len_pos <= 65535;
		if (fits && tn->offset != tn->size) {
			if (w->in_exif)
				patch_long(w, w->tn_len_value_pos, here(w) - w->tn_soi_pos + tn->offset);
			patch_short(w, w->app_len_pos, uint16_t(here(w) - w->app_len_pos + tn->offset));
		} else {
			dropped = true;
			jpeg_buffer_reset(tn);
			if (w->in_exif) {
				patch_short(w, w->app_len_pos, uint16_t(w->ifd1_start - w->app_len_pos));
				patch_long(w, w->ifd1_link_pos, 0);
				w->scratch_buf->offset = w->ifd1_start;
			} else {
				// The JFXX segment goes whole; a plain JFIF one stands instead.
				w->scratch_buf->offset = w->app_len_pos - 2;
				jpegw_emit_app0(w);
			}
		}
	} else if (w->in_exif) {
		patch_short(w, w->app_len_pos, uint16_t(here(w) - w->app_len_pos));
	}
	int rc = jpegw_flush_buffer(w, w->scratch_buf);
	if (!rc && tn->ptr)
		rc = jpegw_flush_buffer(w, tn);
	if (rc)
		return rc;
	jpegw_emit_frame_header(w, &w->p_cfg->main_cfg, image_of(w, false));
	jpegw_emit_scan_header(w, &w->p_cfg->main_cfg);
	rc = jpegw_flush_buffer(w, w->scratch_buf);
	if (rc)
		return rc;
	return dropped ? JPEGERR_THUMBNAIL_DROPPED : JPEGERR_SUCCESS;
}

static int jpegw_emit_header_exif(jpeg_writer_t *w)
{
	if (!w->exif_info) {
		int rc = exif_init(&w->exif_info);
		if (rc)
			return rc;
		w->owns_exif = 1;
	}
	put_short(w, 0xFFD8);
	jpegw_emit_app1(w);
	int rc = jpegw_flush_file_header(w);
	if (rc == JPEGERR_SUCCESS || rc == JPEGERR_THUMBNAIL_DROPPED)
		w->header_written = 1;
	return rc;
}

static int jpegw_emit_header_jfif(jpeg_writer_t *w)
{
	put_short(w, 0xFFD8);
	jpegw_emit_app0(w);
	int rc = jpegw_flush_file_header(w);
	if (rc == JPEGERR_SUCCESS)
		w->header_written = 1;
	return rc;
}

int jpegw_emit_header(jpeg_writer_t *w)
{
	if (!w || !w->p_cfg || !w->p_source || !w->p_dest)
		return JPEGERR_ENULLPTR;
	if (w->p_cfg->header_type == JPEG_HEADER_JFIF)
		return jpegw_emit_header_jfif(w);
	return jpegw_emit_header_exif(w);
}

int jpegw_emit_thumbnail(jpeg_writer_t *w, const uint8_t *data, uint32_t count)
{
	const jpege_img_data_t *tn_img = w->p_source ? w->p_source->p_thumbnail : nullptr;
	if (!tn_img)
		return JPEGERR_EBADSTATE;
	jpeg_buffer_t tn = w->thumbnail_buf;
	if (!tn->ptr) {
		jpeg_buffer_reset(tn);
		uint64_t want = std::min<uint64_t>(3ull * tn_img->width * tn_img->height, JPEGW_SCRATCH_SIZE);
		int rc = jpeg_buffer_allocate(tn, uint32_t(std::max<uint64_t>(want, 1)), false);
		if (rc)
			return rc;
	}
	uint32_t n = std::min(count, tn->size - tn->offset);
	if (n) {
		memcpy(tn->ptr + tn->offset, data, n);
		tn->offset += n;
	}
	return JPEGERR_SUCCESS;
}

}  // namespace jpeg
