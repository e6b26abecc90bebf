// The tuning record of a Bayer sensor: exposure, white balance and focus
// values that come with the part. Kept as a text file beside the driver and
// loaded once at start; nothing in it is compiled in.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace cam {

constexpr int TUNING_EXP_MAX = 500;
constexpr int AWB_REF_NUM = 9;
// Colour conversion: the chroma coefficients a, b, c, d, each for a
// negative (_m) and a positive (_p) colour difference, in the order a_m a_p
// b_m b_p c_m c_p d_m d_p; the Cb and Cr offsets; the luma coefficients of
// r, g, b; the luma offset.
constexpr int CC_WORDS = 14;
constexpr int GAMMA_ENTRIES = 1024;
constexpr int GAMMA_ROW = GAMMA_ENTRIES + 1;  // the tables' stride in the tuning record
constexpr int GAMMA_TABLES = 4;
constexpr int GAMMA_KNOTS = 17;  // a table's value at every 64th entry and one past its end
constexpr int ROLLOFF_ROWS = 32;  // rings of the lens roll-off, from the centre out

// Bounding box of the white statistics: y limits, four slopes, four intercepts.
struct awb_box_t {
	uint8_t y_min, y_max;
	std::array<uint8_t, 4> slope;
	std::array<int16_t, 4> intercept;
};

struct sensor_tuning_t {
	// Exposure.
	int32_t aec_enable;
	int32_t num_exposure_values;
	std::array<int32_t, TUNING_EXP_MAX> exp_gain;   // Q8
	std::array<int32_t, TUNING_EXP_MAX> exp_lines;  // sensor lines
	int32_t indoor_index, outdoor_index;
	int32_t aec_start_at_indoor;
	int32_t default_luma_target, outdoor_luma_target, luma_tolerance;
	int32_t aec_aggressiveness;
	float exposure_index_adj_step;  // table rows per decade of light
	int32_t fast_convergence_gain;  // Q8
	int32_t frame_skip;
	int32_t max_line_count;
	float luma_scale;
	int32_t led_trigger_index;
	std::array<float, 2> led_current;  // low, strobe; 0 turns compensation off
	int32_t flash_ratio_limit;         // Q8
	int32_t iso100_gain;  // Q8 gain of ISO 100, the gain of ISO mode 1
	// Luma limits of the exposure; -1 or -2 leaves a limit to its default
	// (255; 4 x and 2.5 x default_luma_target).
	int32_t luma_limit_max, luma_limit_1, luma_limit_2;
	// White balance.
	int32_t awb_enable;
	std::array<float, AWB_REF_NUM> ref_rg, ref_bg, r_gain_adj, b_gain_adj;
	float blend_f;
	int32_t compact_r2, near_ref_r2;
	int32_t a_cluster_pct, f_cluster_pct, day_cluster_pct;
	int32_t green_pct, green_outdoor_pct, green_indoor_max_pct;
	int32_t f_line_enable, day_cluster_min_pct, green_min_pct, max_dist_limit;
	int32_t green_inout_pct, green_in_max_pct;
	int32_t outlier_dist;
	std::array<int32_t, 30> weights;  // per decision: indoor, outdoor, inout
	int32_t green_rg_offset, green_bg_offset;
	int32_t y_min_percentage;
	float wb_gain_scale;
	std::array<float, 3> min_gain, max_gain, default_gain;
	std::array<float, 3> led_rgb;  // the LED's own colour, r g b
	std::array<int32_t, 10> box_lowlight, box_normal, box_outdoor;
	int32_t awb_self_cal_enable;
	float x_shift_limit_up, x_shift_limit_down;
	std::array<float, 3> wb_incandescent, wb_fluorescent, wb_daylight, wb_cloudy;
	// Colour conversions: coefficients as ratios, offsets in levels.
	std::array<float, CC_WORDS> cc_default, cc_daylight, cc_fluorescent, cc_incandescent;
	// Conversions of the colour effects, in the same form.
	std::array<float, CC_WORDS> cc_sepia, cc_mono, cc_negative, cc_aqua;
	// Colour correction of preview, normal and low light: nine coefficients,
	// three offsets, the Q factor.
	std::array<float, 13> ccm_normal, ccm_lowlight;
	int32_t ccm_lowlight_enable;
	// Black level of the raw pixel: the two values of the VFE's record.
	std::array<int32_t, 2> black_level;
	// Whether the VFE's gamma stage runs: 1 gives the picture the tables
	// below (and the client's contrast), 0 leaves it linear.
	int32_t gamma_enable;
	// Gamma: knots of four tables, and the tables drawn through them, one
	// row of GAMMA_ROW bytes each.
	std::array<int32_t, GAMMA_TABLES * GAMMA_KNOTS> gamma_knots;
	std::array<uint8_t, GAMMA_TABLES * GAMMA_ROW> gamma;
	// The solarize effect's curve, which may fall, and its table.
	std::array<int32_t, GAMMA_KNOTS> solarize_knots;
	std::array<uint8_t, GAMMA_ENTRIES> solarize_gamma;
	// Lens roll-off: the optical centre, the squared radius of each ring and
	// the gain of r, g and b at it; between rings the VFE interpolates.
	int32_t rolloff_enable;
	std::array<int32_t, 2> rolloff_center;
	std::array<int32_t, ROLLOFF_ROWS> rolloff_radius_sq;
	std::array<float, ROLLOFF_ROWS> rolloff_gain_r, rolloff_gain_g, rolloff_gain_b;
	// Adaptive spatial filter: 0 off, 1 on with no sharp mode (still off),
	// 2 the matrix as tuned, 3 the matrix scaled by the client's sharpness;
	// the 3x3 matrix, its Q, and the lower and upper edge thresholds
	// between which it sharpens.
	int32_t asf_mode;
	std::array<float, 9> asf_3x3;
	int32_t asf_q;
	std::array<int32_t, 2> asf_threshold;
	// Focus.
	int32_t af_is_supported, af_no_search, af_process_type;
	int32_t af_coarse_step, af_fine_step, af_fine_step_num;
	int32_t af_near_end_macro, af_default_macro, af_near_end_normal, af_default_normal, af_far_end;
	int32_t af_undershoot_protect, af_undershoot_adjust;
};

// Parses "key = values" text into out. On failure returns false and puts a
// one-line reason (with the line number) into err.
bool tuning_parse(std::string_view text, sensor_tuning_t *out, std::string *err);
// Reads the file through the platform layer and parses it.
bool tuning_load(const char *path, sensor_tuning_t *out, std::string *err);
awb_box_t tuning_box(const std::array<int32_t, 10> &words);

}  // namespace cam
