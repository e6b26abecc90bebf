// The board's panel made smaller under a running daemon, then a capture,
// whose frame thread opens the panel again while the start-up mapping of
// the old panel is still in place.
#include "client_support.h"

#include <sys/stat.h>

namespace {

using clienttest::camera_setup;
using testing_support::SimPhone;

struct Shrink {
	const char *what;
	std::map<std::string, std::string> before;
	std::map<std::string, std::string> after;
	const char *trace;
	long file_bytes;  // the old panel's frame, still mapped
};

const std::vector<Shrink> kShrinks = {
	{"width and height", {}, {{"lcd.width", "400"}, {"lcd.height", "240"}},
	 "msmfb_sim: panel 400x240 at 16 bpp; fb0 kept at 768000 bytes while mapped", 800 * 480 * 2},
	{"depth", {{"lcd.bpp", "32"}}, {{"lcd.bpp", "16"}},
	 "msmfb_sim: panel 800x480 at 16 bpp; fb0 kept at 1536000 bytes while mapped", 800 * 480 * 4},
};

TEST(PanelResize, SmallerPanelUnderARunningDaemonKeepsTheMappedFile)
{
	for (const Shrink &s : kShrinks) {
		SCOPED_TRACE(s.what);
		SimPhone phone(camera_setup(s.before));
		ASSERT_EQ(phone.ask("AT\n"), "OK\n");
		for (const auto &[key, value] : s.after)
			phone.set_board(key, value);
		EXPECT_EQ(phone.ask("AT+DSCC\n"), "OK\n");
		EXPECT_TRUE(phone.wait_trace(s.trace, 1));
		EXPECT_EQ(phone.ask("AT\n"), "OK\n");
		EXPECT_TRUE(phone.running());
		struct stat st{};
		ASSERT_EQ(::stat(phone.path("dev/graphics/fb0").c_str(), &st), 0);
		EXPECT_EQ(st.st_size, s.file_bytes);
		EXPECT_EQ(phone.ask("AT+DSCE\n"), "OK\n");
	}
}

TEST(PanelResize, ARestartedDaemonGetsTheFileCutToItsPanel)
{
	SimPhone phone(camera_setup());
	phone.set_board("lcd.width", "400");
	phone.set_board("lcd.height", "240");
	phone.restart();
	ASSERT_EQ(phone.ask("AT\n"), "OK\n");
	struct stat st{};
	ASSERT_EQ(::stat(phone.path("dev/graphics/fb0").c_str(), &st), 0);
	EXPECT_EQ(st.st_size, 400 * 240 * 2);
	EXPECT_EQ(phone.trace_count("kept at"), 0);
}

}  // namespace
