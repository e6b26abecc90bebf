// For tests that run daemon code in their own process: a fresh board that
// the simulated platform uses for the life of the test binary.
#pragma once

#include <map>
#include <string>

namespace testing_support {

// Makes the board on first call and points FTM_BOARD at it; returns its root.
// values are set in its board file before the platform starts (first call only).
const std::string &use_temp_board(const std::map<std::string, std::string> &values = {});

}  // namespace testing_support
