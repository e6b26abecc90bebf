// Auto exposure. The measuring core forms the bias-weighted mean luma of the
// regions; the deciding core jumps logarithmically when far from the target
// and steps through the filtered stepper when near it, then reads gain and
// line count from the exposure table.
#include "camera/isp3a/aec.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

#include "camera/config/led.h"
#include "camera/sensor/sensor.h"

namespace cam {

namespace {

std::unique_ptr<aec_ctrl_t> aec;
int32_t max_iso_type = 5;

constexpr std::array<float, 25> ev_one_over_six = {
    0.25f,   0.2806f, 0.315f,  0.3536f, 0.3969f, 0.4454f, 0.5f,    0.5612f, 0.6299f,
    0.7071f, 0.7937f, 0.8909f, 1.0f,    1.1225f, 1.2599f, 1.4142f, 1.5874f, 1.7818f,
    2.0f,    2.2449f, 2.5198f, 2.8284f, 3.1748f, 3.5636f, 4.0f};

constexpr std::array<int16_t, 10> slow_weights = {60, 25, 15, 0, 0, 0, 0, 0, 0, 0};

// Metering tables: a square of "inside" weights in a field of "outside" ones.
template <int N>
constexpr std::array<uint16_t, N * N> bias_table(uint16_t outside, uint16_t inside, int lo, int hi)
{
	std::array<uint16_t, N * N> t{};
	for (int r = 0; r < N; r++)
		for (int c = 0; c < N; c++)
			t[r * N + c] = (r >= lo && r <= hi && c >= lo && c <= hi) ? inside : outside;
	return t;
}
constexpr auto center_4x4 = bias_table<4>(136, 614, 1, 2);
constexpr auto center_8x8 = bias_table<8>(136, 614, 2, 5);
constexpr auto center_16x16 = bias_table<16>(136, 614, 4, 11);
constexpr auto spot_4x4 = bias_table<4>(0, 1024, 1, 2);
constexpr auto spot_8x8 = bias_table<8>(0, 4096, 3, 4);
constexpr auto spot_16x16 = bias_table<16>(0, 16384, 7, 8);

// The low-light colour correction of snapshots.
constexpr std::array<float, 13> float_snapshot_lowlight_CC = {1.8678f,  -0.4337f, -0.4341f, -0.0034f, 0.9086f,
							      0.0948f,  -0.2932f, -0.5805f, 1.8738f,  0.0f,
							      0.0f,     0.0f,     0.0f};

const sensor_tuning_t *tuning_of(const isp3a_ctx_t *ctx) { return ctx->sensor ? ctx->sensor->tuning : nullptr; }

uint8_t clamp_u8(int32_t v) { return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v); }

void set_bands(aec_ctrl_t &a)
{
	int t = a.out.luma_target, tol = a.luma_tolerance;
	a.luma_high_near = clamp_u8(t + tol);
	a.luma_high_mid = clamp_u8(t + 2 * tol);
	a.luma_high_far = clamp_u8(t + 8 * tol);
	a.luma_low_near = clamp_u8(t - tol);
	a.luma_low_mid = clamp_u8(t - 2 * tol);
	a.luma_low_far = clamp_u8(t - 8 * tol);
}

void aec_set_bias_table(int32_t num_regions)
{
	aec_ctrl_t &a = *aec;
	a.bias_regions = num_regions == 64 ? 64 : num_regions == 256 ? 256 : 16;
	if (a.aec_mode == 1)
		a.bias = num_regions == 64 ? center_8x8.data() : num_regions == 256 ? center_16x16.data() : center_4x4.data();
	else if (a.aec_mode == 2)
		a.bias = num_regions == 64 ? spot_8x8.data() : num_regions == 256 ? spot_16x16.data() : spot_4x4.data();
	else
		a.bias = nullptr;
}

bool at_max_fps(const aec_state_t &o) { return o.sensor_fps >= o.sensor_max_fps; }

// Flicker periods in whole rows, and the two band tables from the tuning's.
void build_band_tables(aec_ctrl_t &a, float lines_per_second)
{
	float rows_120 = lines_per_second * 0.008333334f;
	float rows_100 = rows_120 * 120.0f / 100.0f;
	a.rows_per_120hz = static_cast<float>(static_cast<int32_t>(rows_120 + 0.5f));
	a.rows_per_100hz = static_cast<float>(static_cast<int32_t>(rows_100 + 0.5f));
	std::span<const aec_exp_entry_t> rows(a.tuning_table.data(),
					     static_cast<size_t>(std::clamp(a.out.num_exp_tab_val, 0, TUNING_EXP_MAX)));
	a.band_count_50 = aec_core_build_band_table(rows, static_cast<uint32_t>(a.rows_per_100hz), a.band_50);
	a.band_count_60 = aec_core_build_band_table(rows, static_cast<uint32_t>(a.rows_per_120hz), a.band_60);
}

int32_t aec_algo_init(isp3a_ctx_t *ctx)
{
	aec_state_t &st = ctx->isp3a->aec_state;
	st.exposure_mode = {0, 2, 1, 1, 1};
	st.exposure_compensation = {static_cast<int32_t>((uint32_t(-12) << 16) | 6), (12 << 16) | 6, (1 << 16) | 6,
				    (0 << 16) | 6, (0 << 16) | 6};
	st.iso = {0, 6, 1, 0, 0};
	aec = std::make_unique<aec_ctrl_t>();
	aec_ctrl_t &a = *aec;
	a.report_vfe_stable = 1;
	const sensor_tuning_t *t = tuning_of(ctx);
	if (!t) {
		std::fprintf(stderr, "aec_algo_init: CAMERA_FAILED FAILED.... %d\n", __LINE__);
		return 0;
	}
	a.tuning = t;
	max_iso_type = 5;
	a.indoor_index_init = static_cast<uint16_t>(t->indoor_index);
	a.outdoor_index_init = static_cast<uint16_t>(t->outdoor_index);
	a.default_luma_target = clamp_u8(t->default_luma_target);
	a.outdoor_luma_target = clamp_u8(t->outdoor_luma_target);
	int32_t n = t->num_exposure_values;
	a.out.num_exp_tab_val = n;
	for (size_t i = 0; i < static_cast<size_t>(std::clamp(n, 0, TUNING_EXP_MAX)); i++)
		a.tuning_table[i] = {static_cast<uint16_t>(std::clamp(t->exp_gain[i], 0, 0xFFFF)),
				     static_cast<uint32_t>(std::max(t->exp_lines[i], 0))};
	a.exposure_table = a.tuning_table.data();
	a.digital_gain_delayed = a.digital_gain_current = 1.0f;
	a.out.digital_gain = 1.0f;
	if (t->aec_enable) {
		a.out.aec_enabled = 1;
		a.aec_aggressiveness = t->aec_aggressiveness;
		const sensor_ctrl_t &s = *ctx->sensor;
		uint32_t pclk = s.timing.pixel_clock ? s.timing.pixel_clock(&s) : 0;
		uint32_t ppl = s.timing.pixels_per_line ? s.timing.pixels_per_line(&s) : 0;
		a.band_supported = pclk != 0 && ppl != 0;
		a.frame_rate_adjust = s.ops.set_frame_rate != nullptr;
		if (a.band_supported)
			build_band_tables(a, static_cast<float>(pclk) / static_cast<float>(ppl));
		a.out.exposure_index_adj_step = t->exposure_index_adj_step;
		a.out.indoor_index = static_cast<int16_t>(t->indoor_index);
		a.out.outdoor_index = static_cast<int16_t>(t->outdoor_index);
		a.flash_ratio_limit = t->flash_ratio_limit;
		a.frame_skip = static_cast<uint8_t>(t->frame_skip);
		a.fast_convergence_gain = static_cast<uint16_t>(t->fast_convergence_gain);
		a.out.aec_frame_cnt = 0;
		a.led_compensation_disabled = (t->led_current[0] == 0.0f || t->led_current[1] == 0.0f);
		if (!a.led_compensation_disabled)
			a.out.led_words = {1, 1, 1};
		a.aec_mode = 1;
		aec_set_bias_table(ctx->num_regions);
		float scale = t->luma_scale > 0.0f ? t->luma_scale : 1.0f;
		a.luma_tolerance = clamp_u8(static_cast<int32_t>(t->luma_tolerance / scale + 0.5f));
		aec_set_antibanding(0, ctx->sensor);
		int32_t iso = aec_get_max_iso_mode(ctx->sensor);
		if (iso >= 1 && iso <= 5)
			max_iso_type = iso;
		a.hjr.max_frames = 2;
		a.hjr.ref_gain = 128;
		a.dg_index = {static_cast<int32_t>((n - 1) * 0.85), static_cast<int32_t>((n - 1) * 0.9)};
		sensor_convert_tuning_color_correction(float_snapshot_lowlight_CC, &a.snapshot_lowlight);
	}
	// Whatever the tuning's start, the table is entered three quarters down.
	int16_t start = static_cast<int16_t>((3 * n - 3) / 4);
	a.out.exp_index = a.out.prev_exp_index = start;
	uint16_t fps = ctx->sensor->fps[0] ? ctx->sensor->fps[0] : 7680;
	a.out.sensor_max_fps = a.out.sensor_fps_limit = fps;
	a.out.sensor_fps = fps;
	a.led_trigger_index = static_cast<uint16_t>(t->led_trigger_index);
	a.out.current_real_gain = t->exp_gain[static_cast<size_t>(start)] / 256.0f;
	return 1;
}

// The deciding core: far from the target a logarithmic jump, near it the
// filtered stepper; then the row of the table goes to the update.
void aec_core_run_adjust_exposure_algorithm(uint8_t luma, isp3a_update_t *update)
{
	aec_ctrl_t &a = *aec;
	if (!a.exposure_table || a.out.num_exp_tab_val <= 0)
		return;  // no table to walk
	if (a.out.luma_target == 0)
		aec_set_exposure_compensation((0u << 16) | 6);
	if (luma >= a.luma_high_mid || luma <= a.luma_low_mid)
		aec_core_fast_convergence(luma, 0);
	else
		aec_core_slow_convergence(luma, at_max_fps(a.out));
	int32_t i = a.out.exp_index;
	i = i < 0 ? 0 : i >= a.out.num_exp_tab_val ? a.out.num_exp_tab_val - 1 : i;
	a.out.exp_index = static_cast<int16_t>(i);
	const aec_exp_entry_t &row = a.exposure_table[i];
	update->gain = row.gain;
	update->line_count = row.line_count;
	update->digital_gain = 1.0f;
	a.out.current_real_gain = row.gain / 256.0f;
}

int32_t aec_adjust_exposure(isp3a_ctx_t *ctx, isp3a_update_t *update)
{
	const sensor_tuning_t *t = tuning_of(ctx);
	vfe_stat_t *stats = ctx->isp3a->vfeStatStruct;
	if (!t || !stats)
		return 0;
	aec_ctrl_t &a = *aec;
	a.out.current_luma = aec_core_calculate_current_luma(stats, ctx->num_regions, ctx->pix_per_region);
	std::fprintf(stderr, "current_luma=%d numRegions=%ld num_pixels_per_region_aec=%ld\n", a.out.current_luma,
		     static_cast<long>(ctx->num_regions), static_cast<long>(ctx->pix_per_region));
	a.out.aec_frame_cnt++;
	a.out.prev_exp_index = a.out.exp_index;
	aec_core_run_adjust_exposure_algorithm(a.out.current_luma, update);
	if (a.report_vfe_stable && a.out.luma_settled_cnt)
		a.report_vfe_stable = 0;
	a.last_gain = static_cast<uint16_t>(update->gain);
	a.last_line_count = update->line_count;
	return 1;
}

}  // namespace

