// The sensor table, the probe by the kernel's sensor name, the common
// defaults, frame-rate lists and the sensor operations' wrappers.
#include "camera/sensor/sensor.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <utility>

#include "camera/config/config.h"
#include "camera/sensor/bayersim.h"
#include "platform/platform.h"

namespace cam {

namespace {

constexpr std::array<sensor_entry_t, 4> sensors = {{
    {"ov5642", ov5642_process_start},
    {"ov5642af", ov5642af_process_start},
    {"ov3642", ov3642_process_start},
    {"bayersim", bayersim_process_start},
}};

uint32_t probe(config_ctrl_t *ctrl)
{
	sensor_ctrl_t &sensor = ctrl->sensorCtrl;
	sensor_init(&sensor);
	sensor.sensors = sensors.data();
	msm_camsensor_info info{};
	if (plat::ioctl(ctrl->camfd, MSM_CAM_IOCTL_GET_SENSOR_INFO, &info) < 0) {
		std::fprintf(stderr, "MSM_CAM_IOCTL_GET_SENSOR_INFO failed!\n");
		return 0;
	}
	info.name[sizeof info.name - 1] = '\0';  // the kernel's name is ours to bound
	for (const sensor_entry_t &row : sensors) {
		std::fprintf(stderr, "kernel retuned %s, compared to %s\n", info.name, row.name);
		if (std::strcmp(info.name, row.name) != 0)
			continue;
		sensor.flash_enabled = info.flash_enabled;
		if (!row.start(&sensor))
			return 0;
		sensor.sfd = ctrl->camfd;
		sensor_led_ctrl_init(&sensor.led, sensor.sfd);
		return 1;
	}
	return 0;
}

}  // namespace

const std::array<sensor_entry_t, 4> &sensor_table() { return sensors; }

uint32_t sensor_get_info(uint32_t mode, config_ctrl_t *ctrl)
{
	sensor_ctrl_t &sensor = ctrl->sensorCtrl;
	std::fprintf(stderr, "get_sensor_info, mode = %d\n", static_cast<int>(mode));
	uint32_t rc = 0;
	switch (mode) {
	case SENSOR_OP_MODE_INIT:
		rc = probe(ctrl);
		break;
	case SENSOR_OP_MODE_SNAPSHOT:
		rc = sensor.ops.snapshot_config ? sensor.ops.snapshot_config(&sensor) : 0;
		break;
	case SENSOR_OP_MODE_RAW_SNAPSHOT:
		rc = sensor.ops.raw_snapshot_config ? sensor.ops.raw_snapshot_config(&sensor) : 0;
		break;
	case SENSOR_OP_MODE_PREVIEW:
		rc = sensor.ops.video_config ? sensor.ops.video_config(&sensor) : 0;
		std::fprintf(stderr, "SENSOR_OP_MODE_PREVIEW video config is done!\n");
		if (rc && sensor.fps_on_preview && sensor.ops.set_frame_rate)
			sensor.ops.set_frame_rate(&sensor, sensor.preview_fps);
		break;
	case SENSOR_OP_MODE_NONE:
		rc = 1;
		break;
	default:
		return 0;
	}
	if (rc != 0)
		sensor.op_mode = mode;
	std::fprintf(stderr, "sensor_get_info: return=%d, mode = %d\n", static_cast<int>(rc), static_cast<int>(mode));
	return rc;
}

void sensor_init(sensor_ctrl_t *sensor)
{
	sensor_common_ctrl_init(sensor);
	sensor_common_parm_init(sensor);
}

void sensor_common_ctrl_init(sensor_ctrl_t *sensor)
{
	sensor_camctrl_t &c = sensor->camctrl;
	c = sensor_camctrl_t{};
	c.iso_limit = -1;
	c.word2 = 2;
	c.word3 = 3;
	c.pairs = {1, 1, 1, 1};
	c.bytes = {4, 8, 180, 244, 30, 62};
	c.feature_flags = {1, 1, 1, 1, 1};
	c.short3 = 3;
	c.word1 = 1;
	c.word65535 = 65535;
	c.flags = {1, 1, 1};
	c.big[0] = c.big[1] = 4294967296.0f;
	c.half = 0.5f;
	c.one = 1.0f;
}

void sensor_common_parm_init(sensor_ctrl_t *s)
{
	camif_word_t none{};
	s->sfd = -1;
	s->op_mode = SENSOR_OP_MODE_INIT;
	s->word5 = 5;
	s->mode_word = 2;
	s->word0 = 0;
	s->output_format = SENSOR_BAYER;
	s->fps = {3840, 3840, 3840};
	s->preview_fps = 3840;
	s->night_fps = 1920;
	s->tuning = nullptr;
	s->timing = sensor_timing_ops_t{};
	s->camif_frame = s->camif_width = s->camif_height = none;
	s->af_fine_ratio = 1.05f;
	s->af_fine_steps = static_cast<uint32_t>(4.0 / 1.05 + 0.5);
	sensor_3a_defaults_t &d = s->defaults_3a;
	d.awb_aec_word = 2;
	d.awb_aec_ratio = 0.15f;
	d.awb_aec_flag = 1;
	d.awb_aec_words = {2, 2};
	d.awb_aec_bounds = {0.8f, 0.9f};
	d.awb_aec_fractions = {0.3f, 0.3f, 0.3f, 0.3f};
	d.awb_aec_flag2 = 1;
	d.af_search = {1, 200, 30, 1, 200, 30, 2, 1, 1, 10, 15, 5, 6, 10, 3, 2,
		       1, 1, 1, 200, 30, 10, 15, 5, 1, 200, 30, 6};
	sensor_set_af_windows(s);
	s->aec_limits = sensor_aec_limits_t{};
	s->tuned = sensor_converted_t{};
	s->ycbcr_min = 16;
	s->ycbcr_max = 235;
	s->fps_long.fill(0);
	s->fps_short.fill(0);
}

void sensor_set_af_windows(sensor_ctrl_t *s)
{
	const uint16_t w[2] = {s->qtr_width, s->full_width}, h[2] = {s->qtr_height, s->full_height};
	for (size_t i = 0; i < 2; ++i)
		s->af_window[i] = {static_cast<uint16_t>(w[i] / 4), static_cast<uint16_t>(h[i] / 4),
				   static_cast<uint16_t>(w[i] / 4 + w[i] / 2), static_cast<uint16_t>(h[i] / 4 + h[i] / 2)};
}

namespace {

// The tuning in the VFE's fixed point, each part under its feature's flag.
void copy_tuning(sensor_ctrl_t *s, const sensor_tuning_t &t)
{
	sensor_converted_t &c = s->tuned;
	sensor_convert_tuning_color_correction(t.ccm_normal, &c.cc_normal);
	if (t.ccm_lowlight_enable)
		sensor_convert_tuning_color_correction(t.ccm_lowlight, &c.cc_lowlight);
	else
		c.cc_lowlight = c.cc_normal;
	const std::array<std::pair<const std::array<float, CC_WORDS> *, sensor_conversion_t *>, 8> conversions = {{
	    {&t.cc_default, &c.cc_default},
	    {&t.cc_daylight, &c.cc_daylight},
	    {&t.cc_fluorescent, &c.cc_fluorescent},
	    {&t.cc_incandescent, &c.cc_incandescent},
	    {&t.cc_sepia, &c.cc_sepia},
	    {&t.cc_mono, &c.cc_mono},
	    {&t.cc_negative, &c.cc_negative},
	    {&t.cc_aqua, &c.cc_aqua},
	}};
	for (const auto &[from, to] : conversions)
		sensor_convert_tuning_color_conversion(*from, to);
	if (t.awb_enable) {
		const std::array<const std::array<float, 3> *, 4> lights = {&t.wb_incandescent, &t.wb_fluorescent,
									    &t.wb_daylight, &t.wb_cloudy};
		for (size_t i = 0; i < lights.size(); ++i)
			sensor_convert_tuning_white_balance(*lights[i], &c.wb[i]);
		sensor_wb_gains_t start{};
		sensor_convert_tuning_white_balance(t.default_gain, &start);
		s->wb.gain = {start.r, start.g, start.b, 0};  // as the VFE's start reads them: r, g, b
	}
	if (t.rolloff_enable)
		sensor_convert_roll_off_table(t, &c.rolloff);
	if (t.asf_mode)
		sensor_convert_asf_3x3_matrix(t.asf_3x3, static_cast<uint32_t>(t.asf_q), &c.asf_3x3);
}

}  // namespace

void sensor_post_init(sensor_ctrl_t *sensor)
{
	sensor_create_fps_list(sensor);
	if (sensor->output_format == SENSOR_YCBCR) {
		sensor->wb.gain = {128, 128, 128, 128};
		sensor->wb.word = 128;
	} else {
		sensor_set_af_windows(sensor);
		if (sensor->tuning)
			copy_tuning(sensor, *sensor->tuning);
	}
	sensor_validate_features(sensor);
}

bool sensor_iso_is_supported(const sensor_ctrl_t *sensor)
{
	for (auto *op : sensor->ops.iso)
		if (!op)
			return false;
	return sensor->camctrl.iso_limit >= 0;
}

bool sensor_af_use_isp(const sensor_ctrl_t *sensor)
{
	const auto &f = sensor->camctrl.af_flags;
	return f[0] && f[1] && f[2];
}

bool sensor_lc_is_supported(const sensor_ctrl_t *sensor)
{
	return sensor->ops.set_lens_shading_correction != nullptr && sensor->output_format == SENSOR_BAYER;
}

namespace {

bool unset(int32_t limit)
{
	auto u = static_cast<uint32_t>(limit);
	return u == 0xFFFFFFFFu || u == 0xFFFFFFFEu;
}

}  // namespace

void sensor_validate_features(sensor_ctrl_t *sensor)
{
	sensor->camctrl.iso_supported = sensor_iso_is_supported(sensor);
	sensor->camctrl.af_use_isp = sensor_af_use_isp(sensor);
	if (sensor->output_format == SENSOR_BAYER && sensor->tuning) {
		const sensor_tuning_t &t = *sensor->tuning;
		auto target = static_cast<uint8_t>(t.default_luma_target);
		sensor_aec_limits_t &l = sensor->aec_limits;
		l.luma_max = unset(t.luma_limit_max) ? 255u : static_cast<uint32_t>(t.luma_limit_max);
		l.luma_limit_1 = unset(t.luma_limit_1) ? 4u * target : static_cast<uint32_t>(t.luma_limit_1);
		l.luma_limit_2 = unset(t.luma_limit_2) ? static_cast<uint32_t>(2.5 * target + 0.5)
						       : static_cast<uint32_t>(t.luma_limit_2);
		l.exp_index_max = t.num_exposure_values - 1;
	}
	sensor->camctrl.lc_supported = sensor_lc_is_supported(sensor);
}

void sensor_create_fps_list(sensor_ctrl_t *sensor)
{
	size_t n_long = 0, n_short = 0;
	uint32_t count = sensor->fps_count < SENSOR_FPS_MAX ? sensor->fps_count : SENSOR_FPS_MAX;
	for (uint32_t i = 0; i < count; ++i) {
		uint32_t rate = sensor->fps_table[i].rate;
		if (rate == 0)
			break;
		uint32_t code = 0;
		for (int d = 0; d < 4 && (rate & 0xFF) != 0; ++d) {
			rate <<= 1;
			code = code ? code << 1 : 2;
		}
		uint32_t word = (code << 16) | ((rate / 256) & 0xFFFF);
		sensor->fps_long[n_long++] = word;
		if (sensor->fps_table[i].short_list)
			sensor->fps_short[n_short++] = word;
	}
	// Each list ends with 0 and holds at most 16 words.
	sensor->fps_long[n_long] = 0;
	sensor->fps_short[n_short] = 0;
}

bool sensor_get_fps_list(const sensor_ctrl_t *sensor, uintptr_t *mode_or_list, uint32_t *count)
{
	if (!mode_or_list || !count)
		return false;
	const auto &list = *mode_or_list == 1 ? sensor->fps_long : sensor->fps_short;
	uint32_t n = 0;
	while (n < list.size() && list[n] != 0)
		++n;
	*mode_or_list = reinterpret_cast<uintptr_t>(list.data());
	*count = n;
	return true;
}

bool sensor_set_zoom(int32_t) { return true; }

bool sensor_set_aec_preview(sensor_ctrl_t *sensor, const sensor_aec_update_t *update)
{
	if (!update) {
		std::fprintf(stderr, "sensor_set_aec_preview: aec_update is NULL\n");
		return false;
	}
	if (!sensor->ops.set_aec_preview)
		return true;
	return sensor->ops.set_aec_preview(sensor, update->gain, update->line_count);
}

bool sensor_af_move_focus(sensor_ctrl_t *sensor, int32_t direction, int32_t steps)
{
	std::fprintf(stderr, "sensorconfig_af_move_focus:direction=%d , num_steps=%d \n", static_cast<int>(direction),
		     static_cast<int>(steps));
	return sensor->ops.move_focus ? sensor->ops.move_focus(sensor, direction, steps) : false;
}

bool sensor_af_set_default_focus(sensor_ctrl_t *sensor)
{
	bool rc = sensor->ops.set_default_focus ? sensor->ops.set_default_focus(sensor, 1) : false;
	std::fprintf(stderr, "sensorconfig_af_set_default_focus: rc = %d\n", rc);
	return rc;
}

bool sensor_ycbcr_set_wb(config_ctrl_t *ctrl, int32_t value)
{
	sensor_ctrl_t &sensor = ctrl->sensorCtrl;
	return sensor.ops.set_wb ? sensor.ops.set_wb(static_cast<uint8_t>(value & 0xFF)) : true;
}

uint8_t sensor_get_camif_x_subsample(const sensor_ctrl_t *sensor)
{
	return sensor->x_subsample ? sensor->x_subsample : 1;
}

uint32_t sensor_convert_float_2_int(double value, uint32_t q)
{
	auto i = static_cast<int64_t>(value);
	uint32_t whole = q >= 32 ? 0 : static_cast<uint32_t>(i << q);
	return whole + static_cast<uint32_t>(static_cast<int64_t>((value - static_cast<double>(i)) * std::ldexp(1.0, static_cast<int>(q))));
}

double sensor_convert_int_2_float(uint32_t value, uint32_t q)
{
	double d = std::ldexp(1.0, static_cast<int>(q));
	double i = std::trunc(value / d);
	return i + std::trunc(value - d * i) / d;
}

int sensor_config(const sensor_ctrl_t *sensor, int32_t cfgtype, int32_t mode, int32_t value)
{
	sensor_cfg_data cfg{};
	cfg.cfgtype = cfgtype;
	cfg.mode = mode;
	cfg.value = value;
	return plat::ioctl(sensor->sfd, MSM_CAM_IOCTL_SENSOR_CFG, &cfg);
}

}  // namespace cam
