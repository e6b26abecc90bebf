// The ov3642 YCbCr sensor.
#include "camera/sensor/ycbcr_driver.h"

namespace cam {

namespace {

constexpr ycbcr_driver_desc desc = {"ov3642", 1024, 768, 2048, 1536, 4, 62, 155};

}  // namespace

bool ov3642_set_lens_shading_correction(sensor_ctrl_t *, uint8_t) { return ycbcr_set_lens_shading_correction(); }

bool ov3642_process_start(sensor_ctrl_t *sensor)
{
	return ycbcr_process_start(sensor, desc, ycbcr_ops<desc>(ov3642_set_lens_shading_correction));
}

}  // namespace cam