aec_ctrl_t *aec_ctrl() { return aec.get(); }
int32_t aec_max_iso_type() { return max_iso_type; }
void aec_reset() { aec.reset(); }

int32_t aec_set_mode(int32_t num_regions, int32_t mode)
{
	if (!aec)
		return -1;
	if (mode >= 3 || mode < 0) {
		std::fprintf(stderr, "aec_set_mode: aec_mode = %d not allowed. FAILED.... ", static_cast<int>(mode));
		return -1;
	}
	aec->aec_mode = mode;
	aec_set_bias_table(num_regions);
	return 1;
}

uint8_t aec_core_calculate_current_luma(const vfe_stat_t *stats, int32_t num_regions, uint32_t pix_per_region)
{
	if (!stats || !aec)
		return 0;
	int32_t n = num_regions == 64 || num_regions == 256 ? num_regions : 16;
	uint32_t pix = pix_per_region ? pix_per_region : 1;  // no grid: count each region as one pixel
	const uint16_t *w = aec->bias && aec->bias_regions == n ? aec->bias : nullptr;
	uint64_t sum = 0, wsum = 0;
	for (int32_t i = 0; i < n; i++) {
		uint64_t wi = w ? w[i] : 1;
		sum += wi * (stats->SY[i] & STATS_25BIT);
		wsum += wi;
	}
	uint64_t luma = wsum ? sum / wsum / pix : 0;
	return static_cast<uint8_t>(luma > 255 ? 255 : luma);
}

