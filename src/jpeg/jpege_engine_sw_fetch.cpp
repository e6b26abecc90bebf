// Block fetch: where the source block of an output block lies for each
// rotation, and edge padding. A whole block is always read as 8 forward
// rows of the source; only its place changes with the rotation. Blocks that
// cross the right or bottom edge of the output repeat the edge sample.
#include <algorithm>

#include "jpeg/jpege_engine_sw.h"

namespace jpeg {
namespace {

struct point {
	uint32_t x, y;
};

// Source sample of output sample (x, y), for a source of w by h.
inline point source_of(uint32_t rotation, uint32_t x, uint32_t y, uint32_t w, uint32_t h)
{
	switch (rotation) {
	case 90:
		return {y, h - 1 - x};
	case 180:
		return {w - 1 - x, h - 1 - y};
	case 270:
		return {w - 1 - y, x};
	default:
		return {x, y};
	}
}

// Top-left source sample of the whole output block at (x, y).
inline point block_origin(uint32_t rotation, uint32_t x, uint32_t y, uint32_t w, uint32_t h)
{
	switch (rotation) {
	case 90:
		return {y, h - 8 - x};
	case 180:
		return {w - 8 - x, h - 8 - y};
	case 270:
		return {w - 8 - y, x};
	default:
		return {x, y};
	}
}

// Output position (row, column) inside the block whose sample the
// untransformed block holds at (i, j): the inverse of what the frequency
// domain rotation does.
inline point output_cell(uint32_t rotation, uint32_t i, uint32_t j)
{
	switch (rotation) {
	case 90:
		return {7 - i, j};
	case 180:
		return {7 - j, 7 - i};
	case 270:
		return {i, 7 - j};
	default:
		return {j, i};
	}
}

// Calls put(i, j, source offset in samples) for each cell of a block that
// crosses the output edge.
template <typename Put>
void fetch_partial(uint32_t rotation, uint32_t x, uint32_t y, uint32_t out_w, uint32_t out_h, uint32_t w,
                   uint32_t h, size_t stride, Put put)
{
	for (uint32_t i = 0; i < 8; i++) {
		for (uint32_t j = 0; j < 8; j++) {
			point cell = output_cell(rotation, i, j);
			uint32_t ox = std::min(x + cell.x, out_w - 1);
			uint32_t oy = std::min(y + cell.y, out_h - 1);
			point s = source_of(rotation, ox, oy, w, h);
			put(i * 8 + j, s.y * stride + s.x);
		}
	}
}

}  // namespace

const uint8_t *jpege_engine_sw_fetch_luma(jpege_engine_sw_t *e, uint32_t x, uint32_t y, uint8_t *work)
{
	uint32_t w = e->luma_width, h = e->luma_height;
	if (x + 8 <= e->out_luma_width && y + 8 <= e->out_luma_height) {
		point o = block_origin(e->rotation, x, y, w, h);
		return e->luma_plane + size_t(o.y) * w + o.x;
	}
	const uint8_t *plane = e->luma_plane;
	fetch_partial(e->rotation, x, y, e->out_luma_width, e->out_luma_height, w, h, w,
	              [work, plane](uint32_t cell, size_t src) { work[cell] = plane[src]; });
	return nullptr;
}

void jpege_engine_sw_fetch_chroma(jpege_engine_sw_t *e, uint32_t x, uint32_t y)
{
	uint32_t w = e->chroma_width, h = e->chroma_height;
	size_t stride = size_t(w) * 2;
	// The first 64 bytes are always Cb, the next 64 Cr.
	uint8_t *cb = e->chroma_block[0], *cr = e->chroma_block[1];
	uint32_t cb_at = e->is_crcb ? 1 : 0, cr_at = 1 - cb_at;
	const uint8_t *plane = e->chroma_plane;
	if (x + 8 <= e->out_chroma_width && y + 8 <= e->out_chroma_height) {
		point o = block_origin(e->rotation, x, y, w, h);
		const uint8_t *p = plane + o.y * stride + size_t(o.x) * 2;
		for (int i = 0; i < 8; i++, p += stride) {
#pragma GCC unroll 8
			for (int j = 0; j < 8; j++) {
				cb[i * 8 + j] = p[2 * j + cb_at];
				cr[i * 8 + j] = p[2 * j + cr_at];
			}
		}
		return;
	}
	fetch_partial(e->rotation, x, y, e->out_chroma_width, e->out_chroma_height, w, h, stride / 2,
	              [=](uint32_t cell, size_t src) {
		              cb[cell] = plane[src * 2 + cb_at];
		              cr[cell] = plane[src * 2 + cr_at];
	              });
}

}  // namespace jpeg
