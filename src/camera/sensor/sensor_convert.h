// The conversions of a tuning record into the fixed-point forms the VFE's
// records take. sensor_post_init keeps the results in the sensor record.
#pragma once

#include <array>
#include <cstdint>

#include "camera/sensor/tuning.h"

namespace cam {

// Colour correction: nine coefficients (rows r, g, b) in Q(7 + factor),
// three biases, the factor.
struct sensor_color_correction_t {
	std::array<int32_t, 9> coef;
	std::array<int32_t, 3> bias;
	int32_t q_factor;
};

// White balance gains in Q7, in the VFE's order: red, blue, green.
struct sensor_wb_gains_t {
	uint16_t r, b, g;
};

// The roll-off record's content: centre, and per ring the squared radius,
// the Q10 gain of each channel and the slope towards the next ring.
constexpr int ROLLOFF_SLOPE_BITS = 19;
struct sensor_rolloff_t {
	uint16_t cx, cy;
	std::array<uint32_t, ROLLOFF_ROWS> radius_sq;
	std::array<std::array<uint16_t, ROLLOFF_ROWS>, 3> gain;   // r, g, b
	std::array<std::array<int32_t, ROLLOFF_ROWS>, 3> slope;   // the last ring's stays 0
};

// The tuning as sensor_post_init leaves it for the VFE.
using sensor_conversion_t = std::array<int32_t, CC_WORDS>;

struct sensor_converted_t {
	sensor_color_correction_t cc_normal, cc_lowlight;
	sensor_conversion_t cc_default, cc_daylight, cc_fluorescent, cc_incandescent;
	sensor_conversion_t cc_sepia, cc_mono, cc_negative, cc_aqua;
	std::array<sensor_wb_gains_t, 4> wb;       // incandescent, fluorescent, daylight, cloudy
	sensor_rolloff_t rolloff;
	std::array<int16_t, 9> asf_3x3;
};

void sensor_convert_tuning_color_correction(const std::array<float, 13> &in, sensor_color_correction_t *out);
// The correction as the colour record takes it: coefficients, biases, and
// the coefficients' Q (7 + factor) last.
std::array<int32_t, 13> sensor_color_correction_words(const sensor_color_correction_t &c);
void sensor_convert_tuning_white_balance(const std::array<float, 3> &rgb, sensor_wb_gains_t *out);
// Eight chroma coefficients in Q8, the two chroma offsets copied, three
// luma coefficients in Q8, the luma offset copied.
void sensor_convert_tuning_color_conversion(const std::array<float, CC_WORDS> &in, sensor_conversion_t *out);
// Whether a word of a conversion is a coefficient (Q8) rather than an offset.
constexpr bool sensor_conversion_is_coefficient(size_t k) { return k < 8 || (k >= 10 && k < 13); }
void sensor_convert_roll_off_table(const sensor_tuning_t &t, sensor_rolloff_t *out);
void sensor_convert_asf_3x3_matrix(const std::array<float, 9> &in, uint32_t q, std::array<int16_t, 9> *out);

// Slope of one roll-off interval in the VFE's unit: 2^30 per unit of gain
// over the squared radius; 0 for an interval of no width.
int64_t sensor_rolloff_slope(float gain_here, float gain_next, int64_t radius_here, int64_t radius_next);

}  // namespace cam
