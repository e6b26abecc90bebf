// The simulated 5 MP raw Bayer sensor with a voice-coil lens: the one sensor
// of the table on which exposure, focus and white balance run in 3A.
#pragma once

#include <cstdint>

#include "camera/sensor/tuning.h"

namespace cam {

struct sensor_ctrl_t;

constexpr const char *BAYERSIM_TUNING_PATH = "/system/etc/bayersim.tuning";

// Sensor configuration types of the raw sensor's kernel driver.
enum : int32_t {
	CFG_SET_DEFAULT_FOCUS = 6,
	CFG_MOVE_FOCUS = 7,        // mode: direction, value: steps
	CFG_SET_FPS = 10,
	CFG_SET_EXP_GAIN = 18,     // mode: gain (Q8), value: line count
	CFG_SET_LENS_SHADING = 20,
	CFG_SET_ISO = 22,          // mode: ISO operation 0 to 7, value
};

bool bayersim_process_start(sensor_ctrl_t *sensor);
// The driver's start with a tuning record already in hand (tests, tools).
bool bayersim_start_with(sensor_ctrl_t *sensor, const sensor_tuning_t *tuning);

}  // namespace cam
