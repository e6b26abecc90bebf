// The ov3642 YCbCr sensor.
#include <cstdio>

#include "camera/sensor/ycbcr_driver.h"

namespace cam {

namespace {

constexpr ycbcr_driver_desc desc = {"ov3642", 1024, 768, 2048, 1536, 4, 62, 155};

bool video_config(sensor_ctrl_t *s) { return ycbcr_video_config(s, desc); }
bool snapshot_config(sensor_ctrl_t *s) { return ycbcr_snapshot_config(s, desc); }
bool set_effect(sensor_ctrl_t *s, uint8_t) { return ycbcr_set_effect(s, desc); }

sensor_ops_t ov3642_register()
{
	sensor_ops_t ops{};
	ops.video_config = video_config;
	ops.raw_snapshot_config = ycbcr_nothing_to_do;
	ops.snapshot_config = snapshot_config;
	ops.power_down = ycbcr_nothing_to_do;
	ops.set_frame_rate = ycbcr_set_frame_rate;
	ops.set_effect = set_effect;
	ops.set_antibanding = ycbcr_set_antibanding;
	ops.set_lens_shading_correction = ov3642_set_lens_shading_correction;
	return ops;
}

}  // namespace

bool ov3642_set_lens_shading_correction(sensor_ctrl_t *, uint8_t) { return ycbcr_set_lens_shading_correction(); }

bool ov3642_process_start(sensor_ctrl_t *sensor) { return ycbcr_process_start(sensor, desc, ov3642_register()); }

}  // namespace cam