uint8_t aec_core_slow_convergence(uint8_t luma, bool max_fps)
{
	aec_ctrl_t &a = *aec;
	if (a.luma_history_idx > 9) {
		a.luma_history_idx = 0;
		a.luma_history_full = 1;
	}
	a.luma_history[a.luma_history_idx] = luma;
	int32_t sum = 0;
	for (int k = 0; k < 10; k++)  // newest first
		sum += slow_weights[k] * a.luma_history[(a.luma_history_idx + 10 - k) % 10];
	int32_t f = sum < 0 ? luma : sum / 100;
	f = f > 255 ? 255 : f;
	if (++a.luma_history_idx >= 10) {
		a.luma_history_idx = 0;
		a.luma_history_full = 1;
	}
	aec_state_t &o = a.out;
	int32_t idx = o.exp_index;
	static constexpr int far_step[3] = {4, 6, 8};
	int32_t agg = a.aec_aggressiveness >= 0 && a.aec_aggressiveness <= 2 ? far_step[a.aec_aggressiveness] : 0;
	if (f >= o.luma_target) {
		if (f < a.luma_high_near) {
			o.luma_settled_cnt++;
		} else {
			o.luma_settled_cnt = 0;
			idx -= f < a.luma_high_mid ? 1 : f < a.luma_high_far ? (max_fps ? 1 : 2) : agg;
		}
		idx = idx < 0 ? 0 : idx;
	} else {
		if (f > a.luma_low_near) {
			o.luma_settled_cnt++;
		} else {
			o.luma_settled_cnt = 0;
			idx += f > a.luma_low_mid ? 1 : f > a.luma_low_far ? (max_fps ? 1 : 2) : agg;
		}
		idx = idx > o.num_exp_tab_val - 1 ? o.num_exp_tab_val - 1 : idx;
	}
	o.exp_index = static_cast<int16_t>(idx);
	return static_cast<uint8_t>(f);
}

