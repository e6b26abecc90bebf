// One simulated board for the in-process tests of this binary, chosen by
// FTM_BOARD before the first platform call.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

#include "station/board.h"

namespace clienttest {

inline const std::string &unit_board()
{
	static const std::string dir = [] {
		char tmpl[] = "/tmp/ftm-client-XXXXXX";
		std::string d = ::mkdtemp(tmpl) ? tmpl : "/tmp/ftm-client";
		station::init_board(d);
		::setenv("FTM_BOARD", d.c_str(), 1);
		static std::string to_remove = d;
		std::atexit([] {
			std::error_code ec;
			std::filesystem::remove_all(to_remove, ec);
		});
		return d;
	}();
	return dir;
}

}  // namespace clienttest
