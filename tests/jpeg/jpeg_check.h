// Test helpers: a generated natural-looking picture, plane rotation, PSNR,
// a libjpeg-turbo decoder and reference encoder on raw planes (no colour
// conversion on either side), and readers for markers and Exif IFDs.
#pragma once

#include <cmath>
#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include <jpeglib.h>

#include "jpeg_client.h"

namespace jpeg_check {

using jpeg_client::yuv_image;

struct plane {
	uint32_t w = 0, h = 0;
	std::vector<uint8_t> px;
	uint8_t at(uint32_t x, uint32_t y) const { return px[size_t(y) * w + x]; }
};

struct planes {
	plane c[3];  // Y, Cb, Cr
};

// Smooth value noise in octaves, with a few hard-edged shapes: enough
// texture and edges to look like a photograph to a DCT coder.
inline yuv_image make_picture(uint32_t w, uint32_t h, uint32_t format, uint32_t seed = 1)
{
	auto hash = [seed](int x, int y, int k) {
		uint32_t v = uint32_t(x) * 374761393u + uint32_t(y) * 668265263u + uint32_t(k) * 2246822519u + seed * 3266489917u;
		v = (v ^ (v >> 13)) * 1274126177u;
		return double((v ^ (v >> 16)) & 0xFFFF) / 65535.0;
	};
	auto noise = [&](double x, double y, int k) {
		int xi = int(std::floor(x)), yi = int(std::floor(y));
		double fx = x - xi, fy = y - yi;
		fx = fx * fx * (3 - 2 * fx);
		fy = fy * fy * (3 - 2 * fy);
		double a = hash(xi, yi, k), b = hash(xi + 1, yi, k), c = hash(xi, yi + 1, k), d = hash(xi + 1, yi + 1, k);
		return a + (b - a) * fx + (c - a) * fy + (a - b - c + d) * fx * fy;
	};
	auto fractal = [&](double x, double y, int k) {
		double s = 0, amp = 0.5, f = 1.0 / 64;
		for (int o = 0; o < 6; o++, amp *= 0.5, f *= 2)
			s += amp * noise(x * f, y * f, k * 8 + o);
		return s;
	};
	std::vector<double> Y(size_t(w) * h), Cb(Y.size()), Cr(Y.size());
	for (uint32_t y = 0; y < h; y++) {
		for (uint32_t x = 0; x < w; x++) {
			double l = 40 + 170 * fractal(x, y, 0);
			double dx = x - w * 0.6, dy = y - h * 0.4, r = std::sqrt(dx * dx + dy * dy);
			bool disc = r < std::min(w, h) * 0.2;
			bool bar = (x / 37 + y / 53) % 5 == 0;
			if (disc)
				l = 0.7 * l + 60;
			if (bar)
				l = l * 0.5;
			size_t i = size_t(y) * w + x;
			Y[i] = std::clamp(l, 0.0, 255.0);
			Cb[i] = std::clamp(128 + 90 * (fractal(x, y, 1) - 0.5) + (disc ? 30 : 0), 0.0, 255.0);
			Cr[i] = std::clamp(128 + 90 * (fractal(x, y, 2) - 0.5) - (bar ? 20 : 0), 0.0, 255.0);
		}
	}
	yuv_image img;
	img.width = w;
	img.height = h;
	img.format = format;
	img.luma.resize(Y.size());
	for (size_t i = 0; i < Y.size(); i++)
		img.luma[i] = uint8_t(std::lround(Y[i]));
	uint32_t cw, ch;
	jpeg_client::chroma_size(format, w, h, &cw, &ch);
	uint32_t sx = (w + cw - 1) / cw, sy = (h + ch - 1) / ch;
	img.chroma.resize(size_t(cw) * ch * 2);
	bool crcb = (format & 1) == 0;
	for (uint32_t y = 0; y < ch; y++) {
		for (uint32_t x = 0; x < cw; x++) {
			double b = 0, r = 0;
			int n = 0;
			for (uint32_t j = 0; j < sy; j++)
				for (uint32_t i = 0; i < sx; i++) {
					uint32_t px = std::min(x * sx + i, w - 1), py = std::min(y * sy + j, h - 1);
					b += Cb[size_t(py) * w + px];
					r += Cr[size_t(py) * w + px];
					n++;
				}
			uint8_t vb = uint8_t(std::lround(b / n)), vr = uint8_t(std::lround(r / n));
			img.chroma[(size_t(y) * cw + x) * 2] = crcb ? vr : vb;
			img.chroma[(size_t(y) * cw + x) * 2 + 1] = crcb ? vb : vr;
		}
	}
	return img;
}

inline planes split(const yuv_image &img)
{
	planes p;
	uint32_t cw, ch;
	jpeg_client::chroma_size(img.format, img.width, img.height, &cw, &ch);
	p.c[0] = {img.width, img.height, img.luma};
	bool crcb = (img.format & 1) == 0;
	for (int k = 0; k < 2; k++) {
		p.c[1 + k] = {cw, ch, std::vector<uint8_t>(size_t(cw) * ch)};
		size_t at = crcb ? 1 - k : k;
		for (size_t i = 0; i < size_t(cw) * ch; i++)
			p.c[1 + k].px[i] = img.chroma[i * 2 + at];
	}
	return p;
}

// Clockwise rotation, as the encoder's.
inline plane rotate(const plane &s, uint32_t deg)
{
	bool turned = deg % 180 != 0;
	plane o{turned ? s.h : s.w, turned ? s.w : s.h, std::vector<uint8_t>(s.px.size())};
	for (uint32_t y = 0; y < o.h; y++)
		for (uint32_t x = 0; x < o.w; x++) {
			uint32_t sx = x, sy = y;
			if (deg == 90) sx = y, sy = s.h - 1 - x;
			if (deg == 180) sx = s.w - 1 - x, sy = s.h - 1 - y;
			if (deg == 270) sx = s.w - 1 - y, sy = x;
			o.px[size_t(y) * o.w + x] = s.at(sx, sy);
		}
	return o;
}

inline planes rotate(const planes &p, uint32_t deg)
{
	planes o;
	for (int k = 0; k < 3; k++)
		o.c[k] = rotate(p.c[k], deg);
	return o;
}

inline double psnr(const plane &a, const plane &b)
{
	if (a.w != b.w || a.h != b.h)
		return 0;
	double se = 0;
	for (size_t i = 0; i < a.px.size(); i++) {
		double d = double(a.px[i]) - b.px[i];
		se += d * d;
	}
	if (se == 0)
		return 99;
	return 10 * std::log10(255.0 * 255.0 * a.px.size() / se);
}

// Luma and chroma together, weighted by sample count.
inline double psnr(const planes &a, const planes &b)
{
	double se = 0, n = 0;
	for (int k = 0; k < 3; k++) {
		if (a.c[k].w != b.c[k].w || a.c[k].h != b.c[k].h)
			return 0;
		for (size_t i = 0; i < a.c[k].px.size(); i++) {
			double d = double(a.c[k].px[i]) - b.c[k].px[i];
			se += d * d;
		}
		n += double(a.c[k].px.size());
	}
	return se == 0 ? 99 : 10 * std::log10(255.0 * 255.0 * n / se);
}

struct error_mgr {
	jpeg_error_mgr pub;
	jmp_buf jump;
	char last[JMSG_LENGTH_MAX];
};

inline void on_error_exit(j_common_ptr cinfo)
{
	auto *err = reinterpret_cast<error_mgr *>(cinfo->err);
	(*cinfo->err->format_message)(cinfo, err->last);
	longjmp(err->jump, 1);
}

inline void on_message(j_common_ptr cinfo, int level)
{
	if (level < 0) {  // a warning: count it and keep its text
		auto *err = reinterpret_cast<error_mgr *>(cinfo->err);
		(*cinfo->err->format_message)(cinfo, err->last);
		cinfo->err->num_warnings++;
	}
}

struct decoded {
	bool ok = false;
	long warnings = 0;
	std::string message;
	uint32_t width = 0, height = 0;
	int h_samp[3] = {}, v_samp[3] = {};
	planes p;
};

// Decodes to raw component planes at their own resolution.
inline decoded decode(const std::vector<uint8_t> &file)
{
	decoded out;
	jpeg_decompress_struct cinfo{};
	error_mgr err{};
	cinfo.err = jpeg_std_error(&err.pub);
	err.pub.error_exit = on_error_exit;
	err.pub.emit_message = on_message;
	std::vector<std::vector<uint8_t>> bufs(3);
	uint32_t padded_w[3] = {}, rows_per_imcu[3] = {};
	if (setjmp(err.jump)) {
		out.message = err.last;
		jpeg_destroy_decompress(&cinfo);
		return out;
	}
	jpeg_create_decompress(&cinfo);
	jpeg_mem_src(&cinfo, file.data(), file.size());
	jpeg_read_header(&cinfo, TRUE);
	cinfo.raw_data_out = TRUE;
	cinfo.out_color_space = JCS_YCbCr;
	jpeg_start_decompress(&cinfo);
	out.width = cinfo.image_width;
	out.height = cinfo.image_height;
	uint32_t imcu_rows = (cinfo.image_height + cinfo.max_v_samp_factor * 8 - 1) / (cinfo.max_v_samp_factor * 8);
	for (int k = 0; k < 3; k++) {
		jpeg_component_info *c = &cinfo.comp_info[k];
		out.h_samp[k] = c->h_samp_factor;
		out.v_samp[k] = c->v_samp_factor;
		padded_w[k] = c->width_in_blocks * 8 + 64;
		rows_per_imcu[k] = c->v_samp_factor * 8;
		bufs[k].assign(size_t(padded_w[k]) * rows_per_imcu[k] * imcu_rows, 0);
		out.p.c[k].w = c->downsampled_width;
		out.p.c[k].h = c->downsampled_height;
	}
	for (uint32_t m = 0; m < imcu_rows; m++) {
		std::vector<JSAMPROW> rows[3];
		JSAMPARRAY arrays[3];
		for (int k = 0; k < 3; k++) {
			for (uint32_t r = 0; r < rows_per_imcu[k]; r++)
				rows[k].push_back(bufs[k].data() + (size_t(m) * rows_per_imcu[k] + r) * padded_w[k]);
			arrays[k] = rows[k].data();
		}
		jpeg_read_raw_data(&cinfo, arrays, cinfo.max_v_samp_factor * 8);
	}
	jpeg_finish_decompress(&cinfo);
	out.warnings = err.pub.num_warnings;
	out.message = err.last;
	jpeg_destroy_decompress(&cinfo);
	for (int k = 0; k < 3; k++) {
		plane &pl = out.p.c[k];
		pl.px.resize(size_t(pl.w) * pl.h);
		for (uint32_t y = 0; y < pl.h; y++)
			std::copy_n(bufs[k].data() + size_t(y) * padded_w[k], pl.w, pl.px.data() + size_t(y) * pl.w);
	}
	out.ok = true;
	return out;
}

// libjpeg-turbo on the same planes: accurate integer DCT, annex K tables,
// raw data in. h and v are the luma sampling factors.
inline std::vector<uint8_t> reference_encode(const planes &p, int quality, int h, int v, int restart = 0)
{
	jpeg_compress_struct cinfo{};
	error_mgr err{};
	cinfo.err = jpeg_std_error(&err.pub);
	err.pub.error_exit = on_error_exit;
	unsigned char *mem = nullptr;
	unsigned long size = 0;
	if (setjmp(err.jump)) {
		jpeg_destroy_compress(&cinfo);
		free(mem);
		return {};
	}
	jpeg_create_compress(&cinfo);
	jpeg_mem_dest(&cinfo, &mem, &size);
	cinfo.image_width = p.c[0].w;
	cinfo.image_height = p.c[0].h;
	cinfo.input_components = 3;
	cinfo.in_color_space = JCS_YCbCr;
	jpeg_set_defaults(&cinfo);
	jpeg_set_quality(&cinfo, quality, TRUE);
	cinfo.dct_method = JDCT_ISLOW;
	cinfo.raw_data_in = TRUE;
	cinfo.restart_interval = restart;
	cinfo.comp_info[0].h_samp_factor = h;
	cinfo.comp_info[0].v_samp_factor = v;
	for (int k = 1; k < 3; k++)
		cinfo.comp_info[k].h_samp_factor = cinfo.comp_info[k].v_samp_factor = 1;
	jpeg_start_compress(&cinfo, TRUE);
	// Padded copies, edges repeated, as raw data in expects.
	int samp[3][2] = {{h, v}, {1, 1}, {1, 1}};
	uint32_t mcu_w = 8 * h, mcu_h = 8 * v;
	uint32_t mcus_x = (p.c[0].w + mcu_w - 1) / mcu_w, mcus_y = (p.c[0].h + mcu_h - 1) / mcu_h;
	std::vector<plane> pad(3);
	for (int k = 0; k < 3; k++) {
		pad[k].w = mcus_x * 8 * samp[k][0];
		pad[k].h = mcus_y * 8 * samp[k][1];
		pad[k].px.resize(size_t(pad[k].w) * pad[k].h);
		for (uint32_t y = 0; y < pad[k].h; y++)
			for (uint32_t x = 0; x < pad[k].w; x++)
				pad[k].px[size_t(y) * pad[k].w + x] =
				    p.c[k].at(std::min(x, p.c[k].w - 1), std::min(y, p.c[k].h - 1));
	}
	for (uint32_t m = 0; m < mcus_y; m++) {
		std::vector<JSAMPROW> rows[3];
		JSAMPARRAY arrays[3];
		for (int k = 0; k < 3; k++) {
			for (int r = 0; r < 8 * samp[k][1]; r++)
				rows[k].push_back(pad[k].px.data() + (size_t(m) * 8 * samp[k][1] + r) * pad[k].w);
			arrays[k] = rows[k].data();
		}
		jpeg_write_raw_data(&cinfo, arrays, mcu_h);
	}
	jpeg_finish_compress(&cinfo);
	std::vector<uint8_t> out(mem, mem + size);
	jpeg_destroy_compress(&cinfo);
	free(mem);
	return out;
}

// ---- Markers ----

struct segment {
	uint8_t marker;
	size_t at;      // offset of the FF
	size_t length;  // the length field; 0 for markers without one
};

// Segments from SOI up to SOS, then the markers inside the scan data.
struct layout {
	std::vector<segment> segments;
	std::vector<uint8_t> scan_markers;  // RSTn and EOI found in the entropy data
	bool stuffing_ok = true;            // every FF in the data is followed by 00 or a marker
};

inline layout parse_layout(const std::vector<uint8_t> &f)
{
	layout out;
	size_t i = 0;
	while (i + 1 < f.size()) {
		if (f[i] != 0xFF) {
			out.stuffing_ok = false;
			break;
		}
		uint8_t m = f[i + 1];
		if (m == 0xD8) {
			out.segments.push_back({m, i, 0});
			i += 2;
			continue;
		}
		if (i + 3 >= f.size())
			break;
		size_t len = size_t(f[i + 2]) << 8 | f[i + 3];
		out.segments.push_back({m, i, len});
		i += 2 + len;
		if (m == 0xDA)
			break;
	}
	for (; i + 1 < f.size(); i++) {
		if (f[i] != 0xFF)
			continue;
		uint8_t m = f[i + 1];
		if (m == 0x00) {
			i++;
			continue;
		}
		out.scan_markers.push_back(m);
		if (m < 0xD0 || m > 0xD9)
			out.stuffing_ok = false;
		i++;
	}
	return out;
}

const segment *find(const layout &&l, uint8_t marker) = delete;  // would point into a temporary
inline const segment *find(const layout &l, uint8_t marker)
{
	for (const segment &s : l.segments)
		if (s.marker == marker)
			return &s;
	return nullptr;
}

// ---- Exif (big-endian TIFF) ----

struct ifd_entry {
	uint16_t tag, type;
	uint32_t count, value;  // value: the 4-byte field as a long
	size_t field_at;        // file offset of the value field
};

struct tiff {
	const std::vector<uint8_t> *f = nullptr;
	size_t base = 0;  // file offset of "MM"
	uint16_t u16(size_t off) const { return uint16_t((*f)[base + off] << 8 | (*f)[base + off + 1]); }
	uint32_t u32(size_t off) const { return uint32_t(u16(off)) << 16 | u16(off + 2); }
	std::map<uint16_t, ifd_entry> ifd(uint32_t off, uint32_t *next = nullptr) const
	{
		std::map<uint16_t, ifd_entry> m;
		uint16_t n = u16(off);
		for (uint16_t i = 0; i < n; i++) {
			size_t e = off + 2 + i * 12;
			m[u16(e)] = {u16(e), u16(e + 2), u32(e + 4), u32(e + 8), base + e + 8};
		}
		if (next)
			*next = u32(off + 2 + n * 12);
		return m;
	}
	// Every byte of the value, as the count and type say, NULs included.
	std::string bytes(const ifd_entry &e) const
	{
		static constexpr uint32_t size[] = {0, 1, 1, 2, 4, 8, 0, 1, 0, 4, 8};
		size_t n = size_t(e.count) * (e.type < 11 ? size[e.type] : 0);
		size_t at = n > 4 ? base + e.value : e.field_at;
		if (at + n > f->size())
			return "(out of the file)";
		return std::string(reinterpret_cast<const char *>(f->data() + at), n);
	}
	std::string ascii(const ifd_entry &e) const
	{
		size_t at = e.count > 4 ? base + e.value : e.field_at;
		std::string s(reinterpret_cast<const char *>(f->data() + at), e.count);
		return s.substr(0, s.find('\0'));
	}
};

}  // namespace jpeg_check
