// The simulated VFE's reading of the records of its Bayer pipeline: one
// decoder per record, each taking the record's bytes as the DSP got them
// and giving the values the hardware would load. A record of the wrong
// size leaves the stage as it was.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace sim::camera {

// Start record, word 2: the stages that run.
struct vfe_enables_t {
	bool black_level = false, roll_off = false, white_balance = false, rgb_gamma = false;
};

// Colour processing: correction (3 x 3 on RGB, Q 7 + q, biases on the
// 10-bit scale), then conversion to YCbCr (Q8).
struct vfe_colour_t {
	std::array<int32_t, 9> ccm{128, 0, 0, 0, 128, 0, 0, 0, 128};
	std::array<int32_t, 3> bias{};
	uint32_t q = 0;  // coefficients in Q(7 + q)
	// a_m a_p b_m b_p c_m c_p d_m d_p k_cb k_cr v0 v1 v2 k
	std::array<int32_t, 14> conv{128, 128, -86, -86, 128, 128, -42, -42, 128, 128, 77, 150, 29, 0};
};

constexpr size_t ROLL_OFF_ROWS = 32;

// Roll-off: centre, and per row the squared radius where it starts and,
// for R, G, B, the gain there (Q10) and its slope (whole gain per radius
// squared, times 2^30, as the tuning's conversion makes it).
struct vfe_roll_off_t {
	uint32_t cx = 0, cy = 0;
	std::array<uint32_t, ROLL_OFF_ROWS> r2{};
	std::array<std::array<uint32_t, 3>, ROLL_OFF_ROWS> gain{};
	std::array<std::array<int32_t, 3>, ROLL_OFF_ROWS> slope{};
};

struct vfe_clamp_t {
	std::array<uint8_t, 3> max{255, 255, 255}, min{0, 0, 0};  // Y, Cb, Cr
};

// A gamma record, RGB or Y alike: word 1 bit 0 loads the table (0 leaves
// the stage a straight line), then one byte a 10-bit input level.
struct vfe_gamma_t {
	bool table = false;
	std::array<uint8_t, 1024> at{};
};

void vfe_decode_start(vfe_enables_t &out, std::span<const uint8_t> rec);
void vfe_decode_black_level(std::array<uint32_t, 2> &out, std::span<const uint8_t> rec);
// Gains red, green, blue, Q7.
void vfe_decode_white_balance(std::array<uint32_t, 3> &out, std::span<const uint8_t> rec);
void vfe_decode_colour(vfe_colour_t &out, std::span<const uint8_t> rec);
void vfe_decode_gamma(vfe_gamma_t &out, std::span<const uint8_t> rec);
void vfe_decode_roll_off(vfe_roll_off_t &out, std::span<const uint8_t> rec);
void vfe_decode_clamp(vfe_clamp_t &out, std::span<const uint8_t> rec);

}  // namespace sim::camera
