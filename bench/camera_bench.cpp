// Camera control: the round trip of a control command through the driver
// and the configuration thread, and a preview start to the running state.
#include <benchmark/benchmark.h>

#include "../tests/camera/cam_fixture.h"

namespace {

using namespace cam;

struct Running {
	int fd;
	std::thread thread;
	Running()
	{
		camtest::board_dir();
		camtest::reset_board();
		camtest::kernel().reset();
		config_reset();
		fd = plat::open("/dev/msm_camera0", O_RDWR);
		thread = std::thread([] { cam_conf(nullptr); });
	}
	~Running()
	{
		camtest::command(fd, CAMERA_EXIT, nullptr, 0, 0, 2000);
		thread.join();
		plat::close(fd);
	}
};

void BM_ControlCommandRoundTrip(benchmark::State &state)
{
	Running cam;
	for (auto _ : state) {
		auto a = camtest::command(cam.fd, CAMERA_SET_PARM_PREVIEW_MODE, 1);
		benchmark::DoNotOptimize(a.status);
	}
}
BENCHMARK(BM_ControlCommandRoundTrip);

void BM_PreviewRestart(benchmark::State &state)
{
	Running cam;
	camtest::command(cam.fd, CAMERA_START_PREVIEW);
	camtest::kernel().wait_idle();
	for (auto _ : state) {
		// Stop (answered at the stop's acknowledgement), then the reset,
		// pipeline and start up to the running state.
		camtest::command(cam.fd, CAMERA_STOP_PREVIEW);
		camtest::command(cam.fd, CAMERA_START_PREVIEW);
		camtest::kernel().wait_idle();
	}
}
BENCHMARK(BM_PreviewRestart);

void BM_ZoomStep(benchmark::State &state)
{
	Running cam;
	cam_ctrl_dimension_t d{};
	d.picture_width = 1280;
	d.picture_height = 960;
	d.display_width = 800;
	d.display_height = 480;
	camtest::command(cam.fd, CAMERA_SET_PARM_DIMENSION, &d, sizeof d);
	camtest::command(cam.fd, CAMERA_START_PREVIEW);
	camtest::kernel().wait_idle();
	int step = 0;
	for (auto _ : state) {
		camtest::command(cam.fd, CAMERA_SET_PARM_ZOOM, step);
		camtest::kernel().wait_idle();
		step = (step + 1) % 60;
	}
}
BENCHMARK(BM_ZoomStep);

}  // namespace

BENCHMARK_MAIN();