void aec_core_fast_convergence(uint8_t luma, int32_t stat_status)
{
	aec_ctrl_t &a = *aec;
	aec_state_t &o = a.out;
	if (!a.wait_for_next) {
		if (o.aec_frame_cnt % (a.frame_skip + 1u))
			return;
		if (stat_status == -1) {
			a.wait_for_next = 1;
			return;
		}
	}
	if (stat_status == -1)
		return;
	a.wait_for_next = 0;
	std::fprintf(stderr, "current_vfe_luma is %d, and luma target is %d\n", luma, o.luma_target);
	int16_t d = static_cast<int16_t>(luma - o.luma_target);
	int32_t window = a.luma_tolerance;
	if (get_led_state()) {
		o.luma_settled_cnt = 2;
		window = o.luma_target;
	}
	int32_t step = 0;
	if (d > window || d < -window) {
		o.luma_settled_cnt = 0;
		int32_t l = luma ? luma : 1;
		float s = static_cast<float>(std::log10(double(o.luma_target) / l) * o.exposure_index_adj_step);
		step = static_cast<int32_t>(a.fast_convergence_gain * s / 256.0);
		if (step == 0)
			step = s < 0 ? -1 : 1;
		o.exp_index = static_cast<int16_t>(o.exp_index + step);
	} else {
		o.luma_settled_cnt++;
	}
	// The step counts twice in this test, as designed.
	if (o.exp_index + step < 0)
		o.exp_index = 0;
	if (o.exp_index > o.num_exp_tab_val - 1) {
		o.exp_index = static_cast<int16_t>(o.num_exp_tab_val - 1);
		std::fprintf(stderr, "aec_core_fast_convergence: greater than exposure table  %ld \n",
			     static_cast<long>(o.exp_index));
	}
}

