// The board file, as the simulated board and the station read it: every key
// of a fresh board's file looked up as text, number and real, and the state
// the live view shows (the station's own reading of the numbers it needs).
#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "sim/board.h"
#include "station/board.h"
#include "station/board_state.h"
#include "support/temp_board.h"

namespace {

// The keys a fresh board's file documents.
std::vector<std::string> template_keys(const std::string &dir)
{
	std::vector<std::string> keys;
	std::ifstream in(dir + "/board.conf");
	std::string line;
	while (std::getline(in, line)) {
		size_t eq = line.find('=');
		if (line.empty() || line[0] == '#' || eq == std::string::npos)
			continue;
		std::string key = line.substr(0, line.find_first_of(" \t="));
		if (!key.empty())
			keys.push_back(key);
	}
	return keys;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	// The fuzzer's board file lives in the temporary board's tmp/, so that
	// the board the daemon code uses keeps its own.
	static const std::string dir = testing_support::use_temp_board() + "/tmp/fuzzboard";
	static const std::vector<std::string> keys = [] {
		station::init_board(dir);
		return template_keys(dir);
	}();
	{
		std::ofstream out(dir + "/board.conf", std::ios::binary | std::ios::trunc);
		out.write(reinterpret_cast<const char *>(data), static_cast<std::streamsize>(size));
	}
	sim::Board board(dir);
	for (const std::string &key : keys) {
		board.text(key, "");
		board.num(key, 0);
		board.real(key, 0.0);
	}
	station::board_touch_range(dir);
	station::board_state(dir).dump();
	return 0;
}
