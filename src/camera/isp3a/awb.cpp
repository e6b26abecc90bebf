// Auto white balance control: bins of one frame for the decision, the
// alternation of regular and white statistics boxes, the temporal filter
// over the gains, the colour conversion of the illuminant, the LED
// bookkeeping and the self-calibration file.
#include "camera/isp3a/awb.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

#include "camera/config/led.h"
#include "camera/sensor/sensor.h"
#include "platform/platform.h"

namespace cam {

namespace {

std::unique_ptr<awb_ctrl_t> awb;
std::array<int32_t, CC_WORDS> newCConversion;

constexpr std::array<int32_t, 9> ycc_to_rgb_q10 = {1024, -233, 1436, 1024, -233, -612, 1024, 1815, -612};
constexpr const char *self_cal_path = "/data/awbautocal.bin";

int32_t awb_algo_init(isp3a_ctx_t *ctx)
{
	isp3a_ctrl_t &c3 = *ctx->isp3a;
	c3.wb_parm = {1, 8, 1, 1, 1};
	const sensor_tuning_t *t = ctx->sensor ? ctx->sensor->tuning : nullptr;
	if (!t)
		return 0;
	for (int i = 0; i < 3; i++)
		c3.wb_gain[i] = t->default_gain[i];
	awb = std::make_unique<awb_ctrl_t>();
	awb_ctrl_t &c = *awb;
	c.tuning = t;
	c.led_ratios_ready = 1;
	c.box_lowlight = tuning_box(t->box_lowlight);
	c.box_normal = tuning_box(t->box_normal);
	c.box_outdoor = tuning_box(t->box_outdoor);
	c.white_decision = c.regular_decision = -1;
	if (t->awb_enable) {
		c.awb_state.awb_mode = 2;
		c.y_min_percentage = t->y_min_percentage;
		c.wb_gain_scale = t->wb_gain_scale;
	}
	cam3a_agw_t &a = c.agw;
	a.led_rg_ratio = t->led_rgb[1] / t->led_rgb[0];
	a.led_bg_ratio = t->led_rgb[1] / t->led_rgb[2];
	std::fprintf(stderr, "led_rg_ratio %f, led_bg_ratio %f ready %d", a.led_rg_ratio, a.led_bg_ratio, c.led_ratios_ready);
	a.ref_rg = t->ref_rg;
	a.ref_bg = t->ref_bg;
	a.r_gain_adj = t->r_gain_adj;
	a.b_gain_adj = t->b_gain_adj;
	a.blend_f = t->blend_f;
	a.compact_r2 = t->compact_r2;
	a.near_ref_r2 = t->near_ref_r2;
	a.a_cluster_pct = t->a_cluster_pct;
	a.f_cluster_pct = t->f_cluster_pct;
	a.day_cluster_pct = t->day_cluster_pct;
	a.green_pct = t->green_pct;
	a.green_outdoor_pct = t->green_outdoor_pct;
	a.green_indoor_max_pct = t->green_indoor_max_pct;
	a.f_line_enable = t->f_line_enable;
	a.day_cluster_min_pct = t->day_cluster_min_pct;
	a.green_min_pct = t->green_min_pct;
	a.max_dist_limit = t->max_dist_limit;
	a.green_inout_pct = t->green_inout_pct;
	a.green_in_max_pct = t->green_in_max_pct;
	a.outlier_dist = t->outlier_dist;
	for (int d = 0; d < 10; d++)
		a.weights[d] = {t->weights[3 * d], t->weights[3 * d + 1], t->weights[3 * d + 2]};
	a.green_rg_offset = t->green_rg_offset;
	a.green_bg_offset = t->green_bg_offset;
	a.awb_self_cal_enable = static_cast<uint8_t>(t->awb_self_cal_enable);
	c.ycc_to_rgb = ycc_to_rgb_q10;
	awb_algo_core_init_agw_algorithm(c);
	c.self_cal = awb_self_cal_t{};
	c.self_cal.fx = c.self_cal.fy = 1.0f;
	c.min_gain = t->min_gain;
	c.max_gain = t->max_gain;
	c.filter_alpha = {0.05f, 0.15f, 0.45f};
	c.last_r_gain = c.awb_state.filter_r = t->default_gain[0];
	c.last_g_gain = c.awb_state.filter_g = t->default_gain[1];
	c.last_b_gain = c.awb_state.filter_b = t->default_gain[2];
	c.r_gain_adj_q7 = c.b_gain_adj_q7 = 128;
	c.conversions = &ctx->sensor->tuned;
	c.current_conversion = c.conversions->cc_default;
	return 1;
}

float clampf(float v, float lo, float hi) { return v < lo ? lo : v > hi ? hi : v; }

void awb_update_chroma_enhancement_for_wb(isp3a_update_t *update)
{
	awb_ctrl_t &c = *awb;
	if (c.color_conversion_off == 1)
		return;
	int32_t d = c.awb_state.decision;
	const std::array<int32_t, CC_WORDS> *table = nullptr;
	if (d == 0 || d == 1 || d == 6 || d == 9)
		table = &c.conversions->cc_daylight;
	else if (d == 3 || d == 4 || d == 7)
		table = &c.conversions->cc_fluorescent;
	else if (d == 2 || d == 5)
		table = &c.conversions->cc_incandescent;
	if (!table)
		return;  // 8 and unknown decisions keep the conversion in force
	newCConversion = *table;
	for (int k : {0, 1, 4, 5})
		newCConversion[k] = static_cast<int32_t>(newCConversion[k] * 1.0f);
	float a = c.filter_alpha[c.filter_speed == 0 ? 0 : c.filter_speed == 1 ? 1 : 2];
	for (int k = 0; k < 8; k++)
		newCConversion[k] = static_cast<int32_t>((1 - a) * c.current_conversion[k] + a * newCConversion[k]);
	update->conversionInCP_update = 1;
	update->conversion = newCConversion;
	c.current_conversion = newCConversion;
}

void led_gains(const cam3a_agw_t &a, float *r, float *g, float *b)
{
	*r = 1.0f / a.led_rg_ratio;
	*g = 1.0f;
	*b = 1.0f / a.led_bg_ratio;
	float m = std::fmin(1.0f, std::fmin(*r, *b));
	*r /= m;
	*g /= m;
	*b /= m;
}

void store_ratio(awb_ctrl_t &c, bool led_on, const char *what)
{
	float fr = c.awb_state.filter_r, fg = c.awb_state.filter_g, fb = c.awb_state.filter_b;
	float rg = fr > 0 ? fg / fr : 1.0f, bg = fb > 0 ? fg / fb : 1.0f;
	if (led_on) {
		c.agw.led_last_rg = rg;
		c.agw.led_last_bg = bg;
		std::fprintf(stderr, "### LED on, AWB %s, led last rg=%f, last bg=%f\n", what, rg, bg);
	} else {
		c.agw.last_rg = rg;
		c.agw.last_bg = bg;
		std::fprintf(stderr, "### LED off, AWB %s, led last rg=%f, last bg=%f\n", what, rg, bg);
	}
}

void set_next_box(awb_ctrl_t &c, isp3a_update_t *update, bool led_on)
{
	bool lowlight = c.exposure.exp_index == c.exposure.max_index;
	awb_box_t box = lowlight ? c.box_lowlight : c.box_normal;
	if (c.white_frame_next == 0) {
		c.regular_stat = 1;
		c.white_stat = 0;
		if (!led_on) {
			c.white_frame_next = 1;
			int32_t y = c.y_min_percentage * c.box_normal.y_max / 100;
			std::fprintf(stderr, "### fixed point: white_y_min= %d\n", y);
			box.y_min = static_cast<uint8_t>(y);
			std::fprintf(stderr, lowlight ? "### fixed point: set bounding box lowlight WHITE y_min= %d\n"
						      : "### fixed point: set bounding box normal WHITE y_min= %d\n",
				     y);
		}
	} else {
		c.regular_stat = 0;
		c.white_stat = 1;
		c.white_frame_next = 0;
		std::fprintf(stderr, lowlight ? "### fixed point: set bounding box lowlight GREY: y_min= %d"
					      : "### fixed point: set bounding box normal GREY y_min= %d",
			     box.y_min);
	}
	update->box = box;
	update->bounding_box_update = 1;
}

int32_t awb_do_awb_advanced_grey_world_algo(isp3a_ctx_t *ctx, isp3a_update_t *update)
{
	awb_ctrl_t &c = *awb;
	bool led_on = get_led_state() != 0;
	if (led_on)
		c.agw.led_was_on = 1;
	c.exposure = awb_input_exposure_t{};
	c.exposure.lighting = 2;
	awb_retrive_exposure_info(ctx, 0);
	awb_core_update_complete_aec_history(c);
	if (c.toggle_frame_skip) {  // nothing sets it; kept idle
		awb_update_wb_gain_values(update, c.last_r_gain, c.last_g_gain, c.last_b_gain);
		c.toggle_frame_skip = 0;
		return 1;
	}
	if (!ctx->isp3a->vfeStatStruct)
		return 0;
	awb_build_bins(c, *ctx->isp3a->vfeStatStruct, ctx->num_regions);
	std::fprintf(stderr, "### Current Y_min percentage=%d\n", c.y_min_percentage);
	set_next_box(c, update, led_on);
	std::fprintf(stderr, "### bin count=%d\n", c.stats.bin_cnt);
	if (c.stats.bin_cnt == 0) {
		if (!led_on && c.white_stat) {
			if (c.y_min_percentage > 59)
				c.y_min_percentage--;
			c.white_decision = -1;
			c.white_single_cluster = 0;
			std::fprintf(stderr,
				     "### white stat : zero bins. return, white decision reset to -1, percentage=%d\n",
				     c.y_min_percentage);
		} else if (!led_on) {
			std::fprintf(stderr, "### reg stat : zero bins. return\n");
		} else if (c.white_stat) {
			std::fprintf(stderr, "### white stat=%d, regular stat=%d, 0 bin, reject\n", c.white_stat, c.regular_stat);
			return 0;
		} else {
			led_gains(c.agw, &c.last_r_gain, &c.last_g_gain, &c.last_b_gain);
			c.agw.led_last_rg = c.agw.led_rg_ratio;
			c.agw.led_last_bg = c.agw.led_bg_ratio;
			c.awb_state.decision = 0;
			std::fprintf(stderr, "### LED on, zero bin, led last rg=%f, last bg=%f\n", c.agw.led_last_rg, c.agw.led_last_bg);
			std::fprintf(stderr, "### white stat=%d, regular stat=%d, 0 bin, use LED for WB\n", c.white_stat, c.regular_stat);
		}
		awb_update_wb_gain_values(update, c.last_r_gain, c.last_g_gain, c.last_b_gain);
		awb_update_chroma_enhancement_for_wb(update);
		return 1;
	}
	std::fprintf(stderr, "### fixed point: white stat=%d, regular stat=%d, n_bins = %d\n", c.white_stat, c.regular_stat,
		     c.stats.bin_cnt);
	std::fprintf(stderr, "### ======== AWB begin : prev white decision = %d , reg decision= %d, exp index=%d",
		     c.white_decision, c.regular_decision, c.exposure.exp_index);
	std::fprintf(stderr, "### prev r gain = %f , g gain= %f, b gain=%f", c.last_r_gain, c.last_g_gain, c.last_b_gain);
	std::fprintf(stderr, "Calling awb_core_run_agw_algorithm\n");
	awb_result_t r = awb_core_run_agw_algorithm(c);
	if (!r.is_confident) {
		awb_update_wb_gain_values(update, c.last_r_gain, c.last_g_gain, c.last_b_gain);
		store_ratio(c, led_on, "not confident");
		awb_update_chroma_enhancement_for_wb(update);
		return 1;
	}
	if (r.decision != -1) {
		c.r_gain_adj_q7 = static_cast<int32_t>(std::round(r.r_gain_adj * 128));
		c.b_gain_adj_q7 = static_cast<int32_t>(std::round(r.b_gain_adj * 128));
	}
	awb_update_wb_gain_values(update, r.r_gain, r.g_gain, r.b_gain);
	store_ratio(c, led_on, "confident");
	awb_update_chroma_enhancement_for_wb(update);  // still the decision before this frame
	c.awb_state.decision = r.decision;
	c.last_r_gain = r.r_gain;
	c.last_g_gain = r.g_gain;
	c.last_b_gain = r.b_gain;
	return 1;
}

}  // namespace

awb_ctrl_t *awb_ctrl() { return awb.get(); }
void awb_reset() { awb.reset(); }

void awb_build_bins(awb_ctrl_t &c, const vfe_stat_t &st, int32_t num_regions)
{
	awb_input_stats_t &s = c.stats;
	s = awb_input_stats_t{};
	int32_t n = num_regions == 256 ? 256 : num_regions == 64 ? 64 : 16;
	auto emit = [&](uint64_t y, uint64_t cb, uint64_t cr, uint64_t cnt) {
		if (cnt == 0 || s.bin_cnt >= STATS_REGIONS)
			return;
		// Means in Q8 with rounding; 25-bit sums times 256 need 64 bits.
		int64_t Y = static_cast<int64_t>((y * 256 + cnt / 2) / cnt);
		int64_t Cb = static_cast<int64_t>((cb * 256 + cnt / 2) / cnt) - 0x8000;
		int64_t Cr = static_cast<int64_t>((cr * 256 + cnt / 2) / cnt) - 0x8000;
		const auto &m = c.ycc_to_rgb;
		int k = s.bin_cnt++;
		s.r[k] = static_cast<int32_t>((m[0] * Y + m[1] * Cb + m[2] * Cr + 128) >> 8);
		s.g[k] = static_cast<int32_t>((m[3] * Y + m[4] * Cb + m[5] * Cr + 128) >> 8);
		s.b[k] = static_cast<int32_t>((m[6] * Y + m[7] * Cb + m[8] * Cr + 128) >> 8);
	};
	if (n == 256) {
		for (int row = 0; row < 16; row += 2)
			for (int col = 0; col < 16; col += 2) {
				uint64_t y = 0, cb = 0, cr = 0, cnt = 0;
				for (int i : {row * 16 + col, row * 16 + col + 1, (row + 1) * 16 + col, (row + 1) * 16 + col + 1}) {
					y += st.Y[i] & STATS_25BIT;
					cb += st.Cb[i] & STATS_25BIT;
					cr += st.Cr[i] & STATS_25BIT;
					cnt += st.count[i] & STATS_17BIT;
				}
				emit(y >> 2, cb >> 2, cr >> 2, cnt >> 2);
			}
		s.region_cnt = n / 4;
	} else {
		for (int i = 0; i < n; i++)
			emit(st.Y[i] & STATS_25BIT, st.Cb[i] & STATS_25BIT, st.Cr[i] & STATS_25BIT, st.count[i] & STATS_17BIT);
		s.region_cnt = n;
	}
}

void awb_retrive_exposure_info(isp3a_ctx_t *ctx, int32_t mode)
{
	awb_ctrl_t &c = *awb;
	const aec_state_t &a = ctx->isp3a->aec_state;
	awb_input_exposure_t &e = c.exposure;
	e.lighting = 2;
	e.max_index = static_cast<int16_t>(a.num_exp_tab_val - 1);
	if (!a.aec_enabled) {
		e.indoor_max_mid = e.max_index;
		e.real_gain = e.total_gain = 1.0f;
		return;
	}
	e.indoor_index = a.indoor_index;
	e.outdoor_index = a.outdoor_index;
	e.exp_index = a.exp_index;
	e.current_luma = a.current_luma;
	e.luma_target = a.luma_target;
	int32_t in = a.indoor_index, out = a.outdoor_index, n = a.num_exp_tab_val;
	if (mode == 0) {
		e.indoor_max_mid = static_cast<int16_t>((in + e.max_index + 1) >> 1);
		e.inout_mid = static_cast<int16_t>((in + out + 1) >> 1);
		e.outdoor_mid = static_cast<int16_t>((out + 1) >> 1);
	} else if (mode == 1) {
		e.inout_mid = static_cast<int16_t>(out + (in - out) / 4);
		e.outdoor_mid = static_cast<int16_t>(out - (in - out) / 4);
		e.indoor_max_mid = static_cast<int16_t>(n - (n - 1 - in) / 4 - 1);
	}
	e.real_gain = a.current_real_gain;
	e.total_gain = a.current_real_gain * a.digital_gain;
	// The reference luma has no writer here: the target stands for it.
	double fps = a.sensor_fps ? double(a.sensor_max_fps) / a.sensor_fps : 1.0;
	double lux = a.exp_index + std::log10(1.0 * fps) * a.exposure_index_adj_step;
	e.lux_idx = static_cast<uint16_t>(lux < 0 ? 0 : lux > 65535 ? 65535 : lux);
	e.led_words = a.led_words;
}

void awb_update_wb_gain_values(isp3a_update_t *update, float r, float g, float b)
{
	awb_ctrl_t &c = *awb;
	std::fprintf(stderr, "temporal filter receives: r_gain=%f, g_gain=%f, b_gain=%f\n", r, g, b);
	r = clampf(r, c.min_gain[0], c.max_gain[0]);
	g = clampf(g, c.min_gain[1], c.max_gain[1]);
	b = clampf(b, c.min_gain[2], c.max_gain[2]);
	awb_state_t &s = c.awb_state;
	if (r == s.filter_r && g == s.filter_g && b == s.filter_b) {
		std::fprintf(stderr, "temporal filter is not run: r_gain=%f, g_gain=%f, b_gain=%f\n", r, g, b);
		return;
	}
	float a = c.filter_alpha[c.filter_speed == 0 ? 0 : c.filter_speed == 1 ? 1 : 2];
	if (!get_led_state()) {
		auto blend = [a](float in, float st) { return static_cast<float>(double(in * a) + (1.0 - a) * st); };
		s.filter_r = blend(r, s.filter_r);
		s.filter_g = blend(g, s.filter_g);
		s.filter_b = blend(b, s.filter_b);
		std::fprintf(stderr, "temporal filter is run with smoothing:r_gain=%f,g_gain=%f,b_gain=%f\n", s.filter_r,
			     s.filter_g, s.filter_b);
	} else {
		s.filter_r = r;
		s.filter_g = g;
		s.filter_b = b;
		std::fprintf(stderr, "temporal filter is run without smoothing:r_gain=%f,g_gain=%f,b_gain=%f\n", r, g, b);
	}
	update->r_gain = clampf(s.filter_r * c.wb_gain_scale, c.min_gain[0], c.max_gain[0]);
	update->g_gain = clampf(s.filter_g * c.wb_gain_scale, c.min_gain[1], c.max_gain[1]);
	update->b_gain = clampf(s.filter_b * c.wb_gain_scale, c.min_gain[2], c.max_gain[2]);
	update->wb_update = 1;
	update->wb_applied = 1;
}

void awb_restore_pre_led_settings(isp3a_update_t *update)
{
	if (!awb)
		return;
	awb_ctrl_t &c = *awb;
	c.agw.led_was_on = 0;
	if (get_led_mode() != 1 || c.agw.hist_cnt <= 0)
		return;
	int k = c.agw.hist_cnt - 1;
	double rg = c.agw.hist_rg[k] / 1000.0, bg = c.agw.hist_bg[k] / 1000.0;
	std::fprintf(stderr, "### restore WB gains before preview starts. rg_ratio = %f, bg_ratio = %f\n", rg, bg);
	if (rg <= 0 || bg <= 0)
		return;
	float r = static_cast<float>(1 / rg), g = 1.0f, b = static_cast<float>(1 / bg);
	float m = std::fmin(r, std::fmin(g, b));  // awb_ajdust_rgb_gains
	r /= m;
	g /= m;
	b /= m;
	c.awb_state.filter_r = update->r_gain = r;
	c.awb_state.filter_g = update->g_gain = g;
	c.awb_state.filter_b = update->b_gain = b;
	update->wb_update = 1;
	std::fprintf(stderr, "### restore WB gains before preview starts. (r,g,b) gains=(%f,%f,%f)", r, g, b);
}

int32_t awb_write_self_cal_to_file()
{
	if (!awb || !awb->agw.awb_self_cal_enable)
		return 0;
	char path[80] = {};
	std::strncpy(path, self_cal_path, sizeof path - 1);
	int fd = plat::open(path, 66, 0777);
	std::fprintf(stderr, "AWB Selfcal: writing awb auto cal to efs\n");
	// 44 bytes: a 4-byte reference (written as 0: a pointer has no meaning in
	// a file), filter_speed, wb_gain_scale, then 32 cleared bytes.
	std::array<uint8_t, 44> rec{};
	std::memcpy(&rec[4], &awb->filter_speed, 4);
	std::memcpy(&rec[8], &awb->wb_gain_scale, 4);
	if (fd >= 0) {
		plat::write(fd, rec.data(), rec.size());
		plat::close(fd);
	}
	return 1;
}

int32_t awb_algo_execution(int32_t op, isp3a_ctx_t *ctx, isp3a_update_t *update, isp3a_misc_t *misc)
{
	int32_t rc = 0;
	if (op == ISP3A_OP_INIT)
		rc = awb_algo_init(ctx);
	else if (!awb)
		return 0;
	else if (op == ISP3A_OP_PREVIEW)
		rc = awb_do_awb_advanced_grey_world_algo(ctx, update);
	else if (op == ISP3A_OP_MISC && misc) {
		if (misc->type == ISP3A_MISC_STOP_PREVIEW)
			rc = awb_write_self_cal_to_file();
		else if (misc->type == ISP3A_MISC_EXPOSURE_INFO) {
			awb_retrive_exposure_info(ctx, misc->value[0]);
			rc = 1;
		}
	}
	if (rc == 1 && awb)
		ctx->isp3a->awb_state = awb->awb_state;
	return rc;
}

}  // namespace cam