int32_t aec_set_exposure_compensation(uint32_t value)
{
	if (!aec)
		return -1;
	aec_ctrl_t &a = *aec;
	int32_t num = static_cast<int16_t>(value >> 16);
	uint32_t den = value & 0xFFFF;
	if (den == 0)
		return -1;  // no step of zero sixths
	int32_t x = (6 * num) / static_cast<int32_t>(den);
	if (x > 12 || x < -12)
		return -1;
	int32_t target = static_cast<int32_t>(ev_one_over_six[x + 12] * a.default_luma_target + 0.5f);
	std::fprintf(stderr, "default_luma_target=%d \n", a.default_luma_target);
	std::fprintf(stderr, "new_luma_target=%d \n", target);
	std::fprintf(stderr, "parmCurNum=%d parmCurDen=%u parmVal=%ld \n", num, den, static_cast<long>(value));
	int32_t tol = a.luma_tolerance;
	if (target + 8 * tol > 255)
		target = 255 - 8 * tol;
	else if (target < 2 * tol)
		target = 2 * tol;
	if (target > 112)
		target = 112;
	std::fprintf(stderr, "aec_set_exposure_compensation: %d\n", target);
	a.out.luma_target = clamp_u8(target);
	set_bands(a);
	return 1;
}

bool aec_check_settled()
{
	if (!aec)
		return false;
	const aec_state_t &o = aec->out;
	float l = o.current_luma;
	if (l >= 0.8f * o.luma_target && l <= 1.2f * o.luma_target)
		return true;
	return o.exp_index == o.num_exp_tab_val - 1 && o.sensor_fps <= o.sensor_fps_limit;
}

float aec_calc_interpolation_weight(float value, float start, float end)
{
	if (value < start)
		return 0.0f;
	if (value >= end || end == start)
		return 1.0f;
	return (value - start) / (end - start);
}

double aec_calc_lux_index(int32_t exp_index, uint8_t luma, uint8_t luma_target, bool linear_afr_supported,
			  uint32_t fps, uint32_t max_fps)
{
	double factor = (linear_afr_supported || max_fps == 0 || fps == 0) ? 1.0 : double(max_fps) / fps;
	int l = luma ? luma : 1;
	int t = luma_target ? luma_target : 1;  // a target of 0 would give log10(0)
	std::fprintf(stderr,
		     "exp_index = %d, luma = %d, luma_target = %d, linear_afr_supported = %d, fps = %d, max_fps = %d\n",
		     exp_index, luma, luma_target, linear_afr_supported, fps, max_fps);
	return exp_index + std::log10(double(t) / l * factor) / 0.012837224639952183;
}

int32_t get_aec_index()
{
	if (!aec || aec->out.num_exp_tab_val <= 0)
		return 0;
	return aec->out.exp_index * 19 / aec->out.num_exp_tab_val;
}

int32_t aec_core_apply_multi_luma_target(int32_t v)
{
	aec_ctrl_t &a = *aec;
	int32_t T = a.out.luma_target, e = a.out.exp_index;
	int32_t in = a.out.indoor_index, out = a.out.outdoor_index;
	int32_t dflt = a.default_luma_target ? a.default_luma_target : 1;
	int32_t O = std::min(255, a.outdoor_luma_target * T / dflt);
	int32_t off = 0;
	if (e < out)
		off = O - T;
	else if (e < in && in != out) {
		float w = float(e - out) / float(in - out);
		off = static_cast<int32_t>((1 - w) * O + w * T) - T;
	}
	off = off > v ? v : off;
	int32_t r = v - off;
	return r < 0 ? 0 : r > 255 ? 255 : r;
}

int32_t aec_set_brightness_level(int32_t level)
{
	int32_t t = aec->default_luma_target + 2 * aec->luma_tolerance * (level - 3);
	t = t < 0 ? 0 : t > 255 ? 255 : t;
	std::fprintf(stderr, "aec_set_brightness new luma target is %d\n", t);
	return t;  // handed to a brightness hook that does nothing
}

bool aec_set_isomode(int32_t mode)
{
	if (mode > max_iso_type || mode < 0) {
		std::fprintf(stderr, "aec_set_isomode: iso_mode = %d not allowed. FAILED.... ", static_cast<int>(mode));
		return false;
	}
	aec->iso_mode = mode;
	const sensor_tuning_t *t = aec->tuning;
	aec->iso_mode1_gain = mode == 1 && t ? static_cast<float>(t->iso100_gain) : 0.0f;
	return true;
}

