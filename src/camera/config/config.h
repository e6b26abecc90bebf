// The configuration thread of the camera: the one control record, the state
// machine, and the dispatch of the driver's events.
#pragma once

#include <atomic>
#include <cstdint>

#include "camera/config/effects.h"
#include "camera/isp3a/isp3a.h"
#include "camera/msm_camera.h"
#include "camera/sensor/sensor.h"
#include "camera/vfe/vfe.h"
#include "camera/vfe/zoom.h"

namespace cam {

enum config_state_t : uint32_t {
	CAMERA_STATE_IDLE = 0,
	CAMERA_STATE_QCAMTASK_ENABLED = 1,
	CAMERA_STATE_VFETASK_ENABLED = 2,
	CAMERA_STATE_TASKS_READY = 3,
	CAMERA_STATE_PREVIEW_RESET_SENT = 4,
	CAMERA_STATE_PREVIEW_VFE_RESET = 5,
	CAMERA_STATE_PREVIEW_STOP_SENT = 6,
	CAMERA_STATE_PREVIEW_STOPPED = 7,
	CAMERA_STATE_PREVIEW_START_SENT = 8,
	CAMERA_STATE_PREVIEW_RUNNING = 9,
	CAMERA_STATE_SNAPSHOT_RESET_SENT = 10,
	CAMERA_STATE_SNAPSHOT_VFE_RESET = 11,
	CAMERA_STATE_SNAPSHOT_STOP_SENT = 12,
	CAMERA_STATE_SNAPSHOT_STOPPED = 13,
	CAMERA_STATE_SNAPSHOT_START_SENT = 14,
	CAMERA_STATE_SNAPSHOT_RUNNING = 15,
	CAMERA_STATE_RAW_SNAPSHOT_RESET_SENT = 16,
	CAMERA_STATE_RAW_SNAPSHOT_VFE_RESET = 17,
	CAMERA_STATE_RAW_SNAPSHOT_STOP_SENT = 18,
	CAMERA_STATE_RAW_SNAPSHOT_STOPPED = 19,
	CAMERA_STATE_RAW_SNAPSHOT_START_SENT = 20,
	CAMERA_STATE_RAW_SNAPSHOT_RUNNING = 21,
};

// Control command numbers.
enum : uint16_t {
	CAMERA_SET_PARM_DISPLAY_INFO = 0,
	CAMERA_SET_PARM_DIMENSION = 1,
	CAMERA_SET_PARM_ZOOM = 2,
	CAMERA_SET_PARM_SENSOR_POSITION = 3,
	CAMERA_SET_PARM_FOCUS_RECT = 4,
	CAMERA_SET_PARM_LUMA_ADAPTATION = 5,
	CAMERA_SET_PARM_CONTRAST = 6,
	CAMERA_SET_PARM_BRIGHTNESS = 7,
	CAMERA_SET_PARM_EXPOSURE_COMPENSATION = 8,
	CAMERA_SET_PARM_SHARPNESS = 9,
	CAMERA_SET_PARM_HUE = 10,
	CAMERA_SET_PARM_SATURATION = 11,
	CAMERA_SET_PARM_EXPOSURE = 12,
	CAMERA_SET_PARM_AUTO_FOCUS = 13,
	CAMERA_SET_PARM_WB = 14,
	CAMERA_SET_PARM_EFFECT = 15,
	CAMERA_SET_PARM_FPS = 16,
	CAMERA_SET_PARM_FLASH = 17,
	CAMERA_SET_PARM_NIGHTSHOT_MODE = 18,
	CAMERA_SET_PARM_REFLECT = 19,
	CAMERA_SET_PARM_PREVIEW_MODE = 20,
	CAMERA_SET_PARM_ANTIBANDING = 21,
	CAMERA_SET_PARM_RED_EYE_REDUCTION = 22,
	CAMERA_SET_PARM_FOCUS_STEP = 23,
	CAMERA_SET_PARM_EXPOSURE_METERING = 24,
	CAMERA_SET_PARM_AUTO_EXPOSURE_MODE = 25,
	CAMERA_SET_PARM_ISO = 26,
	CAMERA_SET_PARM_BESTSHOT_MODE = 27,
	CAMERA_SET_PARM_ENCODE_ROTATION = 28,
	CAMERA_SET_PARM_PREVIEW_FPS = 29,
	CAMERA_SET_PARM_AF_MODE = 30,
	CAMERA_SET_PARM_HISTOGRAM = 31,
	CAMERA_SET_PARM_FLASH_STATE = 32,
	CAMERA_SET_PARM_FRAME_TIMESTAMP = 33,
	CAMERA_SET_PARM_STROBE_FLASH = 34,
	CAMERA_SET_PARM_FPS_LIST = 35,
	CAMERA_SET_PARM_HJR = 36,
	CAMERA_SET_PARM_ROLLOFF = 37,
	CAMERA_STOP_PREVIEW = 38,
	CAMERA_START_PREVIEW = 39,
	CAMERA_START_SNAPSHOT = 40,
	CAMERA_START_RAW_SNAPSHOT = 41,
	CAMERA_STOP_SNAPSHOT = 42,
	CAMERA_EXIT = 43,
	CAMERA_GET_PARM_MAXZOOM = 47,
	CAMERA_GET_PARM_AF_SHARPNESS = 48,
	CAMERA_SET_PARM_LED_MODE = 49,
};

// V4L2 requests (resptype 2), on the same type field.
enum : uint16_t {
	MSM_V4L2_VID_CAP_TYPE = 0,
	MSM_V4L2_STREAM_ON = 1,
	MSM_V4L2_STREAM_OFF = 2,
	MSM_V4L2_SNAPSHOT = 3,
	MSM_V4L2_QUERY_CTRL = 4,
	MSM_V4L2_GET_CTRL = 5,
	MSM_V4L2_SET_CTRL = 6,
};

// The client's dimension record: sixteen-bit fields, then one 32-bit word.
struct cam_ctrl_dimension_t {
	uint16_t picture_width, picture_height;
	uint16_t display_width, display_height;
	uint16_t orig_picture_dx, orig_picture_dy;
	uint16_t ui_thumbnail_height, ui_thumbnail_width;
	uint16_t thumbnail_height, thumbnail_width;
	uint16_t raw_picture_height, raw_picture_width;
	uint32_t raw_picture_size;
};
static_assert(sizeof(cam_ctrl_dimension_t) == 28);

struct display_info_t {
	uint16_t width, height;
};

struct config_ctrl_t {
	int camfd;
	uint32_t state;
	effects_ctrl_t effectsCtrl;
	sensor_ctrl_t sensorCtrl;
	vfe_ctrl_t vfeCtrl;
	isp3a_ctrl_t isp3aCtrl;
	zoom_ctrl_t zoomCtrl;
	display_info_t display_info;
	cam_ctrl_dimension_t dimension;
	uint32_t preview_mode;
	ctrl_cmd_t *ctrlCmd;  // the stop waiting for its VFE_STOP_ACK
	// The last stop went out to the DSP: only then can an acknowledgement
	// come, so only then is its answer held back.
	uint8_t stop_sent;
	vfe_trigger_t trigger;
};

// The camera stack's one control record; only cam_conf touches it.
extern config_ctrl_t cfgctrl;
// Clean state for a new run of cam_conf (tests).
void config_reset();

constexpr int max_camera_iso_type = 5;

// Where cam_conf is, for the client that starts it: a control command sent
// while it probes waits until it serves, and one sent after it ended waits
// out its whole time-out.
enum class conf_phase : uint8_t { probing, serving, ended };
extern std::atomic<conf_phase> cam_conf_phase;

void *cam_conf(void *arg);
bool config_init_ctrl();
void config_free_ctrl();
void config_check_vfe_update(config_ctrl_t *ctrl);
void config_proc_ctrl_command(config_ctrl_t *ctrl, ctrl_cmd_t *cmd);
void config_proc_vfe_event_message(config_ctrl_t *ctrl, const vfe_msg_t *msg);
void config_proc_v4l2_request(config_ctrl_t *ctrl, ctrl_cmd_t *cmd);
// Answers a command to the client through the driver.
int config_cmd_done(config_ctrl_t *ctrl, ctrl_cmd_t *cmd);
// Holds a stop for its VFE_STOP_ACK, or answers it now if it never went out.
void config_hold_stop(config_ctrl_t *ctrl, ctrl_cmd_t *cmd);

// Handlers that move the camera; each sets cmd->status.
bool config_proc_CAMERA_START_PREVIEW(config_ctrl_t *ctrl, ctrl_cmd_t *cmd);
bool config_proc_CAMERA_STOP_PREVIEW(config_ctrl_t *ctrl, ctrl_cmd_t *cmd);
bool config_proc_CAMERA_START_SNAPSHOT(config_ctrl_t *ctrl, ctrl_cmd_t *cmd);
bool config_proc_CAMERA_START_RAW_SNAPSHOT(config_ctrl_t *ctrl, ctrl_cmd_t *cmd);
bool config_proc_CAMERA_STOP_SNAPSHOT(config_ctrl_t *ctrl, ctrl_cmd_t *cmd);

// Parameter handlers shared with the V4L2 path.
bool config_proc_CAMERA_SET_PARM_BRIGHTNESS(config_ctrl_t *ctrl, ctrl_cmd_t *cmd);
bool config_proc_CAMERA_SET_PARM_CONTRAST(config_ctrl_t *ctrl, ctrl_cmd_t *cmd);
bool config_proc_CAMERA_SET_PARM_SATURATION(config_ctrl_t *ctrl, ctrl_cmd_t *cmd);
bool config_proc_CAMERA_SET_PARM_HUE(config_ctrl_t *ctrl, ctrl_cmd_t *cmd);
bool config_set_parm_effect(config_ctrl_t *ctrl, int32_t effect);
bool config_proc_set_wb(config_ctrl_t *ctrl, int32_t value);

// pmem buffers: size rounded to 4096, then to a power of two.
uint32_t cam_mmap_size(uint32_t size);
void *do_mmap(uint32_t size, int *fd);
int do_munmap(int fd, void *addr, uint32_t size);

}  // namespace cam
