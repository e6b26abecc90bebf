#include "camera/vfe/contrast.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace cam {

namespace {

using curve_t = std::array<uint16_t, 256>;

// The exponent of each step; 5 has none.
constexpr std::array<double, 11> exponent = {0.5, 0.6, 0.7, 0.8, 0.9, 1.0, 1.2, 1.5, 1.8, 2.1, 2.4};

// Symmetric about the middle: each half is a power curve towards the end
// it holds, so the exponent 1 is the identity.
curve_t sigmoid(double e)
{
	curve_t c{};
	for (size_t x = 0; x < c.size(); ++x) {
		double t = static_cast<double>(x) / 255.0;
		double y = t < 0.5 ? 0.5 * std::pow(2.0 * t, e) : 1.0 - 0.5 * std::pow(2.0 * (1.0 - t), e);
		c[x] = static_cast<uint16_t>(std::lround(std::clamp(y, 0.0, 1.0) * 255.0));
	}
	return c;
}

}  // namespace

const std::array<uint16_t, 256> &ipl_gamma_sigmoid(int32_t contrast)
{
	static const std::array<curve_t, 11> curves = [] {
		std::array<curve_t, 11> all{};
		for (size_t i = 0; i < all.size(); ++i)
			all[i] = sigmoid(exponent[i]);
		return all;
	}();
	return curves[static_cast<size_t>(std::clamp<int32_t>(contrast, 0, CONTRAST_MAX))];
}

int ipl_set_contrast_Nentries(int32_t contrast, uint32_t bits, std::span<const uint8_t> source,
			      std::span<uint8_t> result)
{
	if (!source.data() || !result.data()) {
		std::puts("ipl_set_contrast_Nentries marker_200");
		return 1;
	}
	// A negative step has no curve either.
	if (contrast > CONTRAST_MAX || contrast < 0) {
		std::puts("ipl_set_contrast_Nentries marker_201");
		return 1;
	}
	size_t entries = bits >= 32 ? 0 : size_t{1} << bits;
	entries = std::min({entries, source.size(), result.size()});
	if (contrast == CONTRAST_NEUTRAL) {
		std::copy_n(source.begin(), entries, result.begin());
	} else {
		const auto &curve = ipl_gamma_sigmoid(contrast);
		for (size_t i = 0; i < entries; ++i)
			result[i] = static_cast<uint8_t>(curve[source[i]] & 0xFF);
	}
	std::puts("ipl_set_contrast_Nentries marker_101");
	return 0;
}

}  // namespace cam
