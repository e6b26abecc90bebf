// For tests that run daemon code in their own process: a fresh board that
// the simulated platform uses for the life of the test binary.
#pragma once

#include <string>

namespace testing_support {

// Makes the board on first call and points FTM_BOARD at it; returns its root.
const std::string &use_temp_board();

}  // namespace testing_support
