// The one path by which commands leave for the DSP, with the update
// protocol's send-or-store; and the helpers that change a record and send it.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "camera/config/config.h"
#include "camera/vfe/vfe_tables.h"
#include "platform/platform.h"

namespace cam {

int vfe_util_sendcmd(uint32_t cmd_type, void *record, uint16_t length, uint16_t queue)
{
	vfe_ctrl_t &vfe = cfgctrl.vfeCtrl;
	uint32_t number = 0;
	if (record && length >= 4)
		std::memcpy(&number, record, sizeof number);
	std::fprintf(stderr, "vfe_util_sendcmd: command is %d\n", static_cast<int>(number));

	if (queue == VFE_QUEUE_CMD && (number == VFE_CMD_RESET || number == VFE_CMD_STOP)) {
		vfe.stats_state = 0;
		vfe.InVfeUpdate = 0;
		vfe.VfeUpdate = 0;
		std::fprintf(stderr, "vfe_util_sendcmd: VfeUpdate is FALSE %d\n", 2572);
	} else if (queue == VFE_QUEUE_CMD && (number == VFE_CMD_STATS_AF_ACK || number == VFE_CMD_STATS_WB_EXP_ACK)) {
		vfe.VfeUpdate = 0;
		std::fprintf(stderr, "vfe_util_sendcmd: VfeUpdate is FALSE %d\n", 2572);
	} else {
		vfe.VfeUpdate = 1;
		std::fprintf(stderr, "vfe_util_sendcmd: VfeUpdate is TRUE %d\n", queue == VFE_QUEUE_CMD ? 2577 : 2585);
	}

	if (vfe.InVfeUpdate && vfe.VfeUpdate == 1) {
		if (vfe.stored_count >= vfe.stored.size())
			return VFE_SEND_FAILED;  // bounded: a DSP that never acknowledges cannot eat memory
		vfe.stored[vfe.stored_count++] = {cmd_type, queue, length, record};
		vfe.VfeUpdate = 0;
		std::fprintf(stderr, "vfe_util_sendcmd stored: type = %d, Cmd = %d, Queue = %d, length = %d\n",
			     static_cast<int>(cmd_type), static_cast<int>(number), queue, length);
		return VFE_STORED;
	}

	vfe_command_t command{queue, length, record};
	vfe_cfg_cmd_t cfg{cmd_type, 8, 0, &command};
	if (plat::ioctl(cfgctrl.camfd, MSM_CAM_IOCTL_VFE_COMMAND, &cfg) < 0)
		return VFE_SEND_FAILED;
	if (queue == VFE_QUEUE_CMD && (number == VFE_CMD_UPDATE || number == VFE_CMD_SYNC_TIMER)) {
		vfe.InVfeUpdate = 1;
		vfe.VfeUpdate = 0;
	}
	std::fprintf(stderr, "vfe_util_sendcmd: type = %d, Cmd = %d, Queue = %d, length = %d\n",
		     static_cast<int>(cmd_type), static_cast<int>(number), queue, length);
	return VFE_SENT;
}

namespace {

// What a Bayer sensor's tuning and limits give the records at start.
void init_from_sensor(vfe_cmd_block_t &b, const sensor_ctrl_t &s)
{
	const sensor_tuning_t *t = s.tuning;
	for (auto *r : {&b.VFE_ColorProcessingCfgCmd, &b.VFE_ColorProcessingCfgCmd2}) {
		colour_put_correction(*r, sensor_color_correction_words(s.tuned.cc_normal));
		colour_put_conversion(*r, s.tuned.cc_default);
	}
	std::memcpy(b.VFE_RGB_GammaCfgCmd.w.data() + 2, t->gamma.data(), GAMMA_ENTRIES);
	std::memcpy(b.VFE_Y_GammaCfgCmd.w.data() + 2, t->gamma.data(), GAMMA_ENTRIES);
	for (auto *r : {&b.VFE_BlackLevelCfgCmd, &b.VFE_BlackLevelCfgCmdCopy}) {
		r->set(4, 0, 9, static_cast<uint32_t>(t->black_level[0]));
		r->set(6, 0, 9, static_cast<uint32_t>(t->black_level[1]));
	}
	// The sensor gives one range; Y, Cb and Cr all take it.
	for (size_t c = 0; c < 3; ++c) {
		b.VFE_OutputClampCfgCmd.set(4 + c, 0, 8, s.ycbcr_max);
		b.VFE_OutputClampCfgCmd.set(8 + c, 0, 8, s.ycbcr_min);
	}
}

}  // namespace

void vfe_util_init(vfe_ctrl_t *vfe, const sensor_ctrl_t *sensor)
{
	vfe_cmd_block_t &b = *vfe->vcmd;
	b.VFE_DemosaicCfgCmd = VFE_DefaultDemosaicCfgCmd;
	b.VFE_CAMIFCfgCmd = VFE_DefaultCAMIFCfgCmd;
	b.VFE_InputFormatCfgCmd = VFE_DefaultInputFormatCfgCmd;
	b.VFE_ActiveRegionCfgCmd = VFE_DefaultActiveRegionCfgCmd;
	b.VFE_FOV_CropCfgCmd = VFE_DefaultFOV_CropCfgCmd;
	b.VFE_ScaleOutput1CfgCmd = VFE_DefaultScaleOutput1CfgCmd;
	b.VFE_ScaleOutput2CfgCmd = VFE_DefaultScaleOutput2CfgCmd;
	b.VFE_OutputClampCfgCmd = VFE_DefaultOutputClampCfgCmd;
	b.VFE_ColorProcessingCfgCmd = VFE_DefaultColorProcessingCfgCmd;
	b.VFE_ColorProcessingCfgCmd2 = VFE_DefaultColorProcessingCfgCmd;
	b.VFE_FrameSkipCfgCmd = VFE_DefaultFrameSkipCfgCmd;
	b.VFE_ChromaSubsampleCfgCmd = VFE_DefaultChromaSubsampleCfgCmd;
	b.VFE_WhiteBalanceCfgCmd = VFE_DefaultWhiteBalanceCfgCmd;
	b.VFE_AXIInputCfgCmd = VFE_DefaultAXIInputCfgCmd;
	b.VFE_AXIOutputCfgCmd = VFE_DefaultAXIOutputCfgCmd;
	b.VFE_BlackLevelCfgCmd = b.VFE_BlackLevelCfgCmdCopy = VFE_DefaultBlackLevelCfgCmd;
	b.VFE_AdaptiveFilterCfgCmd = VFE_DefaultAdaptiveFilterCfgCmd;
	b.VFE_RollOffCfgCmd = VFE_DefaultRollOffCfgCmd;
	b.VFE_StatsAutofocusAckCmd = VFE_DefaultStatsAutofocusAckCmd;
	b.VFE_StatsWB_EXP_AckCmd = VFE_DefaultStatsWB_EXP_AckCmd;
	b.VFE_UpdateCmd = VFE_DefaultUpdateCmd;
	b.VFE_StartCmd = b.VFE_StartCmdSpare = VFE_DefaultStartCmd;
	b.VFE_StatsWB_EXP_CfgCmd = b.VFE_StatsWB_EXP_Work = VFE_DefaultStatsWB_EXP_CfgCmd;
	b.VFE_StatsWB_EXP_UpdateCmd = VFE_DefaultStatsWB_EXP_UpdateCmd;
	b.VFE_StatsAutofocusCfgCmd = VFE_DefaultStatsAutofocusCfgCmd;
	b.VFE_RGB_GammaCfgCmd = VFE_DefaultRGB_GammaCfgCmd;
	b.VFE_Y_GammaCfgCmd = VFE_DefaultY_GammaCfgCmd;
	b.VFE_ResetCmd = VFE_DefaultResetCmd;
	b.VFE_StopCmd = VFE_DefaultStopCmd;
	if (sensor && sensor->output_format == SENSOR_BAYER && sensor->tuning)
		init_from_sensor(b, *sensor);
}

bool vfe_util_get_sensor_info(uint32_t mode, config_ctrl_t *ctrl)
{
	ctrl->sensorCtrl.op_mode = mode;
	if (sensor_get_info(mode, ctrl) == 0)
		return false;
	vfe_util_copy_sensor(ctrl);
	return true;
}

void vfe_util_copy_sensor(config_ctrl_t *ctrl)
{
	vfe_ctrl_t &v = ctrl->vfeCtrl;
	const sensor_ctrl_t &s = ctrl->sensorCtrl;
	const cam_ctrl_dimension_t &d = ctrl->dimension;
	uint32_t cw = s.current_width, ch = s.current_height;
	bool ycbcr = s.output_format == SENSOR_YCBCR;
	switch (v.vfeMode) {
	case VFE_MODE_PREVIEW:
	case VFE_MODE_PREVIEW_ALT: {
		if (d.display_width && cw / d.display_width > 15)
			cw /= 2;
		if (d.display_height && ch / d.display_height > 15)
			ch /= 2;
		uint32_t ww = ycbcr ? cw - 1 : cw - 7, wh = ycbcr ? ch - 1 : ch - 3;
		v.output1_width = std::min<uint32_t>(d.display_width, ww) & ~15u;
		v.output1_height = std::min<uint32_t>(d.display_height, wh) & ~15u;
		v.output2_width = d.display_width;
		v.output2_height = d.display_height;
		break;
	}
	case VFE_MODE_SNAPSHOT: {
		uint32_t ww = ycbcr ? cw - 1 : cw - 7, wh = ycbcr ? ch - 1 : ch - 3;
		v.output1_width = std::min<uint32_t>(d.thumbnail_width, ww) & ~15u;
		v.output1_height = std::min<uint32_t>(d.thumbnail_height, wh) & ~15u;
		v.output2_width = std::min<uint32_t>((d.orig_picture_dx + 15u) & ~15u, ww) & ~15u;
		v.output2_height = std::min<uint32_t>((d.orig_picture_dy + 15u) & ~15u, wh) & ~15u;
		break;
	}
	case VFE_MODE_RAW_SNAPSHOT:
		v.output2_width = cw;
		v.output2_height = ch;
		break;
	default:
		break;
	}
}

void vfe_util_af_stop(uint32_t) {}

bool vfe_util_get_input_numReg(const config_ctrl_t *ctrl)
{
	return ctrl->vfeCtrl.vcmd && ctrl->vfeCtrl.vcmd->VFE_StatsWB_EXP_CfgCmd.get(4, 7, 1) != 0;
}

void vfe_util_update_fovcrop(uint32_t first_pixel, uint32_t last_pixel, uint32_t first_line, uint32_t last_line)
{
	auto &r = vfe_cmd_block.VFE_FOV_CropCfgCmd;
	r.set(4, 0, 12, last_pixel);
	r.set(6, 0, 12, first_pixel);
	r.set(8, 0, 12, last_line);
	r.set(10, 0, 12, first_line);
	vfe_util_send(r, VFE_QUEUE_CMD);
}

namespace {

template <size_t N>
void pack_coefficients(vfe_rec<N> &r, size_t offset, int row)
{
	const auto &coeffs = PolyphaseFilterCoeffs[static_cast<size_t>(row)];
	for (size_t phase = 0; phase < 16; ++phase) {
		uint32_t c[4];
		for (size_t t = 0; t < 4; ++t)
			c[t] = coeffs[phase * 4 + t] & 0x3FF;
		size_t at = offset + phase * 8;
		r.set(at, 0, 8, c[0] >> 2);
		r.set(at + 4, 0, 10, c[3]);
		r.set(at + 4, 10, 10, c[2]);
		r.set(at + 4, 20, 10, c[1]);
		r.set(at + 4, 30, 2, c[0] & 3);
	}
}

int coefficient_row(uint32_t out, uint32_t in)
{
	double r = in ? static_cast<double>(out) / in : 1.0;
	int row = static_cast<int>((r - 0.5) * 32 + 0.5);
	return std::clamp(row, 0, static_cast<int>(PolyphaseFilterCoeffs.size()) - 1);
}

}  // namespace

void vfe_util_updatescaleoutput_rec(vfe_rec<292> &r, uint32_t x, uint32_t y)
{
	uint32_t ow = r.get(32, 0, 12), oh = r.get(34, 0, 12);
	if (ow == 0 || oh == 0 || x == 0 || y == 0) {
		std::fprintf(stderr, "vfe_util_updatescaleoutput: no output size, not sent\n");
		return;
	}
	// Upscaling leaves the M/N scaler at 1 rather than dividing by zero.
	uint32_t mx = std::max<uint32_t>(1, x / ow), my = std::max<uint32_t>(1, y / oh);
	r.set(4, 1, 1, mx != 1);
	r.set(4, 3, 1, my != 1);
	r.set(8, 0, 12, x);
	r.set(10, 0, 12, y);
	r.set(12, 0, 12, x / mx);
	r.set(14, 0, 12, y / my);
	r.set(16, 0, 12, x);
	r.set(18, 0, 12, y);
	r.set(28, 0, 12, x / mx);
	r.set(30, 0, 12, y / my);
	r.set(4, 2, 1, x / mx != ow);
	r.set(4, 4, 1, y / my != oh);
	pack_coefficients(r, 164, coefficient_row(ow, x / mx));
	pack_coefficients(r, 36, coefficient_row(oh, y / my));
	r.set(30, 15, 1, 1);  // loadY_Polyphase_ScalerCoefs
	vfe_util_send(r, VFE_QUEUE_SCALER);
}

void vfe_util_updatescaleoutput(config_ctrl_t *ctrl, uint32_t x, uint32_t y)
{
	if (ctrl->vfeCtrl.outputs & 1)
		vfe_util_updatescaleoutput_rec(ctrl->vfeCtrl.vcmd->VFE_ScaleOutput1CfgCmd, x, y);
	if (ctrl->vfeCtrl.outputs & 2)
		vfe_util_updatescaleoutput_rec(ctrl->vfeCtrl.vcmd->VFE_ScaleOutput2CfgCmd, x, y);
}

bool vfe_util_hue_sat_incolorprocess(config_ctrl_t *ctrl, float hue, float saturation)
{
	// Turns the chroma plane by hue and scales it by saturation, from the
	// default conversion so that repeated calls do not compound: Cb takes
	// a, b and Cr c, d, so the turn mixes a with d and b with c.
	auto &r = ctrl->vfeCtrl.vcmd->VFE_ColorProcessingCfgCmd;
	const colour_conversion_t base = colour_get_conversion(VFE_DefaultColorProcessingCfgCmd);
	colour_conversion_t m = colour_get_conversion(r);
	static constexpr const char *names[] = {"a_m", "a_p", "b_m", "b_p", "c_m", "c_p", "d_m", "d_p"};
	double cs = std::cos(hue) * saturation, sn = std::sin(hue) * saturation;
	for (size_t p = 0; p < 2; ++p) {  // minus, plus
		double a = base[CC_A_M + p], bb = base[CC_B_M + p], c = base[CC_C_M + p], d = base[CC_D_M + p];
		const double now[4] = {cs * a - sn * d, cs * bb - sn * c, cs * c + sn * bb, cs * d + sn * a};
		for (size_t k = 0; k < 4; ++k) {
			size_t at = CC_A_M + 2 * k + p;
			auto nv = static_cast<int32_t>(std::lround(now[k]));
			if (nv < -1024 || nv > 1023) {
				std::fprintf(stderr, "overflow %s_new = %f", names[at], now[k]);
				nv = std::clamp(nv, -1024, 1023);
			}
			m[at] = nv;
		}
	}
	colour_put_conversion(r, m);
	return vfe_util_send(r, VFE_QUEUE_CMD) != VFE_SEND_FAILED;
}

const colour_conversion_t *vfe_util_current_conversion(const config_ctrl_t *ctrl)
{
	const colour_conversion_t &now = ctrl->isp3aCtrl.update_record.conversion;
	bool chosen = std::any_of(now.begin(), now.end(), [](int32_t x) { return x != 0; });
	const sensor_tuning_t *t = ctrl->sensorCtrl.tuning;
	return chosen ? &now : t ? &ctrl->sensorCtrl.tuned.cc_default : nullptr;
}

void vfe_util_updategammafromtuning(config_ctrl_t *ctrl)
{
	// The tuning's default table, as the pipeline starts with it.
	const sensor_tuning_t *t = ctrl->sensorCtrl.tuning;
	if (!t)
		return;
	vfe_util_updategamma(&ctrl->vfeCtrl, t->gamma.data());
}

bool vfe_util_set_special_effect(config_ctrl_t *ctrl, uint32_t effect)
{
	effects_ctrl_t &e = ctrl->effectsCtrl;
	vfe_cmd_block_t &b = *ctrl->vfeCtrl.vcmd;
	const sensor_tuning_t *t = ctrl->sensorCtrl.tuning;
	int32_t stored = e.special_effect.current_value;
	e.effect_flag[0] = e.effect_flag[1] = e.effect_flag[2] = 0;
	// The argument list leaves 1 out and names 3 twice; kept as it is.
	if ((stored >= 0 && stored <= 4) || effect == 0 || effect == 2 || effect == 3 || effect == 4)
		e.effect_flag[1] = 1;
	if ((stored >= 5 && stored <= 8) || (effect >= 5 && effect <= 8))
		e.effect_flag[2] = 1;
	const colour_conversion_t *matrix = nullptr;
	switch (effect) {
	case 1: matrix = t ? &ctrl->sensorCtrl.tuned.cc_sepia : nullptr; break;
	case 2: matrix = t ? &ctrl->sensorCtrl.tuned.cc_mono : nullptr; break;
	case 3: matrix = t ? &ctrl->sensorCtrl.tuned.cc_negative : nullptr; break;
	case 4: matrix = t ? &ctrl->sensorCtrl.tuned.cc_aqua : nullptr; break;
	case 5: vfe_util_updategamma(&ctrl->vfeCtrl, PosterizationGammaTbl.data()); break;
	case 6: vfe_util_updategamma(&ctrl->vfeCtrl, BlackboardGammaTbl.data()); break;
	case 7: vfe_util_updategamma(&ctrl->vfeCtrl, WhiteboardGammaTbl.data()); break;
	case 8:
		if (t)
			vfe_util_updategamma(&ctrl->vfeCtrl, t->solarize_gamma.data());
		break;
	default: vfe_util_updategammafromtuning(ctrl); break;
	}
	// An effect without a matrix of its own gives the colour back to the
	// conversion in force.
	if (!matrix && t)
		matrix = vfe_util_current_conversion(ctrl);
	if (matrix)
		colour_put_conversion(b.VFE_ColorProcessingCfgCmd, *matrix);
	return vfe_util_send(b.VFE_ColorProcessingCfgCmd, VFE_QUEUE_CMD) != VFE_SEND_FAILED;
}

}  // namespace cam
