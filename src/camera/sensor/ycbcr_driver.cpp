#include "camera/sensor/ycbcr_driver.h"

#include <cstdio>

#include "platform/platform.h"

namespace cam {

namespace {

constexpr uint32_t SENSOR_SETTLE_US = 700000;  // the sensor's mode change

void set_camif_window(sensor_ctrl_t *s)
{
	s->camif_frame.set(s->current_width * 2u, s->current_height);  // two bytes a pixel
	s->camif_width.set(0 + s->current_width * 2u - 1, 0);
	s->camif_height.set(0 + s->current_height - 1u, 0);
	s->camif_window_max = 65535;
}

}  // namespace

bool ycbcr_process_start(sensor_ctrl_t *s, const ycbcr_driver_desc &d, const sensor_ops_t &ops)
{
	std::fprintf(stderr, "Inside %s_process_start \n", d.name);
	s->mode_word = 1;
	s->output_format = SENSOR_YCBCR;
	s->camif_format = 4;
	s->flags = static_cast<uint8_t>((s->flags & ~0x1Cu) | 0x02u);
	s->gamma_enable = s->cositing = s->x_subsample = 0;
	s->fps = {7680, 7680, 7680};
	s->preview_fps = s->fps[2];
	s->night_fps = 3840;
	s->full_width = d.full_width;
	s->full_height = d.full_height;
	s->qtr_width = d.qtr_width;
	s->qtr_height = d.qtr_height;
	s->ratio_width_q12 = d.full_width * 4096u / d.qtr_width;
	s->ratio_height_q12 = d.full_height * 4096u / d.qtr_height;
	s->current_width = d.qtr_width;
	s->current_height = d.qtr_height;
	s->driver_flags = {1, 1, 0, 0};
	s->fps_count = 2;
	s->fps_table = {};
	s->fps_table[0].rate = 7680;  // 30 frames a second
	s->fps_table[1].rate = 3840;  // 15
	s->af_feature = s->awb_feature = s->aec_feature = s->aec_extra = 0;
	s->ops = ops;
	s->camctrl.feature_flags = {0, 0, 0, 0, 0};  // the sensor does these itself
	sensor_post_init(s);
	return true;
}

bool ycbcr_video_config(sensor_ctrl_t *s, const ycbcr_driver_desc &d)
{
	std::fprintf(stderr, "%s_video_config, sfd = %d\n", d.name, s->sfd);
	if (s->sfd <= 0)
		return false;
	if (sensor_config(s, CFG_SET_MODE, 0) < 0) {
		std::fprintf(stderr, "%s failed %d\n", d.name, d.video_fail_line);
		return false;
	}
	s->camif_format = d.preview_camif_format;
	s->current_width = s->qtr_width;
	s->current_height = s->qtr_height;
	set_camif_window(s);
	return true;
}

bool ycbcr_snapshot_config(sensor_ctrl_t *s, const ycbcr_driver_desc &d)
{
	if (s->sfd <= 0)
		return false;
	if (sensor_config(s, CFG_SET_MODE, 1) < 0) {
		std::fprintf(stderr, "%s failed %d\n", d.name, d.snapshot_fail_line);
		return false;
	}
	plat::usleep(SENSOR_SETTLE_US);
	if (s->ops.set_effect && !s->ops.set_effect(s, s->saved_effect))
		return false;
	s->camif_format = 4;
	s->driver_flags[0] = 0;
	s->current_width = s->full_width;
	s->current_height = s->full_height;
	set_camif_window(s);
	return true;
}

bool ycbcr_set_effect(sensor_ctrl_t *s, const ycbcr_driver_desc &d)
{
	std::fprintf(stderr, "Entered %s_set_effect, ctrl->sfd = %d, op_mode = %d\n", d.name, s->sfd,
		     static_cast<int>(s->op_mode));
	return true;
}

bool ycbcr_set_lens_shading_correction()
{
	std::puts("!!!Sensor Lens Shading is not supported on 2MP YUV sensor!!!");
	plat::usleep(50000);
	return true;
}

bool ycbcr_nothing_to_do(sensor_ctrl_t *) { return true; }

bool ycbcr_set_frame_rate(sensor_ctrl_t *, uint16_t) { return true; }

bool ycbcr_set_antibanding(uint8_t) { return true; }

}  // namespace cam
