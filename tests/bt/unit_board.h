// A board for the in-process tests: a fresh folder named by FTM_BOARD
// before anything reads it, shared by every test of the binary.
#pragma once

#include <cstdlib>
#include <string>

#include "station/board.h"

namespace bt_test {

inline const std::string &unit_board()
{
	static const std::string dir = [] {
		char templ[] = "/tmp/ftm-bt-unit-XXXXXX";
		std::string d = ::mkdtemp(templ) ? templ : "/tmp";
		station::init_board(d, nullptr);
		::setenv("FTM_BOARD", d.c_str(), 1);
		std::atexit([] {
			std::string cmd = "rm -rf '" + std::string(std::getenv("FTM_BOARD")) + "'";
			if (cmd.find("/tmp/ftm-bt-unit-") != std::string::npos)
				(void)!std::system(cmd.c_str());
		});
		return d;
	}();
	return dir;
}

}  // namespace bt_test