bool aec_flash_needed()
{
	const aec_state_t &o = aec->out;
	if (o.current_luma == 0)
		return true;
	return (o.luma_target / o.current_luma) * 256 > aec->flash_ratio_limit;
}

bool aec_LED_use_strobe()
{
	const aec_state_t &o = aec->out;
	std::fprintf(stderr, "aec_LED_use_strobe: exp_idx %d\tnum_exp_tab_val%ld, afr_index %ld", o.exp_index,
		     static_cast<long>(o.num_exp_tab_val), static_cast<long>(aec->led_trigger_index));
	if (o.exp_index == o.num_exp_tab_val - 1)
		return true;
	int16_t trig = static_cast<int16_t>(aec->led_trigger_index - (aec->indoor_index_init - o.indoor_index));
	return o.exp_index >= trig;
}

bool aec_LED_check_overexposure()
{
	const aec_state_t &o = aec->out;
	std::fprintf(stderr, "aec_LED_check_overexposure: curr luma = %d, lum targ = %d", o.current_luma, o.luma_target);
	std::fprintf(stderr, "led_compensation_disabled = %d\n", aec->led_compensation_disabled);
	return !aec->led_compensation_disabled && o.current_luma > 2 * o.luma_target;
}

void aec_LED_store_est_stats(int32_t state)
{
	aec_ctrl_t &a = *aec;
	if (state == 0) {
		a.led_off_luma = a.out.current_luma;
		a.led_off_index = a.out.exp_index;
		std::fprintf(stderr, "camera_LED: Storing LED est stats LED OFF %lu\t%lu\n",
			     static_cast<unsigned long>(a.led_off_luma), static_cast<unsigned long>(a.led_off_index));
	} else if (state == 1) {
		a.led_on_luma = a.out.current_luma;
		a.led_on_index = a.out.exp_index;
		std::fprintf(stderr, "camera_LED: Storing LED est stats 100ma ON %lu\t%lu\n",
			     static_cast<unsigned long>(a.led_on_luma), static_cast<unsigned long>(a.led_on_index));
	} else {
		std::fprintf(stderr, "camera_LED: Invalid LED state\n");
	}
}

bool aec_LED_active(const isp3a_ctrl_t *isp3a)
{
	std::fprintf(stderr, "aec_LED_active: aec_LED_stats_cnt = %d\n", static_cast<int>(isp3a->aec_LED_stats_cnt));
	return isp3a->aec_LED_stats_cnt != 0;
}

void aec_LED_reset(isp3a_ctrl_t *isp3a)
{
	if (isp3a->aec_LED_stats_cnt && aec) {
		aec->out.exp_index = aec->out.prev_exp_index = static_cast<int16_t>(aec->led_off_index);
	}
	isp3a->aec_LED_stats_cnt = 0;
	std::fprintf(stderr, "aec_LED_reset: aec_LED_stats_cnt = 0\n");
	isp3a_update_led_state(isp3a, 0);
}

int32_t aec_update_color_correction(const isp3a_ctx_t *ctx, isp3a_update_t *update)
{
	const sensor_tuning_t *t = tuning_of(ctx);
	const isp3a_ctrl_t &c = *ctx->isp3a;
	if (!t || !aec || (c.isp3a_op != ISP3A_OP_PREVIEW && c.isp3a_op != ISP3A_OP_SNAPSHOT))
		return 1;
	if (c.isp3a_op == ISP3A_OP_PREVIEW && c.trigger[1] && !aec_check_settled())
		return 1;
	const aec_state_t &o = aec->out;
	float dg = c.isp3a_op == ISP3A_OP_PREVIEW ? update->digital_gain : o.digital_gain;
	float ratio = 0.0f;
	if (c.trigger[1]) {
		ratio = 0.0f;  // the trigger ratio of this system
	} else {
		int32_t n = o.num_exp_tab_val, m = (o.indoor_index + n - 1) / 2;
		int32_t span = n - 1 - m;
		ratio = span ? float(o.exp_index - m) / float(span) : 0.0f;  // an empty span is no division by zero
	}
	if (ratio < 0 || !t->ccm_lowlight_enable)
		ratio = 0;
	const sensor_color_correction_t &A = ctx->sensor->tuned.cc_normal;
	const sensor_color_correction_t &B = c.isp3a_op == ISP3A_OP_PREVIEW ? ctx->sensor->tuned.cc_lowlight : aec->snapshot_lowlight;
	sensor_color_correction_t m = A;  // the Q stays A's
	auto blend = [&](int32_t a, int32_t b) { return static_cast<int32_t>((a + (b - a) * ratio) * dg); };
	for (size_t k = 0; k < 9; k++)
		m.coef[k] = blend(A.coef[k], B.coef[k]);
	for (size_t k = 0; k < 3; k++)
		m.bias[k] = blend(A.bias[k], B.bias[k]);
	update->color_correction = sensor_color_correction_words(m);
	update->color_correction_update = update->color_correction_applied = 1;
	std::fprintf(stderr, "aec_update_color_correction: aec_state.digital_gain = %f\n", dg);
	return 1;
}

