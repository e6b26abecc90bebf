// 3A control: the statistics buffers, their decoding, and the order in
// which exposure, focus and white balance run on each statistics frame.
#include "camera/isp3a/isp3a.h"

#include <cstdio>
#include <memory>

#include "camera/config/config.h"
#include "camera/config/led.h"
#include "camera/isp3a/aec.h"
#include "camera/isp3a/af.h"
#include "camera/isp3a/awb.h"
#include "camera/sensor/sensor.h"
#include "platform/platform.h"

namespace cam {

namespace {

std::unique_ptr<vfe_stat_t> stats_record;

constexpr std::array<int32_t, 15> af_parm_init = {0, 0, 1, 0, 0, 1, 4, 1, 1, 1, 0, 3, 1, 1, 1};
constexpr std::array<uint8_t, 15> trigger_init = {1, 1, 1, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, 0, 1};
constexpr uint32_t AF_FRAME_COUNT_IDLE = 1;

bool vfe_update(config_ctrl_t *vfe, int kind)
{
	if (!vfe || !vfe->vfeCtrl.vfeStatsUpdateFn)
		return true;  // no front end: the update record is the result
	return vfe->vfeCtrl.vfeStatsUpdateFn(kind, vfe);
}

int32_t stats_execution(sensor_ctrl_t *sensor, isp3a_ctrl_t *c, int32_t op, int32_t new_buffer, uint32_t stats_state,
			config_ctrl_t *vfe)
{
	c->isp3a_op = static_cast<uint32_t>(op);
	int32_t regions = -1;
	if (new_buffer) {
		const isp3a_buf_t &b = c->AecAwbBuf[c->curAwbAecBuf % 3];
		regions = isp3a_shared_parse_regions(b.len >= AEC_AWB_BUF_BYTES ? b.addr : nullptr, c, c->num_regions == 256);
		c->validStatsExisted = 1;
	}
	if (!c->validStatsExisted)
		return 1;
	if (op == ISP3A_OP_PREVIEW && get_led_state()) {
		if (c->aec_LED_stats_cnt++ < 3)
			return 1;
	}
	isp3a_ctx_t ctx = isp3a_ctx(sensor, c);
	isp3a_update_t *u = &c->update_record;
	int32_t rc = aec_algo_execution(static_cast<int32_t>(c->isp3a_op), &ctx, u, nullptr);
	if (rc > 0) {
		if (c->isp3a_op == ISP3A_OP_PREVIEW) {
			sensor_aec_update_t su{u->gain, u->line_count};
			if (!sensor_set_aec_preview(sensor, &su))
				std::fprintf(stderr, "Sensor update for AEC FAILED.........\n");
		}
		af_check_aec_settled_cnt(c, &c->aec_state);
		if (!vfe_update(vfe, 0))
			std::fprintf(stderr, "VFE update for AEC FAILED.........\n");
	}
	if (c->awb_auto && stats_state == 6 && regions != -1) {
		if (awb_algo_execution(static_cast<int32_t>(c->isp3a_op), &ctx, u, nullptr) > 0) {
			std::fprintf(stderr, "bounding_box_update=%d wb_update= %d, conversionInCP_update=%d \n",
				     u->bounding_box_update, u->wb_update, u->conversionInCP_update);
			if (!vfe_update(vfe, 1))
				std::fprintf(stderr, "VFE update for AWB FAILED.........\n");
		} else {
			std::fprintf(stderr, "awb_algo_execution FAILED............. \n");
		}
	}
	return 1;
}

}  // namespace

uint32_t isp3a_pix_per_region(const sensor_ctrl_t *sensor, int32_t num_regions)
{
	if (!sensor || num_regions <= 0)
		return 1;
	uint32_t px = uint32_t(sensor->current_width) * sensor->current_height / uint32_t(num_regions);
	return px ? px : 1;
}

isp3a_ctx_t isp3a_ctx(sensor_ctrl_t *sensor, isp3a_ctrl_t *isp3a)
{
	return {sensor, isp3a, isp3a->num_regions, isp3a_pix_per_region(sensor, isp3a->num_regions), 0, 0};
}

bool isp3a_start(sensor_ctrl_t *sensor, isp3a_ctrl_t *c, int32_t num_regions)
{
	c->af_parm = af_parm_init;
	c->trigger = trigger_init;
	c->num_regions = num_regions == 256 ? 256 : 64;
	std::fprintf(stderr, "input.numReg = %lu\n", static_cast<unsigned long>(c->num_regions));
	c->awb_supported = sensor->tuning && sensor->tuning->awb_enable;
	c->awb_auto = c->awb_supported;
	stats_record = std::make_unique<vfe_stat_t>();
	c->vfeStatStruct = stats_record.get();
	isp3a_ctx_t ctx = isp3a_ctx(sensor, c);
	if (aec_algo_execution(ISP3A_OP_INIT, &ctx, &c->update_record, nullptr) != 1)
		std::fprintf(stderr, "aec init failed\n");
	if (awb_algo_execution(ISP3A_OP_INIT, &ctx, &c->update_record, nullptr) != 1)
		std::fprintf(stderr, "awb init failed\n");
	if (af_algo_execution(ISP3A_OP_INIT, &ctx, &c->update_record) != 1)
		std::fprintf(stderr, "af init failed\n");
	return true;
}

void isp3a_stop(isp3a_ctrl_t *c)
{
	c->vfeStatStruct = nullptr;
	stats_record.reset();
	aec_reset();
	awb_reset();
	af_reset();
}

int32_t isp3a_shared_parse_regions(const uint32_t *raw, isp3a_ctrl_t *c, uint32_t numReg_flag)
{
	int32_t n = (numReg_flag & 0xFF) ? 256 : 64;
	vfe_stat_t *st = c->vfeStatStruct;
	if (!raw || !st) {
		std::fprintf(stderr, "isp3a_shared_parse_regions: Null pointer: %s %d ", __FILE__, __LINE__);
		return n;  // nothing to walk: the regions keep their last values
	}
	const uint32_t *p = raw + 1;
	for (int32_t i = 0; i < n; i++, p += 8) {
		st->Y[i] = p[0] & STATS_25BIT;
		st->Cb[i] = p[1] & STATS_25BIT;
		st->Cr[i] = p[2] & STATS_25BIT;
		st->count[i] = p[3] & STATS_17BIT;
		st->SY[i] = p[4] & STATS_25BIT;
	}
	return n;
}

int32_t isp3a_stats_execution(sensor_ctrl_t *sensor, isp3a_ctrl_t *c, int32_t op, int32_t new_buffer, uint32_t stats_state)
{
	return stats_execution(sensor, c, op, new_buffer, stats_state, nullptr);
}

int32_t isp3a_process_af_stats(sensor_ctrl_t *sensor, isp3a_ctrl_t *c, uint32_t first_line, uint32_t last_line)
{
	c->isp3a_op = ISP3A_OP_PREVIEW;
	if (!af_is_active())
		return AF_FRAME_COUNT_IDLE;
	isp3a_ctx_t ctx = isp3a_ctx(sensor, c);
	ctx.af_first_line = first_line & 0xFFF;
	ctx.af_last_line = last_line & 0xFFF;
	int32_t rc = af_algo_execution(ISP3A_OP_PREVIEW, &ctx, &c->update_record);
	if (rc != 1)
		std::fprintf(stderr, "af_algo_execution FAILED.........\n");
	return rc;
}

bool isp3a_set_wb_on(sensor_ctrl_t *sensor, isp3a_ctrl_t *c, int32_t value)
{
	const sensor_tuning_t *t = sensor ? sensor->tuning : nullptr;
	if (!t)
		return false;
	const std::array<float, 3> *base = nullptr;
	const sensor_converted_t &conv = sensor->tuned;
	const sensor_conversion_t *cc = &conv.cc_fluorescent;
	int32_t ref = -1;
	switch (value) {
	case 1:
		if (!c->awb_supported)
			return false;
		c->awb_auto = 1;
		c->wb_gain_r = c->wb_gain_g = c->wb_gain_b = 1.0f;
		break;
	case 3: base = &t->wb_incandescent, ref = 2, cc = &conv.cc_incandescent; break;
	case 4: base = &t->wb_fluorescent, ref = 3, cc = &conv.cc_fluorescent; break;
	case 5: base = &t->wb_daylight, ref = 0, cc = &conv.cc_daylight; break;
	case 6: base = &t->wb_cloudy, ref = 6, cc = &conv.cc_daylight; break;
	default: return false;
	}
	if (base) {
		c->awb_auto = 0;
		float scale = t->wb_gain_scale;
		c->wb_gain_r = (*base)[0] * scale * t->r_gain_adj[ref];
		c->wb_gain_g = (*base)[1] * scale;
		c->wb_gain_b = (*base)[2] * scale * t->b_gain_adj[ref];
		c->update_record.r_gain = c->wb_gain_r;
		c->update_record.g_gain = c->wb_gain_g;
		c->update_record.b_gain = c->wb_gain_b;
		c->update_record.wb_update = 1;
		c->awb_state.decision = ref;
	}
	c->update_record.conversion = *cc;  // coefficients times 1.0, rounded: unchanged
	c->update_record.conversionInCP_update = 1;
	return true;
}

void isp3a_update_led_state(isp3a_ctrl_t *c, uint32_t state)
{
	set_led_state(state);
	if (state == 0)
		awb_restore_pre_led_settings(&c->update_record);
}

int isp3a_select_gamma_table(int mode)
{
	return mode == 4 ? 4 : mode == 9 ? 5 : 0;
}

// ---- The camera control's calls -------------------------------------------

bool isp3a_init_ctrl(config_ctrl_t *ctrl)
{
	isp3a_ctrl_t &c = ctrl->isp3aCtrl;
	// The sensor's statistics set-up, its focus window among it, goes into
	// the VFE's records first.
	vfe_util_copy_aec_awb_config(ctrl);
	vfe_util_copy_af_config(ctrl);
	static config_ctrl_t *af_front_end;
	af_front_end = ctrl;
	af_set_vfe_start([](uint32_t mode) { return vfe_util_af_start(af_front_end, mode); });
	isp3a_start(&ctrl->sensorCtrl, &c, vfe_util_get_input_numReg(ctrl) ? 256 : 64);
	std::fprintf(stderr, "allocate PMEM buffer for AEC/AWB  stats\n");
	for (auto &b : c.AecAwbBuf) {
		b.len = AEC_AWB_BUF_BYTES;
		b.addr = static_cast<uint32_t *>(do_mmap(b.len, &b.fd));
		if (!b.addr) {
			std::fprintf(stderr, "do_mmap failed\n");
			return false;
		}
		msm_pmem_info info{6, b.fd, b.addr, 0, 0, 1};
		int rc = plat::ioctl(ctrl->camfd, MSM_CAM_IOCTL_REGISTER_PMEM, &info);
		if (rc < 0) {
			std::fprintf(stderr, "main: MSM_CAM_IOCTL_REGISTER_PMEM ioctl failed. ioctl return value is %lu \n",
				     static_cast<unsigned long>(rc));
			return false;
		}
	}
	if (!ctrl->sensorCtrl.tuning || !ctrl->sensorCtrl.tuning->af_is_supported)
		return true;
	std::fprintf(stderr, "allocate PMEM buffer for AF stats\n");
	for (auto &b : c.AfBuf) {
		b.len = AF_BUF_BYTES;
		b.addr = static_cast<uint32_t *>(do_mmap(b.len, &b.fd));
		if (!b.addr) {
			std::fprintf(stderr, "do_mmap failed\n");
			return false;
		}
		msm_pmem_info info{7, b.fd, b.addr, 0, 0, 1};
		int rc = plat::ioctl(ctrl->camfd, MSM_CAM_IOCTL_REGISTER_PMEM, &info);
		if (rc < 0) {
			std::fprintf(stderr,
				     "main: MSM_CAM_IOCTL_REGISTER_PMEM ioctl failed for MSM_PMEM_AF type. ioctl return value is %lu \n",
				     static_cast<unsigned long>(rc));
			return false;
		}
	}
	return true;
}

void isp3a_free_ctrl(config_ctrl_t *ctrl)
{
	isp3a_ctrl_t &c = ctrl->isp3aCtrl;
	isp3a_stop(&c);
	af_set_vfe_start(nullptr);
	std::fprintf(stderr, "deallocate PMEM buffer for AEC/AWB stats\n");
	for (auto &b : c.AecAwbBuf)
		if (b.addr) {
			do_munmap(b.fd, b.addr, b.len);
			b = isp3a_buf_t{};
		}
	if (c.AfBuf[0].addr || c.AfBuf[1].addr || c.AfBuf[2].addr)
		std::fprintf(stderr, "deallocate PMEM buffer for AF stats\n");
	for (auto &b : c.AfBuf)
		if (b.addr) {
			do_munmap(b.fd, b.addr, b.len);
			b = isp3a_buf_t{};
		}
}

bool isp3a_miscs_execution(config_ctrl_t *ctrl, const isp3a_misc_t *misc)
{
	isp3a_ctrl_t &c = ctrl->isp3aCtrl;
	c.isp3a_op = ISP3A_OP_MISC;
	isp3a_ctx_t ctx = isp3a_ctx(&ctrl->sensorCtrl, &c);
	isp3a_misc_t m = *misc;
	if (m.type == 6 || m.type >= 11 || m.type < 0)
		return false;
	if (m.type <= 8)
		return aec_algo_execution(ISP3A_OP_MISC, &ctx, &c.update_record, &m) == 1;
	return awb_algo_execution(ISP3A_OP_MISC, &ctx, &c.update_record, &m) == 1;
}

bool isp3a_set_wb(config_ctrl_t *ctrl, int32_t value)
{
	isp3a_ctrl_t &c = ctrl->isp3aCtrl;
	if (!isp3a_set_wb_on(&ctrl->sensorCtrl, &c, value))
		return false;
	// With automatic balance off no statistics frame will send these: they
	// go to the DSP now. An effect owns the colour record while it is on.
	if (c.awb_auto == 0) {
		vfe_util_updatewb(&ctrl->vfeCtrl, c.wb_gain_r, c.wb_gain_g, c.wb_gain_b, true);
		c.update_record.wb_update = 0;
	}
	if (ctrl->effectsCtrl.special_effect.current_value == 1) {
		vfe_util_updateconversincolorprcess(ctrl, c.update_record.conversion);
		c.update_record.conversionInCP_update = 0;
	}
	return true;
}

void isp3a_set_awb_state_color_conversion_state(config_ctrl_t *ctrl, uint32_t state)
{
	ctrl->isp3aCtrl.awb_color_conversion_state = state;
}

void isp3a_vfe_stats_msg(config_ctrl_t *ctrl, int32_t type, int32_t fd)
{
	isp3a_ctrl_t &c = ctrl->isp3aCtrl;
	auto &bufs = type == 0 ? c.AecAwbBuf : c.AfBuf;
	int found = -1;
	for (int i = 0; i < 3; i++)
		if (bufs[i].addr && bufs[i].fd == fd)
			found = i;
	// A buffer we do not know is reported and the frame still runs, on the
	// buffer noted last.
	if (found < 0) {
		if (type == 0)
			std::fprintf(stderr, "AWB_AEC_STATS buffer mismatch: fd = %d, buffer = 0x%lx\n", fd, 0ul);
		else
			std::fprintf(stderr, "AF_STATS buffer mismatch: fd = %d, buffer = %lu\n", fd, 0ul);
	} else if (type == 0) {
		c.curAwbAecBuf = static_cast<uint32_t>(found);
	} else {
		c.curAfBuf = static_cast<uint8_t>(found);
	}
	if (ctrl->vfeCtrl.stats_skip) {
		ctrl->vfeCtrl.stats_skip = 0;
		return;
	}
	if (type == 0) {
		if (af_is_active())
			return;  // exposure and white balance wait for the focus search
		stats_execution(&ctrl->sensorCtrl, &c, ISP3A_OP_PREVIEW, 1, ctrl->vfeCtrl.stats_state, ctrl);
	} else {
		const auto &crop = ctrl->vfeCtrl.vcmd->VFE_FOV_CropCfgCmd;
		isp3a_process_af_stats(&ctrl->sensorCtrl, &c, crop.get(10, 0, 12), crop.get(8, 0, 12));
	}
}

int32_t isp3a_stats_execution(config_ctrl_t *ctrl, int32_t op, int32_t new_buffer)
{
	return stats_execution(&ctrl->sensorCtrl, &ctrl->isp3aCtrl, op, new_buffer, ctrl->vfeCtrl.stats_state, ctrl);
}

bool af_process_start_focus(config_ctrl_t *ctrl)
{
	return af_process_start_focus(&ctrl->sensorCtrl, &ctrl->isp3aCtrl, 0, 0) == 1;
}

}  // namespace cam
