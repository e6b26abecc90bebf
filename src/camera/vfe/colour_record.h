// The colour processing record's two parts: the correction (a 3 x 3 matrix
// on RGB with biases) in words 1 to 7, and the conversion to YCbCr in
// words 8 to 14.
#pragma once

#include <array>
#include <cstdint>

#include "camera/sensor/tuning.h"
#include "camera/vfe/vfe_cmd.h"

namespace cam {

using colour_conversion_t = std::array<int32_t, CC_WORDS>;
// Nine coefficients (rows r, g, b), three biases, and the Q of the
// coefficients (7 to 10).
using colour_correction_t = std::array<int32_t, 13>;

// Indexes of the conversion, in the order of the tuning and of the record.
enum : size_t { CC_A_M, CC_A_P, CC_B_M, CC_B_P, CC_C_M, CC_C_P, CC_D_M, CC_D_P, CC_K_CB, CC_K_CR, CC_V0, CC_V1, CC_V2, CC_K };

void colour_put_conversion(vfe_rec<60> &r, const colour_conversion_t &m);
colour_conversion_t colour_get_conversion(const vfe_rec<60> &r);
void colour_put_correction(vfe_rec<60> &r, const colour_correction_t &m);

}  // namespace cam
