// Tables of the VFE pipeline: scaler coefficients, effect gamma curves and
// frame skip patterns.
#pragma once

#include <array>
#include <cstdint>

namespace cam {

// 17 rows by output/input ratio (0.5 to 1 in steps of 1/32, row 16 the
// identity); 16 phases of 4 signed 10-bit taps, summing to 512.
extern const std::array<std::array<uint16_t, 64>, 17> PolyphaseFilterCoeffs;

extern const std::array<uint8_t, 1024> WhiteboardGammaTbl;
extern const std::array<uint8_t, 1024> PosterizationGammaTbl;
extern const std::array<uint8_t, 1024> BlackboardGammaTbl;

extern const std::array<uint32_t, 30> vfe_skip_patterns;

}  // namespace cam
