#include "camera/vfe/colour_record.h"

namespace cam {

namespace {

// The conversion's fields, one to a half word from byte 32 on: the eight
// chroma coefficients, each minus/plus pair in one word, then the two
// chroma offsets, in 11 bits; the three luma coefficients and the luma
// offset in 12.
constexpr size_t CONVERSION_AT = 32;
constexpr unsigned width_of(size_t i) { return i < CC_V0 ? 11 : 12; }

int32_t signed_field(uint32_t v, unsigned width) { return static_cast<int32_t>(v << (32 - width)) >> (32 - width); }

}  // namespace

void colour_put_conversion(vfe_rec<60> &r, const colour_conversion_t &m)
{
	for (size_t i = 0; i < m.size(); ++i)
		r.set(CONVERSION_AT + 2 * i, 0, 16, vfe_field(m[i], width_of(i)));
}

colour_conversion_t colour_get_conversion(const vfe_rec<60> &r)
{
	colour_conversion_t m{};
	for (size_t i = 0; i < m.size(); ++i)
		m[i] = signed_field(r.get(CONVERSION_AT + 2 * i, 0, width_of(i)), width_of(i));
	return m;
}

void colour_put_correction(vfe_rec<60> &r, const colour_correction_t &m)
{
	// Nine coefficients in the low and high halves of words 1 to 6, the
	// biases in the free high halves of words 2, 4 and 6.
	static constexpr std::array<size_t, 9> coeff_at = {4, 6, 8, 12, 14, 16, 20, 22, 24};
	for (size_t i = 0; i < coeff_at.size(); ++i)
		r.set(coeff_at[i], 0, 16, vfe_field(m[i], 12));
	r.set(10, 0, 16, vfe_field(m[9], 11));
	r.set(18, 0, 16, vfe_field(m[10], 11));
	r.set(26, 0, 16, vfe_field(m[11], 11));
	// The coefficients' Q above 7; one outside 7 to 10 cannot be said.
	int32_t q = m[12] < 7 ? 7 : m[12] > 10 ? 10 : m[12];
	r.set(28, 0, 2, static_cast<uint32_t>(q - 7));
}

}  // namespace cam
