#include "hal/touch.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>

#include "ftm/debug.h"
#include "ftm/ftm.h"
#include "ftm/graphics.h"
#include "ftm/handlers.h"
#include "hal/fqc.h"
#include "hal/fqc_tests.h"
#include "hal/input.h"
#include "hal/lcd.h"
#include "platform/platform.h"

namespace hal {

touch_globals touch;

namespace {

// EVIOCGABS(ABS_X) and (ABS_Y) of the phone's kernel: 20-byte records.
constexpr unsigned long kGetAbsX = 0x80144540;
constexpr unsigned long kGetAbsY = 0x80144541;
struct abs_info {
	int32_t value, minimum, maximum, fuzz, flat;
};
static_assert(sizeof(abs_info) == 20);

constexpr size_t kReportMax = 32;  // bytes of one touch report

int side() { return touch.env && touch.env->blocks_count == 16 ? 4 : 3; }

void fill(const touch_block &bl, const std::array<int, 3> &c)
{
	for (int y = bl.top; y <= bl.bottom; ++y)
		for (int x = bl.left; x <= bl.right; ++x)
			ftm::draw(x, y, c[0], c[1], c[2]);
}

void create_color_list()
{
	if (touch.has_color)
		return;
	std::array<long, 3> limit = {127, 127, 127};
	if (ftm::gfx.lcd_bpp == 16)
		limit = {31, 63, 31};
	else if (ftm::gfx.lcd_bpp == 18)
		limit = {63, 63, 63};
	for (uint32_t i = 0; i < touch.env->blocks_count; ++i)
		for (size_t ch = 0; ch < 3; ++ch)
			touch.color[i][ch] = static_cast<int>(ftm::rand() % limit[ch] + 1);
	touch.has_color = true;
}

void destory_color_list() { touch.has_color = false; }

void config_blocks()
{
	int s = side();
	int bw = static_cast<int>(ftm::gfx.lcd_width) / s, bh = static_cast<int>(ftm::gfx.lcd_height) / s;
	for (int row = 0; row < s; ++row)
		for (int column = 0; column < s; ++column) {
			touch_block &bl = touch.env->blocks[static_cast<size_t>(s * row + column)];
			bl.left = column * bw;
			bl.top = row * bh;
			bl.right = bl.left + bw - 1;
			bl.bottom = bl.top + bh - 1;
			bl.centre_x = bl.left + bw / 2 - 1;
			bl.centre_y = bl.top + bh / 2 - 1;
		}
}

void draw_sight()
{
	const touch_env &e = *touch.env;
	int half = e.sight_length / 2;
	for (uint32_t i = 0; i < e.blocks_count; ++i) {
		const touch_block &bl = e.blocks[i];
		for (int d = -half; d <= half; ++d)
			for (int t = 0; t < e.sight_thickness; ++t) {
				ftm::draw(bl.centre_x + t, bl.centre_y + d, 255, 255, 255);
				ftm::draw(bl.centre_x + d, bl.centre_y + t, 255, 255, 255);
			}
	}
}

bool read_range(unsigned long request, int *max, int *min)
{
	abs_info info{};
	if (plat::ioctl(ftm::loop.touch_fd, request, &info) != 0)
		return false;
	*max = info.maximum;
	*min = info.minimum;
	return true;
}

// "%TPN:(...)~\n" into the next slot, while slots last.
template <typename... Args>
void report(char (*slots)[ftm::SLOT_SIZE], int *used, const char *format, Args... args)
{
	if (*used >= static_cast<int>(ftm::INPUT_SLOTS))
		return;
	std::snprintf(slots[*used], kReportMax, format, args...);
	++*used;
}

// The region 1 to 9 of a point on a 3-by-3 division of the panel, or 0.
int region_of(long rx, long ry)
{
	long tw = touch.touch_width, th = touch.touch_height;
	if (rx < 0 || ry < 0 || rx >= tw || ry >= th)
		return 0;
	int column = rx < tw / 3 ? 0 : rx < tw * 2 / 3 ? 1 : 2;
	int row = ry < th / 3 ? 0 : ry < th * 2 / 3 ? 1 : 2;
	return static_cast<int>(row * 3 + column + 1);
}

// A virtual key below the panel: its place, in panel units, by layout.
bool virtual_key_place(uint16_t code, int *x, int *y, int *index)
{
	const touch_env &e = *touch.env;
	int tw = touch.touch_width, th = touch.touch_height;
	if (ftm::loop.virtual_key_flag == 1) {
		*y = th * 7 / 8 + e.y_min;
		switch (code) {
		case 229: *x = tw / 8 + e.x_min; *index = 0; return true;
		case 102:
		case 217: *x = tw * 3 / 8 + e.x_min; *index = 1; return true;
		case 192: *x = tw * 5 / 8 + e.x_min; *index = 2; return true;
		case 158: *x = tw * 7 / 8 + e.x_min; *index = 3; return true;
		default: return false;
		}
	}
	switch (code) {
	// The first key's x really adds the y minimum: the layout was made so.
	case 229: *x = tw / 6 + e.y_min; *y = th * 3 / 6 + e.y_min; *index = 0; return true;
	case 217: *x = tw * 3 / 6 + e.x_min; *y = th * 3 / 6 + e.y_min; *index = 1; return true;
	case 158: *x = tw * 5 / 6 + e.x_min; *y = th * 3 / 6 + e.y_min; *index = 3; return true;
	case 231: *x = tw / 6 + e.x_min; *y = th * 5 / 6 + e.y_min; *index = 5; return true;
	case 107: *x = tw * 5 / 6 + e.x_min; *y = th * 5 / 6 + e.y_min; *index = 6; return true;
	default: return false;
	}
}

void touch_synced(char (*slots)[ftm::SLOT_SIZE], int *used)
{
	if (touch.touch_state == 0)
		return;
	if (ftm::loop.cap_touch_flag) {
		int r = region_of(static_cast<long>(touch.x) - touch.env->x_min, static_cast<long>(touch.y) - touch.env->y_min);
		if (r != 0)
			touch.region = r;
		report(slots, used, "%%TPN:(%d)~\n", touch.region);
	} else {
		report(slots, used, "%%TPN:(%d,%d)~\n", touch.x, touch.y);
	}
	bull_eye(touch.x, touch.y, 100);
	msm_blit();
}

}  // namespace

void platform_free::operator()(void *p) const { plat::mem_free(p); }

void touch_env_free::operator()(touch_env *e) const
{
	e->~touch_env();
	plat::mem_free(e);
}

void touch_reset()
{
	touch = {};
}

int enviroment_create()
{
	if (touch.env)
		enviroment_destory();
	void *memory = plat::mem_alloc(sizeof(touch_env));
	if (!memory) {
		DBG("can not allocate memory for touchpanel enviroment\n");
		return 1;
	}
	touch.env.reset(new (memory) touch_env{});
	touch_env &e = *touch.env;
	if (!read_range(kGetAbsX, &e.x_max, &e.x_min)) {
		DBG("can not get touchpad ABS_X information\n");
		touch.env.reset();
		return 1;
	}
	if (!read_range(kGetAbsY, &e.y_max, &e.y_min)) {
		DBG("can not get touchpad ABS_Y information\n");
		touch.env.reset();
		return 1;
	}
	// The grid is laid out on the panel; it may not have been drawn on yet.
	ftm::lcd_init();
	e.blocks_count = ftm::loop.virtual_key_flag == 1 ? 16 : 9;
	e.sight_length = 9;
	e.sight_thickness = 1;
	// A driver that reports an empty range still gets a range of one.
	touch.touch_width = static_cast<int>(std::clamp(static_cast<long>(e.x_max) - e.x_min + 1, 1L, 1L << 24));
	touch.touch_height = static_cast<int>(std::clamp(static_cast<long>(e.y_max) - e.y_min + 1, 1L, 1L << 24));
	touch.x_scale = static_cast<float>(ftm::gfx.lcd_width) / static_cast<float>(touch.touch_width);
	touch.y_scale = static_cast<float>(ftm::gfx.lcd_height) / static_cast<float>(touch.touch_height);
	create_color_list();
	e.blocks.reset(static_cast<touch_block *>(plat::mem_alloc(e.blocks_count * sizeof(touch_block))));
	if (!e.blocks) {
		// Without its blocks the test cannot run: no grid, no environment.
		DBG("can not allocate memory for block information\n");
		touch.env.reset();
		return 1;
	}
	config_blocks();
	ftm::lcd_clear();
	draw_sight();
	msm_blit();
	return 0;
}

void enviroment_destory()
{
	if (!touch.env)
		return;
	touch.env.reset();
	destory_color_list();
	ftm::lcd_clear();
}

void bull_eye(int x, int y, int tolerance)
{
	if (!touch.env)
		return;
	touch_env &e = *touch.env;
	int s = side();
	int bw = static_cast<int>(ftm::gfx.lcd_width) / s, bh = static_cast<int>(ftm::gfx.lcd_height) / s;
	if (bw == 0 || bh == 0)
		return;
	float fx = static_cast<float>(static_cast<long>(x) - e.x_min) * touch.x_scale;
	float fy = static_cast<float>(static_cast<long>(y) - e.y_min) * touch.y_scale;
	// A point off the panel's range falls in no block.
	if (!(fx >= 0 && fy >= 0 && fx < 1e9f && fy < 1e9f))
		return;
	int column = static_cast<int>(fx) / bw, row = static_cast<int>(fy) / bh;
	if (column >= s || row >= s)
		return;
	size_t index = static_cast<size_t>(column + row * s);
	touch_block &bl = e.blocks[index];
	if (std::fabs(fx - static_cast<float>(bl.centre_x)) <= static_cast<float>(tolerance) &&
	    std::fabs(fy - static_cast<float>(bl.centre_y)) <= static_cast<float>(tolerance)) {
		bl.hit = 1;
		fill(bl, touch.color[index]);
	}
}

int all_hit()
{
	if (!touch.env)
		return 0;
	for (uint32_t i = 0; i < touch.env->blocks_count; ++i)
		if (!touch.env->blocks[i].hit)
			return 0;
	return 1;
}

int touchpad_handler(const uint8_t *events, int count, char (*slots)[ftm::SLOT_SIZE], int *used)
{
	*used = 0;
	if (!touch.env) {
		DBG("touch test has no environment\n");
		return 0;
	}
	for (int i = 0; i < count; ++i) {
		input_event16 ev = event_at(events, i);
		if (ev.type == EV_ABS_TYPE) {
			if (ev.code == ABS_X_CODE)
				touch.x = ev.value;
			else if (ev.code == ABS_Y_CODE)
				touch.y = ev.value;
		} else if (ev.type == EV_KEY_TYPE) {
			if (ev.code == BTN_TOUCH_CODE) {
				touch.touch_state = ev.value;
				continue;
			}
			int index = 0;
			if (ftm::loop.virtual_key_flag == 0 || !virtual_key_place(ev.code, &touch.x, &touch.y, &index))
				continue;
			report(slots, used, "%%TPN:(%d)~\n", index);
			bull_eye(touch.x, touch.y, 100);
			msm_blit();
		} else if (ev.type == EV_SYN_TYPE && ftm::loop.virtual_key_flag == 0) {
			touch_synced(slots, used);
		}
	}
	return 0;
}

void fqc_touchpanel_test(const unsigned char *events, int count)
{
	for (int i = 0; i < count; ++i) {
		input_event16 ev = event_at(events, i);
		if (ev.type == EV_ABS_TYPE) {
			if (ev.code == ABS_X_CODE)
				touch.fqc_x = ev.value;
			else if (ev.code == ABS_Y_CODE)
				touch.fqc_y = ev.value;
		} else if (ev.type == EV_KEY_TYPE && ev.code == BTN_TOUCH_CODE) {
			touch.fqc_touch = ev.value;
		} else if (ev.type == EV_SYN_TYPE) {
			// Ten times stricter than the station's test.
			if (touch.fqc_touch)
				bull_eye(touch.fqc_x, touch.fqc_y, 10);
			if (all_hit() == 1) {
				ftm::loop.ftm_test_mode = ftm::NORMAL_TEST_MODE;
				plat::sleep(1);
				enviroment_destory();
				show_fqc_menu();
			}
		}
	}
}

void fqc_touchpanel_switch()
{
	ftm::loop.ftm_test_mode = ftm::TOUCH_TEST_MODE;
	enviroment_create();
}

}  // namespace hal

namespace ftm {

int at_touch_test(tapp_record *record)
{
	auto is = [&](const char *option) { return std::strncmp(record->params, option, std::strlen(option)) == 0; };
	if (is("=1,1")) {
		loop.cap_touch_flag = 1;
		loop.virtual_key_flag = 0;
		hal::enviroment_create();
		loop.ftm_test_mode = TOUCH_TEST_MODE;
	} else if (is("=1,2")) {
		loop.cap_touch_flag = 0;
		loop.virtual_key_flag = 0;
		hal::enviroment_create();
		loop.ftm_test_mode = TOUCH_TEST_MODE;
	} else if (is("=1,3")) {
		loop.virtual_key_flag = 1;
		loop.ftm_test_mode = TOUCH_TEST_MODE;
		hal::enviroment_create();
	} else if (is("=1,4")) {
		loop.virtual_key_flag = 2;
		loop.ftm_test_mode = TOUCH_TEST_MODE;
		hal::enviroment_create();
	} else {
		if (is("=1,0"))
			hal::enviroment_destory();
		loop.ftm_test_mode = NORMAL_TEST_MODE;
		loop.cap_touch_flag = loop.virtual_key_flag = 0;
	}
	return 0;
}

}  // namespace ftm
