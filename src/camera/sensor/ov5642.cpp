// The ov5642 YCbCr sensor.
#include "camera/sensor/ycbcr_driver.h"

namespace cam {

namespace {

constexpr ycbcr_driver_desc desc = {"ov5642", 1280, 960, 2592, 1944, 6, 68, 162};

}  // namespace

bool ov5642_set_lens_shading_correction(sensor_ctrl_t *, uint8_t) { return ycbcr_set_lens_shading_correction(); }

bool ov5642_process_start(sensor_ctrl_t *sensor)
{
	return ycbcr_process_start(sensor, desc, ycbcr_ops<desc>(ov5642_set_lens_shading_correction));
}

}  // namespace cam
