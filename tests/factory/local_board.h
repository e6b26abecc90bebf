// A board for tests that run daemon code in the test process itself: made
// once per test binary, before anything asks for the board.
#pragma once

#include <gtest/gtest.h>
#include <string>

#include "sim/board.h"
#include "station/board.h"
#include "support/temp_board.h"

namespace factory_test {

// The binary's temporary board; $FTM_BOARD points at it from the first call on.
inline const std::string &local_board() { return testing_support::use_temp_board(); }

inline void set_local(const std::string &key, const std::string &value)
{
	ASSERT_TRUE(station::set_board_value(local_board(), key, value));
}

// The board's kernel log, and emptying it.
inline std::string kernel_log() { return sim::Board::get().kmsg_read(false); }
inline void clear_kernel_log() { sim::Board::get().kmsg_read(true); }

}  // namespace factory_test
