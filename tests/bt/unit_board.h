// The board of the in-process Bluetooth tests: the binary's temporary board.
#pragma once

#include <string>

#include "support/temp_board.h"

namespace bt_test {

inline const std::string &unit_board() { return testing_support::use_temp_board(); }

}  // namespace bt_test
