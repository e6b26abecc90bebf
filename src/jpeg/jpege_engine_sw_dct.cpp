// Forward DCT and quantisation: the accurate integer transform (rows, then
// columns; results are 8 times the true coefficients) and quantisation by
// 15-bit reciprocals, written out in zig-zag order.
#include "jpeg/jpege_engine_sw.h"

#include <algorithm>

namespace jpeg {

namespace {

constexpr std::array<uint8_t, 64> transpose_order(const std::array<uint8_t, 64> &order)
{
	std::array<uint8_t, 64> t{};
	for (size_t i = 0; i < 64; i++)
		t[i] = uint8_t((order[i] & 7) * 8 + (order[i] >> 3));
	return t;
}

}  // namespace

const std::array<uint8_t, 64> zigzagTable{
    0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
    41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
    30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};
const std::array<uint8_t, 64> zigzagTableTranspose = transpose_order(zigzagTable);

// One 8-point pass. Rows keep two extra bits of precision (outputs 0 and 4
// scaled by 4, the others shifted by 11); columns take them off again.
template <bool ROWS, typename In>
static inline void fdct_8(const In &x, int32_t *out, ptrdiff_t step)
{
	int32_t s0 = x(0) + x(7), d0 = x(0) - x(7);
	int32_t s1 = x(1) + x(6), d1 = x(1) - x(6);
	int32_t s2 = x(2) + x(5), d2 = x(2) - x(5);
	int32_t s3 = x(3) + x(4), d3 = x(3) - x(4);

	int32_t a = s0 + s3, c = s0 - s3;
	int32_t b = s1 + s2, e = s1 - s2;
	constexpr int SHIFT = ROWS ? 11 : 15;
	constexpr int32_t ROUND = 1 << (SHIFT - 1);
	if (ROWS) {
		out[0] = (a + b) * 4;
		out[4 * step] = (a - b) * 4;
	} else {
		out[0] = (a + b + 2) >> 2;
		out[4 * step] = (a - b + 2) >> 2;
	}
	int32_t z = (c + e) * 4433;
	out[2 * step] = (z + c * 6270 + ROUND) >> SHIFT;
	out[6 * step] = (z - e * 15137 + ROUND) >> SHIFT;

	int32_t z1 = d3 + d0, z2 = d2 + d1, z3 = d3 + d1, z4 = d2 + d0;
	int32_t z5 = (z3 + z4) * 9633;
	int32_t p1 = z1 * -7373, p2 = z2 * -20995, p3 = z3 * -16069, p4 = z4 * -3196;
	out[7 * step] = (d3 * 2446 + p1 + p3 + z5 + ROUND) >> SHIFT;
	out[5 * step] = (d2 * 16819 + p2 + p4 + z5 + ROUND) >> SHIFT;
	out[3 * step] = (d1 * 25172 + p2 + p3 + z5 + ROUND) >> SHIFT;
	out[1 * step] = (d0 * 12299 + p1 + p4 + z5 + ROUND) >> SHIFT;
}

void jpege_engine_sw_fdct_block(const uint8_t *p, ptrdiff_t stride, int32_t out[64])
{
	// Rows work on the raw unsigned samples: the level shift comes later.
	alignas(32) int32_t ws[64];
	for (int r = 0; r < 8; r++) {
		const uint8_t *row = p + r * stride;
		fdct_8<true>([row](int i) { return int32_t(row[i]); }, ws + r * 8, 1);
	}
	// Columns side by side: sample i of every column is row i of the
	// workspace, so the loop over columns runs in vector lanes.
	for (int c = 0; c < 8; c++)
		fdct_8<false>([&ws, c](int i) { return ws[i * 8 + c]; }, out + c, 8);
}

void jpege_engine_sw_dct_wrapper(const uint8_t *p, ptrdiff_t stride, int32_t out[64])
{
	jpege_engine_sw_fdct_block(p, stride, out);
	out[0] -= 8192;  // level shift of 128, at the transform's scale
}

uint64_t jpege_engine_sw_quant_zigzag(const int32_t dct[64], int16_t out[64], const uint8_t *zigzag,
                                      const int16_t *quant)
{
	// c >= 0: (c * q + 0x20000) >> 18; c < 0: -((0x20000 - c * q) >> 18).
	// 15 bits of reciprocal and 3 of the transform's scale. Done in natural
	// order with the sign as a mask (signs of coefficients do not predict),
	// so that the loop runs in vector lanes; then reordered.
	alignas(32) int16_t natural[64];
	// Unrolled: a loop this short costs as much again in branches on the
	// phone's ARM11, which has no vector lanes to spread it over.
#pragma GCC unroll 64
	for (int k = 0; k < 64; k++) {
		int32_t c = dct[k];
		int32_t s = c >> 31;
		int32_t u = ((c * quant[k]) ^ s) - s + 0x20000;
		natural[k] = int16_t(((u >> 18) ^ s) - s);
	}
	// The mask in two 32-bit halves: a 64-bit shift by a variable count is
	// a branchy sequence on a 32-bit processor, a 32-bit one an operand.
	uint32_t half[2] = {0, 0};
	for (int h = 0; h < 2; h++) {
#pragma GCC unroll 32
		for (int i = 0; i < 32; i++) {
			int16_t v = natural[zigzag[h * 32 + i]];
			out[h * 32 + i] = v;
			half[h] |= uint32_t(v != 0) << i;
		}
	}
	return uint64_t(half[1]) << 32 | half[0];
}

}  // namespace jpeg
