// The Bayer path's frame log (var/bayer_frames.csv of the board, written
// with camera.frame_log = 1) read back, and what the station's tools and
// tests work out from it.
#pragma once

#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace sim::camera {

// The log's place in the board folder.
constexpr const char *BAYER_FRAME_LOG = "/var/bayer_frames.csv";

struct bayer_frame_t {
	unsigned long long frame = 0;
	double light = 0, illum_rg = 0, illum_bg = 0;
	unsigned gain_q8 = 0, lines = 0;
	int lens = 0;
	double focus = 0, grey_raw = 0;
	unsigned wb[3] = {}, y = 0, cb = 0, cr = 0;
};

// Whole lines only: a line still being written is left for the next read.
inline std::vector<bayer_frame_t> bayer_parse_frames(const std::string &text)
{
	std::vector<bayer_frame_t> out;
	std::istringstream in(text);
	std::string line;
	while (std::getline(in, line)) {
		if (in.eof())
			break;
		bayer_frame_t f;
		if (std::sscanf(line.c_str(), "%llu,%lf,%lf,%lf,%u,%u,%d,%lf,%lf,%u,%u,%u,%u,%u,%u", &f.frame, &f.light,
				&f.illum_rg, &f.illum_bg, &f.gain_q8, &f.lines, &f.lens, &f.focus, &f.grey_raw, &f.wb[0],
				&f.wb[1], &f.wb[2], &f.y, &f.cb, &f.cr) == 15)
			out.push_back(f);
	}
	return out;
}

// The frame log of the board at board_dir, as it stands now.
inline std::vector<bayer_frame_t> bayer_read_frames(const std::string &board_dir)
{
	std::ifstream in(board_dir + BAYER_FRAME_LOG);
	std::stringstream text;
	text << in.rdbuf();
	return bayer_parse_frames(text.str());
}

// Frames from `from` until the mid-grey patch's raw green stays within
// `share` of where it ends (the last frame); -1 if it never does.
inline int bayer_frames_to_settle(const std::vector<bayer_frame_t> &f, size_t from, double share = 0.05)
{
	if (from >= f.size() || f.back().grey_raw <= 0)
		return -1;
	double end = f.back().grey_raw;
	size_t settled = f.size() - 1;
	while (settled > from && std::fabs(f[settled - 1].grey_raw - end) <= share * end)
		--settled;
	return static_cast<int>(settled - from);
}

}  // namespace sim::camera
