// The lens records of the Bayer path: the roll-off table and the adaptive
// spatial filter, both from the sensor's converted tuning.
#include <algorithm>
#include <cstdio>

#include "camera/config/config.h"

namespace cam {

void vfe_preview_updaterollofftbl(config_ctrl_t *ctrl, const sensor_rolloff_t &table)
{
	auto &r = ctrl->vfeCtrl.vcmd->VFE_RollOffCfgCmd;
	r = VFE_DefaultRollOffCfgCmd;
	r.set(VFE_ROLLOFF_CX_AT, 0, 12, table.cx);
	r.set(VFE_ROLLOFF_CY_AT, 0, 12, table.cy);
	for (size_t i = 0; i < ROLLOFF_ROWS; ++i) {
		size_t row = VFE_ROLLOFF_ROWS_AT + i * VFE_ROLLOFF_ROW_BYTES;
		r.set(row, 0, 32, table.radius_sq[i]);
		for (size_t c = 0; c < 3; ++c) {
			size_t at = row + 4 + 4 * c;
			r.set(at, 0, ROLLOFF_SLOPE_BITS, vfe_field(table.slope[c][i], ROLLOFF_SLOPE_BITS));
			r.set(at + 2, 3, 13, table.gain[c][i]);
		}
	}
}

namespace {

// The strength of a sharpening that follows the client: its sharpness
// within the two outer limits, halved when the picture is scaled down by
// more than the third, as the scaler sharpens it already.
float asf_strength(const vfe_ctrl_t &v)
{
	float k = std::clamp(v.sharpness, v.asf_limits[1], v.asf_limits[0]);
	if (v.downscale_factor > 0.0f && v.downscale_factor * v.asf_limits[2] < 1.0f)
		k /= 2.0f;
	return k;
}

// The tuned matrix as it stands (mode 2) or its sharpening part scaled by
// the strength (mode 3), in the record.
void build_asf(config_ctrl_t *ctrl, const sensor_tuning_t &t)
{
	auto &r = ctrl->vfeCtrl.vcmd->VFE_AdaptiveFilterCfgCmd;
	r = VFE_DefaultAdaptiveFilterCfgCmd;
	std::array<int16_t, 9> m = ctrl->sensorCtrl.tuned.asf_3x3;
	if (t.asf_mode == 3) {
		float k = asf_strength(ctrl->vfeCtrl);
		std::array<float, 9> scaled{};
		for (size_t i = 0; i < 9; ++i)
			scaled[i] = (t.asf_3x3[i] - (i == 4 ? 1.0f : 0.0f)) * k + (i == 4 ? 1.0f : 0.0f);
		sensor_convert_asf_3x3_matrix(scaled, static_cast<uint32_t>(t.asf_q), &m);
	}
	r.set(VFE_ASF_MODE_AT, 0, 8, static_cast<uint32_t>(t.asf_mode));
	r.set(VFE_ASF_Q_AT, 0, 8, static_cast<uint32_t>(t.asf_q));
	r.set(VFE_ASF_THRESHOLD_AT, 0, 8, static_cast<uint32_t>(t.asf_threshold[0]));
	r.set(VFE_ASF_THRESHOLD_AT + 1, 0, 8, static_cast<uint32_t>(t.asf_threshold[1]));
	for (size_t i = 0; i < 9; ++i)
		r.set(VFE_ASF_COEF_AT + 2 * i, 0, 16, vfe_field(m[i], 16));
}

bool asf_on(const sensor_ctrl_t &s)
{
	return s.output_format == SENSOR_BAYER && s.tuning && (s.tuning->asf_mode == 2 || s.tuning->asf_mode == 3);
}

}  // namespace

bool vfe_preview_configadaptivefilter(config_ctrl_t *ctrl)
{
	const sensor_ctrl_t &s = ctrl->sensorCtrl;
	if (!s.tuning || s.tuning->asf_mode == 0)
		return false;
	if (!asf_on(s)) {
		std::fprintf(stderr, "ASF sharp mode disabled\n");
		return false;
	}
	build_asf(ctrl, *s.tuning);
	return vfe_util_send(ctrl->vfeCtrl.vcmd->VFE_AdaptiveFilterCfgCmd, VFE_QUEUE_CMD) != VFE_SEND_FAILED;
}

void vfe_util_sharpness_afilter(config_ctrl_t *ctrl)
{
	// Only a filter that follows sharpness and zoom changes with them.
	const sensor_ctrl_t &s = ctrl->sensorCtrl;
	if (!asf_on(s) || s.tuning->asf_mode != 3)
		return;
	build_asf(ctrl, *s.tuning);
	vfe_util_send(ctrl->vfeCtrl.vcmd->VFE_AdaptiveFilterCfgCmd, VFE_QUEUE_CMD);
}

}  // namespace cam
