#include "ftm/graphics.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <sys/mman.h>

#include "ftm/debug.h"
#include "hal/hal.h"
#include "hal/utils.h"
#include "platform/platform.h"

namespace ftm {

graphics_globals gfx;

namespace {

uint8_t *const kMapFailed = static_cast<uint8_t *>(MAP_FAILED);

bool mapped() { return gfx.fbp != nullptr && gfx.fbp != kMapFailed; }

// Bytes of one frame as the panel reports it.
size_t frame_bytes()
{
	return static_cast<size_t>(gfx.lcd_width) * gfx.lcd_height * gfx.lcd_bpp / 8;
}

// A block of side scale at (x, y), cut to the panel so that a huge scale
// or a far-off position costs nothing.
void fill_block(long x, long y, long side, int r, int g, int b)
{
	lcd_init();  // as the block's first draw would, so the panel's size is known
	long x0 = std::max(x, 0L), y0 = std::max(y, 0L);
	long x1 = std::min(x + side, static_cast<long>(gfx.lcd_width));
	long y1 = std::min(y + side, static_cast<long>(gfx.lcd_height));
	for (long py = y0; py < y1; ++py)
		for (long px = x0; px < x1; ++px)
			draw(static_cast<int>(px), static_cast<int>(py), r, g, b);
}

}  // namespace

void graphics_reset()
{
	if (mapped())
		plat::munmap(gfx.fbp, gfx.fb_len);
	gfx = {};
}

int lcd_init()
{
	if (gfx.fbp == kMapFailed)
		return -1;
	if (gfx.fbfd != 0)
		return 0;
	// Kept in a local: a failed open must not leave fbfd looking initialised.
	int fd = -1;
	if (hal::get_lcd_fd(&fd) != 0) {
		DBG("Error: cannot open framebuffer device.\n");
		return -1;
	}
	gfx.fbfd = fd;
	int w = 0, h = 0, bpp = 0;
	hal::get_lcd_size(&w, &h);
	hal::get_lcd_bpp(&bpp);
	gfx.lcd_width = static_cast<uint32_t>(std::max(w, 0));
	gfx.lcd_height = static_cast<uint32_t>(std::max(h, 0));
	gfx.lcd_bpp = static_cast<uint32_t>(std::max(bpp, 0));
	DBG("LCD size: width= %d, height= %d, lcd_bpp= %d\n", gfx.lcd_width, gfx.lcd_height, gfx.lcd_bpp);
	gfx.fb_len = frame_bytes();
	void *p = plat::mmap(nullptr, gfx.fb_len, PROT_READ | PROT_WRITE, MAP_SHARED, gfx.fbfd, 0);
	gfx.fbp = static_cast<uint8_t *>(p);
	if (p == MAP_FAILED) {
		gfx.fb_len = 0;
		DBG("Error: failed to map framebuffer device to memory.\n");
		return -1;
	}
	return 0;
}

int lcd_uninit()
{
	if (gfx.fbfd == 0)
		return 0;
	// The length is the one mapped; the descriptor belongs to the device
	// registry, which keeps it for the life of the process.
	if (mapped())
		plat::munmap(gfx.fbp, gfx.fb_len);
	gfx.fbp = nullptr;
	gfx.fb_len = 0;
	gfx.fbfd = 0;
	return 0;
}

void lcd_clear()
{
	for (uint32_t y = 0; y < gfx.lcd_height; ++y)
		for (uint32_t x = 0; x < gfx.lcd_width; ++x)
			draw(static_cast<int>(x), static_cast<int>(y), 0, 0, 0);
}

void draw(int x, int y, int r, int g, int b)
{
	lcd_init();
	// Off the panel or outside the mapping nothing is written.
	if (!mapped() || x < 0 || y < 0 || static_cast<uint32_t>(x) >= gfx.lcd_width ||
	    static_cast<uint32_t>(y) >= gfx.lcd_height)
		return;
	size_t n = gfx.lcd_bpp / 8;
	size_t off = n * static_cast<size_t>(x) + n * gfx.lcd_width * static_cast<size_t>(y);
	uint32_t value;
	switch (gfx.lcd_bpp) {
	case 16:
		value = static_cast<uint32_t>((r & 31) << 11 | (g & 63) << 5 | (b & 31));
		n = 2;
		break;
	case 18:
		// Stored in 3 bytes at a step of 2: each pixel overlaps its right
		// neighbour, as the panel driver lays it out.
		value = static_cast<uint32_t>((r & 63) << 12 | (g & 63) << 6 | (b & 63));
		n = 3;
		break;
	case 24:
		value = static_cast<uint32_t>((r & 255) << 16 | (g & 255) << 8 | (b & 255));
		n = 3;
		break;
	default:
		return;
	}
	if (off + n > gfx.fb_len)
		return;
	for (size_t i = 0; i < n; ++i)
		gfx.fbp[off + i] = static_cast<uint8_t>(value >> (8 * i));
}

void show_font(int c, int x, int y, int r, int g, int b, int scale)
{
	if (c < 0 || c >= FONT_GLYPHS || scale < 1)
		return;
	for (int row = 0; row < FONT_ROWS; ++row) {
		uint32_t bits = fonts[static_cast<size_t>(c * FONT_ROWS + row)];
		for (int column = 0; column < 8; ++column)
			if (bits & (1u << (7 - column)))
				fill_block(static_cast<long>(x) + static_cast<long>(scale) * column,
				           static_cast<long>(y) + static_cast<long>(scale) * row, scale, r, g, b);
	}
}

int draw_str(int x, int y, int r, int g, int b, int scale, const char *format, ...)
{
	char text[DRAW_STR_BUFFER];
	va_list ap;
	va_start(ap, format);
	int n = std::vsnprintf(text, sizeof text, format, ap);
	va_end(ap);
	// Only what the buffer holds is drawn, however long the text was.
	n = std::clamp(n, 0, static_cast<int>(sizeof text) - 1);

	const long cell = 8L * scale;
	long cx = x, cy = y;
	int lines = 0;
	// The panel's sizes are unsigned, and so is each test against them: a
	// panel not yet set up (size 0) wraps round, a negative place is far out.
	const auto u32 = [](long v) { return static_cast<uint32_t>(v); };
	for (int i = 0; i < n; ++i) {
		unsigned char c = static_cast<unsigned char>(text[i]);
		if (c == '\n') {
			// At the bottom the last line is overprinted.
			if (gfx.lcd_height - u32(cell) - 10u > u32(cy)) {
				++lines;
				cy += cell + 2;
			}
			cx = 0;
		} else if (c <= 31) {
			cx += cell;
		} else {
			if (u32(cell) + u32(cx) + 10u > gfx.lcd_width) {
				cy += cell;
				++lines;
				cx = 0;
			}
			show_font(c, static_cast<int>(std::clamp(cx + 16, -65536L, 65536L)),
			          static_cast<int>(std::clamp(cy, -65536L, 65536L)), r, g, b, scale);
			cx += cell;
		}
	}
	return lines + 1;
}

void show_yuv(int, int, int, int) {}

}  // namespace ftm
