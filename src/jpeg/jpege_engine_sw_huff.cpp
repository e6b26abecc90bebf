// Entropy coding: canonical Huffman codes, the bit packer with 0xFF
// stuffing, padding and restart markers.
#include <bit>
#include <cstdlib>

#include "jpeg/jpege_engine_sw.h"

namespace jpeg {

void jpege_engine_sw_init_huff(const uint8_t *counts, const uint8_t *values, uint32_t n_values,
                               huff_code_t *codes, uint32_t n_codes)
{
	for (uint32_t i = 0; i < n_codes; i++)
		codes[i] = {0, 0};
	uint32_t code = 0, k = 0;
	for (uint16_t len = 1; len <= 16; len++) {
		for (uint32_t i = 0; i < counts[len - 1] && k < n_values; i++, k++) {
			uint8_t v = values[k];
			if (v < n_codes)
				codes[v] = {len, uint16_t(code)};
			code++;
		}
		code <<= 1;
	}
}

// Four bytes out of the accumulator, each 0xFF followed by a 0x00.
static inline void jpege_engine_sw_emit_word(jpege_engine_sw_t *e, uint32_t w)
{
	jpeg_buf_t *buf = e->current_buf;
	bool has_ff = ((~w - 0x01010101u) & w & 0x80808080u) != 0;
	if (!has_ff && buf->offset + 4 <= buf->size) {
		uint8_t *p = buf->ptr + buf->offset;
		p[0] = uint8_t(w >> 24);
		p[1] = uint8_t(w >> 16);
		p[2] = uint8_t(w >> 8);
		p[3] = uint8_t(w);
		buf->offset += 4;
		return;
	}
	for (int shift = 24; shift >= 0; shift -= 8) {
		uint8_t b = uint8_t(w >> shift);
		jpege_engine_sw_emit_byte(e, b);
		if (b == 0xFF)
			jpege_engine_sw_emit_byte(e, 0);
	}
}

// The accumulator holds up to 64 bits; whenever 32 are pending they go out
// as one word. `bits` holds no bits above `length`.
static inline void jpege_engine_sw_pack_bs(jpege_engine_sw_t *e, uint32_t bits, int32_t length)
{
	e->bit_acc = e->bit_acc << length | bits;
	e->bit_free -= length;
	if (e->bit_free <= 32) {
		e->bit_free += 32;
		jpege_engine_sw_emit_word(e, uint32_t(e->bit_acc >> (64 - e->bit_free)));
	}
}

// Category (bit length of |value|, searched from bit `bits - 2` down) and
// the extra bits: the value, less 1 if negative, masked to the category.
static inline uint32_t jpege_engine_sw_huff_encode_ssss(int32_t value, int bits, uint32_t *extra)
{
	uint32_t mag = uint32_t(std::abs(value));
	uint32_t cat = std::bit_width(mag);
	if (cat > uint32_t(bits - 1))
		cat = bits - 1;
	*extra = uint32_t(value < 0 ? value - 1 : value) & ((1u << cat) - 1);
	return cat;
}

static inline void pack_code(jpege_engine_sw_t *e, huff_code_t c) { jpege_engine_sw_pack_bs(e, c.code, c.length); }

static inline void jpege_engine_sw_runlength(jpege_engine_sw_t *e, const huff_code_t *ac, uint32_t run,
                                             int32_t value)
{
	uint32_t extra;
	uint32_t cat = jpege_engine_sw_huff_encode_ssss(value, 11, &extra);
	pack_code(e, ac[run << 4 | cat]);
	jpege_engine_sw_pack_bs(e, extra, int32_t(cat));
}

void jpege_engine_sw_huff_encode(jpege_engine_sw_t *e, const int16_t block[64], uint64_t nonzero, int component)
{
	int t = component ? 1 : 0;
	const huff_code_t *dc = e->dc_codes[t].data();
	const huff_code_t *ac = e->ac_codes[t].data();

	int32_t diff = block[0] - e->prev_dc[component];
	e->prev_dc[component] = block[0];
	uint32_t extra;
	uint32_t cat = jpege_engine_sw_huff_encode_ssss(diff, 12, &extra);
	huff_code_t c = dc[cat];
	if (c.length + cat <= 32) {
		jpege_engine_sw_pack_bs(e, uint32_t(c.code) << cat | extra, int32_t(c.length + cat));
	} else {  // only a custom table with long DC codes gets here
		pack_code(e, c);
		jpege_engine_sw_pack_bs(e, extra, int32_t(cat));
	}

	// Walk the non-zero coefficients only; the gaps are the zero runs. The
	// mask goes in 32-bit halves: a 32-bit processor has no 64-bit count of
	// trailing zeros (a library call), and ARMv6 none at all, but a count
	// of leading zeros of the lowest bit.
	int last = 0;
	const uint32_t halves[2] = {uint32_t(nonzero) & ~1u, uint32_t(nonzero >> 32)};
	for (int h = 0; h < 2; h++) {
		for (uint32_t m = halves[h]; m; m &= m - 1) {
			int k = h * 32 + 31 - std::countl_zero(m & (0u - m));
			uint32_t run = uint32_t(k - last - 1);
			for (; run > 15; run -= 16)
				pack_code(e, ac[0xF0]);
			jpege_engine_sw_runlength(e, ac, run, block[k]);
			last = k;
		}
	}
	if (last != 63)
		pack_code(e, ac[0x00]);  // end of block
}

void jpege_engine_sw_stuff_bs(jpege_engine_sw_t *e)
{
	// Pad the last byte with 1 bits and send every whole byte.
	int32_t pending = 64 - e->bit_free;
	if (int32_t pad = (8 - pending % 8) % 8) {
		e->bit_acc = e->bit_acc << pad | ((1u << pad) - 1);
		pending += pad;
	}
	for (; pending >= 8; pending -= 8) {
		uint8_t b = uint8_t(e->bit_acc >> (pending - 8));
		jpege_engine_sw_emit_byte(e, b);
		if (b == 0xFF)
			jpege_engine_sw_emit_byte(e, 0);
	}
	e->bit_acc = 0;
	e->bit_free = 64;
}

void jpege_engine_sw_insert_restart_marker(jpege_engine_sw_t *e)
{
	jpege_engine_sw_stuff_bs(e);
	jpege_engine_sw_emit_byte(e, 0xFF);
	jpege_engine_sw_emit_byte(e, uint8_t(0xD0 + e->restart_index));
	e->restart_index = (e->restart_index + 1) & 7;
	e->prev_dc[0] = e->prev_dc[1] = e->prev_dc[2] = 0;
}

}  // namespace jpeg
