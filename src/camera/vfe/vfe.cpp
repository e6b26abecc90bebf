// The VFE operations that the state machine calls: enable, reset, start,
// stop, update; and the set-up of the VFE record.
#include "camera/vfe/vfe.h"

#include <cstdio>
#include <cstring>

#include "camera/config/config.h"
#include "platform/platform.h"

namespace cam {

void vfe_trigger_init(vfe_trigger_t *trigger)
{
	trigger->value = {1, 1, 1, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, 0, 1};
}

void vfe_init(config_ctrl_t *ctrl)
{
	vfe_ctrl_t &v = ctrl->vfeCtrl;
	v = vfe_ctrl_t{};
	v.vfeMode = VFE_MODE_PREVIEW;
	v.stats_state = 0;
	v.vcmd = &vfe_cmd_block;
	v.stats_skip = 1;
	v.hjr_enable = 0;
	v.stored_count = 0;
	vfe_util_init(&v, &ctrl->sensorCtrl);
	vfe_trigger_init(&ctrl->trigger);
	for (int i = 0; i < 3; ++i)
		ctrl->isp3aCtrl.wb_gain[i] = ctrl->sensorCtrl.wb.gain[i] / 128.0f;
	v.sharpness = 1.0f;
	v.downscale_factor = 1.0f;
	v.asf_limits[0] = 4.0f;
	v.asf_limits[1] = 0.5f;
	v.asf_limits[2] = 2.0f;
	v.restart = 0;
	v.vfeEnableFn = vfe_enable_vfe;
	v.vfeDisableFn = vfe_disable_vfe;
	v.vfeResetFn = vfe_reset_vfe;
	v.vfeStopFn = vfe_stop_vfe;
	v.vfeStartFn = vfe_start_vfe;
	v.vfePreviewConfigFn = vfe_preview_config;
	v.vfeSnapshotConfigFn = vfe_snapshot_config;
	v.vfeRawSnapshotConfigFn = vfe_snapshot_raw_config;
	v.vfeStatsUpdateFn = vfe_stats_update;
	v.vfeUpdateFn = vfe_vfe_update;
}

// The state counts the enable steps: QCAMTASK, then VFETASK, then ready.
bool vfe_enable_vfe(config_ctrl_t *ctrl)
{
	char name[32] = {};
	uint32_t next = ctrl->state;
	switch (ctrl->state) {
	case CAMERA_STATE_IDLE:
		std::strcpy(name, "QCAMTASK");
		next = CAMERA_STATE_QCAMTASK_ENABLED;
		break;
	case CAMERA_STATE_QCAMTASK_ENABLED:
		std::strcpy(name, "VFETASK");
		next = CAMERA_STATE_VFETASK_ENABLED;
		break;
	case CAMERA_STATE_VFETASK_ENABLED:
		ctrl->state = CAMERA_STATE_TASKS_READY;
		return true;
	default:
		break;  // an empty name: the driver refuses it, the state stays
	}
	camera_enable_cmd_t cmd{name, sizeof name};
	if (plat::ioctl(ctrl->camfd, MSM_CAM_IOCTL_ENABLE_VFE, &cmd) < 0)
		return false;
	ctrl->state = next;
	return true;
}

int vfe_disable_vfe(int camfd)
{
	char qcam[32] = "QCAMTASK";
	char vfe[32] = "VFETASK";
	camera_enable_cmd_t a{qcam, sizeof qcam}, b{vfe, sizeof vfe};
	if (plat::ioctl(camfd, MSM_CAM_IOCTL_DISABLE_VFE, &a) < 0 || plat::ioctl(camfd, MSM_CAM_IOCTL_DISABLE_VFE, &b) < 0)
		return -1;
	return 1;
}

namespace {

// The reset and stop rows of the state table, by vfeMode.
bool state_by_mode(uint32_t mode, uint32_t *state, uint32_t preview, uint32_t snapshot, uint32_t raw)
{
	switch (mode) {
	case VFE_MODE_PREVIEW:
	case VFE_MODE_PREVIEW_ALT: *state = preview; return true;
	case VFE_MODE_SNAPSHOT: *state = snapshot; return true;
	case VFE_MODE_RAW_SNAPSHOT: *state = raw; return true;
	default: return false;
	}
}

}  // namespace

bool vfe_reset_vfe(int, uint32_t *state, vfe_ctrl_t *vfe)
{
	vfe->vcmd->VFE_ResetCmd = VFE_DefaultResetCmd;
	if (vfe_util_send(vfe->vcmd->VFE_ResetCmd, VFE_QUEUE_CMD) != VFE_SENT)
		return false;
	return state_by_mode(vfe->vfeMode, state, CAMERA_STATE_PREVIEW_RESET_SENT, CAMERA_STATE_SNAPSHOT_RESET_SENT,
			     CAMERA_STATE_RAW_SNAPSHOT_RESET_SENT);
}

bool vfe_stop_vfe(int, uint32_t *state, vfe_ctrl_t *vfe)
{
	vfe->vcmd->VFE_StopCmd = VFE_DefaultStopCmd;
	int rc = vfe_util_send(vfe->vcmd->VFE_StopCmd, VFE_QUEUE_CMD);
	std::fprintf(stderr, "vfe_stop_vfe:  vfe_util_sendcmd: rc = %d \n", rc);
	bool ok = rc == VFE_SENT && state_by_mode(vfe->vfeMode, state, CAMERA_STATE_PREVIEW_STOP_SENT,
						    CAMERA_STATE_SNAPSHOT_STOP_SENT, CAMERA_STATE_RAW_SNAPSHOT_STOP_SENT);
	std::fprintf(stderr, "vfe_stop_vfe: *(config_state_t *)state = %d \n", static_cast<int>(*state));
	return ok;
}

bool vfe_start_vfe(int, uint32_t *state, vfe_ctrl_t *vfe)
{
	std::fprintf(stderr, "Calling  vfe_start_vfe\n");
	int rc = vfe_util_send(vfe->vcmd->VFE_StartCmd, VFE_QUEUE_CMD);
	std::fprintf(stderr, "vfe_start_vfe: *(config_state_t *)state %d,  rc %d\n", static_cast<int>(*state), rc);
	if (rc != VFE_SENT)
		return false;
	switch (*state) {
	case CAMERA_STATE_PREVIEW_VFE_RESET:
		std::fprintf(stderr, "vfe_start_vfe: CAMERA_STATE_PREVIEW_VFE_RESET\n");
		*state = CAMERA_STATE_PREVIEW_START_SENT;
		return true;
	case CAMERA_STATE_SNAPSHOT_VFE_RESET:
		std::fprintf(stderr, "vfe_start_vfe: CAMERA_STATE_SNAPSHOT_VFE_RESET\n");
		*state = CAMERA_STATE_SNAPSHOT_START_SENT;
		return true;
	case CAMERA_STATE_RAW_SNAPSHOT_VFE_RESET:
		std::fprintf(stderr, "vfe_start_vfe: CAMERA_STATE_RAW_SNAPSHOT_VFE_RESET\n");
		*state = CAMERA_STATE_RAW_SNAPSHOT_START_SENT;
		return true;
	default:
		std::fprintf(stderr, "Default state\n");
		return false;
	}
}

bool vfe_vfe_update(config_ctrl_t *ctrl)
{
	std::fprintf(stderr, " ===  vfe_vfe_update === \n");
	ctrl->vfeCtrl.vcmd->VFE_UpdateCmd = VFE_DefaultUpdateCmd;
	return vfe_util_send(ctrl->vfeCtrl.vcmd->VFE_UpdateCmd, VFE_QUEUE_CMD) != VFE_SEND_FAILED;
}

}  // namespace cam
