// The drawing layer: plain pixel writes into the mapped framebuffer and one
// 8-by-8 bitmap font. msm_blit (hal/lcd.h) makes what was drawn visible.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace ftm {

constexpr int FONT_GLYPHS = 128;
constexpr int FONT_ROWS = 8;
constexpr size_t DRAW_STR_BUFFER = 1024;

// Glyph c starts at word c * 8; one row a word, bit 7 the leftmost pixel.
extern const std::array<uint32_t, FONT_GLYPHS * FONT_ROWS> fonts;

struct graphics_globals {
	uint8_t *fbp = nullptr;  // kMapFailed marks a failed map
	size_t fb_len = 0;       // bytes mapped at fbp
	int fbfd = 0;            // 0: not initialised
	uint32_t lcd_width = 0;
	uint32_t lcd_height = 0;
	uint32_t lcd_bpp = 0;
};
extern graphics_globals gfx;

// Unmaps and forgets the framebuffer (for tests).
void graphics_reset();

int lcd_init();
int lcd_uninit();
void lcd_clear();
void draw(int x, int y, int r, int g, int b);
void show_font(int c, int x, int y, int r, int g, int b, int scale);
int draw_str(int x, int y, int r, int g, int b, int scale, const char *format, ...)
    __attribute__((format(printf, 7, 8)));
void show_yuv(int a, int b, int c, int d);

}  // namespace ftm
