// The handlers of the VFE's messages and the ADSP's events.
#include <array>
#include <cstdio>
#include <cstring>

#include "camera/config/config.h"
#include "camera/config/led.h"
#include "camera/isp3a/aec.h"
#include "platform/platform.h"

namespace cam {

namespace {

void on_reset_ack(config_ctrl_t *ctrl)
{
	vfe_ctrl_t &v = ctrl->vfeCtrl;
	std::fprintf(stderr, "VFE_RESET_ACK ctrl->state %d\n", static_cast<int>(ctrl->state));
	bool (*configure)(config_ctrl_t *) = nullptr;
	switch (ctrl->state) {
	case CAMERA_STATE_PREVIEW_RESET_SENT: configure = v.vfePreviewConfigFn; break;
	case CAMERA_STATE_SNAPSHOT_RESET_SENT: configure = v.vfeSnapshotConfigFn; break;
	case CAMERA_STATE_RAW_SNAPSHOT_RESET_SENT: configure = v.vfeRawSnapshotConfigFn; break;
	default:
		std::fprintf(stderr, "VFE_RESET_ACK illegal ctrl->state %d\n", static_cast<int>(ctrl->state));
		return;
	}
	ctrl->state += 1;  // 4 to 5, 10 to 11, 16 to 17
	if (configure && configure(ctrl) && v.vfeStartFn)
		v.vfeStartFn(ctrl->camfd, &ctrl->state, &v);
}

void on_start_ack(config_ctrl_t *ctrl)
{
	std::fprintf(stderr, "vfeconfig_process_DSP_VFETASK_MSG_VFE_START_ACK: ctrl->state=%d \n",
		     static_cast<int>(ctrl->state));
	if (ctrl->state == CAMERA_STATE_PREVIEW_START_SENT || ctrl->state == CAMERA_STATE_SNAPSHOT_START_SENT ||
	    ctrl->state == CAMERA_STATE_RAW_SNAPSHOT_START_SENT)
		ctrl->state += 1;
}

void on_stop_ack(config_ctrl_t *ctrl)
{
	vfe_ctrl_t &v = ctrl->vfeCtrl;
	if (!v.restart) {
		ctrl_cmd_t *held = ctrl->ctrlCmd;
		if (!held) {
			std::fprintf(stderr, "Received VFE Stop ACK!!! ctrlCmd is NULL\n");
			return;
		}
		std::fprintf(stderr, "Received VFE Stop ACK!!! ctrlCmd->type %d\n", held->type);
		if (held->type != CAMERA_STOP_PREVIEW && held->type != CAMERA_STOP_SNAPSHOT &&
		    held->type != MSM_V4L2_STREAM_OFF)
			return;
		if (ctrl->state != CAMERA_STATE_PREVIEW_STOP_SENT && ctrl->state != CAMERA_STATE_SNAPSHOT_STOP_SENT &&
		    ctrl->state != CAMERA_STATE_RAW_SNAPSHOT_STOP_SENT) {
			std::fprintf(stderr, "vfeconfig_process_DSP_VFETASK_MSG_VFE_STOP_ACK: ctrl->state is incorrect %d\n",
				     static_cast<int>(ctrl->state));
			return;
		}
		if (config_cmd_done(ctrl, held) < 0) {
			std::fprintf(stderr, "in STOP_ACK, sending MSM_CAM_IOCTL_CTRL_CMD_DONE to kernel failed\n");
			return;
		}
		ctrl->ctrlCmd = nullptr;
	}
	switch (v.vfeMode) {
	case VFE_MODE_PREVIEW:
	case VFE_MODE_PREVIEW_ALT: ctrl->state = CAMERA_STATE_PREVIEW_STOPPED; break;
	case VFE_MODE_SNAPSHOT: ctrl->state = CAMERA_STATE_SNAPSHOT_STOPPED; break;
	case VFE_MODE_RAW_SNAPSHOT: ctrl->state = CAMERA_STATE_RAW_SNAPSHOT_STOPPED; break;
	default: std::fprintf(stderr, "Invalid vfeMode\n"); break;
	}
	if (v.restart) {
		v.restart = 0;
		ctrl_cmd_t local{};
		config_proc_CAMERA_START_PREVIEW(ctrl, &local);
	}
	std::fprintf(stderr, "vfeconfig_process_DSP_VFETASK_MSG_VFE_STOP_ACK: new ctrl->state is %d\n",
		     static_cast<int>(ctrl->state));
}

void on_snapshot_done(config_ctrl_t *ctrl)
{
	if (ctrl->state == CAMERA_STATE_SNAPSHOT_RUNNING) {
		ctrl->state = CAMERA_STATE_SNAPSHOT_STOPPED;
		if (ctrl->sensorCtrl.output_format == SENSOR_BAYER && get_led_mode() == 1)
			aec_LED_reset(&ctrl->isp3aCtrl);
	} else if (ctrl->state == CAMERA_STATE_RAW_SNAPSHOT_RUNNING)
		ctrl->state = CAMERA_STATE_RAW_SNAPSHOT_STOPPED;
}

void on_update_ack(config_ctrl_t *ctrl)
{
	vfe_ctrl_t &v = ctrl->vfeCtrl;
	v.InVfeUpdate = 0;
	// Detach the stored list before draining it: a command stored again
	// while we drain joins the next round instead of this loop.
	std::array<vfe_stored_cmd_t, VFE_STORED_MAX> drained = v.stored;
	uint32_t n = v.stored_count;
	v.stored_count = 0;
	for (uint32_t i = 0; i < n && i < drained.size(); ++i)
		vfe_util_sendcmd(drained[i].cmd_type, drained[i].record, drained[i].length, drained[i].queue);
	std::fprintf(stderr, "====== Update ACK: ctrl->state = %d, vfectrl->stats_state = %d =====\n",
		     static_cast<int>(ctrl->state), static_cast<int>(v.stats_state));
	switch (v.stats_state) {
	case 1: v.stats_state = 2; break;
	case 2:
		// The disable is in: the new bounds go out as they stand.
		v.stats_state = 3;
		vfe_update_stats_config(&v, vfe_stats_bounds_of(v.vcmd->VFE_StatsWB_EXP_UpdateCmd));
		break;
	case 3:
	case 5: v.stats_state = 6; break;
	case 4: v.stats_state = 5; break;
	default: break;
	}
}

void on_output(config_ctrl_t *ctrl)
{
	vfe_ctrl_t &v = ctrl->vfeCtrl;
	zoom_ctrl_t &z = ctrl->zoomCtrl;
	std::fprintf(stderr, "OUTPUT IND!!!!!!!!!!!!!\n");
	if (z.zoom_vfe_update_zoom && zoom_vfe(ctrl)) {
		vfe_util_update_fovcrop(z.crop_first_pixel, z.crop_last_pixel, z.crop_first_line, z.crop_last_line);
		vfe_util_updatescaleoutput(ctrl, z.crop_out_x, z.crop_out_y);
		vfe_util_sharpness_afilter(ctrl);
		z.zoom_vfe_update_zoom = 0;
		if (ctrl->sensorCtrl.output_format == SENSOR_BAYER && v.stats_state == 0)
			vfe_util_updatestatssend(&v, VFE_STATS_ENABLE);
	}
	if (v.restart && v.vfeStopFn)
		v.vfeStopFn(ctrl->camfd, &ctrl->state, &v);
}

// The statistics go to 3A on a Bayer sensor; here the buffer is given back
// so the DSP can fill it again.
void on_stats(config_ctrl_t *ctrl, const vfe_msg_t *msg, int32_t buffer_type)
{
	vfe_stats_msg_t body{};
	if (msg->data)
		std::memcpy(&body, msg->data, sizeof body);
	std::fprintf(stderr, buffer_type ? "received AF stats: buf = %lu, fd = %d\n" : "received stats: buf = 0x%lx, fd = %d\n",
		     static_cast<unsigned long>(reinterpret_cast<uintptr_t>(body.buf)), static_cast<int>(body.fd));
	const isp3a_ctrl_t &c = ctrl->isp3aCtrl;
	if (ctrl->sensorCtrl.output_format == SENSOR_BAYER)
		isp3a_vfe_stats_msg(ctrl, buffer_type, body.fd);
	else if (ctrl->vfeCtrl.stats_skip)
		ctrl->vfeCtrl.stats_skip = 0;
	auto released = static_cast<unsigned long>(reinterpret_cast<uintptr_t>(body.buf));
	if (buffer_type)
		std::fprintf(stderr, "curAfBuf = %d, releasing AF STATS buffer = %lu\n", c.curAfBuf, released);
	else
		std::fprintf(stderr, "curAwbAecBuf = %d, releasing STATS buffer = 0x%lx\n", static_cast<int>(c.curAwbAecBuf),
			     released);
	msm_stats_buf release{buffer_type, body.buf, body.fd};
	plat::ioctl(ctrl->camfd, MSM_CAM_IOCTL_RELEASE_STATS_BUFFER, &release);
}

void on_error(const vfe_msg_t *msg)
{
	std::array<uint32_t, 2> body{};
	if (msg->data)
		std::memcpy(body.data(), msg->data, sizeof body);
	static constexpr const char *names[] = {"CAMIF_Error              = %d\n", "output1YBusOverflow      = %d\n",
						"output1CbCrBusOverflow   = %d\n", "output2YBusOverflow      = %d\n",
						"output2CbCrBusOverflow   = %d\n", "autofocusStatBusOverflow = %d\n",
						"WB_EXPStatBusOverflow    = %d\n", "AXIError                 = %d\n"};
	for (unsigned i = 0; i < 8; ++i)
		std::fprintf(stderr, names[i], static_cast<int>((body[0] >> i) & 1));
	std::fprintf(stderr, "CAMIF_Staus              = %d\n", static_cast<int>(body[1] & 1));
	std::fprintf(stderr, "pixel_count              = %d\n", static_cast<int>((body[1] >> 1) & 0x3FFF));
	std::fprintf(stderr, "line_count               = %d\n", static_cast<int>((body[1] >> 15) & 0x3FFF));
}

}  // namespace

int vfe_proc_vfe_msg(const vfe_msg_t *msg, config_ctrl_t *ctrl)
{
	switch (msg->msgId) {
	case VFE_RESET_ACK: on_reset_ack(ctrl); break;
	case VFE_STOP_ACK: on_stop_ack(ctrl); break;
	case VFE_SNAPSHOT_DONE: on_snapshot_done(ctrl); break;
	case VFE_START_ACK: on_start_ack(ctrl); break;
	case VFE_UPDATE_ACK:
		std::fprintf(stderr, "Calling  vfe_process_msg_evt \n");
		on_update_ack(ctrl);
		std::fprintf(stderr, "vfe_process_msg_evt Done \n");
		break;
	case VFE_OUTPUT1:
	case VFE_OUTPUT2: on_output(ctrl); break;
	case VFE_STATS_AUTOFOCUS: on_stats(ctrl, msg, 1); break;
	case VFE_STATS_WB_EXP: on_stats(ctrl, msg, 0); break;
	case VFE_ERROR: on_error(msg); break;
	default: break;  // illegal command, histogram and unknown ids: logged by the caller
	}
	return 0;
}

int vfe_proc_vfe_evt(const vfe_msg_t *msg, config_ctrl_t *ctrl)
{
	if (msg->msgId == ADSP_RTOS_MOD_READY) {
		vfe_ctrl_t &v = ctrl->vfeCtrl;
		if (v.vfeEnableFn && v.vfeEnableFn(ctrl) && ctrl->state == CAMERA_STATE_TASKS_READY) {
			std::fprintf(stderr, "Reset VFE!\n");
			if (!v.vfeResetFn || !v.vfeResetFn(ctrl->camfd, &ctrl->state, &v))
				std::fprintf(stderr, "vfeResetFn failed!\n");
		}
	}
	std::fprintf(stderr, "Done  vfe_proc_vfe_evt\n");
	return 0;
}

}  // namespace cam
