// What a simulated board shows an operator: its LEDs, lights, motor and
// battery, read from the var/ files its devices write and its board file.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <utility>

namespace station {

struct TouchRange {
	int x_min = 0, x_max = 0, y_min = 0, y_max = 0;
};

// The touch panel's axis ranges: touch.x_min ... touch.y_max of the board
// file, the panel's pixels where a key is absent (as the driver reports).
TouchRange board_touch_range(const std::string &board_dir);

// The touch coordinate of a panel pixel (x, y), scaled into the range.
std::pair<int, int> touch_point(const TouchRange &range, int width, int height, int x, int y);

// The state as JSON: screen, leds (7 channels, null until the daemon set
// one), backlight, vibrator, flashled (null until written), battery,
// power_key, touch.
nlohmann::json board_state(const std::string &board_dir);

}  // namespace station
