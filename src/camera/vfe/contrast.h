// Contrast on a gamma table: each entry is passed through an S-curve about
// the middle grey, flatter for low contrast, steeper for high.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace cam {

constexpr int32_t CONTRAST_NEUTRAL = 5;  // the table as it stands
constexpr int32_t CONTRAST_MAX = 10;

// The S-curve of a contrast step (0 to 10 but 5): 256 entries of 16 bits,
// by the exponent that names it, 0.5 for step 0 up to 2.4 for step 10.
const std::array<uint16_t, 256> &ipl_gamma_sigmoid(int32_t contrast);

// result[i] = low byte of the curve at source[i], for 2^bits entries (none
// from 32 bits on), bounded by both spans. 0 on success; 1 when a table is
// missing or the step is out of range.
int ipl_set_contrast_Nentries(int32_t contrast, uint32_t bits, std::span<const uint8_t> source,
			      std::span<uint8_t> result);

}  // namespace cam
