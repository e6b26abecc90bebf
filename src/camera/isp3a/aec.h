// Auto exposure: the exposure table position, the luma target and its
// bands, and the per-frame step from the region statistics.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "camera/isp3a/isp3a.h"
#include "camera/sensor/sensor.h"

namespace cam {

// Hand jitter reduction: the snapshot split into frames of shorter lines.
struct aec_hjr_t {
	int32_t max_frames;  // 2
	int32_t frames;
	uint8_t prev_luma_target;
	uint32_t prev_line_count;
	float prev_real_gain;
	uint32_t max_gain, max_line_count;  // the last row of the table
	uint16_t snapshot_fps;
	uint32_t ref_gain;  // Q7, 128
	uint32_t gain;      // Q7, after the gain limit
	uint32_t line_count;
};

// One row of an exposure table.
struct aec_exp_entry_t {
	uint16_t gain;  // Q8
	uint32_t line_count;
};
using aec_exp_table_t = std::array<aec_exp_entry_t, TUNING_EXP_MAX>;

struct aec_ctrl_t {
	int32_t aec_mode;  // 0 average, 1 center weighted, 2 spot
	int32_t aec_aggressiveness;
	uint8_t luma_tolerance;
	std::array<uint8_t, 10> luma_history;
	uint8_t luma_history_idx;
	uint8_t default_luma_target, outdoor_luma_target;
	uint8_t luma_history_full;
	uint8_t luma_high_far, luma_low_far, luma_high_mid, luma_low_mid, luma_high_near, luma_low_near;
	int32_t flash_ratio_limit;
	int32_t antibanding;
	uint16_t last_gain;
	uint32_t last_line_count;
	uint8_t frame_skip;
	uint16_t fast_convergence_gain;
	uint8_t luma_offset_level;
	int32_t iso_mode;
	uint16_t indoor_index_init, outdoor_index_init;
	float digital_gain_delayed, digital_gain_current;
	int32_t led_on_luma, led_on_index, led_off_luma, led_off_index;
	uint8_t led_compensation_disabled;
	uint16_t led_trigger_index;
	const uint16_t *bias;  // metering weights, one per region, or null
	int32_t bias_regions;
	const sensor_tuning_t *tuning;
	uint8_t band_supported;   // the sensor gave pixel clock and pixels per line
	uint8_t frame_rate_adjust;  // the sensor has the frame rate operation
	float rows_per_120hz, rows_per_100hz;
	int32_t band_count_50, band_count_60;  // rows of the band tables
	aec_exp_table_t band_50, band_60;       // line counts in whole flicker periods
	aec_exp_table_t tuning_table;           // the tuning's rows
	const aec_exp_entry_t *exposure_table;  // the table in force
	float exposure_time_ms;                 // of the last snapshot
	uint32_t snapshot_line_count;
	float iso_mode1_gain;
	sensor_color_correction_t snapshot_lowlight;
	std::array<int32_t, 2> dg_index;  // digital gain rows of the low-light correction
	aec_hjr_t hjr;
	uint8_t wait_for_next;
	uint8_t report_vfe_stable;
	aec_state_t out;  // the output block, copied into aec_state
};

int32_t aec_algo_execution(int32_t op, isp3a_ctx_t *ctx, isp3a_update_t *update, const isp3a_misc_t *misc);
// Forget the module's record (tests, a new camera session).
void aec_reset();
aec_ctrl_t *aec_ctrl();

int32_t aec_set_mode(int32_t num_regions, int32_t mode);
int32_t aec_set_exposure_compensation(uint32_t value);
bool aec_check_settled();
int32_t aec_update_color_correction(const isp3a_ctx_t *ctx, isp3a_update_t *update);
int32_t aec_update_gamma(const isp3a_ctx_t *ctx, isp3a_update_t *update);
float aec_calc_interpolation_weight(float value, float start, float end);
double aec_calc_lux_index(int32_t exp_index, uint8_t luma, uint8_t luma_target, bool linear_afr_supported,
			  uint32_t fps, uint32_t max_fps);
int32_t get_aec_index();
uint8_t aec_core_slow_convergence(uint8_t luma, bool at_max_fps);
void aec_core_fast_convergence(uint8_t luma, int32_t stat_status);
uint8_t aec_core_calculate_current_luma(const vfe_stat_t *stats, int32_t num_regions, uint32_t pix_per_region);
int32_t aec_core_apply_multi_luma_target(int32_t v);
int32_t aec_set_brightness_level(int32_t level);
bool aec_set_isomode(int32_t mode);
bool aec_flash_needed();
bool aec_LED_use_strobe();
bool aec_LED_check_overexposure();
void aec_LED_store_est_stats(int32_t state);
bool aec_LED_active(const isp3a_ctrl_t *isp3a);
int32_t GetAvailableFlashCurrent();
int32_t aec_set_antibanding(int32_t value, const sensor_ctrl_t *sensor);
// Rows of table brought to whole flicker periods of period_rows lines (no
// longer than the table's longest row), the gain raised to keep each row's
// exposure; rows brighter than one period at unity gain have no place.
// Returns the rows written to out.
int32_t aec_core_build_band_table(std::span<const aec_exp_entry_t> table, uint32_t period_rows,
				  std::span<aec_exp_entry_t> out);

// The snapshot's exposure: the record the per-ISO core starts from, and
// what it gives.
struct aec_snapshot_start_t {
	uint32_t start_gain;  // Q8, the preview's settled row
	uint32_t line_count;
	uint16_t fps;         // Q8, the snapshot's frame rate
	uint32_t iso_gain;    // Q8, the gain the ISO mode asks for; 0 in auto
	uint32_t max_line_count;  // one frame at fps
	uint32_t max_gain;        // the sensor's analog gain stops here
	bool digital_gain;        // the sensor can make up the rest digitally
};
struct aec_snapshot_exposure_t {
	uint32_t gain;  // Q8
	uint32_t line_count;
	uint16_t fps;
	float digital_gain;
};
aec_snapshot_exposure_t aec_core_run_adjust_exposure_algorithm_per_iso(const aec_snapshot_start_t &start);
// Q8 gain of an ISO mode: 1 the tuning's, 2 ISO 100, each mode above twice
// the one below; 0 in auto.
uint32_t aec_iso_gain(int32_t iso_mode);
// Lines per second at the frame rate, Q8 (the sensor's lines per frame
// times the rate); 0 when the sensor gives no line time.
float aec_get_snapshot_line_time_ms(const sensor_ctrl_t *sensor, uint16_t fps_q8);
int32_t aec_algo_snapshot(isp3a_ctx_t *ctx, isp3a_update_t *update);
int32_t aec_get_max_iso_mode(const sensor_ctrl_t *sensor);
// The highest ISO mode aec_set_isomode takes.
int32_t aec_max_iso_type();
// The target of a snapshot, lowered by the luma offset level in a scene
// darker than indoors; scales current_real_gain with it. Returns the target.
uint8_t aec_core_configure_snapshot_luma_target(const sensor_ctrl_t *sensor, const isp3a_ctx_t *ctx);
void aec_prepare_for_hjr(sensor_ctrl_t *sensor, const isp3a_ctx_t *ctx);
void aec_hjr_adjust_for_max_gain(float gain);
int32_t aec_adjust_exposure_as_per_hjr(const isp3a_ctx_t *ctx, isp3a_update_t *update);
// Interpolates two gamma tables entry by entry, rounded: a at 0, b at 1.
void aec_interpolate_gamma_table(const uint8_t *a, const uint8_t *b, float ratio, uint8_t *out);
struct aec_trigger_ratio_t {
	float ratio;
	int32_t lighting;  // 0 low light, 1 normal, 2 outdoor
};
aec_trigger_ratio_t aec_get_trigger_ratio2();
void aec_LED_reset(isp3a_ctrl_t *isp3a);

}  // namespace cam
