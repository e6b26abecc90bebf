// The tuning record's floats in the fixed point of the VFE's records.
#include "camera/sensor/sensor_convert.h"

#include <algorithm>
#include <cmath>

#include "camera/sensor/sensor.h"

namespace cam {

void sensor_convert_tuning_color_correction(const std::array<float, 13> &in, sensor_color_correction_t *out)
{
	// The factor is 0 to 3: the coefficients' Q runs from 7 to 10.
	out->q_factor = std::clamp(static_cast<int32_t>(in[12]), 0, 3);
	uint32_t q = 7 + static_cast<uint32_t>(out->q_factor);
	for (size_t k = 0; k < 9; ++k)
		out->coef[k] = static_cast<int32_t>(sensor_convert_float_2_int(in[k], q));
	for (size_t k = 0; k < 3; ++k)
		out->bias[k] = static_cast<int32_t>(in[9 + k]);
}

std::array<int32_t, 13> sensor_color_correction_words(const sensor_color_correction_t &c)
{
	std::array<int32_t, 13> m{};
	std::copy(c.coef.begin(), c.coef.end(), m.begin());
	std::copy(c.bias.begin(), c.bias.end(), m.begin() + 9);
	m[12] = 7 + c.q_factor;
	return m;
}

void sensor_convert_tuning_white_balance(const std::array<float, 3> &rgb, sensor_wb_gains_t *out)
{
	out->r = static_cast<uint16_t>(sensor_convert_float_2_int(rgb[0], 7));
	out->b = static_cast<uint16_t>(sensor_convert_float_2_int(rgb[2], 7));
	out->g = static_cast<uint16_t>(sensor_convert_float_2_int(rgb[1], 7));
}

void sensor_convert_tuning_color_conversion(const std::array<float, CC_WORDS> &in, sensor_conversion_t *out)
{
	for (size_t k = 0; k < CC_WORDS; ++k)
		(*out)[k] = sensor_conversion_is_coefficient(k) ? static_cast<int32_t>(sensor_convert_float_2_int(in[k], 8))
							       : static_cast<int32_t>(in[k]);
}

int64_t sensor_rolloff_slope(float gain_here, float gain_next, int64_t radius_here, int64_t radius_next)
{
	int64_t width = radius_next - radius_here;
	if (width == 0)
		return 0;
	return static_cast<int64_t>(std::ldexp(static_cast<double>(gain_next) - gain_here, 30) / static_cast<double>(width));
}

void sensor_convert_roll_off_table(const sensor_tuning_t &t, sensor_rolloff_t *out)
{
	out->cx = static_cast<uint16_t>(t.rolloff_center[0]);
	out->cy = static_cast<uint16_t>(t.rolloff_center[1]);
	const std::array<const std::array<float, ROLLOFF_ROWS> *, 3> gains = {&t.rolloff_gain_r, &t.rolloff_gain_g,
									       &t.rolloff_gain_b};
	for (size_t i = 0; i < ROLLOFF_ROWS; ++i)
		out->radius_sq[i] = static_cast<uint32_t>(t.rolloff_radius_sq[i]);
	for (size_t c = 0; c < 3; ++c) {
		const auto &g = *gains[c];
		for (size_t i = 0; i < ROLLOFF_ROWS; ++i)
			out->gain[c][i] = static_cast<uint16_t>(sensor_convert_float_2_int(g[i], 10));
		int32_t slope = 0;
		for (size_t i = 0; i + 1 < ROLLOFF_ROWS; ++i) {
			// A ring of no width keeps the slope of the one before.
			if (t.rolloff_radius_sq[i + 1] != t.rolloff_radius_sq[i])
				slope = static_cast<int32_t>(
				    sensor_rolloff_slope(g[i], g[i + 1], t.rolloff_radius_sq[i], t.rolloff_radius_sq[i + 1]));
			out->slope[c][i] = slope;
		}
		out->slope[c][ROLLOFF_ROWS - 1] = 0;
	}
}

void sensor_convert_asf_3x3_matrix(const std::array<float, 9> &in, uint32_t q, std::array<int16_t, 9> *out)
{
	for (size_t k = 0; k < 9; ++k)
		(*out)[k] = static_cast<int16_t>(sensor_convert_float_2_int(in[k], q));
}

}  // namespace cam
