#include "camera/vfe/vfe_tables.h"

#include <cmath>
#include <numbers>

namespace cam {

namespace {

// A 4-tap low-pass: a sinc cut at the output/input ratio under a Lanczos
// window, normalised so each phase sums to 512 (unity in Q9).
std::array<std::array<uint16_t, 64>, 17> make_coeffs()
{
	std::array<std::array<uint16_t, 64>, 17> t{};
	auto sinc = [](double x) { return x == 0.0 ? 1.0 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x); };
	for (size_t row = 0; row < t.size(); ++row) {
		double ratio = 0.5 + static_cast<double>(row) / 32.0;
		for (size_t phase = 0; phase < 16; ++phase) {
			double frac = static_cast<double>(phase) / 16.0;
			double w[4], sum = 0;
			for (int k = 0; k < 4; ++k) {
				double x = (k - 1) - frac;
				w[k] = row == 16 ? sinc(x) * sinc(x / 2.0) : ratio * sinc(x * ratio) * sinc(x / 2.0);
				sum += w[k];
			}
			int total = 0, taps[4];
			for (int k = 0; k < 4; ++k) {
				taps[k] = static_cast<int>(std::lround(w[k] / sum * 512.0));
				total += taps[k];
			}
			taps[1] += 512 - total;  // rounding goes to the centre tap
			if (taps[1] > 511) {     // a 10-bit signed tap stops at 511
				taps[2] += taps[1] - 511;
				taps[1] = 511;
			}
			for (int k = 0; k < 4; ++k)
				t[row][phase * 4 + static_cast<size_t>(k)] = static_cast<uint16_t>(taps[k]);
		}
	}
	return t;
}

template <typename F>
std::array<uint8_t, 1024> curve(F f)
{
	std::array<uint8_t, 1024> t{};
	for (size_t i = 0; i < t.size(); ++i)
		t[i] = f(static_cast<int>(i));
	return t;
}

}  // namespace

const std::array<std::array<uint16_t, 64>, 17> PolyphaseFilterCoeffs = make_coeffs();

// Whiteboard: dark strokes on white; blackboard the inverse; posterize in
// eight steps.
const std::array<uint8_t, 1024> WhiteboardGammaTbl = curve([](int i) -> uint8_t { return i < 400 ? 0 : 255; });
const std::array<uint8_t, 1024> BlackboardGammaTbl = curve([](int i) -> uint8_t { return i < 400 ? 255 : 0; });
const std::array<uint8_t, 1024> PosterizationGammaTbl =
    curve([](int i) -> uint8_t { return static_cast<uint8_t>((i / 128) * 255 / 7); });

const std::array<uint32_t, 30> vfe_skip_patterns = {
    0x1,       0x1,       0x101,     0x421,     0x1111,    0x1249,    0x14A5,    0x5554,
    0x5555,    0x6B5A,    0x6DB6,    0x6EEE,    0x7BDE,    0x7EFE,    0x7FFE,    0x7FFF,
    0x555AAAA, 0x56B55AA, 0x5AD6B5A, 0x6B6B6B6, 0x6DB6DB6, 0x376EDBB, 0x5DDEEEE, 0x5EF7BDE,
    0x37DF7DF, 0x77DF7DF, 0x77DF7DF, 0x7EFFBFE, 0x7FF7FFE, 0x7FFFFFE};

}  // namespace cam
