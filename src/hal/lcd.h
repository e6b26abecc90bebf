// The panel's test patterns and the call that makes drawing visible.
#pragma once

namespace hal {

enum lcd_pattern {
	LCD_WHITE = 0,
	LCD_BLACK = 1,
	LCD_TONE = 2,            // five horizontal bands
	LCD_HORIZONTAL_BAR = 3,  // no pattern: fails
	LCD_VERTICAL_BAR = 4,    // no pattern: fails
	LCD_RED = 5,
	LCD_GREEN = 6,
	LCD_BLUE = 7,
	LCD_RGB = 8,  // three vertical bars
	LCD_RESET = 9,
};

// Pans the framebuffer to itself, which shows what was drawn.
void msm_blit();
// Paints one pattern over the whole panel; 0, or 1 on failure.
int lcd_test(int pattern);

}  // namespace hal
