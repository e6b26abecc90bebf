// The station's camera sequence against the simulated camera: capture,
// retrieve byte for byte, close, and again.
#include "client_support.h"

#include <array>
#include <fstream>

namespace {

using clienttest::camera_setup;
using testing_support::SimPhone;

TEST(CameraCapture, PictureStreamIsTheSceneByteForByte)
{
	SimPhone phone(camera_setup());
	ASSERT_EQ(phone.ask("AT+DSCC\n"), "OK\n");
	std::string got = clienttest::retrieve(phone, 2592, 1944);
	std::string head = clienttest::header(2592, 1944);
	ASSERT_EQ(got.substr(0, head.size()), "FORMAT= YUV422\nRESOLUTION= 2592, 1944\nSIZE= 10077696\n\nOK\n");
	std::string body = got.substr(head.size(), size_t(2592) * 1944 * 2);
	ASSERT_EQ(body.size(), 10077696u);
	EXPECT_TRUE(body == clienttest::expected_picture(2592, 1944)) << "picture bytes differ from the scene";
	EXPECT_EQ(body.find('\n'), std::string::npos);
	EXPECT_EQ(body.find('\r'), std::string::npos);
	EXPECT_EQ(got.substr(head.size() + body.size()), "OK\n");
	// A second retrieve sends the same (already lowered) bytes.
	std::string again = clienttest::retrieve(phone, 2592, 1944);
	EXPECT_TRUE(again == got);
}

TEST(CameraCapture, CyclesHoldNoMoreDescriptorsThreadsOrMappings)
{
	SimPhone phone(camera_setup());
	pid_t pid = phone.phone().pid();
	std::string picture = clienttest::header(2592, 1944) + clienttest::expected_picture(2592, 1944) + "OK\n";
	// The first cycle leaves what lives for the process: the panel's
	// descriptor and mapping from the registry, the C library's cached
	// thread stacks. From then on each cycle gives back all it took.
	clienttest::held first{};
	for (int round = 0; round < 4; ++round) {
		SCOPED_TRACE("round " + std::to_string(round));
		ASSERT_EQ(phone.ask("AT+DSCC\n"), "OK\n");
		EXPECT_TRUE(clienttest::retrieve(phone, 2592, 1944) == picture);
		ASSERT_EQ(phone.ask("AT+DSCE\n"), "OK\n");
		if (round == 0)
			first = clienttest::steady_holds(pid);
		clienttest::held now = clienttest::holds_back_to(pid, first);
		EXPECT_EQ(now.fds, first.fds) << clienttest::fd_names(pid);
		EXPECT_EQ(now.threads, first.threads);
		EXPECT_EQ(now.maps, first.maps);
	}
}

TEST(CameraCapture, RepeatedCapturesWhileUp)
{
	SimPhone phone(camera_setup({{"camera.sensor", "ov3642"}}));
	ASSERT_EQ(phone.ask("AT+DSCC\n"), "OK\n");
	ASSERT_EQ(phone.ask("AT+DSCC\n"), "OK\n");
	std::string got = clienttest::retrieve(phone, 2048, 1536);
	EXPECT_TRUE(got == clienttest::header(2048, 1536) + clienttest::expected_picture(2048, 1536) + "OK\n");
	EXPECT_EQ(phone.ask("AT+DSCE\n"), "OK\n");
}

TEST(CameraCapture, AutofocusSensorTakesItsPicture)
{
	SimPhone phone(camera_setup({{"camera.sensor", "ov5642af"}}));
	ASSERT_EQ(phone.ask("AT+DSCC\n"), "OK\n");
	std::string got = clienttest::retrieve(phone, 2592, 1944);
	EXPECT_TRUE(got == clienttest::header(2592, 1944) + clienttest::expected_picture(2592, 1944) + "OK\n");
	EXPECT_EQ(phone.ask("AT+DSCE\n"), "OK\n");
	std::string err = phone.file("/ftmd.out");
	EXPECT_NE(err.find("CFG_SET_AUTOFOCUS start - 1\n"), std::string::npos);
	EXPECT_NE(err.find("CFG_SET_AUTOFOCUS start - 2\n"), std::string::npos);
	EXPECT_NE(err.find("RAW - snapshot - 4!\n"), std::string::npos);
}

TEST(CameraCapture, PreviewAndCloseAnswerWithoutACamera)
{
	SimPhone phone(camera_setup());
	EXPECT_EQ(phone.ask("AT+DSCP\n"), "OK\n");
	// Our own refusal: no picture, no stream, only ERROR.
	EXPECT_EQ(phone.ask("AT+DSCR\n"), "ERROR\n");
	EXPECT_EQ(phone.ask("AT+DSCE\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+DSCE\n"), "OK\n");
	ASSERT_EQ(phone.ask("AT+DSCC\n"), "OK\n");
	ASSERT_EQ(phone.ask("AT+DSCE\n"), "OK\n");
	ASSERT_EQ(phone.ask("AT+DSCE\n"), "OK\n");
	// The picture went with the close.
	EXPECT_EQ(phone.ask("AT+DSCR\n"), "ERROR\n");
}

// The panel's 16-bit pixel as the capture computes it from Y, Cb, Y, Cr.
uint16_t shown(const uint8_t *q)
{
	int y = q[0], cb = q[1] * 4 - 512, cr = q[3] * 4 - 512;
	auto part = [&](int c0, int c1) { return std::clamp(((cb * c0 + cr * c1 + 32768) >> 16) + y, 0, 255); };
	int r = part(8, 25803) >> 3, g = part(-3071, -7672) >> 2, b = part(30399, 12) >> 3;
	return static_cast<uint16_t>(r << 11 | g << 5 | b);
}

TEST(CameraCapture, PanelShowsTheTopLeftSamplingOfThePicture)
{
	SimPhone phone(camera_setup());
	ASSERT_EQ(phone.ask("AT+DSCC\n"), "OK\n");
	std::string raw(size_t(2592) * 1944 * 2, '\0');
	sim::camera::render_uyvy(reinterpret_cast<uint8_t *>(raw.data()), 2592, 1944);
	std::string fb = phone.file("/dev/graphics/fb0");
	ASSERT_EQ(fb.size(), size_t(800) * 480 * 2);
	int wrong = 0;
	for (int y = 0; y < 240; ++y)
		for (int x = 0; x < 320; ++x) {
			size_t p = size_t(y * 8) * 2592 + size_t(x) * 8;
			uint16_t want = shown(reinterpret_cast<const uint8_t *>(raw.data()) + p * 2);
			uint16_t got = static_cast<uint16_t>(uint8_t(fb[(size_t(y) * 800 + x) * 2]) |
							     uint8_t(fb[(size_t(y) * 800 + x) * 2 + 1]) << 8);
			wrong += got != want;
		}
	EXPECT_EQ(wrong, 0);
	EXPECT_EQ(phone.ask("AT+DSCE\n"), "OK\n");
}

TEST(CameraCapture, StationThatStopsReadingCutsTheStreamNotTheDaemon)
{
	SimPhone phone(camera_setup());
	ASSERT_EQ(phone.ask("AT+DSCC\n"), "OK\n");
	phone.send("AT+DSCR\n");  // and read nothing
	EXPECT_TRUE(phone.wait_trace("the station stopped reading", 1, 20000));
	phone.read(3000, 300);  // drain what the port holds
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+DSCE\n"), "OK\n");
	ASSERT_EQ(phone.ask("AT+DSCC\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+DSCE\n"), "OK\n");
}

// The scene's preview frame on the 800 by 480 panel, as the display
// engine converts it (studio-range BT.601, chroma of the even pixel pair).
std::string preview_on_panel()
{
	std::string fb(size_t(800) * 480 * 2, '\0');
	auto clamp = [](double v) { return v < 0 ? 0 : v > 255 ? 255 : static_cast<int>(v + 0.5); };
	for (uint32_t y = 0; y < 480; ++y)
		for (uint32_t x = 0; x < 800; ++x) {
			sim::camera::yuv l = sim::camera::scene_at(x, y, 800, 480);
			sim::camera::yuv c = sim::camera::scene_at(x & ~1u, y & ~1u, 800, 480);
			double v = 1.164 * (l.y - 16);
			int r = clamp(v + 1.596 * (c.cr - 128)), b = clamp(v + 2.017 * (c.cb - 128));
			int g = clamp(v - 0.392 * (c.cb - 128) - 0.813 * (c.cr - 128));
			uint16_t px = static_cast<uint16_t>((r >> 3) << 11 | (g >> 2) << 5 | (b >> 3));
			fb[(size_t(y) * 800 + x) * 2] = static_cast<char>(px & 0xFF);
			fb[(size_t(y) * 800 + x) * 2 + 1] = static_cast<char>(px >> 8);
		}
	return fb;
}

TEST(CameraCapture, PreviewFramesReachThePanelWhileUp)
{
	SimPhone phone(camera_setup({{"camera.frame_ms", "10"}}));
	ASSERT_EQ(phone.ask("AT+DSCC\n"), "OK\n");
	// The preview runs again after the snapshot and covers the small copy.
	std::string want = preview_on_panel();
	auto within_5s = [](auto seen) {
		for (int i = 0; i < 500; ++i, ::usleep(10000))
			if (seen())
				return true;
		return false;
	};
	EXPECT_TRUE(within_5s([&] { return phone.file("/dev/graphics/fb0") == want; }))
	    << "the panel never showed the preview frame";
	// The pan's trace comes after the frame is on the panel.
	EXPECT_TRUE(within_5s([&] {
		return phone.file("/ftmd.out").find("cam_frame_fb_thread: FBIOPAN_DISPLAY returns 0\n") != std::string::npos;
	}));
	EXPECT_EQ(phone.ask("AT+DSCE\n"), "OK\n");
	EXPECT_NE(phone.file("/ftmd.out").find("Exiting camframe thread\n"), std::string::npos);
}

}  // namespace
