// The ADC channels of the test protocol; only the battery voltage exists
// on this board.
#pragma once

namespace hal {

constexpr int ADC_TYPE_COUNT = 8;

// Type 0: the battery voltage. Types 1 to 7: a fixed type + 1. Other: -1.
int adc_test(int type);

}  // namespace hal