int32_t aec_update_gamma(const isp3a_ctx_t *ctx, isp3a_update_t *update)
{
	update->gamma_update = update->gamma_applied = 0;
	const isp3a_ctrl_t &c = *ctx->isp3a;
	uint8_t trig = c.isp3a_op == ISP3A_OP_PREVIEW ? c.trigger[3] : c.isp3a_op == ISP3A_OP_SNAPSHOT ? c.trigger[4] : 0;
	if (c.isp3a_op == ISP3A_OP_PREVIEW && trig && !aec_check_settled())
		return 1;
	const sensor_tuning_t *t = tuning_of(ctx);
	if (!trig || !t)
		return 1;
	// Tables of the tuning: default, low light, outdoor.
	const uint8_t *dflt = t->gamma.data(), *low = dflt + GAMMA_ROW, *outdoor = dflt + 2 * GAMMA_ROW;
	aec_trigger_ratio_t r = aec_get_trigger_ratio2();
	if (r.lighting == 2)
		aec_interpolate_gamma_table(dflt, outdoor, r.ratio, update->gamma.data());
	else if (r.lighting == 0)
		aec_interpolate_gamma_table(dflt, low, r.ratio, update->gamma.data());
	else
		std::copy(dflt, dflt + GAMMA_ENTRIES, update->gamma.begin());
	update->gamma_update = update->gamma_applied = 1;
	return 1;
}

int32_t aec_algo_execution(int32_t op, isp3a_ctx_t *ctx, isp3a_update_t *update, const isp3a_misc_t *misc)
{
	int32_t rc = 0;
	if (op == ISP3A_OP_INIT) {
		rc = aec_algo_init(ctx);
		if (rc != 1)
			std::fprintf(stderr, "aec_algo_init: FAILED....");
	} else if (!aec) {
		return 0;
	} else if (op == ISP3A_OP_PREVIEW) {
		rc = aec_adjust_exposure(ctx, update);
		if (rc != 1) {
			std::fprintf(stderr, "aec_adjust_exposure: %d FAILED..........\n ", static_cast<int>(rc));
			std::fprintf(stderr, "aec_algo_preview: FAILED....");
		}
	} else if (op == ISP3A_OP_SNAPSHOT) {
		rc = aec_algo_snapshot(ctx, update);
		if (rc != 1)
			std::fprintf(stderr, "aec_algo_snapshot: FAILED....");
	} else if (op == ISP3A_OP_MISC) {
		rc = misc ? 1 : 0;  // settings are accepted and have no effect on AEC
	}
	if (rc == 1 && op != ISP3A_OP_INIT && aec && update) {
		int32_t r = aec_update_color_correction(ctx, update);
		if (r != 1) {
			std::fprintf(stderr, "aec_update_color_correction: %d FAILED..........\n ", static_cast<int>(r));
			return r;
		}
		r = aec_update_gamma(ctx, update);  // black level and the adaptive filters change nothing here
		if (r != 1) {
			std::fprintf(stderr, "aec_update_gamma: %d FAILED..........\n", static_cast<int>(r));
			return r;
		}
	}
	if (rc == 1 && aec)
		ctx->isp3a->aec_state = [&] {
			aec_state_t s = aec->out;
			s.exposure_mode = ctx->isp3a->aec_state.exposure_mode;
			s.exposure_compensation = ctx->isp3a->aec_state.exposure_compensation;
			s.iso = ctx->isp3a->aec_state.iso;
			return s;
		}();
	return rc;
}

}  // namespace cam
