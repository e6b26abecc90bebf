// Exposure around the snapshot: flicker bands, ISO limits, the snapshot's
// exposure and luma target, hand jitter reduction, and the gamma AEC picks
// by light.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "camera/isp3a/aec.h"

namespace cam {

namespace {

// A real gain as the sensor's gain register takes it, Q8.
uint32_t sensor_gain(double real) { return real <= 0.0 ? 0u : static_cast<uint32_t>(real * 256.0); }

}  // namespace

int32_t GetAvailableFlashCurrent() { return 0; }

int32_t aec_set_antibanding(int32_t value, const sensor_ctrl_t *sensor)
{
	aec_ctrl_t *a = aec_ctrl();
	if (!a || !sensor)
		return 0;
	if (value >= 4 || value < 0) {
		std::fprintf(stderr, "aec_set_antibanding: CAMERA_FAILED %d\n", static_cast<int>(value));
		return 0;
	}
	int32_t count = 0;
	if (value == 1 || value == 2) {
		count = value == 2 ? a->band_count_50 : a->band_count_60;
		// An empty band table (a period longer than any row) is no table.
		if (!a->band_supported || !sensor->timing.lines_per_frame || count <= 0) {
			std::fprintf(stderr, "aec_set_antibanding: %d FAILED.... \n", static_cast<int>(value));
			return 0;
		}
		a->antibanding = value;
		a->out.prev_exp_index = 0;
		a->exposure_table = value == 2 ? a->band_50.data() : a->band_60.data();
	} else {
		a->antibanding = 0;
		a->out.prev_exp_index = 0;
		if (sensor->output_format == SENSOR_YCBCR || !a->tuning) {
			a->out.num_exp_tab_val = 0;
			a->exposure_table = nullptr;
			return 1;
		}
		a->exposure_table = a->tuning_table.data();
		count = a->tuning->num_exposure_values;
	}
	a->out.num_exp_tab_val = count;
	// The sensor's own row count, but never rows the table does not hold.
	if (!a->frame_rate_adjust)
		a->out.num_exp_tab_val = std::min(count, sensor->aec_limits.exp_index_max + 1);
	return 1;
}

int32_t aec_core_build_band_table(std::span<const aec_exp_entry_t> table, uint32_t period_rows,
				  std::span<aec_exp_entry_t> out)
{
	uint32_t longest = 0;
	for (const aec_exp_entry_t &r : table)
		longest = std::max(longest, r.line_count);
	if (period_rows == 0 || longest < period_rows)
		return 0;
	uint64_t max_periods = longest / period_rows;
	size_t count = 0;
	for (const aec_exp_entry_t &r : table) {
		if (count == out.size())
			break;
		uint64_t exposure = uint64_t{r.gain} * r.line_count;  // Q8 gain x lines
		uint64_t periods = std::min(exposure / (256u * uint64_t{period_rows}), max_periods);
		if (periods == 0)
			continue;  // brighter than one period at unity gain
		uint64_t lines = periods * period_rows;
		uint64_t gain = (exposure + lines / 2) / lines;
		if (gain > 0xFFFF)
			break;
		out[count++] = {static_cast<uint16_t>(gain), static_cast<uint32_t>(lines)};
	}
	return static_cast<int32_t>(count);
}

int32_t aec_get_max_iso_mode(const sensor_ctrl_t *sensor)
{
	const aec_ctrl_t *a = aec_ctrl();
	if (!a || !a->tuning || !sensor->camctrl.iso_supported)
		return 0;
	const sensor_tuning_t &t = *a->tuning;
	uint32_t last = static_cast<uint32_t>(t.exp_gain[static_cast<size_t>(t.num_exposure_values - 1)]);
	static constexpr struct {
		int multiple, mode;
	} steps[] = {{8, 5}, {4, 4}, {2, 3}};
	for (const auto &s : steps)
		if (sensor_gain(s.multiple * t.iso100_gain / 256.0) < last)
			return s.mode;
	return 0;
}

uint8_t aec_core_configure_snapshot_luma_target(const sensor_ctrl_t *sensor, const isp3a_ctx_t *)
{
	aec_ctrl_t *a = aec_ctrl();
	if (!a || !a->tuning)
		return 0;
	int32_t target = a->out.luma_target, lowered = target;
	uint8_t level = a->luma_offset_level;
	if (sensor->aec_extra) {  // the sensor lowers the target of a dark snapshot
		if (level > 7)
			lowered = target - 8;
		else if (level > 3)
			lowered = target - 5;
		else if (level > 1)
			lowered = target - 3;
	}
	lowered = std::max(lowered, 0);
	int32_t indoor = std::clamp<int32_t>(a->out.indoor_index, 0, a->tuning->num_exposure_values - 1);
	float indoor_gain = static_cast<float>(a->tuning->exp_gain[static_cast<size_t>(indoor)]) / 256.0f;
	if (target > 0 && a->out.current_real_gain > indoor_gain) {
		a->out.current_real_gain *= static_cast<float>(lowered) / static_cast<float>(target);
		return static_cast<uint8_t>(lowered);
	}
	return static_cast<uint8_t>(target);
}

void aec_prepare_for_hjr(sensor_ctrl_t *sensor, const isp3a_ctx_t *)
{
	aec_ctrl_t *a = aec_ctrl();
	if (!a || !a->tuning)
		return;
	aec_hjr_t &h = a->hjr;
	h.frames = 1;  // one frame, whatever the tuning would ask
	h.prev_luma_target = a->out.luma_target;
	h.prev_line_count = a->last_line_count;
	h.prev_real_gain = a->out.current_real_gain;
	size_t last = static_cast<size_t>(a->tuning->num_exposure_values - 1);
	h.max_gain = static_cast<uint32_t>(a->tuning->exp_gain[last]);
	h.max_line_count = static_cast<uint32_t>(a->tuning->exp_lines[last]);
	h.snapshot_fps = sensor->fps[1];
	h.ref_gain = 128;
	if (h.prev_line_count >= 10u * static_cast<uint32_t>(h.max_frames) && h.snapshot_fps != sensor->fps[0] &&
	    sensor->ops.set_frame_rate)
		sensor->ops.set_frame_rate(sensor, h.snapshot_fps);
	std::fprintf(stderr, "HJR: No of Frames:%d\n", static_cast<int>(h.frames));
}

void aec_hjr_adjust_for_max_gain(float gain)
{
	aec_ctrl_t *a = aec_ctrl();
	if (!a)
		return;
	aec_hjr_t &h = a->hjr;
	h.line_count = h.prev_line_count;
	// A finite gain halves below 2.0 within 128 steps; anything else is left.
	for (int guard = 0; guard < 128 && std::isfinite(gain) && gain > 2.0f; ++guard) {
		gain /= 2.0f;
		h.line_count *= 2;
	}
	h.gain = std::isfinite(gain) && gain > 0.0f ? static_cast<uint32_t>(std::lround(gain * 128.0f)) : 0u;
}

int32_t aec_adjust_exposure_as_per_hjr(const isp3a_ctx_t *ctx, isp3a_update_t *update)
{
	aec_ctrl_t *a = aec_ctrl();
	if (!a || !ctx->sensor)
		return 0;
	sensor_ctrl_t &s = *ctx->sensor;
	aec_hjr_t &h = a->hjr;
	// The per-ISO core is empty: the exposure is the one the gain limit left.
	update->gain = h.gain * 2;  // Q7 to Q8
	update->line_count = h.line_count;
	bool fps_ok = true;
	if (h.snapshot_fps != s.fps[0]) {
		fps_ok = s.ops.set_frame_rate && s.ops.set_frame_rate(&s, h.snapshot_fps);
		if (!fps_ok)
			std::fprintf(stderr, "Failed to change the snapshot fps to :%d", static_cast<int>(h.snapshot_fps));
	}
	if (!s.camctrl.iso_supported)
		std::fprintf(stderr, "ISO is not supported. Exposure adjustment is failed\n");
	else if (fps_ok)
		std::fprintf(stderr, "Exposure adjustment is failed\n");
	return 0;
}

uint32_t aec_iso_gain(int32_t iso_mode)
{
	const aec_ctrl_t *a = aec_ctrl();
	if (!a || !a->tuning || iso_mode <= 0)
		return 0;
	if (iso_mode == 1)
		return static_cast<uint32_t>(a->iso_mode1_gain);
	uint64_t g = uint64_t(std::max(a->tuning->iso100_gain, 0)) << std::min(iso_mode - 2, 16);
	return static_cast<uint32_t>(std::min<uint64_t>(g, 0xFFFF));
}

aec_snapshot_exposure_t aec_core_run_adjust_exposure_algorithm_per_iso(const aec_snapshot_start_t &in)
{
	aec_snapshot_exposure_t out{in.start_gain, in.line_count, in.fps, 1.0f};
	uint64_t exposure = uint64_t{in.start_gain} * in.line_count;
	if (in.iso_gain != 0 && exposure != 0) {
		// The ISO's gain, with the lines that keep the preview's exposure.
		uint64_t lines = (exposure + in.iso_gain / 2) / in.iso_gain;
		lines = std::clamp<uint64_t>(lines, 1, in.max_line_count ? in.max_line_count : in.line_count);
		out.line_count = static_cast<uint32_t>(lines);
		out.gain = static_cast<uint32_t>(std::min<uint64_t>((exposure + lines / 2) / lines, 0xFFFF));
	}
	if (in.digital_gain && in.max_gain && out.gain > in.max_gain) {
		out.digital_gain = static_cast<float>(out.gain) / static_cast<float>(in.max_gain);
		out.gain = in.max_gain;
	}
	return out;
}

float aec_get_snapshot_line_time_ms(const sensor_ctrl_t *sensor, uint16_t fps_q8)
{
	if (!sensor || !sensor->timing.lines_per_frame)
		return 0.0f;
	return static_cast<float>(sensor->timing.lines_per_frame(sensor, fps_q8)) * static_cast<float>(fps_q8);
}

int32_t aec_algo_snapshot(isp3a_ctx_t *ctx, isp3a_update_t *update)
{
	aec_ctrl_t *a = aec_ctrl();
	if (!a || !a->tuning || !ctx->sensor)
		return 0;
	if (!a->tuning->aec_enable)
		return 1;  // the snapshot keeps what the sensor has
	sensor_ctrl_t &s = *ctx->sensor;
	aec_state_t &o = a->out;
	if (!a->exposure_table || o.num_exp_tab_val <= 0)
		return 0;
	// The preview's settled row.
	const aec_exp_entry_t &row = a->exposure_table[std::clamp<int32_t>(o.exp_index, 0, o.num_exp_tab_val - 1)];
	uint16_t fps = s.fps[1] ? s.fps[1] : static_cast<uint16_t>(o.sensor_fps);
	const sensor_tuning_t &t = *a->tuning;
	uint32_t frame_lines = s.timing.lines_per_frame ? s.timing.lines_per_frame(&s, fps) : 0;
	aec_snapshot_start_t start{row.gain,
				   row.line_count,
				   fps,
				   aec_iso_gain(a->iso_mode),
				   frame_lines ? frame_lines : static_cast<uint32_t>(t.max_line_count),
				   static_cast<uint32_t>(t.exp_gain[static_cast<size_t>(t.num_exposure_values - 1)]),
				   s.camctrl.digital_gain != 0};
	aec_snapshot_exposure_t e = aec_core_run_adjust_exposure_algorithm_per_iso(start);
	update->gain = e.gain;
	update->line_count = e.line_count;
	update->fps = e.fps;
	update->digital_gain = e.digital_gain;
	// A rate that is not the current one goes to the sensor first.
	if (update->fps != o.sensor_fps && (!s.ops.set_frame_rate || !s.ops.set_frame_rate(&s, update->fps))) {
		std::fprintf(stderr, "Failed to change the snapshot fps to :%d", static_cast<int>(update->fps));
		return 0;
	}
	if (s.timing.set_aec_snapshot &&
	    !s.timing.set_aec_snapshot(&s, update->gain, update->line_count, update->digital_gain))
		return 0;
	if (s.camctrl.digital_gain)
		o.digital_gain = update->digital_gain;
	o.snapshot_gain = update->gain;
	a->snapshot_line_count = update->line_count;
	float line_rate = aec_get_snapshot_line_time_ms(&s, update->fps);
	a->exposure_time_ms =
	    line_rate > 0.0f ? static_cast<float>(update->line_count) * 256.0f / line_rate * 1000.0f : 0.0f;
	return 1;
}

void aec_interpolate_gamma_table(const uint8_t *a, const uint8_t *b, float ratio, uint8_t *out)
{
	float r = std::clamp(ratio, 0.0f, 1.0f);
	for (int i = 0; i < GAMMA_ENTRIES; ++i)
		out[i] = static_cast<uint8_t>(std::lround(a[i] + (b[i] - a[i]) * r));
}

aec_trigger_ratio_t aec_get_trigger_ratio2()
{
	// Outdoor fully at half the outdoor index and brighter, blending to the
	// default at the outdoor index; low light from the middle of the dark
	// half of the table, fully at its end.
	const aec_ctrl_t *a = aec_ctrl();
	if (!a)
		return {0.0f, 1};
	const aec_state_t &o = a->out;
	float e = o.exp_index;
	if (o.exp_index < o.outdoor_index)
		return {1.0f - aec_calc_interpolation_weight(e, o.outdoor_index / 2.0f, o.outdoor_index), 2};
	int32_t m = (o.indoor_index + o.num_exp_tab_val - 1) / 2;
	if (o.exp_index > m)
		return {aec_calc_interpolation_weight(e, static_cast<float>(m), static_cast<float>(o.num_exp_tab_val - 1)), 0};
	return {0.0f, 1};
}

}  // namespace cam
