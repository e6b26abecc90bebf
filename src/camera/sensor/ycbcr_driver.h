// What the three YCbCr sensor drivers share: the sensor does the image
// processing itself, and the drivers differ only in sizes, CAMIF format,
// trace lines and focus.
#pragma once

#include <cstdint>

#include "camera/msm_camera.h"
#include "camera/sensor/sensor.h"

namespace cam {

struct ycbcr_driver_desc {
	const char *name;
	uint16_t qtr_width, qtr_height;
	uint16_t full_width, full_height;
	uint32_t preview_camif_format;
	int video_fail_line, snapshot_fail_line;  // the numbers the failure trace carries
};

bool ycbcr_process_start(sensor_ctrl_t *sensor, const ycbcr_driver_desc &desc, const sensor_ops_t &ops);
bool ycbcr_video_config(sensor_ctrl_t *sensor, const ycbcr_driver_desc &desc);
bool ycbcr_snapshot_config(sensor_ctrl_t *sensor, const ycbcr_driver_desc &desc);
bool ycbcr_set_effect(sensor_ctrl_t *sensor, const ycbcr_driver_desc &desc);
bool ycbcr_set_lens_shading_correction();
bool ycbcr_nothing_to_do(sensor_ctrl_t *sensor);
bool ycbcr_set_frame_rate(sensor_ctrl_t *sensor, uint16_t fps_q8);
bool ycbcr_set_antibanding(uint8_t value);

// The operation table every YCbCr driver fills the same way; D is the
// driver's own record. A driver adds what only it has (focus).
template <const ycbcr_driver_desc &D>
sensor_ops_t ycbcr_ops(bool (*set_lens_shading_correction)(sensor_ctrl_t *, uint8_t))
{
	sensor_ops_t ops{};
	ops.video_config = [](sensor_ctrl_t *s) { return ycbcr_video_config(s, D); };
	ops.raw_snapshot_config = ycbcr_nothing_to_do;
	ops.snapshot_config = [](sensor_ctrl_t *s) { return ycbcr_snapshot_config(s, D); };
	ops.power_down = ycbcr_nothing_to_do;
	ops.set_frame_rate = ycbcr_set_frame_rate;
	ops.set_effect = [](sensor_ctrl_t *s, uint8_t) { return ycbcr_set_effect(s, D); };
	ops.set_antibanding = ycbcr_set_antibanding;
	ops.set_lens_shading_correction = set_lens_shading_correction;
	return ops;
}

}  // namespace cam
