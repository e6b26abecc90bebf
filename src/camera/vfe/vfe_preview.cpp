// Configuration of the VFE after VFE_RESET_ACK, for preview, snapshot and
// raw snapshot: the commands in their fixed order, ending with the start
// record, which the caller sends.
#include <algorithm>
#include <cstdio>
#include <span>

#include "camera/config/config.h"
#include "camera/config/led.h"
#include "camera/isp3a/aec.h"
#include "camera/vfe/contrast.h"
#include "platform/platform.h"

namespace cam {

namespace {

constexpr unsigned START_SETTLE_US = 3000;

uint32_t ceil_div(uint32_t a, uint32_t b) { return b ? (a + b - 1) / b : 1; }
uint32_t skip_for(uint32_t ratio) { return ratio > 16 ? ceil_div(ratio, 16) : 1; }
uint32_t q12(uint32_t a, uint32_t b) { return b ? static_cast<uint32_t>((uint64_t{a} << 12) / b) : 0; }

// The half of the smaller active output, or of the one that is set.
uint32_t half_output(uint32_t a, uint32_t b)
{
	uint32_t v = a == 0 ? b : (b == 0 ? a : std::min(a, b));
	return v / 2;
}

struct skips {
	uint32_t pixel, line;
};

// CAMIF set-up from the sensor's window: subsampling and the frame words.
skips configure_camif(config_ctrl_t *ctrl)
{
	vfe_cmd_block_t &b = *ctrl->vfeCtrl.vcmd;
	const sensor_ctrl_t &s = ctrl->sensorCtrl;
	const vfe_ctrl_t &v = ctrl->vfeCtrl;
	bool ycbcr = s.output_format == SENSOR_YCBCR;
	auto &camif = b.VFE_CAMIFCfgCmd;
	uint32_t w = s.camif_width.low() - s.camif_width.high() + 1, h = s.camif_height.low() - s.camif_height.high() + 1;
	if (ycbcr)
		w /= 2;
	uint32_t hw = half_output(v.output1_width, v.output2_width);
	uint32_t hh = half_output(v.output1_height, v.output2_height);
	skips sk{skip_for(ceil_div(w, hw)), skip_for(ceil_div(h, hh))};
	std::fprintf(stderr, "pixel_skip = %u, line_skip = %u\n", sk.pixel, sk.line);
	if (sk.pixel + sk.line > 2)
		camif.set(4, 5, 1, 1);  // CAMIF_To_VFE_SubsampleEnable
	uint32_t pattern = 0;
	bool wrap = false;
	if (ycbcr) {
		if (sk.pixel > 4)
			sk.pixel = 4;
		pattern = sk.pixel == 2 ? 0xF0F0 : sk.pixel >= 3 ? 0xF000 : 0;
		wrap = sk.pixel == 3;
	} else {
		if (sk.pixel == 5)
			sk.pixel = 6;
		else if (sk.pixel > 6)
			sk.pixel = 8;
		static constexpr uint32_t bayer[] = {0, 0, 0xCCCC, 0xC300, 0xC0C0, 0, 0xC000, 0, 0xC000};
		pattern = bayer[sk.pixel];
		wrap = sk.pixel == 3 || sk.pixel == 6;
	}
	if (pattern)
		camif.set(24, 0, 16, pattern);
	if (wrap)
		camif.set(28, 4, 1, 1);
	if (sk.line == 3)
		sk.line = 4;
	else if (sk.line > 4)
		sk.line = 8;
	if (sk.line > 1)
		camif.set(26, 0, 16, sk.line == 2 ? 0xCCCC : sk.line == 4 ? 0xC0C0 : 0xC000);
	camif.set(12, 0, 14, s.camif_frame.low());
	camif.set(12, 14, 14, s.camif_frame.high());
	camif.set(16, 0, 14, s.camif_width.low());
	camif.set(16, 14, 14, s.camif_width.high());
	camif.set(20, 0, 14, s.camif_height.low());
	camif.set(20, 14, 14, s.camif_height.high());
	camif.set(4, 3, 2, (s.flags >> 3) & 3);
	camif.set(4, 2, 1, (s.flags >> 2) & 1);
	camif.set(4, 1, 1, (s.flags >> 1) & 1);
	vfe_util_send(camif, VFE_QUEUE_CMD);
	return sk;
}

// Active region, input format and field-of-view crop, then the scalers.
void configure_region(config_ctrl_t *ctrl, skips sk)
{
	vfe_cmd_block_t &b = *ctrl->vfeCtrl.vcmd;
	const sensor_ctrl_t &s = ctrl->sensorCtrl;
	vfe_ctrl_t &v = ctrl->vfeCtrl;
	zoom_ctrl_t &z = ctrl->zoomCtrl;
	bool ycbcr = s.output_format == SENSOR_YCBCR;
	uint32_t ww = s.camif_width.low() - s.camif_width.high() + 1, wh = s.camif_height.low() - s.camif_height.high() + 1;
	if (ycbcr)
		ww /= 2;
	auto &region = b.VFE_ActiveRegionCfgCmd;
	uint32_t last_comp = ww / sk.pixel ? ww / sk.pixel - 1 : 0, last_line = wh / sk.line ? wh / sk.line - 1 : 0;
	auto &fmt = b.VFE_InputFormatCfgCmd;
	static constexpr uint32_t first_row[] = {3, 2, 1, 0, 4, 5, 6, 7};
	fmt.set(4, 0, 3, first_row[s.camif_format & 7]);
	if (ycbcr)
		fmt.set(4, 3, 1, s.cositing == 1);
	uint32_t crop_w, crop_h;
	if (ycbcr) {
		last_comp -= (last_comp + 1) % 4;  // a width that is a multiple of 4
		crop_w = last_comp;
		crop_h = last_line;
	} else {
		crop_w = last_comp > 20 ? last_comp - 20 : 0;
		crop_h = last_line > 6 ? last_line - 6 : 0;
	}
	region.set(4, 0, 13, last_comp);
	region.set(6, 0, 13, 0);
	region.set(8, 0, 13, last_line);
	region.set(10, 0, 13, 0);
	auto &fov = b.VFE_FOV_CropCfgCmd;
	fov.set(4, 0, 12, crop_w);
	fov.set(6, 0, 12, 0);
	fov.set(8, 0, 12, crop_h);
	fov.set(10, 0, 12, 0);
	z.first_pixel = 0;
	z.last_pixel = crop_w;
	z.first_line = 0;
	z.last_line = crop_h;
	uint32_t aspect = q12(crop_w + 1, crop_h + 1);
	uint32_t a1 = v.outputs & 1 ? q12(v.output1_width, v.output1_height) : 0;
	uint32_t a2 = v.outputs & 2 ? q12(v.output2_width, v.output2_height) : 0;
	if (a1 != aspect || a2 != aspect)
		z.zoom_vfe_update_zoom = 1;
	vfe_util_send(region, VFE_QUEUE_CMD);
	vfe_util_send(fmt, VFE_QUEUE_CMD);

	uint32_t cw = crop_w + 1, ch = crop_h + 1;
	auto prepare = [&](vfe_rec<292> &rec, const vfe_rec<292> &def, uint32_t ow, uint32_t oh) {
		rec = def;
		if (ow > cw || oh > ch)
			std::fprintf(stderr, "Output2 is configure larger than camsensor FOV.\n");
		// Never more than 4 times upscaling, and never a size below 2.
		ow = std::max<uint32_t>(2, std::min(ow, cw * 4));
		oh = std::max<uint32_t>(2, std::min(oh, ch * 4));
		rec.set(32, 0, 12, ow);
		rec.set(34, 0, 12, oh);
	};
	vfe_util_send(fov, VFE_QUEUE_CMD);
	if (v.outputs & 1) {
		prepare(b.VFE_ScaleOutput1CfgCmd, VFE_DefaultScaleOutput1CfgCmd, v.output1_width, v.output1_height);
		vfe_util_updatescaleoutput_rec(b.VFE_ScaleOutput1CfgCmd, cw, ch);
	}
	if (v.outputs & 2) {
		prepare(b.VFE_ScaleOutput2CfgCmd, VFE_DefaultScaleOutput2CfgCmd, v.output2_width, v.output2_height);
		vfe_util_updatescaleoutput_rec(b.VFE_ScaleOutput2CfgCmd, cw, ch);
	}
}

void keep_zoom(config_ctrl_t *ctrl)
{
	zoom_ctrl_t &z = ctrl->zoomCtrl;
	if (z.crop_factor == Q12_ONE || !zoom_vfe(ctrl))
		return;
	vfe_util_update_fovcrop(z.crop_first_pixel, z.crop_last_pixel, z.crop_first_line, z.crop_last_line);
	vfe_util_updatescaleoutput(ctrl, z.crop_out_x, z.crop_out_y);
}

using axi_rec = vfe_rec<168>;

// One 8-byte block of the AXI record: lines, and a line's length in 64-bit
// words, each twice: as the image's size and as the rows the bus writes.
void axi_block(axi_rec &axi, size_t off, uint32_t words, uint32_t lines)
{
	axi.set(off, 0, 12, lines);
	axi.set(off + 2, 0, 10, words);  // its own 16 bits, as in the default record
	axi.set(off + 4, 2, 12, lines);
	axi.set(off + 4, 14, 12, words);
}

int send_axi(config_ctrl_t *ctrl, axi_rec &axi, uint32_t cmd_type)
{
	vfe_command_t command{VFE_QUEUE_TABLE, static_cast<uint16_t>(axi.bytes), axi.data()};
	vfe_cfg_cmd_t cfg{cmd_type, 8, 0, &command};
	int rc = plat::ioctl(ctrl->camfd, MSM_CAM_IOCTL_AXI_CONFIG, &cfg);
	if (rc < 0)
		std::fprintf(stderr, "MSM_CAM_IOCTL_AXI_CONFIG ioctl failed.\n");
	return rc;
}

// AXI: for each active output a Y block and a half-height CbCr block.
int axi_init(config_ctrl_t *ctrl, uint32_t cmd_type)
{
	vfe_ctrl_t &v = ctrl->vfeCtrl;
	auto &axi = v.vcmd->VFE_AXIOutputCfgCmd;
	axi = VFE_DefaultAXIOutputCfgCmd;
	if (v.outputs & 1) {
		axi_block(axi, 8, v.output1_width / 8, v.output1_height);
		axi_block(axi, 16, v.output1_width / 8, v.output1_height / 2);
	}
	if (v.outputs & 2) {
		axi_block(axi, 24, v.output2_width / 8, v.output2_height);
		axi_block(axi, 32, v.output2_width / 8, v.output2_height / 2);
	}
	axi.set(4, 0, 3, v.outputs == 1 ? 0 : v.outputs == 2 ? 1 : 2);
	return send_axi(ctrl, axi, cmd_type);
}

}  // namespace

int vfe_snapshot_raw_axi_init(config_ctrl_t *ctrl)
{
	const sensor_ctrl_t &s = ctrl->sensorCtrl;
	auto &axi = ctrl->vfeCtrl.vcmd->VFE_AXIOutputCfgCmd;
	axi = VFE_DefaultAXIOutputCfgCmd;
	uint32_t per_word = s.raw_output_type == 0 ? 8 : s.raw_output_type == 1 ? 6 : 0;
	if (per_word == 0) {
		// No line length to give the bus: nothing is sent, and the snapshot
		// is not started.
		std::fprintf(stderr, "raw_output_option %d not supported yet.\n", static_cast<int>(s.raw_output_type));
		return -1;
	}
	// The sensor's window as it comes in, one sample a pixel (a byte a clock
	// on YCbCr); a part-filled last word is still written.
	uint32_t width = s.camif_width.low() - s.camif_width.high() + 1;
	uint32_t lines = s.camif_height.low() - s.camif_height.high() + 1;
	axi_block(axi, 24, (width + per_word - 1) / per_word, lines);
	axi.set(4, 0, 3, 1);  // the raw data leave on output 2 alone
	return send_axi(ctrl, axi, 6);
}

namespace {

// The Bayer processing records, in the order the VFE takes them, and the
// start bits that go with them.
void bayer_processing(config_ctrl_t *ctrl)
{
	vfe_ctrl_t &v = ctrl->vfeCtrl;
	vfe_cmd_block_t &b = *v.vcmd;
	const effects_ctrl_t &e = ctrl->effectsCtrl;
	const isp3a_ctrl_t &c = ctrl->isp3aCtrl;
	if ((e.alt_color & 0xFF) == 1) {
		vfe_util_send(b.VFE_ColorProcessingCfgCmd2, VFE_QUEUE_CMD);
	} else if (e.special_effect.current_value == 1) {  // 1: no effect
		if (const colour_conversion_t *m = vfe_util_current_conversion(ctrl))
			vfe_util_updateconversincolorprcess(ctrl, *m);
	}
	vfe_util_send(b.VFE_ColorProcessingCfgCmd, VFE_QUEUE_CMD);
	const sensor_ctrl_t &s = ctrl->sensorCtrl;
	b.VFE_StartCmd.set(8, 5, 1, vfe_preview_configadaptivefilter(ctrl) ? 1 : 0);
	vfe_util_send(b.VFE_DemosaicCfgCmd, VFE_QUEUE_CMD);
	vfe_util_updatewb(&v, c.wb_gain[0], c.wb_gain[1], c.wb_gain[2], false);
	std::fprintf(stderr, "Sending vcmd->VFE_WhiteBalanceCfgCmd\n");
	vfe_util_send(b.VFE_WhiteBalanceCfgCmd, VFE_QUEUE_CMD);
	vfe_util_send(b.VFE_RGB_GammaCfgCmd, VFE_QUEUE_TABLE);
	vfe_util_send(b.VFE_Y_GammaCfgCmd, VFE_QUEUE_TABLE);
	vfe_util_send(b.VFE_BlackLevelCfgCmd, VFE_QUEUE_CMD);
	bool rolloff = s.tuning && s.tuning->rolloff_enable;
	if (rolloff)
		vfe_preview_updaterollofftbl(ctrl, s.tuned.rolloff);
	vfe_util_send(b.VFE_RollOffCfgCmd, VFE_QUEUE_TABLE);
	auto &start = b.VFE_StartCmd;
	if (!s.camctrl.lc_supported || !rolloff)
		start.set(8, 1, 1, 0);
	start.set(8, 3, 1, s.gamma_enable ? 1 : 0);
	if ((e.luma_nr & 0xFF) != 0 && e.effect_flag[0] == 0)
		start.set(8, 4, 1, 1);
	const auto &region = b.VFE_ActiveRegionCfgCmd;
	uint32_t aw = region.get(4, 0, 13) - region.get(6, 0, 13) + 1;
	uint32_t ah = region.get(8, 0, 13) - region.get(10, 0, 13) + 1;
	// Each in its own 16 bits, as the other 12-bit sizes of the records.
	start.set(12, 0, 12, aw > 12 ? aw - 12 : 0);
	start.set(14, 0, 12, ah > 6 ? ah - 6 : 0);
}

// Clamp, frame skip, chroma subsample, AXI; then the start record.
bool finish_pipeline(config_ctrl_t *ctrl, uint32_t axi_type)
{
	vfe_cmd_block_t &b = *ctrl->vfeCtrl.vcmd;
	vfe_util_send(b.VFE_OutputClampCfgCmd, VFE_QUEUE_CMD);
	b.VFE_FrameSkipCfgCmd.set(4, 0, 1, 0);
	b.VFE_FrameSkipCfgCmd.set(8, 0, 1, 0);
	vfe_util_send(b.VFE_FrameSkipCfgCmd, VFE_QUEUE_CMD);
	vfe_util_send(b.VFE_ChromaSubsampleCfgCmd, VFE_QUEUE_CMD);
	if (axi_init(ctrl, axi_type) < 0)
		return false;
	b.VFE_StartCmd = VFE_DefaultStartCmd;
	if (ctrl->sensorCtrl.output_format == SENSOR_YCBCR) {
		for (unsigned bit = 0; bit < 6; ++bit)
			b.VFE_StartCmd.set(8, bit, 1, 0);  // the sensor did the processing
	} else {
		bayer_processing(ctrl);
	}
	return true;
}

bool pipeline(config_ctrl_t *ctrl, uint32_t outputs, uint32_t axi_type)
{
	vfe_cmd_block_t &b = *ctrl->vfeCtrl.vcmd;
	ctrl->vfeCtrl.outputs = outputs;
	b.VFE_CAMIFCfgCmd = VFE_DefaultCAMIFCfgCmd;
	b.VFE_InputFormatCfgCmd = VFE_DefaultInputFormatCfgCmd;
	b.VFE_FrameSkipCfgCmd = VFE_DefaultFrameSkipCfgCmd;
	skips sk = configure_camif(ctrl);
	configure_region(ctrl, sk);
	keep_zoom(ctrl);
	return finish_pipeline(ctrl, axi_type);
}

// With the sensor in snapshot mode, 3A sets the picture's exposure from
// the preview's, before the picture is taken.
void snapshot_exposure(config_ctrl_t *ctrl)
{
	if (ctrl->sensorCtrl.output_format == SENSOR_BAYER)
		isp3a_stats_execution(ctrl, ISP3A_OP_SNAPSHOT, 0);
}

}  // namespace

bool vfe_preview_config(config_ctrl_t *ctrl)
{
	ctrl->vfeCtrl.outputs = 2;
	if (!vfe_util_get_sensor_info(SENSOR_OP_MODE_PREVIEW, ctrl)) {
		std::fprintf(stderr, "vfe_util_get_sensor_info failed!\n");
		return false;
	}
	if (!pipeline(ctrl, 2, 3))
		return false;
	auto &start = ctrl->vfeCtrl.vcmd->VFE_StartCmd;
	start.set(4, 1, 1, 0);  // continuous
	plat::usleep(START_SETTLE_US);
	if (ctrl->sensorCtrl.output_format == SENSOR_BAYER) {
		vfe_preview_aecawb_init(ctrl);
		vfe_preview_af_init(ctrl);
	}
	return true;
}

bool vfe_snapshot_config(config_ctrl_t *ctrl)
{
	ctrl->vfeCtrl.outputs = 3;
	if (!vfe_util_get_sensor_info(SENSOR_OP_MODE_SNAPSHOT, ctrl)) {
		std::fprintf(stderr, "vfe_snapshot_config: vfe_util_get_sensor_info failed! %d \n", 1345);
		return false;
	}
	if (ctrl->sensorCtrl.output_format == SENSOR_BAYER && get_led_mode() == 1 && aec_LED_active(&ctrl->isp3aCtrl))
		isp3a_update_led_state(&ctrl->isp3aCtrl, 2);
	snapshot_exposure(ctrl);
	if (plat::ioctl(ctrl->camfd, MSM_CAM_IOCTL_SNAPSHOT_BEGIN, uintptr_t{0}) < 0)
		return false;
	if (!pipeline(ctrl, 3, 2))
		return false;
	auto &start = ctrl->vfeCtrl.vcmd->VFE_StartCmd;
	start.set(4, 1, 1, 1);
	start.set(4, 2, 4, 1);
	plat::usleep(START_SETTLE_US);
	return true;
}

bool vfe_snapshot_raw_config(config_ctrl_t *ctrl)
{
	vfe_ctrl_t &v = ctrl->vfeCtrl;
	if (!vfe_util_get_sensor_info(SENSOR_OP_MODE_SNAPSHOT, ctrl)) {
		std::fprintf(stderr, "vfe_snapshot_raw_config: vfe_util_get_sensor_info failed! %d \n", 1711);
		return false;
	}
	snapshot_exposure(ctrl);
	if (v.hjr_enable && ctrl->sensorCtrl.camctrl.hjr) {
		uint8_t one = 1;
		if (plat::ioctl(ctrl->camfd, MSM_CAM_IOCTL_PICT_PP, &one) < 0)
			return false;
	}
	v.outputs = 2;
	v.vcmd->VFE_CAMIFCfgCmd = VFE_DefaultCAMIFCfgCmd;
	configure_camif(ctrl);
	if (vfe_snapshot_raw_axi_init(ctrl) < 0)
		return false;
	auto &start = v.vcmd->VFE_StartCmd;
	start = VFE_DefaultStartCmd;
	start.set(4, 1, 1, 1);
	start.set(4, 0, 1, 0);
	start.set(8, 6, 1, 0);
	start.set(4, 2, 4, 1);
	return true;
}

void vfe_preview_putgammatable(config_ctrl_t *ctrl, int32_t effect, int32_t contrast, int32_t)
{
	if (effect == 4) {
		effects_set_special_effect(&ctrl->effectsCtrl, 4);
	} else if (const sensor_tuning_t *t = ctrl->sensorCtrl.tuning) {
		// The selector reads the stored effect; its 4 and 5 name no table of
		// the tuning, so they take the first, as 0 does.
		int which = isp3a_select_gamma_table(ctrl->effectsCtrl.special_effect.current_value);
		static constexpr int row_of[GAMMA_TABLES] = {0, 2, 1, 3};
		size_t row = which >= 0 && which < GAMMA_TABLES ? static_cast<size_t>(row_of[which]) : 0;
		std::span<const uint8_t> source(t->gamma.data() + row * GAMMA_ROW, GAMMA_ENTRIES);
		auto &y = ctrl->vfeCtrl.vcmd->VFE_Y_GammaCfgCmd;
		std::span<uint8_t> result(reinterpret_cast<uint8_t *>(y.w.data() + 2), GAMMA_ENTRIES);
		ipl_set_contrast_Nentries(contrast, 10, source, result);
	}
	// The next frame stops the VFE and the restart loads the table.
	ctrl->vfeCtrl.restart = 1;
}

}  // namespace cam
