// Camera client: a whole capture and close in process (sleeps scaled by
// 0.01), the picture stream into a pipe, and a JPEG through the simulated
// DSP task against the software engine alone.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <thread>
#include <unistd.h>

#include "../tests/client/unit_board.h"
#include "../tools/ftm-jpeg/jpeg_client.h"
#include "ftm/ftm.h"
#include "hal/camera.h"

namespace {

void quiet_board()
{
	static bool once = [] {
		const std::string &dir = clienttest::unit_board();
		station::set_board_value(dir, "time.scale", "0.01");
		station::set_board_value(dir, "camera.frame_ms", "0");
		// The camera stack traces every step to standard error.
		return std::freopen("/dev/null", "w", stderr) != nullptr;
	}();
	(void)once;
}

void BM_CaptureAndClose(benchmark::State &state)
{
	quiet_board();
	for (auto _ : state) {
		int rc = hal::camera_capture(1);
		hal::camera_close();
		if (rc != 0)
			state.SkipWithError("capture failed");
	}
}
BENCHMARK(BM_CaptureAndClose)->Unit(benchmark::kMillisecond);

void BM_CaptureWhileUp(benchmark::State &state)
{
	quiet_board();
	if (hal::camera_capture(1) != 0)
		state.SkipWithError("capture failed");
	for (auto _ : state)
		benchmark::DoNotOptimize(hal::camera_capture(1));
	hal::camera_close();
}
BENCHMARK(BM_CaptureWhileUp)->Unit(benchmark::kMillisecond);

void BM_RetrieveIntoPipe(benchmark::State &state)
{
	quiet_board();
	int p[2];
	if (::pipe(p) != 0 || hal::camera_capture(1) != 0) {
		state.SkipWithError("no pipe or no picture");
		return;
	}
	std::thread drain([fd = p[0]] {
		std::vector<char> buf(1 << 16);
		while (::read(fd, buf.data(), buf.size()) > 0) {
		}
	});
	ftm::loop.act_fd = p[1];
	for (auto _ : state)
		hal::camera_retrieve_file();
	state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 2592 * 1944 * 2);
	::close(p[1]);
	drain.join();
	::close(p[0]);
	hal::camera_close();
}
BENCHMARK(BM_RetrieveIntoPipe)->Unit(benchmark::kMillisecond);

void BM_Jpeg640x480(benchmark::State &state)
{
	quiet_board();
	jpeg_client::yuv_image img{640, 480, jpeg::YCRCBLP_H2V2, std::vector<uint8_t>(640 * 480),
				   std::vector<uint8_t>(640 * 480 / 2)};
	for (size_t i = 0; i < img.luma.size(); ++i)
		img.luma[i] = static_cast<uint8_t>(i * 7 + i / 640);
	for (size_t i = 0; i < img.chroma.size(); ++i)
		img.chroma[i] = static_cast<uint8_t>(100 + i % 50);
	jpeg_client::options opt;
	opt.preference = state.range(0) ? jpeg::JPEG_ENCODER_PREF_DSP_ONLY : jpeg::JPEG_ENCODER_PREF_SOFTWARE_ONLY;
	for (auto _ : state) {
		auto r = jpeg_client::encode(img, opt);
		if (r.start_rc != 0 || !r.finished)
			state.SkipWithError("encoding failed");
	}
	state.SetLabel(state.range(0) ? "DSP task" : "software engine");
}
BENCHMARK(BM_Jpeg640x480)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
