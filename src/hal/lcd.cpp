#include "hal/lcd.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <linux/fb.h>
#include <string_view>

#include "ftm/debug.h"
#include "ftm/graphics.h"
#include "ftm/handlers.h"
#include "ftm/tapp_param.h"
#include "hal/fqc_tests.h"
#include "hal/hal.h"
#include "hal/utils.h"
#include "platform/platform.h"

namespace hal {

namespace {

struct rgb {
	int r, g, b;
};
constexpr rgb kRed{255, 0, 0}, kGreen{0, 255, 0}, kBlue{0, 0, 255};
constexpr rgb kBlack{0, 0, 0}, kWhite{255, 255, 255};

// The colour of pixel (x, y) in a pattern; false for patterns not defined.
bool pattern_colour(int pattern, int x, int y, int width, int height, rgb *out)
{
	switch (pattern) {
	case LCD_WHITE: *out = kWhite; return true;
	case LCD_BLACK:
	case LCD_RESET: *out = kBlack; return true;
	case LCD_RED: *out = kRed; return true;
	case LCD_GREEN: *out = kGreen; return true;
	case LCD_BLUE: *out = kBlue; return true;
	case LCD_TONE: {
		int band = height / 5;
		*out = y < band ? kRed : y < 2 * band ? kGreen : y < 3 * band ? kBlue : y < 4 * band ? kBlack : kWhite;
		return true;
	}
	case LCD_RGB: {
		int bar = width / 3;
		*out = x < bar ? kRed : x < 2 * bar ? kGreen : kBlue;
		return true;
	}
	default: return false;
	}
}

struct at_option {
	std::string_view text;
	int pattern;
};
// Searched in this order: "=R" is a prefix of "=RESET" and "=RGB", "=B" of "=BB".
constexpr std::array<at_option, 10> kAtOptions = {{
	{"=W", LCD_WHITE},
	{"=BB", LCD_BLACK},
	{"=HB", LCD_HORIZONTAL_BAR},
	{"=VB", LCD_VERTICAL_BAR},
	{"=RESET", LCD_RESET},
	{"=RGB", LCD_RGB},
	{"=R", LCD_RED},
	{"=G", LCD_GREEN},
	{"=B", LCD_BLUE},
	{"=T", LCD_TONE},
}};

constexpr char kUsage[] =
    "Usage = AT+LCD=<option> \n \t\t\t\tW  = white\n\t\t\t\tBB = black\n\t\t\t\tT  = tone\n"
    "\t\t\t\tHB = horizontal bar\n\t\t\t\tVB = vertical bar\n\t\t\t\tR  = red\n\t\t\t\tG  = green\n"
    "\t\t\t\tB  = blue\n\t\t\t\tRGB= RGB\n\t\t\t\tRESET = reset";

}  // namespace

void msm_blit()
{
	int fd = -1;
	if (get_lcd_fd(&fd) != 0) {
		DBG("Error: cannot open framebuffer device.\n");
		return;
	}
	fb_var_screeninfo info{};
	if (plat::ioctl(fd, FBIOGET_VSCREENINFO, &info) != 0)
		DBG("Error reading variable information.\n");
	if (plat::ioctl(fd, FBIOPAN_DISPLAY, &info) != 0)
		DBG("FBIOPAN_DISPLAY failed! line=%d\n", __LINE__);
}

int lcd_test(int pattern)
{
	if (ftm::lcd_init() != 0)
		return 1;
	int width = 0, height = 0, bpp = 0;
	get_lcd_size(&width, &height);
	get_lcd_bpp(&bpp);
	rgb c{};
	if (!pattern_colour(pattern, 0, 0, width, height, &c))
		return 1;
	for (int y = 0; y < height; ++y)
		for (int x = 0; x < width; ++x) {
			pattern_colour(pattern, x, y, width, height, &c);
			ftm::draw(x, y, c.r, c.g, c.b);
		}
	msm_blit();
	return 0;
}

void fqc_lcd_test()
{
	for (int pattern : {LCD_RED, LCD_GREEN, LCD_BLUE}) {
		lcd_test(pattern);
		plat::sleep(2);
	}
	lcd_test(LCD_BLACK);
	plat::sleep(2);
	lcd_test(LCD_WHITE);
	plat::sleep(2);
	lcd_test(LCD_RGB);
	plat::sleep(2);
	lcd_test(LCD_TONE);
}

}  // namespace hal

namespace ftm {

int at_lcd_test(tapp_record *record)
{
	int pattern = hal::LCD_RESET;
	bool known = false;
	for (const hal::at_option &o : hal::kAtOptions)
		if (std::strncmp(record->params, o.text.data(), o.text.size()) == 0) {
			pattern = o.pattern;
			known = true;
			break;
		}
	if (!known && std::strncmp(record->params, "=HELP", 5) == 0) {
		std::printf("%s", hal::kUsage);
		std::fflush(stdout);
		return 0;
	}
	if (!known) {
		std::printf("Unsupported parameter");
		std::fflush(stdout);
	}
	return hal::lcd_test(pattern);
}

int tapp_lcd_test(tapp_record *record)
{
	const char *cursor = record->params;
	uint8_t bytes[2] = {};
	tapp_param_take(record, &cursor, &bytes[0], 1);
	tapp_param_take(record, &cursor, &bytes[1], 1);  // read, not used
	int r = hal::lcd_test(bytes[0]);
	std::snprintf(record->result, sizeof record->result, "%s", r != 0 ? "00" : "01");
	record->result_len = 1;
	return r;
}

}  // namespace ftm
