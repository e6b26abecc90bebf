// Field positions as the records lay them out: little endian, offsets in
// bytes from the record's start, bits from bit 0 of that byte.
#include "sim/vfe_decode.h"

namespace sim::camera {

namespace {

uint32_t field(std::span<const uint8_t> r, size_t off, unsigned bit, unsigned width)
{
	uint64_t v = 0;
	for (size_t i = 0; i < 8 && off + i < r.size(); ++i)
		v |= uint64_t{r[off + i]} << (8 * i);
	return static_cast<uint32_t>((v >> bit) & ((uint64_t{1} << width) - 1));
}

int32_t signed_field(std::span<const uint8_t> r, size_t off, unsigned bit, unsigned width)
{
	uint32_t v = field(r, off, bit, width);
	return static_cast<int32_t>(v << (32 - width)) >> (32 - width);
}

}  // namespace

void vfe_decode_start(vfe_enables_t &out, std::span<const uint8_t> rec)
{
	if (rec.size() != 16)
		return;
	out.black_level = field(rec, 8, 0, 1);
	out.roll_off = field(rec, 8, 1, 1);
	out.white_balance = field(rec, 8, 2, 1);
	out.rgb_gamma = field(rec, 8, 3, 1);
}

void vfe_decode_black_level(std::array<uint32_t, 2> &out, std::span<const uint8_t> rec)
{
	if (rec.size() != 20)
		return;
	out = {field(rec, 4, 0, 9), field(rec, 6, 0, 9)};
}

void vfe_decode_white_balance(std::array<uint32_t, 3> &out, std::span<const uint8_t> rec)
{
	if (rec.size() != 8)
		return;
	out = {field(rec, 6, 2, 9), field(rec, 4, 0, 9), field(rec, 4, 9, 9)};
}

void vfe_decode_colour(vfe_colour_t &out, std::span<const uint8_t> rec)
{
	if (rec.size() != 60)
		return;
	// Correction: rows r, g, b of three 12-bit coefficients in words 1 to
	// 6, each row's 11-bit bias in the half word after it.
	static constexpr std::array<size_t, 9> coeff_at = {4, 6, 8, 12, 14, 16, 20, 22, 24};
	for (size_t i = 0; i < 9; ++i)
		out.ccm[i] = signed_field(rec, coeff_at[i], 0, 12);
	out.bias = {signed_field(rec, 10, 0, 11), signed_field(rec, 18, 0, 11), signed_field(rec, 26, 0, 11)};
	out.q = field(rec, 28, 0, 2);
	// Conversion: a half word each from byte 32, chroma in 11 bits, luma in 12.
	for (size_t i = 0; i < out.conv.size(); ++i)
		out.conv[i] = signed_field(rec, 32 + 2 * i, 0, i < 10 ? 11 : 12);
}

void vfe_decode_gamma(vfe_gamma_t &out, std::span<const uint8_t> rec)
{
	if (rec.size() != 8 + out.at.size())
		return;
	out.table = field(rec, 4, 0, 1);
	for (size_t i = 0; i < out.at.size(); ++i)
		out.at[i] = rec[8 + i];
}

void vfe_decode_roll_off(vfe_roll_off_t &out, std::span<const uint8_t> rec)
{
	if (rec.size() != 8 + ROLL_OFF_ROWS * 16)
		return;
	out.cx = field(rec, 4, 0, 12);
	out.cy = field(rec, 6, 0, 12);
	for (size_t row = 0; row < ROLL_OFF_ROWS; ++row) {
		size_t at = 8 + row * 16;
		out.r2[row] = field(rec, at, 0, 32);
		for (size_t c = 0; c < 3; ++c) {
			// A word per channel: the 19-bit slope from bit 0, the 13-bit
			// gain in bits 3 to 15 of the upper half.
			size_t w = at + 4 + 4 * c;
			out.gain[row][c] = field(rec, w + 2, 3, 13);
			out.slope[row][c] = signed_field(rec, w, 0, 19);
		}
	}
}

void vfe_decode_clamp(vfe_clamp_t &out, std::span<const uint8_t> rec)
{
	if (rec.size() != 12)
		return;
	for (size_t c = 0; c < 3; ++c) {
		out.max[c] = static_cast<uint8_t>(field(rec, 4 + c, 0, 8));
		out.min[c] = static_cast<uint8_t>(field(rec, 8 + c, 0, 8));
	}
}

}  // namespace sim::camera
