// The 3A control that the camera control calls on a Bayer sensor.
#pragma once

#include <cstdint>

namespace cam {

struct config_ctrl_t;

// The statistics buffers and 3A working data; the 3A code owns the contents.
struct isp3a_ctrl_t {
	float wb_gain[3];  // red, green, blue, from the sensor's defaults
	uint32_t awb_color_conversion_state;
	uint32_t iso;
	uint32_t focus_mode;
};

enum : int32_t {
	ISP3A_MISC_EXPOSURE_MODE = 1,
	ISP3A_MISC_ISO = 2,
	ISP3A_MISC_ANTIBANDING = 3,
	ISP3A_MISC_BRIGHTNESS = 4,
	ISP3A_MISC_EXPOSURE_COMPENSATION = 5,
	ISP3A_MISC_STOP_PREVIEW = 9,
};

struct isp3a_misc_t {
	int32_t type;
	int32_t value[2];
};

bool isp3a_init_ctrl(config_ctrl_t *ctrl);
// Safe to call without isp3a_init_ctrl.
void isp3a_free_ctrl(config_ctrl_t *ctrl);
bool isp3a_miscs_execution(config_ctrl_t *ctrl, const isp3a_misc_t *misc);
bool isp3a_set_wb(config_ctrl_t *ctrl, int32_t value);
void isp3a_set_awb_state_color_conversion_state(config_ctrl_t *ctrl, uint32_t state);
bool af_process_start_focus(config_ctrl_t *ctrl);
int32_t af_read_sharpness();

}  // namespace cam
