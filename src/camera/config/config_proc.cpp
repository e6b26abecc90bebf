// The control commands that move the camera through its states, and the
// V4L2 requests that stand for them.
#include <array>
#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "camera/config/config.h"

namespace cam {

namespace {

bool state_in(const config_ctrl_t *ctrl, std::initializer_list<uint32_t> legal)
{
	for (uint32_t s : legal)
		if (ctrl->state == s)
			return true;
	return false;
}

bool reset(config_ctrl_t *ctrl)
{
	vfe_ctrl_t &vfe = ctrl->vfeCtrl;
	return vfe.vfeResetFn && vfe.vfeResetFn(ctrl->camfd, &ctrl->state, &vfe);
}

bool stop(config_ctrl_t *ctrl)
{
	vfe_ctrl_t &vfe = ctrl->vfeCtrl;
	ctrl->stop_sent = vfe.vfeStopFn && vfe.vfeStopFn(ctrl->camfd, &ctrl->state, &vfe);
	return ctrl->stop_sent;
}

}  // namespace

bool config_proc_CAMERA_START_PREVIEW(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	vfe_ctrl_t &vfe = ctrl->vfeCtrl;
	cmd->status = 1;
	std::fprintf(stderr, "config_proc_CAMERA_START_PREVIEW: ctrl->state = %d\n", static_cast<int>(ctrl->state));
	if (!state_in(ctrl, {CAMERA_STATE_IDLE, CAMERA_STATE_PREVIEW_STOPPED, CAMERA_STATE_SNAPSHOT_STOPPED,
			     CAMERA_STATE_RAW_SNAPSHOT_STOPPED})) {
		cmd->status = 0;
		std::fprintf(stderr, "CAMERA_START_PREVIEW illegal state, ctrl->state = %d\n", static_cast<int>(ctrl->state));
	}
	if (ctrl->state == CAMERA_STATE_IDLE) {
		vfe.vfeMode = VFE_MODE_PREVIEW;
		if (!vfe.vfeEnableFn || !vfe.vfeEnableFn(ctrl)) {
			std::fprintf(stderr, "vfeEnableFn failed!\n");
			cmd->status = 0;
		}
		return cmd->status == 1;
	}
	vfe.vfeMode = VFE_MODE_PREVIEW;
	vfe.InVfeUpdate = 0;
	std::fprintf(stderr, "Restarting preview after Snapshot, ctrl->state = %d\n", static_cast<int>(ctrl->state));
	if (!reset(ctrl)) {
		std::fprintf(stderr, "vfeResetFn failed!\n");
		cmd->status = 0;
	}
	return cmd->status == 1;
}

bool config_proc_CAMERA_STOP_PREVIEW(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	cmd->status = 1;
	std::fprintf(stderr, "config_proc_CAMERA_STOP_PREVIEW: ctrl->state = %d\n", static_cast<int>(ctrl->state));
	if (!state_in(ctrl, {CAMERA_STATE_IDLE, CAMERA_STATE_PREVIEW_RUNNING})) {
		cmd->status = 0;
		std::fprintf(stderr, "config_proc_CAMERA_STOP_PREVIEW: state is not correct ctrl->state = %d\n",
			     static_cast<int>(ctrl->state));
	}
	if (!stop(ctrl)) {
		std::fprintf(stderr, "config_proc_CAMERA_STOP_PREVIEW:%d vfeStopFn failed!\n", 927);
		cmd->status = 0;
	}
	if (ctrl->sensorCtrl.output_format == SENSOR_BAYER) {
		isp3a_misc_t m{ISP3A_MISC_STOP_PREVIEW, {0, 0}};
		isp3a_miscs_execution(ctrl, &m);
	}
	return cmd->status == 1;
}

bool config_proc_CAMERA_START_SNAPSHOT(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	cmd->status = 1;
	std::fprintf(stderr, "config_proc_CAMERA_START_SNAPSHOT: ctrl->state = %d\n", static_cast<int>(ctrl->state));
	ctrl->vfeCtrl.vfeMode = VFE_MODE_SNAPSHOT;
	if (!state_in(ctrl, {CAMERA_STATE_PREVIEW_STOPPED, CAMERA_STATE_SNAPSHOT_STOPPED,
			     CAMERA_STATE_RAW_SNAPSHOT_STOPPED})) {
		cmd->status = 0;
		std::fprintf(stderr, "config_proc_CAMERA_START_SNAPSHOT: state is not correct ctrl->state = %d\n",
			     static_cast<int>(ctrl->state));
		return false;
	}
	if (!reset(ctrl)) {
		std::fprintf(stderr, "vfeResetFn failed!\n");
		cmd->status = 0;
	}
	return cmd->status == 1;
}

bool config_proc_CAMERA_START_RAW_SNAPSHOT(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	cmd->status = 1;
	std::fprintf(stderr, "config_proc_CAMERA_START_RAW_SNAPSHOT: ctrl->state = %d\n", static_cast<int>(ctrl->state));
	ctrl->vfeCtrl.vfeMode = VFE_MODE_RAW_SNAPSHOT;
	if (!state_in(ctrl, {CAMERA_STATE_IDLE, CAMERA_STATE_PREVIEW_STOPPED, CAMERA_STATE_SNAPSHOT_STOPPED,
			     CAMERA_STATE_RAW_SNAPSHOT_STOPPED})) {
		cmd->status = 0;  // refused without a word: the entry line above says the state
		return false;
	}
	if (!reset(ctrl)) {
		std::fprintf(stderr, "vfeResetFn failed!\n");
		cmd->status = 0;
	}
	return cmd->status == 1;
}

bool config_proc_CAMERA_STOP_SNAPSHOT(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	cmd->status = 1;
	std::fprintf(stderr, "config_proc_CAMERA_STOP_SNAPSHOT: ctrl->state = %d\n", static_cast<int>(ctrl->state));
	if (!state_in(ctrl, {CAMERA_STATE_SNAPSHOT_RUNNING, CAMERA_STATE_RAW_SNAPSHOT_RUNNING})) {
		cmd->status = 0;
		std::fprintf(stderr, "config_proc_CAMERA_STOP_SNAPSHOT: state is not correct ctrl->state = %d\n",
			     static_cast<int>(ctrl->state));
	}
	if (!stop(ctrl)) {
		std::fprintf(stderr, "config_proc_CAMERA_STOP_SNAPSHOT:%d vfeStopFn failed!\n", 1021);
		cmd->status = 0;
	}
	return cmd->status == 1;
}

void config_hold_stop(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	if (ctrl->stop_sent) {
		ctrl->ctrlCmd = cmd;
		return;
	}
	// No VFE_STOP went out, so no acknowledgement will come: the client
	// would wait out its whole time-out for nothing.
	std::fprintf(stderr, "stop not sent, answering at once, status = %d\n", cmd->status);
	config_cmd_done(ctrl, cmd);
}

bool config_proc_MSM_V4L2_STOP_SNAPSHOT_I(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	std::fprintf(stderr, "config_proc_MSM_V4L2_STOP_SNAPSHOT_I \n");
	return config_proc_CAMERA_STOP_SNAPSHOT(ctrl, cmd);
}

namespace {

constexpr uint32_t V4L2_CTRL_FLAG_NEXT_CTRL = 0x80000000u;
constexpr uint32_t V4L2_CID_BRIGHTNESS = 0x980900;
constexpr uint32_t V4L2_CID_CONTRAST = 0x980901;
constexpr uint32_t V4L2_CID_SATURATION = 0x980902;
constexpr uint32_t V4L2_CID_HUE = 0x980903;
constexpr uint32_t V4L2_CID_AFTER_HUE = 0x980910;

struct v4l2_queryctrl {
	uint32_t id;
	uint32_t type;
	uint8_t name[32];
	int32_t minimum, maximum, step, default_value;
	uint32_t flags;
};
static_assert(sizeof(v4l2_queryctrl) == 60);

void vid_cap_type(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	std::array<uint32_t, 3> fmt{};
	std::memcpy(fmt.data(), cmd->value, sizeof fmt);
	cam_ctrl_dimension_t d{};
	d.picture_width = d.orig_picture_dx = static_cast<uint16_t>(fmt[1]);
	d.picture_height = d.orig_picture_dy = static_cast<uint16_t>(fmt[2]);
	d.display_width = 800;
	d.display_height = 480;
	d.thumbnail_width = d.ui_thumbnail_width = 320;
	d.thumbnail_height = d.ui_thumbnail_height = 240;
	std::array<uint16_t, 14> words{};
	std::memcpy(words.data(), &d, sizeof d);
	cmd->status = vfe_set_dimension(ctrl, words.data());
}

void query_ctrl(ctrl_cmd_t *cmd)
{
	v4l2_queryctrl q{};
	std::memcpy(&q, cmd->value, sizeof q);
	if (q.id & V4L2_CTRL_FLAG_NEXT_CTRL) {
		switch (q.id & ~V4L2_CTRL_FLAG_NEXT_CTRL) {
		case V4L2_CID_BRIGHTNESS: q.id = V4L2_CID_CONTRAST; break;
		case V4L2_CID_CONTRAST: q.id = V4L2_CID_SATURATION; break;
		case V4L2_CID_SATURATION: q.id = V4L2_CID_HUE; break;
		case V4L2_CID_HUE: q.id = V4L2_CID_AFTER_HUE; break;
		default: return;
		}
	}
	if (q.id == V4L2_CID_BRIGHTNESS) {
		q.type = 1;
		std::memcpy(q.name, "Brightness", 10);  // not terminated here
		q.minimum = q.maximum = q.step = q.default_value = 0;
		q.flags = 0;
	}
	std::memcpy(cmd->value, &q, sizeof q);
}

void set_ctrl(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	std::array<uint32_t, 2> idv{};
	std::memcpy(idv.data(), cmd->value, sizeof idv);
	std::fprintf(stderr, "config_proc_MSM_V4L2_SET_CTRL: id = %d \n", static_cast<int>(idv[0]));
	if (idv[0] < V4L2_CID_BRIGHTNESS || idv[0] > V4L2_CID_HUE) {
		cmd->status = 22;
		return;
	}
	void *buffer = cmd->value;
	cmd->value = static_cast<uint8_t *>(buffer) + 4;
	bool r = false;
	switch (idv[0]) {
	case V4L2_CID_BRIGHTNESS: r = config_proc_CAMERA_SET_PARM_BRIGHTNESS(ctrl, cmd); break;
	case V4L2_CID_CONTRAST: r = config_proc_CAMERA_SET_PARM_CONTRAST(ctrl, cmd); break;
	case V4L2_CID_SATURATION: r = config_proc_CAMERA_SET_PARM_SATURATION(ctrl, cmd); break;
	default: r = config_proc_CAMERA_SET_PARM_HUE(ctrl, cmd); break;
	}
	// The answer's bytes are read from value: point it back at the whole
	// buffer so the driver never reads past its end.
	cmd->value = buffer;
	if (r)
		cmd->status = 0;  // in this path 0 is success
}

}  // namespace

void config_proc_v4l2_request(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	std::fprintf(stderr, "camconfig_proc_v4l2_request, type = %d\n", cmd->type);
	if (cmd->value) {
		switch (cmd->type) {
		case MSM_V4L2_VID_CAP_TYPE: vid_cap_type(ctrl, cmd); break;
		case MSM_V4L2_STREAM_ON: config_proc_CAMERA_START_PREVIEW(ctrl, cmd); break;
		case MSM_V4L2_STREAM_OFF: config_proc_CAMERA_STOP_PREVIEW(ctrl, cmd); break;
		case MSM_V4L2_SNAPSHOT: config_proc_CAMERA_START_SNAPSHOT(ctrl, cmd); break;
		case MSM_V4L2_QUERY_CTRL: query_ctrl(cmd); break;
		case MSM_V4L2_SET_CTRL: set_ctrl(ctrl, cmd); break;
		default: break;
		}
	}
	std::fprintf(stderr,
		     "camconfig_proc_v4l2_request sending MSM_CAM_IOCTL_CTRL_CMD_DONE to kernel!, length = %d, status = %d\n",
		     cmd->length, cmd->status);
	if (cmd->type == MSM_V4L2_STREAM_OFF)
		config_hold_stop(ctrl, cmd);
	else
		config_cmd_done(ctrl, cmd);
}

}  // namespace cam
