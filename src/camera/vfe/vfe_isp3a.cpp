// The front end's side of 3A on a Bayer sensor: the statistics set-up of
// preview, the records that 3A's results change, and the updates 3A asks for.
#include <cstdio>
#include <cstring>

#include "camera/config/config.h"
#include "camera/sensor/sensor.h"

namespace cam {

namespace {

// A statistics buffer as the DSP sees it: a 32-bit address, as on the phone.
uint32_t buffer_word(const void *addr) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(addr)); }

// A white box of AWB as the statistics records take it.
vfe_stats_bounds_t bounds_of(const awb_box_t &box)
{
	vfe_stats_bounds_t bounds{box.y_min, box.y_max, {}, {}};
	for (size_t i = 0; i < 4; ++i) {
		bounds.slope[i] = box.slope[i];
		bounds.intercept[i] = vfe_field(box.intercept[i], 12);
	}
	return bounds;
}

}  // namespace

void vfe_util_copy_aec_awb_config(config_ctrl_t *ctrl)
{
	const sensor_tuning_t *t = ctrl->sensorCtrl.tuning;
	if (!t)
		return;
	// The white box of normal light is the sensor's limit until AWB picks one.
	vfe_put_stats_bounds(ctrl->vfeCtrl.vcmd->VFE_StatsWB_EXP_CfgCmd, VFE_STATS_BOUNDS_IN_CFG,
			     bounds_of(tuning_box(t->box_normal)));
}

void vfe_util_copy_af_config(config_ctrl_t *ctrl)
{
	// The sensor's preview window replaces the centre window of the default.
	const sensor_af_window_t &w = ctrl->sensorCtrl.af_window[0];
	if (w.last_x <= w.first_x || w.last_y <= w.first_y)
		return;
	auto &r = ctrl->vfeCtrl.vcmd->VFE_StatsAutofocusCfgCmd;
	r.set(10, 0, 12, w.first_x);
	r.set(8, 0, 12, w.first_y);
	r.set(14, 0, 11, w.last_x - w.first_x);
	r.set(12, 0, 11, w.last_y - w.first_y);
}

bool vfe_preview_aecawb_init(config_ctrl_t *ctrl)
{
	vfe_cmd_block_t &b = *ctrl->vfeCtrl.vcmd;
	b.VFE_StatsWB_EXP_CfgCmd = VFE_DefaultStatsWB_EXP_CfgCmd;
	vfe_util_copy_aec_awb_config(ctrl);
	b.VFE_StatsWB_EXP_AckCmd = VFE_DefaultStatsWB_EXP_AckCmd;
	// The region grid is the one 3A was started with.
	b.VFE_StatsWB_EXP_CfgCmd.set(4, 7, 1, ctrl->isp3aCtrl.num_regions == 256 ? 1 : 0);
	for (size_t i = 0; i < 3; ++i)
		b.VFE_StatsWB_EXP_CfgCmd.w[7 + i] = buffer_word(ctrl->isp3aCtrl.AecAwbBuf[i].addr);
	return vfe_util_updatestatssend(&ctrl->vfeCtrl, VFE_STATS_ENABLE);
}

bool vfe_preview_af_init(config_ctrl_t *ctrl)
{
	vfe_cmd_block_t &b = *ctrl->vfeCtrl.vcmd;
	auto &af = b.VFE_StatsAutofocusCfgCmd;
	af = VFE_DefaultStatsAutofocusCfgCmd;
	b.VFE_StatsAutofocusAckCmd = VFE_DefaultStatsAutofocusAckCmd;
	if (ctrl->sensorCtrl.tuning && !ctrl->sensorCtrl.tuning->af_is_supported)
		af.set(4, 0, 1, 0);
	const auto &fov = b.VFE_FOV_CropCfgCmd;
	uint32_t vh = (fov.get(8, 0, 12) - fov.get(10, 0, 12)) / 2, hw = (fov.get(4, 0, 12) - fov.get(6, 0, 12)) / 2;
	af.set(12, 0, 11, vh);
	af.set(14, 0, 11, hw);
	af.set(8, 0, 12, vh / 2);
	af.set(10, 0, 12, hw / 2);
	for (size_t i = 0; i < 3; ++i)
		af.w[11 + i] = buffer_word(ctrl->isp3aCtrl.AfBuf[i].addr);
	return vfe_util_send(af, VFE_QUEUE_CMD, VFE_STATS_AF) != VFE_SEND_FAILED;
}

