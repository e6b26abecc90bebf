// The touch panel test: a grid of targets on the screen; a touch near a
// target colours its block, and in station mode is reported as text.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

namespace hal {

constexpr int TOUCH_MAX_BLOCKS = 16;

struct touch_block {
	int centre_x, centre_y;
	int left, top, right, bottom;
	int hit;
};

// The test's memory comes from the platform's heap, which the simulated
// board can refuse, so the out-of-memory answers can be seen.
struct platform_free {
	void operator()(void *p) const;
};

struct touch_env {
	uint32_t blocks_count;  // 16 with the virtual keys, else 9
	int sight_length;
	int sight_thickness;
	int x_max, x_min;
	int y_max, y_min;
	std::unique_ptr<touch_block[], platform_free> blocks;  // blocks_count of them
};

struct touch_env_free {
	void operator()(touch_env *e) const;
};

struct touch_globals {
	std::unique_ptr<touch_env, touch_env_free> env;  // empty when no test is set up
	int touch_width = 0, touch_height = 0;
	float x_scale = 0, y_scale = 0;
	bool has_color = false;
	std::array<std::array<int, 3>, TOUCH_MAX_BLOCKS> color{};
	// Kept between reads by touchpad_handler.
	int x = 0, y = 0, touch_state = 0, region = 0;
	// Kept between reads by fqc_touchpanel_test.
	int fqc_x = 0, fqc_y = 0, fqc_touch = 0;
};
extern touch_globals touch;

// Back to the state at start-up (for tests).
void touch_reset();

int enviroment_create();
void enviroment_destory();
void bull_eye(int x, int y, int tolerance);
int all_hit();

}  // namespace hal
