// ftm-camctl: the camera client's control commands against the simulated
// camera driver, with the configuration thread running in this process.
//
//   ftm-camctl [-b BOARD] [-s SENSOR] COMMAND[=VALUE]...
//
// Without -b a fresh board is made in a temporary folder. Each command is
// sent through MSM_CAM_IOCTL_CTRL_COMMAND and its answer printed as
// "name value: rc=R status=S"; "wait" waits until the thread is idle,
// "log" prints the driver calls so far. Example:
//
//   ftm-camctl preview_mode=0 dimension=1280x960 start_preview wait
//              zoom=20 wait stop_preview start_snapshot wait log
#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <thread>
#include <unistd.h>

#include "camera/config/config.h"
#include "platform/platform.h"
#include "sim/camera_driver.h"
#include "station/board.h"

namespace {

using namespace cam;

struct named {
	const char *name;
	uint16_t type;
};

constexpr named commands[] = {
    {"display_info", CAMERA_SET_PARM_DISPLAY_INFO}, {"dimension", CAMERA_SET_PARM_DIMENSION},
    {"zoom", CAMERA_SET_PARM_ZOOM},                 {"contrast", CAMERA_SET_PARM_CONTRAST},
    {"brightness", CAMERA_SET_PARM_BRIGHTNESS},     {"ev", CAMERA_SET_PARM_EXPOSURE_COMPENSATION},
    {"sharpness", CAMERA_SET_PARM_SHARPNESS},       {"hue", CAMERA_SET_PARM_HUE},
    {"saturation", CAMERA_SET_PARM_SATURATION},     {"exposure", CAMERA_SET_PARM_EXPOSURE},
    {"auto_focus", CAMERA_SET_PARM_AUTO_FOCUS},     {"wb", CAMERA_SET_PARM_WB},
    {"effect", CAMERA_SET_PARM_EFFECT},             {"preview_mode", CAMERA_SET_PARM_PREVIEW_MODE},
    {"antibanding", CAMERA_SET_PARM_ANTIBANDING},   {"iso", CAMERA_SET_PARM_ISO},
    {"hjr", CAMERA_SET_PARM_HJR},                   {"rolloff", CAMERA_SET_PARM_ROLLOFF},
    {"stop_preview", CAMERA_STOP_PREVIEW},          {"start_preview", CAMERA_START_PREVIEW},
    {"start_snapshot", CAMERA_START_SNAPSHOT},      {"start_raw_snapshot", CAMERA_START_RAW_SNAPSHOT},
    {"stop_snapshot", CAMERA_STOP_SNAPSHOT},        {"max_zoom", CAMERA_GET_PARM_MAXZOOM},
    {"af_sharpness", CAMERA_GET_PARM_AF_SHARPNESS}, {"led_mode", CAMERA_SET_PARM_LED_MODE},
};

int send(int fd, uint16_t type, const void *arg, uint16_t length, const std::string &label)
{
	uint8_t buf[512] = {};
	std::memcpy(buf, arg, length);
	ctrl_cmd_t cmd{5000, type, length, buf, 0, 0};
	int rc = plat::ioctl(fd, MSM_CAM_IOCTL_CTRL_COMMAND, &cmd);
	int32_t word = 0;
	std::memcpy(&word, buf, sizeof word);
	std::printf("%s: rc=%d status=%u value=%d\n", label.c_str(), rc, cmd.status, static_cast<int>(word));
	return rc;
}

void print_log()
{
	for (const auto &r : sim::camera::Kernel::get().log())
		std::printf("  ioctl 0x%08lX type=%u queue=%u number=%u bytes=%zu %s\n", r.request, r.cmd_type, r.queue,
			    r.number, r.bytes.size(), r.name.c_str());
}

int run(int fd, std::string_view arg)
{
	if (arg == "wait")
		return sim::camera::Kernel::get().wait_idle() ? 0 : 1;
	if (arg == "log") {
		print_log();
		return 0;
	}
	std::string name(arg.substr(0, arg.find('=')));
	std::string value = arg.find('=') == std::string_view::npos ? "" : std::string(arg.substr(arg.find('=') + 1));
	for (const named &c : commands) {
		if (name != c.name)
			continue;
		if (c.type == CAMERA_SET_PARM_DIMENSION) {
			cam_ctrl_dimension_t d{};
			unsigned w = 1280, h = 960;
			std::sscanf(value.c_str(), "%ux%u", &w, &h);
			d.picture_width = static_cast<uint16_t>(w);
			d.picture_height = static_cast<uint16_t>(h);
			d.display_width = 800;
			d.display_height = 480;
			d.ui_thumbnail_width = 320;
			d.ui_thumbnail_height = 240;
			return send(fd, c.type, &d, sizeof d, std::string(arg));
		}
		int32_t v = static_cast<int32_t>(std::strtol(value.c_str(), nullptr, 0));
		return send(fd, c.type, &v, sizeof v, std::string(arg));
	}
	std::fprintf(stderr, "unknown command: %s\n", name.c_str());
	return 2;
}

}  // namespace

int main(int argc, char **argv)
{
	std::string board, sensor;
	std::vector<std::string> commands;
	CLI::App app{"ftm-camctl: the camera client's control commands against the simulated camera driver",
	             "ftm-camctl"};
	app.add_option("-b,--board", board, "the board folder (default: a fresh one in a temporary folder)");
	app.add_option("-s,--sensor", sensor, "the board's camera.sensor");
	app.add_option("COMMAND", commands, "COMMAND[=VALUE]: a control command, wait, or log")->required();
	try {
		app.parse(argc, argv);
	} catch (const CLI::ParseError &e) {
		// An unknown option is named, not taken for a missing command.
		if (dynamic_cast<const CLI::RequiredError *>(&e) && !app.remaining().empty())
			return app.exit(CLI::ExtrasError(app.remaining())) == 0 ? 0 : 2;
		return app.exit(e) == 0 ? 0 : 2;
	}
	if (board.empty()) {
		char tmpl[] = "/tmp/ftm-camctl-XXXXXX";
		if (!::mkdtemp(tmpl) || !station::init_board(tmpl))
			return 1;
		board = tmpl;
		station::set_board_value(board, "camera.frame_ms", "0");
	}
	if (!sensor.empty())
		station::set_board_value(board, "camera.sensor", sensor);
	::setenv("FTM_BOARD", board.c_str(), 1);
	plat::init();
	int fd = plat::open("/dev/msm_camera0", O_RDWR);
	std::thread conf([] { cam_conf(nullptr); });
	int failures = 0;
	for (const std::string &c : commands)
		failures += run(fd, c) != 0;
	uint8_t none = 0;
	send(fd, CAMERA_EXIT, &none, 0, "exit");
	conf.join();
	plat::close(fd);
	return failures ? 1 : 0;
}
