// Driver of the simulated raw Bayer sensor. Its tuning is a text file on the
// phone's system partition, read once at start; without a valid file the
// sensor does not start.
#include "camera/sensor/bayersim.h"

#include <cstdio>
#include <string>

#include "camera/msm_camera.h"
#include "camera/sensor/sensor.h"
#include "platform/platform.h"

namespace cam {

namespace {

constexpr uint16_t QTR_W = 1296, QTR_H = 972, FULL_W = 2592, FULL_H = 1944;
// Readout: one line time in both modes, so a line count of the tuning is
// the same exposure in preview and snapshot; 30000 lines a second, 1000 a
// frame at 30 fps.
constexpr uint32_t PIXEL_CLOCK_HZ = 96000000, PIXELS_PER_LINE = 3200;

sensor_tuning_t loaded;  // the one tuning record, valid for the process

bool cfg(sensor_ctrl_t *s, int32_t type, int32_t mode, int32_t value)
{
	if (s->sfd <= 0)
		return false;
	return sensor_config(s, type, mode, value) >= 0;
}

void set_camif(sensor_ctrl_t *s)
{
	s->camif_frame.set(s->current_width, s->current_height);  // one sample a pixel
	s->camif_width.set(s->current_width - 1u, 0);
	s->camif_height.set(s->current_height - 1u, 0);
	s->camif_window_max = 65535;
}

bool video_config(sensor_ctrl_t *s)
{
	std::fprintf(stderr, "bayersim_video_config, sfd = %d\n", s->sfd);
	if (!cfg(s, CFG_SET_MODE, 0, 0))
		return false;
	s->camif_format = 0;  // raw Bayer
	s->current_width = QTR_W;
	s->current_height = QTR_H;
	set_camif(s);
	return true;
}

bool snapshot_config(sensor_ctrl_t *s)
{
	if (!cfg(s, CFG_SET_MODE, 1, 0))
		return false;
	s->camif_format = 0;
	s->current_width = FULL_W;
	s->current_height = FULL_H;
	set_camif(s);
	return true;
}

bool raw_snapshot_config(sensor_ctrl_t *s) { return snapshot_config(s); }
bool power_down(sensor_ctrl_t *) { return true; }

bool set_aec_preview(sensor_ctrl_t *s, uint32_t gain, uint32_t lines)
{
	return cfg(s, CFG_SET_EXP_GAIN, static_cast<int32_t>(gain), static_cast<int32_t>(lines));
}

bool set_aec_snapshot(sensor_ctrl_t *s, uint32_t gain, uint32_t lines, float)
{
	// No digital gain stage: the front end's gains do that work.
	return cfg(s, CFG_SET_EXP_GAIN, static_cast<int32_t>(gain), static_cast<int32_t>(lines));
}

uint32_t pixel_clock(const sensor_ctrl_t *) { return PIXEL_CLOCK_HZ; }
uint32_t pixels_per_line(const sensor_ctrl_t *) { return PIXELS_PER_LINE; }

uint32_t lines_per_frame(const sensor_ctrl_t *, uint16_t fps_q8)
{
	if (fps_q8 == 0)
		return 0;
	return static_cast<uint32_t>(uint64_t{PIXEL_CLOCK_HZ} * 256 / (uint64_t{PIXELS_PER_LINE} * fps_q8));
}

bool set_default_focus(sensor_ctrl_t *s, int32_t v) { return cfg(s, CFG_SET_DEFAULT_FOCUS, 0, v); }

bool move_focus(sensor_ctrl_t *s, int32_t direction, int32_t steps) { return cfg(s, CFG_MOVE_FOCUS, direction, steps); }

bool set_frame_rate(sensor_ctrl_t *s, uint16_t fps) { return cfg(s, CFG_SET_FPS, 0, fps); }

bool set_effect(sensor_ctrl_t *, uint8_t) { return true; }  // effects are the front end's on a raw sensor
bool set_antibanding(uint8_t) { return true; }

bool set_lens_shading(sensor_ctrl_t *s, uint8_t v) { return cfg(s, CFG_SET_LENS_SHADING, 0, v); }

template <int N>
bool set_iso(sensor_ctrl_t *s, int32_t v)
{
	return cfg(s, CFG_SET_ISO, N, v);
}

sensor_ops_t bayersim_register()
{
	sensor_ops_t ops{};
	ops.video_config = video_config;
	ops.raw_snapshot_config = raw_snapshot_config;
	ops.snapshot_config = snapshot_config;
	ops.power_down = power_down;
	ops.set_aec_preview = set_aec_preview;
	ops.set_default_focus = set_default_focus;
	ops.move_focus = move_focus;
	ops.set_frame_rate = set_frame_rate;
	ops.set_effect = set_effect;
	ops.set_antibanding = set_antibanding;
	ops.set_lens_shading_correction = set_lens_shading;
	ops.iso = {set_iso<0>, set_iso<1>, set_iso<2>, set_iso<3>, set_iso<4>, set_iso<5>, set_iso<6>, set_iso<7>};
	return ops;
}

}  // namespace

bool bayersim_start_with(sensor_ctrl_t *s, const sensor_tuning_t *t)
{
	std::fprintf(stderr, "Inside bayersim_process_start \n");
	s->mode_word = 1;
	s->output_format = SENSOR_BAYER;
	s->camif_format = 0;
	s->fps = {7680, 7680, 7680};
	s->preview_fps = s->fps[2];
	s->night_fps = 3840;
	s->full_width = FULL_W;
	s->full_height = FULL_H;
	s->qtr_width = QTR_W;
	s->qtr_height = QTR_H;
	s->ratio_width_q12 = FULL_W * 4096u / QTR_W;
	s->ratio_height_q12 = FULL_H * 4096u / QTR_H;
	s->current_width = QTR_W;
	s->current_height = QTR_H;
	s->driver_flags = {1, 1, 0, 0};
	s->fps_count = 2;
	s->fps_table = {};
	s->fps_table[0].rate = 7680;
	s->fps_table[1].rate = 3840;
	s->tuning = t;
	s->af_feature = static_cast<uint8_t>(t->af_is_supported);
	s->awb_feature = static_cast<uint8_t>(t->awb_enable);
	s->aec_feature = static_cast<uint8_t>(t->aec_enable);
	s->gamma_enable = static_cast<uint8_t>(t->gamma_enable);
	s->ops = bayersim_register();
	s->timing = {pixel_clock, pixels_per_line, lines_per_frame, set_aec_snapshot};
	sensor_post_init(s);
	return true;
}

bool bayersim_process_start(sensor_ctrl_t *s)
{
	std::string err;
	if (!tuning_load(BAYERSIM_TUNING_PATH, &loaded, &err)) {
		std::fprintf(stderr, "bayersim: %s\n", err.c_str());
		return false;
	}
	return bayersim_start_with(s, &loaded);
}

}  // namespace cam
