// cam_conf: the configuration thread. It takes one event at a time from the
// camera driver and hands it to its handler; everything in camera control
// runs here, so cfgctrl needs no lock.
#include "camera/config/config.h"

#include <array>
#include <cstdio>
#include <fcntl.h>

#include "platform/platform.h"

namespace cam {

config_ctrl_t cfgctrl{};
std::atomic<conf_phase> cam_conf_phase{conf_phase::ended};

void config_reset()
{
	cfgctrl = config_ctrl_t{};
	led_ctrl_p = nullptr;
}

namespace {

constexpr uint32_t GET_STATS_TIMEOUT_MS = 200000;
// A driver that answers GET_STATS at once with nothing would make the loop
// spin; it waits this long before asking again.
constexpr unsigned EMPTY_EVENT_BACKOFF_US = 10000;

struct event_buffers {
	std::array<uint8_t, CTRL_VALUE_MAX> value{};
	std::array<uint8_t, CTRL_VALUE_MAX> msg{};
};

// The loop proper; returns when CAMERA_EXIT has been answered.
void config_duty_loop(stats_event_t &event, event_buffers &buffers)
{
	for (;;) {
		std::fprintf(stderr, "...... entering config duty loop ...... \n");
		// A handler may have repointed value (the dimension answer): the
		// driver must write into our own buffer again. The length is left
		// alone: a held stop answers with its own.
		event.ctrl_cmd.value = buffers.value.data();
		event.vfe_msg.data = buffers.msg.data();
		if (plat::ioctl(cfgctrl.camfd, MSM_CAM_IOCTL_GET_STATS, &event) <= 0) {
			plat::usleep(EMPTY_EVENT_BACKOFF_US);
			continue;
		}
		std::fprintf(stderr, "cam_conf:MSM_CAM_IOCTL_GET_STATS: resptype=%d ctrl_cmd.value=%p \n",
			     static_cast<int>(event.resptype), event.ctrl_cmd.value);
		switch (event.resptype) {
		case RESP_CTRL:
			config_proc_ctrl_command(&cfgctrl, &event.ctrl_cmd);
			if (event.ctrl_cmd.type == CAMERA_EXIT)
				return;
			break;
		case RESP_VFE:
			config_proc_vfe_event_message(&cfgctrl, &event.vfe_msg);
			break;
		case RESP_V4L2:
			config_proc_v4l2_request(&cfgctrl, &event.ctrl_cmd);
			// The V4L2 numbering stops at 6, so this never fires on a
			// well-formed request; kept as the loop has always had it.
			if (event.ctrl_cmd.type == CAMERA_EXIT)
				return;
			break;
		default:
			std::fprintf(stderr, "Invalid response type = %d \n", static_cast<int>(event.resptype));
			break;
		}
		config_check_vfe_update(&cfgctrl);
	}
}

}  // namespace

void *cam_conf(void *)
{
	cam_conf_phase = conf_phase::probing;
	cfgctrl.camfd = plat::open("/dev/msm_camera0", O_RDWR);
	if (cfgctrl.camfd < 0) {
		std::fprintf(stderr, "cam_conf open driver failed!\n");
		cam_conf_phase = conf_phase::ended;
		return nullptr;
	}
	try {
		if (config_init_ctrl()) {
			// The event record and its buffers live on this thread's stack;
			// a held stop points into it until its acknowledgement.
			event_buffers buffers;
			stats_event_t event{};
			event.timeout_ms = GET_STATS_TIMEOUT_MS;
			event.ctrl_cmd.length = CTRL_VALUE_MAX;
			cfgctrl.state = CAMERA_STATE_IDLE;
			cam_conf_phase = conf_phase::serving;
			config_duty_loop(event, buffers);
			std::fprintf(stderr, "cam_conf: CAMERA_EXIT\n");
		}
	} catch (...) {
		// Nothing here throws by design; should it, the thread ends cleanly
		// rather than take the daemon down.
		std::fprintf(stderr, "cam_conf: unexpected failure, ending\n");
	}
	cfgctrl.ctrlCmd = nullptr;
	config_free_ctrl();
	plat::close(cfgctrl.camfd);
	cfgctrl.camfd = -1;
	cam_conf_phase = conf_phase::ended;
	return nullptr;
}

bool config_init_ctrl()
{
	config_ctrl_t *ctrl = &cfgctrl;
	effects_init(&ctrl->effectsCtrl);
	if (sensor_get_info(SENSOR_OP_MODE_INIT, ctrl) == 0) {
		std::fprintf(stderr, "config_init_ctrl: cam_conf_get_sensor_info failed!\n");
		return false;
	}
	vfe_init(ctrl);
	zoom_init_ctrl(&ctrl->zoomCtrl);
	if (ctrl->sensorCtrl.output_format == SENSOR_BAYER && !isp3a_init_ctrl(ctrl)) {
		std::fprintf(stderr, "isp3a_init_ctrl failed\n");
		return false;
	}
	return true;
}

void config_free_ctrl()
{
	if (cfgctrl.sensorCtrl.output_format == SENSOR_BAYER)
		isp3a_free_ctrl(&cfgctrl);
	// After a failed probe the LED record was never set up.
	if (cfgctrl.sensorCtrl.flash_enabled && led_ctrl_p)
		set_led_mode(0);
	led_ctrl_p = nullptr;
}

void config_check_vfe_update(config_ctrl_t *ctrl)
{
	vfe_ctrl_t &vfe = ctrl->vfeCtrl;
	std::fprintf(stderr, "check update: vfeCtrl->VfeUpdate = %d,  vfeCtrl->state = %d\n", vfe.VfeUpdate,
		     static_cast<int>(ctrl->state));
	bool running = ctrl->state == CAMERA_STATE_PREVIEW_RUNNING || ctrl->state == CAMERA_STATE_SNAPSHOT_RUNNING ||
		       ctrl->state == CAMERA_STATE_RAW_SNAPSHOT_RUNNING;
	if (running && vfe.VfeUpdate == 1 && vfe.vfeUpdateFn) {
		vfe.vfeUpdateFn(ctrl);
		vfe.InVfeUpdate = 1;
		vfe.VfeUpdate = 0;
	}
}

int config_cmd_done(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	return plat::ioctl(ctrl->camfd, MSM_CAM_IOCTL_CTRL_CMD_DONE, cmd);
}

void config_proc_vfe_event_message(config_ctrl_t *ctrl, const vfe_msg_t *msg)
{
	switch (msg->type) {
	case 0:
		std::fprintf(stderr, "camconfig_proc_vfe_event_message received msgId = %d\n", msg->msgId);
		vfe_proc_vfe_msg(msg, ctrl);
		break;
	case 1:
		std::fprintf(stderr, "camconfig_state_process_vfe_event_message received msgId = %d\n", msg->msgId);
		vfe_proc_vfe_evt(msg, ctrl);
		break;
	default:
		break;
	}
}

}  // namespace cam
