// ftm-jpeg on the simulated board: the engine is the station's choice, and
// the DSP's file equals the software engine's.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "station/board.h"
#include "support/sim_phone.h"

namespace {

std::string slurp(const std::string &path)
{
	std::ifstream in(path, std::ios::binary);
	return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

int run(const std::string &board, const std::string &args, const std::string &log)
{
	std::string cmd = "FTM_BOARD=" + board + " " + testing_support::program_command("ftm-jpeg-sim") + " " + args +
	                  " >" + log + " 2>&1";
	return std::system(cmd.c_str());
}

TEST(JpegTool, ChoosesTheEngineAndBothAgree)
{
	char tmpl[] = "/tmp/ftm-jpegtool-XXXXXX";
	ASSERT_NE(::mkdtemp(tmpl), nullptr);
	std::string dir = tmpl;
	ASSERT_TRUE(station::init_board(dir));
	{
		std::ofstream yuv(dir + "/in.yuv", std::ios::binary);
		for (int i = 0; i < 320 * 240 * 3 / 2; ++i)
			yuv.put(static_cast<char>((i * 7 + i / 320) & 0xFF));
	}
	std::string common = "-s 320x240 -t 160x112 -q 85 " + dir + "/in.yuv ";
	ASSERT_EQ(run(dir, "-e dsp " + common + dir + "/dsp.jpg", dir + "/dsp.log"), 0) << slurp(dir + "/dsp.log");
	ASSERT_EQ(run(dir, "-e sw " + common + dir + "/sw.jpg", dir + "/sw.log"), 0) << slurp(dir + "/sw.log");
	EXPECT_NE(slurp(dir + "/dsp.log").find("Use Jpeg DSP Encode Engine"), std::string::npos);
	EXPECT_NE(slurp(dir + "/sw.log").find("Use Jpeg Software Encode Engine"), std::string::npos);
	std::string dsp = slurp(dir + "/dsp.jpg"), sw = slurp(dir + "/sw.jpg");
	ASSERT_GT(dsp.size(), 100u);
	EXPECT_TRUE(dsp == sw);
	// Without the DSP's task, dsp alone fails and auto falls back.
	station::set_board_value(dir, "jpeg_dsp.missing", "1");
	EXPECT_NE(run(dir, "-e dsp " + common + dir + "/none.jpg", dir + "/none.log"), 0);
	ASSERT_EQ(run(dir, "-e auto " + common + dir + "/auto.jpg", dir + "/auto.log"), 0);
	EXPECT_TRUE(slurp(dir + "/auto.jpg") == sw);
	std::system(("rm -rf " + dir).c_str());
}

}  // namespace
