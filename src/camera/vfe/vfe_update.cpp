// Helpers that change a record of a running VFE and send it: statistics,
// white balance, gamma. The 3A code calls them on a Bayer sensor.
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "camera/config/config.h"

namespace cam {

bool vfe_util_updatestatssend(vfe_ctrl_t *vfe, uint32_t cmd_type)
{
	vfe_cmd_block_t &b = *vfe->vcmd;
	b.VFE_StatsWB_EXP_Work = b.VFE_StatsWB_EXP_CfgCmd;
	b.VFE_StatsWB_EXP_Work.set(4, 0, 1, cmd_type == VFE_STATS_ENABLE ? 1 : 0);
	int rc = vfe_util_send(b.VFE_StatsWB_EXP_Work, VFE_QUEUE_CMD, cmd_type);
	bool enable = cmd_type == VFE_STATS_ENABLE;
	if (rc == VFE_SENT)
		vfe->stats_state = enable ? 5 : 2;
	else if (rc == VFE_STORED)
		vfe->stats_state = enable ? 4 : 1;
	return true;
}

bool vfe_update_stats_config(vfe_ctrl_t *vfe, const vfe_stats_bounds_t &bounds)
{
	vfe_cmd_block_t &b = *vfe->vcmd;
	auto &u = b.VFE_StatsWB_EXP_UpdateCmd;
	u = VFE_DefaultStatsWB_EXP_UpdateCmd;
	u.set(4, 0, 1, b.VFE_StatsWB_EXP_CfgCmd.get(4, 1, 1));  // exposureRegions
	u.set(4, 1, 1, b.VFE_StatsWB_EXP_CfgCmd.get(4, 2, 1));  // exposureSubRegions
	vfe_put_stats_bounds(u, 0, bounds);
	std::fprintf(stderr, "vfeconfig_stats_update: Sending Update Stats:%d\n", 393);
	std::fprintf(stderr, "minY %u maxY %u slopes %u %u %u %u intercepts %u %u %u %u\n", bounds.min_y, bounds.max_y,
		     bounds.slope[0], bounds.slope[1], bounds.slope[2], bounds.slope[3], bounds.intercept[0],
		     bounds.intercept[1], bounds.intercept[2], bounds.intercept[3]);
	return vfe_util_send(u, VFE_QUEUE_CMD) != VFE_SEND_FAILED;
}

vfe_stats_bounds_t vfe_stats_bounds_of(const vfe_rec<20> &u)
{
	vfe_stats_bounds_t bounds{u.get(6, 0, 8), u.get(7, 0, 8), {}, {}};
	for (size_t i = 0; i < 4; ++i) {
		bounds.slope[i] = u.get(8 + i, 0, 8);
		bounds.intercept[i] = u.get(VFE_STATS_INTERCEPT_AT[i], 0, 12);
	}
	return bounds;
}

bool vfe_af_stop(vfe_ctrl_t *vfe)
{
	auto &af = vfe->vcmd->VFE_StatsAutofocusCfgCmd;
	af.set(4, 0, 1, 0);
	return vfe_util_send(af, VFE_QUEUE_CMD, VFE_STATS_AF) != VFE_SEND_FAILED;
}

namespace {

uint32_t gain_q7(float g)
{
	double v = static_cast<double>(g) * 128.0;  // converted as C does: truncated
	return v <= 0 ? 0 : v >= 0x1FF ? 0x1FF : static_cast<uint32_t>(v);  // 9 bits
}

}  // namespace

bool vfe_util_updatewb(vfe_ctrl_t *vfe, float red, float green, float blue, bool send)
{
	auto &wb = vfe->vcmd->VFE_WhiteBalanceCfgCmd;
	wb.set(4, 0, 9, gain_q7(green));
	wb.set(4, 9, 9, gain_q7(blue));
	wb.set(6, 2, 9, gain_q7(red));
	return !send || vfe_util_send(wb, VFE_QUEUE_CMD) != VFE_SEND_FAILED;
}

void vfe_util_updategamma(vfe_ctrl_t *vfe, const uint8_t *table)
{
	// Loaded with the next restart of the VFE; nothing is sent here.
	std::memcpy(vfe->vcmd->VFE_RGB_GammaCfgCmd.w.data() + 2, table, 1024);
	std::memcpy(vfe->vcmd->VFE_Y_GammaCfgCmd.w.data() + 2, table, 1024);
}

uint32_t vfe_util_get_input_pix_per_region(const config_ctrl_t *ctrl)
{
	const vfe_cmd_block_t &b = *ctrl->vfeCtrl.vcmd;
	// Bit 0 of the byte is the enable; the two region flags follow it, as
	// vfe_update_stats_config copies them.
	uint32_t regions = b.VFE_StatsWB_EXP_CfgCmd.get(4, 1, 1), sub = b.VFE_StatsWB_EXP_CfgCmd.get(4, 2, 1);
	uint32_t s = (regions ? 4 : 3) + (sub ? 2 : 3);
	uint32_t t = sub ? 2 : 3;
	const auto &r = b.VFE_ActiveRegionCfgCmd;
	uint32_t w = r.get(4, 0, 13) - r.get(6, 0, 13) + 1, h = r.get(8, 0, 13) - r.get(10, 0, 13) + 1;
	return ((w >> s) << t) * ((h >> s) << t);
}

}  // namespace cam
