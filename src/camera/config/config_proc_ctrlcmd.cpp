// The control commands that set parameters, and the dispatch of every
// control command by its type.
#include <array>
#include <cstdio>
#include <cstring>

#include "camera/config/config.h"
#include "platform/platform.h"

namespace cam {

namespace {

using ctrl_handler = void (*)(config_ctrl_t *, ctrl_cmd_t *);

// The argument as a 32-bit word. The driver's copy lies in our 512-byte
// buffer, zero-padded, so a short command reads as its bytes and zeros.
int32_t value_word(const ctrl_cmd_t *cmd)
{
	int32_t v = 0;
	if (cmd->value)
		std::memcpy(&v, cmd->value, sizeof v);
	return v;
}
uint8_t value_byte(const ctrl_cmd_t *cmd) { return static_cast<uint8_t>(value_word(cmd) & 0xFF); }
void put_word(ctrl_cmd_t *cmd, int32_t v)
{
	if (cmd->value)
		std::memcpy(cmd->value, &v, sizeof v);
}
bool is_bayer(const config_ctrl_t *ctrl) { return ctrl->sensorCtrl.output_format == SENSOR_BAYER; }
bool misc(config_ctrl_t *ctrl, int32_t type, int32_t a, int32_t b = 0)
{
	isp3a_misc_t m{type, {a, b}};
	return isp3a_miscs_execution(ctrl, &m);
}

void set_display_info(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	if (cmd->value)
		std::memcpy(&ctrl->display_info, cmd->value, sizeof ctrl->display_info);
	cmd->status = 1;
}

void set_dimension(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	std::array<uint16_t, 14> wanted{};
	if (cmd->value)
		std::memcpy(wanted.data(), cmd->value, sizeof(cam_ctrl_dimension_t));
	cmd->status = vfe_set_dimension(ctrl, wanted.data());
	cmd->value = &ctrl->dimension;  // the answer is our own copy
}

void set_zoom(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	ctrl->dimension.orig_picture_dx = 1280;
	ctrl->dimension.orig_picture_dy = 768;
	zoom_proc(ctrl, value_word(cmd));
}

void set_brightness(config_ctrl_t *ctrl, ctrl_cmd_t *cmd) { config_proc_CAMERA_SET_PARM_BRIGHTNESS(ctrl, cmd); }
void set_contrast(config_ctrl_t *ctrl, ctrl_cmd_t *cmd) { config_proc_CAMERA_SET_PARM_CONTRAST(ctrl, cmd); }
void set_saturation(config_ctrl_t *ctrl, ctrl_cmd_t *cmd) { config_proc_CAMERA_SET_PARM_SATURATION(ctrl, cmd); }
void set_hue(config_ctrl_t *ctrl, ctrl_cmd_t *cmd) { config_proc_CAMERA_SET_PARM_HUE(ctrl, cmd); }

void set_exposure_compensation(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	bool r = true;
	const sensor_ops_t &ops = ctrl->sensorCtrl.ops;
	if (is_bayer(ctrl))
		r = misc(ctrl, ISP3A_MISC_EXPOSURE_COMPENSATION, value_word(cmd));
	else if (ops.set_contrast && ops.set_brightness)  // the slot tested is not the one called
		r = ops.set_brightness(static_cast<int8_t>(value_byte(cmd)));
	cmd->status = r;
}

void set_sharpness(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	ctrl->vfeCtrl.sharpness = static_cast<float>(value_word(cmd) * 3 / 30.0);
	vfe_util_sharpness_afilter(ctrl);
}

void set_exposure(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	uint32_t v = static_cast<uint32_t>(value_word(cmd));
	if (v >= 3)
		return;
	if (is_bayer(ctrl))
		misc(ctrl, ISP3A_MISC_EXPOSURE_MODE, vfe_util_get_input_numReg(ctrl) ? 256 : 64, static_cast<int32_t>(v));
	else if (ctrl->sensorCtrl.ops.set_exposure_mode)
		ctrl->sensorCtrl.ops.set_exposure_mode(static_cast<uint8_t>(v));
}

void set_auto_focus(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	uint32_t v = static_cast<uint32_t>(value_word(cmd));
	sensor_ctrl_t &sensor = ctrl->sensorCtrl;
	if (v > 2)
		return;
	if (is_bayer(ctrl) && sensor.ops.move_focus) {
		ctrl->isp3aCtrl.focus_mode = v;
		af_process_start_focus(ctrl);
	} else if (!is_bayer(ctrl) && sensor.ops.set_autofocus) {
		bool rc = sensor.ops.set_autofocus(&sensor, value_byte(cmd));
		std::fprintf(stderr, "%s:rc value %d\n", __func__, rc);
	} else if (is_bayer(ctrl)) {
		std::puts("!!!Auto Focus not supported on this SENSOR!!!");
		plat::usleep(50000);
	} else {
		std::fprintf(stderr, "%s: not supported on this sensor!\n", __func__);
	}
}

void set_wb(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	int32_t v = value_word(cmd);
	bool r = config_proc_set_wb(ctrl, v);
	if (r) {
		ctrl->sensorCtrl.wb_mode = static_cast<uint32_t>(v);
		ctrl->sensorCtrl.awb_auto = v != 1;
	}
	cmd->status = r;
}

void set_effect(config_ctrl_t *ctrl, ctrl_cmd_t *cmd) { config_set_parm_effect(ctrl, value_byte(cmd)); }

void set_preview_mode(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	ctrl->preview_mode = static_cast<uint32_t>(value_word(cmd));
	cmd->status = ctrl->preview_mode <= 1;
}

void set_antibanding(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	cmd->status = is_bayer(ctrl) ? misc(ctrl, ISP3A_MISC_ANTIBANDING, value_word(cmd)) : true;
}

void set_iso(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	uint32_t v = static_cast<uint32_t>(value_word(cmd));
	if (v > max_camera_iso_type)
		return;
	ctrl->isp3aCtrl.iso = v;
	misc(ctrl, ISP3A_MISC_ISO, static_cast<int32_t>(v));
}

void set_hjr(config_ctrl_t *ctrl, ctrl_cmd_t *cmd) { ctrl->vfeCtrl.hjr_enable = value_byte(cmd); }

void set_rolloff(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	sensor_ctrl_t &sensor = ctrl->sensorCtrl;
	if (!is_bayer(ctrl) || !sensor.ops.set_lens_shading_correction)
		return;
	if (!sensor.ops.set_lens_shading_correction(&sensor, value_byte(cmd)))
		std::fprintf(stderr, "sensor_set_lens_shading_correction FAILED !!!\n");
}

void stop_preview(config_ctrl_t *ctrl, ctrl_cmd_t *cmd) { config_proc_CAMERA_STOP_PREVIEW(ctrl, cmd); }
void start_preview(config_ctrl_t *ctrl, ctrl_cmd_t *cmd) { config_proc_CAMERA_START_PREVIEW(ctrl, cmd); }
void start_snapshot(config_ctrl_t *ctrl, ctrl_cmd_t *cmd) { config_proc_CAMERA_START_SNAPSHOT(ctrl, cmd); }
void start_raw_snapshot(config_ctrl_t *ctrl, ctrl_cmd_t *cmd) { config_proc_CAMERA_START_RAW_SNAPSHOT(ctrl, cmd); }
void stop_snapshot(config_ctrl_t *ctrl, ctrl_cmd_t *cmd) { config_proc_CAMERA_STOP_SNAPSHOT(ctrl, cmd); }

void get_maxzoom(config_ctrl_t *ctrl, ctrl_cmd_t *cmd) { put_word(cmd, ctrl->zoomCtrl.cam_parm_zoom.maximum_value); }

void get_af_sharpness(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	if (!is_bayer(ctrl))
		return;
	put_word(cmd, af_read_sharpness());
	std::fprintf(stderr, "af sharpness = %d\n", static_cast<int>(af_read_sharpness()));
}

void set_led_mode_cmd(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	uint32_t v = static_cast<uint32_t>(value_word(cmd));
	if (!ctrl->sensorCtrl.flash_enabled) {
		std::puts("LED flash isn't supported for this sensor!!!");
		return;
	}
	if (v < 3)
		set_led_mode(v);
}

// Indexed by the command type; null rows are answered with no action.
constexpr std::array<ctrl_handler, 50> ctrl_handlers = [] {
	std::array<ctrl_handler, 50> t{};
	t[CAMERA_SET_PARM_DISPLAY_INFO] = set_display_info;
	t[CAMERA_SET_PARM_DIMENSION] = set_dimension;
	t[CAMERA_SET_PARM_ZOOM] = set_zoom;
	t[CAMERA_SET_PARM_CONTRAST] = set_contrast;
	t[CAMERA_SET_PARM_BRIGHTNESS] = set_brightness;
	t[CAMERA_SET_PARM_EXPOSURE_COMPENSATION] = set_exposure_compensation;
	t[CAMERA_SET_PARM_SHARPNESS] = set_sharpness;
	t[CAMERA_SET_PARM_HUE] = set_hue;
	t[CAMERA_SET_PARM_SATURATION] = set_saturation;
	t[CAMERA_SET_PARM_EXPOSURE] = set_exposure;
	t[CAMERA_SET_PARM_AUTO_FOCUS] = set_auto_focus;
	t[CAMERA_SET_PARM_WB] = set_wb;
	t[CAMERA_SET_PARM_EFFECT] = set_effect;
	t[CAMERA_SET_PARM_PREVIEW_MODE] = set_preview_mode;
	t[CAMERA_SET_PARM_ANTIBANDING] = set_antibanding;
	t[CAMERA_SET_PARM_ISO] = set_iso;
	t[CAMERA_SET_PARM_HJR] = set_hjr;
	t[CAMERA_SET_PARM_ROLLOFF] = set_rolloff;
	t[CAMERA_STOP_PREVIEW] = stop_preview;
	t[CAMERA_START_PREVIEW] = start_preview;
	t[CAMERA_START_SNAPSHOT] = start_snapshot;
	t[CAMERA_START_RAW_SNAPSHOT] = start_raw_snapshot;
	t[CAMERA_STOP_SNAPSHOT] = stop_snapshot;
	t[CAMERA_GET_PARM_MAXZOOM] = get_maxzoom;
	t[CAMERA_GET_PARM_AF_SHARPNESS] = get_af_sharpness;
	t[CAMERA_SET_PARM_LED_MODE] = set_led_mode_cmd;
	return t;
}();

}  // namespace

bool config_proc_CAMERA_SET_PARM_BRIGHTNESS(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	bool r = true;
	if (is_bayer(ctrl))
		r = misc(ctrl, ISP3A_MISC_BRIGHTNESS, value_word(cmd));
	else if (ctrl->sensorCtrl.ops.set_brightness)
		r = ctrl->sensorCtrl.ops.set_brightness(value_word(cmd));
	cmd->status = r;
	return r;
}

bool config_proc_CAMERA_SET_PARM_CONTRAST(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	bool r = effects_set_contrast(ctrl, value_word(cmd));
	cmd->status = r;
	return r;
}

bool config_proc_CAMERA_SET_PARM_HUE(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	ctrl->effectsCtrl.hue.current_value = value_byte(cmd);
	return true;
}

bool config_proc_CAMERA_SET_PARM_SATURATION(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	int32_t v = value_word(cmd);
	if (ctrl->effectsCtrl.special_effect.current_value != 1)
		config_set_parm_effect(ctrl, 1);
	if (ctrl->effectsCtrl.hue.current_value != 0)
		ctrl->effectsCtrl.hue.current_value = 0;
	return vfe_util_hue_sat_incolorprocess(ctrl, 0.0f, static_cast<float>(v * 2 / 10.0));
}

bool config_proc_set_wb(config_ctrl_t *ctrl, int32_t value)
{
	if (is_bayer(ctrl))
		return isp3a_set_wb(ctrl, value);
	return sensor_ycbcr_set_wb(ctrl, value);
}

bool config_set_parm_effect(config_ctrl_t *ctrl, int32_t effect)
{
	uint8_t e = static_cast<uint8_t>(effect & 0xFF);
	sensor_ctrl_t &sensor = ctrl->sensorCtrl;
	bool r;
	if (!is_bayer(ctrl))
		r = sensor.ops.set_effect ? sensor.ops.set_effect(&sensor, e) : true;
	else
		r = effects_set_special_effect(&ctrl->effectsCtrl, e);
	if (r)
		ctrl->effectsCtrl.special_effect.current_value = e;
	return r;
}

void config_proc_ctrl_command(config_ctrl_t *ctrl, ctrl_cmd_t *cmd)
{
	if (cmd->type < ctrl_handlers.size() && ctrl_handlers[cmd->type])
		ctrl_handlers[cmd->type](ctrl, cmd);
	if (cmd->type == CAMERA_STOP_PREVIEW || cmd->type == CAMERA_STOP_SNAPSHOT) {
		config_hold_stop(ctrl, cmd);  // answered by VFE_STOP_ACK
		return;
	}
	std::fprintf(stderr, "sending MSM_CAM_IOCTL_CTRL_CMD_DONE to kernel!, length = %d, status = %d\n", cmd->length,
		     cmd->status);
	config_cmd_done(ctrl, cmd);
}

}  // namespace cam
