#include "focus_run.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <thread>
#include <unistd.h>

#include "camera/config/config.h"
#include "camera/isp3a/af.h"
#include "platform/platform.h"
#include "sim/bayer_dsp.h"
#include "sim/bayer_frame_log.h"
#include "sim/camera_driver.h"
#include "station/board.h"

namespace {

using namespace cam;

int send(int fd, uint16_t type, const void *arg, uint16_t length)
{
	uint8_t buf[512] = {};
	std::memcpy(buf, arg, length);
	ctrl_cmd_t cmd{5000, type, length, buf, 0, 0};
	return plat::ioctl(fd, MSM_CAM_IOCTL_CTRL_COMMAND, &cmd) < 0 ? -1 : static_cast<int>(cmd.status);
}

// Waits, bounded, for the search to end (the thread idle, AF neither
// searching nor waiting for exposure), then for the frame after its last move.
bool search_ends(const std::string &board)
{
	auto until = std::chrono::steady_clock::now() + std::chrono::seconds(30);
	while (std::chrono::steady_clock::now() < until) {
		if (!sim::camera::Kernel::get().wait_idle())
			continue;
		if (!af_is_active() && af_ctrl()->state != WAIT_FOR_AEC_TO_SETTLE) {
			size_t ended = sim::camera::bayer_read_frames(board).size();
			while (sim::camera::bayer_read_frames(board).size() <= ended && std::chrono::steady_clock::now() < until)
				std::this_thread::sleep_for(std::chrono::milliseconds(2));
			return true;
		}
	}
	return false;
}

}  // namespace

bool focus_run(const std::string &dir, int peak)
{
	char tmpl[] = "/tmp/isp3a-plot-XXXXXX";
	if (!::mkdtemp(tmpl) || !station::init_board(tmpl))
		return false;
	std::string board = tmpl;
	for (auto [k, v] : {std::pair<const char *, std::string>{"camera.sensor", "bayersim"},
			    {"camera.frame_ms", "2"}, {"camera.frame_log", "1"}, {"time.scale", "0.01"},
			    {"camera.focus_peak", std::to_string(peak)}})
		station::set_board_value(board, k, v);
	::setenv("FTM_BOARD", board.c_str(), 1);
	plat::init();
	int fd = plat::open("/dev/msm_camera0", O_RDWR);
	std::thread conf([] { cam_conf(nullptr); });
	cam_ctrl_dimension_t d{};
	d.picture_width = 1280, d.picture_height = 960, d.display_width = 800, d.display_height = 480;
	send(fd, CAMERA_SET_PARM_DIMENSION, &d, sizeof d);
	int32_t zero = 0;
	send(fd, CAMERA_START_PREVIEW, &zero, sizeof zero);
	size_t start = sim::camera::bayer_read_frames(board).size();
	bool ended = send(fd, CAMERA_SET_PARM_AUTO_FOCUS, &zero, sizeof zero) >= 0 && search_ends(board);
	send(fd, CAMERA_STOP_PREVIEW, &zero, sizeof zero);
	uint8_t none = 0;
	send(fd, CAMERA_EXIT, &none, 0);
	conf.join();
	plat::close(fd);
	std::vector<sim::camera::bayer_frame_t> f = sim::camera::bayer_read_frames(board);
	FILE *focus = std::fopen((dir + "/focus.csv").c_str(), "w");
	FILE *curve = std::fopen((dir + "/curve.csv").c_str(), "w");
	if (focus) {
		std::fprintf(focus, "frame,lens,focus_value\n");
		for (size_t i = start; i < f.size(); ++i)
			std::fprintf(focus, "%zu,%d,%.0f\n", i - start, f[i].lens, f[i].focus);
		std::fclose(focus);
	}
	if (curve) {
		sim::bayer_scene_t scene = sim::camera::bayer_board_scene(0);
		for (int p = 0; p <= sim::camera::bayer_lens_far_end(); ++p)
			std::fprintf(curve, "%d,%.0f\n", p, sim::bayer_focus_value(scene, p));
		std::fclose(curve);
	}
	if (ended && f.size() > start)
		std::printf("focus: peak %d, lens at %d after %zu frames\n", peak, f.back().lens, f.size() - start);
	std::string rm = "rm -rf '" + board + "'";
	int rc = std::system(rm.c_str());
	(void)rc;
	return ended;
}
