// A board for tests that run daemon code in the test process itself: made
// once per test binary, before anything asks for the board.
#pragma once

#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "sim/board.h"
#include "station/board.h"

namespace factory_test {

// The board's root; $FTM_BOARD points at it from the first call on.
inline const std::string &local_board()
{
	static const std::string root = [] {
		std::string templ = "/tmp/ftm-unit-XXXXXX";
		std::vector<char> buf(templ.begin(), templ.end());
		buf.push_back('\0');
		std::string dir = ::mkdtemp(buf.data()) ? buf.data() : "";
		std::string error;
		if (dir.empty() || !station::init_board(dir, &error))
			ADD_FAILURE() << "cannot make a board: " << error;
		::setenv("FTM_BOARD", dir.c_str(), 1);
		return dir;
	}();
	return root;
}

inline void set_local(const std::string &key, const std::string &value)
{
	ASSERT_TRUE(station::set_board_value(local_board(), key, value));
}

// The board's kernel log, and emptying it.
inline std::string kernel_log() { return sim::Board::get().kmsg_read(false); }
inline void clear_kernel_log() { sim::Board::get().kmsg_read(true); }

}  // namespace factory_test
