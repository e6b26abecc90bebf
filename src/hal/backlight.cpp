#include "hal/backlight.h"

#include <array>
#include <cstdio>
#include <strings.h>

#include "ftm/debug.h"
#include "ftm/graphics.h"
#include "ftm/handlers.h"
#include "ftm/tapp_param.h"
#include "hal/fqc_text.h"
#include "hal/hal.h"
#include "hal/led.h"
#include "platform/platform.h"

namespace hal {

int backlight_test(int on)
{
	int fd = -1;
	if (get_backlight_fd(&fd) != 0) {
		DBG("Open file faild\n");
		return 1;
	}
	int32_t level = on == 1 ? BACKLIGHT_LEVEL_ON : BACKLIGHT_LEVEL_OFF;
	if (plat::ioctl(fd, MAX7302_SET_LEVEL, &level) != 0) {
		DBG("max7302 lcd backlight error\n");
		return 1;
	}
	return 0;
}

int keypad_backlight_test(int on)
{
	int fd = -1;
	if (get_kbacklight_fd(&fd) != 0) {
		DBG("Open file faild\n");
		return 1;
	}
	if (on != 0 && on != 1)
		return 0;
	unsigned long request = on == 1 ? TCA6507_CHANNEL_ON : TCA6507_CHANNEL_OFF;
	for (tca6507_channel channel : KEYPAD_BL_CHANNELS) {
		if (plat::ioctl(fd, request, &channel) != 0) {
			DBG("max7302 keypad bl error\n");  // the chip is the tca6507; the text stands
			return 1;
		}
	}
	return 0;
}

void fqc_backlight_test()
{
	struct step {
		const char *text;
		int (*test)(int);
		int on;
	};
	static constexpr std::array<step, 4> steps = {{
		{"LCD BL OFF.\n", backlight_test, 0},
		{"KPD BL ON .\n", keypad_backlight_test, 1},
		{"LCD BL ON .\n", backlight_test, 1},
		{"KPD BL OFF.\n", keypad_backlight_test, 0},
	}};
	ftm::lcd_clear();
	for (size_t line = 0; line < steps.size(); ++line) {
		ftm::draw_str(FQC_TEXT_X, fqc_line_y(static_cast<int>(line)), FQC_TEXT_R, FQC_TEXT_G, FQC_TEXT_B,
		              FQC_TEXT_SCALE, "%s", steps[line].text);
		steps[line].test(steps[line].on);
		plat::sleep(1);
	}
}

}  // namespace hal

namespace ftm {

namespace {

// "=ON" or "=OFF"; anything else is reported and taken as on.
int parse_on_off(const char *params, const char *function, int line)
{
	if (strncasecmp(params, "=ON", 3) == 0)
		return 1;
	if (strncasecmp(params, "=OFF", 4) == 0)
		return 0;
	std::printf("[%s:%d]Unknow parameters\n", function, line);
	std::fflush(stdout);
	return 1;
}

// Framed on-or-off tests share their answers: 01 on, 00 off, 02 failed;
// an on-or-off byte other than 0 or 1 leaves the answer empty.
void tapp_switch_answer(tapp_record *r, int (*test)(int), int success_on, int success_off)
{
	r->result_len = 1;
	int on = tapp_param_byte(r, 1);
	if (on != 0 && on != 1)
		return;
	if (test(on) != 0)
		tapp_result_byte(r, 2);
	else
		tapp_result_byte(r, on == 1 ? success_on : success_off);
}

}  // namespace

int tapp_backlight_test(tapp_record *r)
{
	tapp_switch_answer(r, hal::backlight_test, 1, 0);
	return 0;
}

int at_backlight_test(tapp_record *r) { return hal::backlight_test(parse_on_off(r->params, __func__, __LINE__)); }

int tapp_keypad_backlight_test(tapp_record *r)
{
	tapp_switch_answer(r, hal::keypad_backlight_test, 1, 1);
	return 0;
}

int at_keypad_backlight_test(tapp_record *r)
{
	return hal::keypad_backlight_test(parse_on_off(r->params, __func__, __LINE__));
}

}  // namespace ftm