bool vfe_util_af_start(config_ctrl_t *ctrl, uint32_t mode)
{
	vfe_cmd_block_t &b = *ctrl->vfeCtrl.vcmd;
	auto &af = b.VFE_StatsAutofocusCfgCmd;
	const auto &region = b.VFE_ActiveRegionCfgCmd;
	uint32_t vh = (region.get(8, 0, 13) - region.get(10, 0, 13)) / 2;
	uint32_t hw = (region.get(4, 0, 13) - region.get(6, 0, 13)) / 2;
	af.set(12, 0, 11, vh);
	af.set(14, 0, 11, hw);
	af.set(8, 0, 12, (vh & ~1u) / 2);
	af.set(10, 0, 12, (hw & ~1u) / 2);
	if (mode == 1) {
		af.set(11, 7, 1, 0);
	} else if (mode >= 2 && mode <= 4) {
		// Spot, centre-weighted and average grids: the tuning has none of its
		// own, so the default grid stands for all three.
		af.set(11, 7, 1, 1);
		std::memcpy(af.w.data() + 4, VFE_DefaultStatsAutofocusCfgCmd.w.data() + 4, 16);
	}
	af.set(4, 0, 1, 1);
	std::fprintf(stderr, "AF STATS: VFE_AFStatsStart\n");
	std::fprintf(stderr, "af_singglewinvh = %u, af_singlewinhw = %u, af_winmode = %u\n", vh, hw, af.get(11, 7, 1));
	return vfe_util_send(af, VFE_QUEUE_CMD, VFE_STATS_AF) != VFE_SEND_FAILED;
}

bool vfe_util_updateblacklevel(vfe_ctrl_t *vfe, uint32_t a, uint32_t b, bool send)
{
	auto &r = vfe->vcmd->VFE_BlackLevelCfgCmd;
	r.set(4, 0, 9, a);
	r.set(6, 0, 9, b);
	return !send || vfe_util_send(r, VFE_QUEUE_CMD) != VFE_SEND_FAILED;
}

bool vfe_util_updatecorrincolorproc(config_ctrl_t *ctrl, const colour_correction_t &m, bool send)
{
	vfe_cmd_block_t &b = *ctrl->vfeCtrl.vcmd;
	auto &r = (ctrl->effectsCtrl.alt_color & 0xFF) == 1 ? b.VFE_ColorProcessingCfgCmd2 : b.VFE_ColorProcessingCfgCmd;
	colour_put_correction(r, m);
	if (send && vfe_util_send(r, VFE_QUEUE_CMD) == VFE_SEND_FAILED) {
		std::fprintf(stderr, "CorrectionInColorProcessing vfe_util_sendcmd Failed \n");
		return false;
	}
	return true;
}

bool vfe_util_updateconversincolorprcess(config_ctrl_t *ctrl, const colour_conversion_t &m)
{
	auto &r = ctrl->vfeCtrl.vcmd->VFE_ColorProcessingCfgCmd;
	colour_put_conversion(r, m);
	ctrl->isp3aCtrl.update_record.conversion = m;
	return vfe_util_send(r, VFE_QUEUE_CMD) != VFE_SEND_FAILED;
}

bool vfe_stats_update(int kind, config_ctrl_t *ctrl)
{
	vfe_ctrl_t &v = ctrl->vfeCtrl;
	isp3a_update_t &u = ctrl->isp3aCtrl.update_record;
	bool ok = true;
	switch (kind) {
	case 1:
		std::fprintf(stderr, "Inside ISP3A_UPDATE_AWB\n");
		if (u.bounding_box_update) {
			ok = vfe_update_stats_config(&v, bounds_of(u.box)) && ok;
			u.bounding_box_update = 0;  // taken: the next frame sets it again if it changes
		}
		std::fprintf(stderr, "wb.redGain = %f, wb.greenGain = %f, wb.blueGain = %f\n", u.r_gain, u.g_gain, u.b_gain);
		if (u.wb_update) {
			ok = vfe_util_updatewb(&v, u.r_gain, u.g_gain, u.b_gain, u.wb_applied != 0) && ok;
			u.wb_update = 0;
		}
		return ok;
	case 0:
		// 3A here computes no black level and no sharpness change, so of the
		// four updates only colour correction and gamma can be due.
		if (u.color_correction_update) {
			if (ctrl->effectsCtrl.special_effect.current_value == 1)  // 1: no effect holds the record
				ok = vfe_util_updatecorrincolorproc(ctrl, u.color_correction, u.color_correction_applied != 0) && ok;
			u.color_correction_update = 0;
		}
		if (u.gamma_update) {
			vfe_util_updategamma(&v, u.gamma.data());
			u.gamma_update = 0;
		}
		return ok;
	case 2: return true;
	default: return false;
	}
}

}  // namespace cam
