// The ov5642af YCbCr sensor.
#include <cstdio>

#include "camera/msm_camera.h"
#include "camera/sensor/ycbcr_driver.h"
#include "platform/platform.h"

namespace cam {

namespace {

constexpr ycbcr_driver_desc desc = {"ov5642af", 1280, 960, 2592, 1944, 4, 61, 154};

bool set_autofocus(sensor_ctrl_t *s, int32_t value)
{
	std::fprintf(stderr, "Entered ov5642af_set_autofocus, ctrl->sfd = %d, op_mode = %d\n", s->sfd,
		     static_cast<int>(s->op_mode));
	if (s->sfd <= 0 || (s->op_mode != SENSOR_OP_MODE_SNAPSHOT && s->op_mode != SENSOR_OP_MODE_PREVIEW))
		return false;
	std::fprintf(stderr, "Setting autofocus to %d\n", static_cast<int>(value));
	int32_t mode = s->op_mode == SENSOR_OP_MODE_SNAPSHOT ? 1 : 0;
	if (sensor_config(s, CFG_SET_AUTOFOCUS, mode, value) != 0)
		return false;
	plat::usleep(700000);
	return true;
}

}  // namespace

bool ov5642af_set_lens_shading_correction(sensor_ctrl_t *, uint8_t) { return ycbcr_set_lens_shading_correction(); }

bool ov5642af_process_start(sensor_ctrl_t *sensor)
{
	sensor_ops_t ops = ycbcr_ops<desc>(ov5642af_set_lens_shading_correction);
	ops.set_autofocus = set_autofocus;
	return ycbcr_process_start(sensor, desc, ops);
}

}  // namespace cam
