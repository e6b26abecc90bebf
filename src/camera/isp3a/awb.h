// Auto white balance: the records of the control (awb) and the decision
// (awb_core), and their entry points.
#pragma once

#include <array>
#include <cstdint>

#include "camera/isp3a/isp3a.h"
#include "camera/sensor/sensor_convert.h"

namespace cam {

constexpr int GRID_STEPS = 121;  // grid points 0..120, grid[121] is the top
constexpr int GRID_LINE_MAX = 128;
constexpr int HIST_MAX = 15;
constexpr int AEC_HIST_MAX = 25;

struct grid_pt_t {
	int32_t rg, bg;
};

struct grid_line_t {
	int32_t cnt;
	std::array<grid_pt_t, GRID_LINE_MAX> pt;
};

struct awb_input_stats_t {
	int32_t bin_cnt, region_cnt;
	std::array<int32_t, STATS_REGIONS> r, g, b;
};

struct awb_input_exposure_t {
	int16_t indoor_index, outdoor_index, exp_index, max_index;
	int16_t indoor_max_mid, inout_mid, outdoor_mid;
	int16_t current_luma, luma_target;
	int32_t lighting;  // 0 indoor only, 1 outdoor only, 2 either
	float real_gain, total_gain;
	uint16_t lux_idx;
	std::array<uint32_t, 3> led_words;
};

struct awb_self_cal_t {
	float ave_rg, ave_bg;
	int32_t ave_cnt;
	float nw_ave_rg, nw_ave_bg;
	int32_t nw_ave_cnt;
	float se_ave_rg, se_ave_bg;
	int32_t se_ave_cnt;
	float fx, fy;
};

// The advanced grey world decision's record.
struct cam3a_agw_t {
	std::array<float, AWB_REF_NUM> ref_rg, ref_bg, r_gain_adj, b_gain_adj;
	float blend_a, blend_f;
	int32_t compact_r2, near_ref_r2;
	int32_t a_cluster_pct, f_cluster_pct, day_cluster_pct, green_pct;
	int32_t green_outdoor_pct, green_indoor_max_pct;
	int32_t f_line_enable, day_cluster_min_pct, green_min_pct, max_dist_limit;
	int32_t green_inout_pct, green_in_max_pct;
	int32_t outlier_dist;
	std::array<std::array<int32_t, 3>, 10> weights;  // indoor, outdoor, inout
	grid_line_t day_line_1, day_line_2, f_line, day_f_line, a_line_1, a_line_2, day_line_3;
	std::array<int32_t, AWB_REF_NUM> rg_grid, bg_grid;
	std::array<float, GRID_STEPS + 1> grid;
	std::array<int32_t, STATS_REGIONS> sample_rg, sample_bg;
	std::array<int32_t, AWB_REF_NUM> rg_ratio_x, bg_ratio_x;
	std::array<int32_t, GRID_STEPS + 1> grid_x;
	int32_t green_rg_offset, green_bg_offset;
	int32_t green_slope_q8, green_intercept;
	// History.
	std::array<int16_t, HIST_MAX> hist_rg, hist_bg;
	std::array<int32_t, HIST_MAX> hist_decision;
	std::array<int16_t, HIST_MAX> hist_exp_index;
	std::array<uint8_t, HIST_MAX> hist_adjusted, hist_white;
	int16_t hist_cnt;
	std::array<int16_t, AEC_HIST_MAX> aec_hist_exp_index, aec_hist_luma;
	int16_t aec_hist_cnt;
	float shifted_d50_rg, shifted_d50_bg;
	float led_rg_ratio, led_bg_ratio;
	int32_t led_rg_x, led_bg_x, led_rg_grid, led_bg_grid;
	int32_t indoor_F_WB_locked;
	float last_rg, last_bg, led_last_rg, led_last_bg;
	uint8_t led_was_on, awb_self_cal_enable;
};

struct awb_result_t {
	int32_t is_confident;
	int32_t decision;
	float r_gain, g_gain, b_gain;
	float r_gain_adj, b_gain_adj;
};

struct awb_ctrl_t {
	cam3a_agw_t agw;
	awb_input_stats_t stats;
	awb_input_exposure_t exposure;
	awb_self_cal_t self_cal;
	int32_t filter_speed;
	float wb_gain_scale;
	uint8_t led_ratios_ready;
	awb_box_t box_lowlight, box_normal, box_outdoor;
	int32_t white_frame_next;
	uint8_t regular_stat, white_stat;
	int32_t white_decision, regular_decision;
	int32_t regular_green_cnt;
	int32_t y_min_percentage;
	uint8_t white_single_cluster;
	int32_t r_gain_adj_q7, b_gain_adj_q7;
	std::array<int32_t, CC_WORDS> current_conversion;
	std::array<float, 3> min_gain, max_gain;
	std::array<float, 3> filter_alpha;
	float last_r_gain, last_g_gain, last_b_gain;
	float regular_rg, regular_bg, white_rg, white_bg;
	awb_state_t awb_state;
	int32_t color_conversion_off;
	std::array<int32_t, 9> ycc_to_rgb;
	std::array<int32_t, STATS_REGIONS> outlier_rg, outlier_bg;
	const sensor_tuning_t *tuning;
	const sensor_converted_t *conversions;  // the sensor's, in Q8
	uint8_t toggle_frame_skip;
};

// Control (awb).
int32_t awb_algo_execution(int32_t op, isp3a_ctx_t *ctx, isp3a_update_t *update, isp3a_misc_t *misc);
void awb_reset();
awb_ctrl_t *awb_ctrl();
void awb_update_wb_gain_values(isp3a_update_t *update, float r, float g, float b);
void awb_restore_pre_led_settings(isp3a_update_t *update);
int32_t awb_write_self_cal_to_file();
void awb_retrive_exposure_info(isp3a_ctx_t *ctx, int32_t mode);
// Builds the bins of one frame from the decoded statistics.
void awb_build_bins(awb_ctrl_t &c, const vfe_stat_t &st, int32_t num_regions);

// Decision (awb_core).
void awb_algo_core_init_agw_algorithm(awb_ctrl_t &c);
void awb_core_convert_to_grid(const cam3a_agw_t &a, int32_t rg_x, int32_t bg_x, int32_t *rg, int32_t *bg);
void awb_core_search_nearest_reference_point(const cam3a_agw_t &a, int32_t rg, int32_t bg, int32_t *index,
					     int32_t *dist, int32_t *line);
awb_result_t awb_core_run_agw_algorithm(awb_ctrl_t &c);
void awb_core_update_complete_aec_history(awb_ctrl_t &c);
void awb_core_update_history(cam3a_agw_t &a, float rg, float bg, int32_t decision, int32_t exp_index, int32_t white);
bool awb_core_is_there_daylight_in_history(const cam3a_agw_t &a);
int32_t awb_core_get_daylight_from_history(const cam3a_agw_t &a, float *rg, float *bg);
bool awb_core_is_custom_flo_close_to_daylight(const cam3a_agw_t &a);
int32_t awb_core_smallest_exp_index_in_history(const cam3a_agw_t &a);
void awb_core_adjust_rg_bg_by_history(awb_ctrl_t &c, float *rg, float *bg, int32_t *decision);
void awb_agw_update_self_cal(awb_ctrl_t &c, float rg, float bg);
void awb_agw_self_cal_adj_ref_points(awb_ctrl_t &c);

}  // namespace cam
