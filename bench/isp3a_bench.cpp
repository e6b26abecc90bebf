// 3A on the simulated Bayer sensor: the time of one statistics frame, and
// the convergence figures as counters (frames for exposure to settle within
// 5 percent after a 4-stop step, white balance gain error per reference
// light, focus error against the peak).
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

#include "camera/isp3a/af.h"
#include "support/isp3a_rig.h"

using testing_support::isp3a_rig;

namespace {

// Keeps the trace of the algorithms off the bench's output.
struct quiet {
	int saved = ::dup(2);
	quiet()
	{
		std::fflush(stderr);
		int null = ::open("/dev/null", O_WRONLY);
		::dup2(null, 2);
		::close(null);
	}
	~quiet()
	{
		std::fflush(stderr);
		::dup2(saved, 2);
		::close(saved);
	}
};

int settle(isp3a_rig &rig, int max)
{
	for (int n = 1; n <= max; n++) {
		rig.frame();
		double t = rig.c.aec_state.luma_target;
		if (std::fabs(rig.luma() - t) <= 0.05 * t && rig.c.aec_state.luma_settled_cnt > 0)
			return n;
	}
	return -1;
}

void BM_StatisticsFrame(benchmark::State &state)
{
	quiet q;
	isp3a_rig rig;
	rig.start();
	rig.scene.light = 0.3;
	for (auto _ : state)
		rig.frame();
}
BENCHMARK(BM_StatisticsFrame);

void BM_AecFourStopStep(benchmark::State &state)
{
	quiet q;
	int up = 0, down = 0;
	for (auto _ : state) {
		isp3a_rig rig;
		rig.start();
		rig.scene.light = 0.05;
		settle(rig, 100);
		rig.scene.light *= 16;
		up = settle(rig, 100);
		rig.scene.light /= 16;
		down = settle(rig, 100);
	}
	state.counters["frames_4_stops_brighter"] = up;
	state.counters["frames_4_stops_darker"] = down;
}
BENCHMARK(BM_AecFourStopStep)->Iterations(1);

void BM_AwbReferenceLights(benchmark::State &state)
{
	quiet q;
	static const char *names[9] = {"D65", "D75", "A", "TL84", "CWF", "Horizon", "D50", "customF", "Noon"};
	double worst = 0;
	for (auto _ : state) {
		for (int i = 0; i < 9; i++) {
			isp3a_rig rig;
			rig.start();
			rig.scene.illum_rg = rig.tuning.ref_rg[i];
			rig.scene.illum_bg = rig.tuning.ref_bg[i];
			bool indoor = i == 2 || i == 3 || i == 4 || i == 5 || i == 7;
			rig.scene.light = indoor ? 0.02 : 0.3;
			for (int n = 0; n < 120; n++)
				rig.frame();
			const auto &u = rig.c.update_record;
			double er = std::fabs(u.r_gain / u.g_gain * rig.scene.illum_rg - 1);
			double eb = std::fabs(u.b_gain / u.g_gain * rig.scene.illum_bg - 1);
			worst = std::max(worst, std::max(er, eb));
			state.counters[std::string("err_pct_") + names[i]] = 100 * std::max(er, eb);
			state.counters[std::string("decision_") + names[i]] = rig.c.awb_state.decision;
		}
	}
	state.counters["worst_err_pct"] = 100 * worst;
}
BENCHMARK(BM_AwbReferenceLights)->Iterations(1);

void BM_AfSearch(benchmark::State &state)
{
	quiet q;
	int worst = 0, frames = 0, moves = 0;
	for (auto _ : state) {
		for (int peak = 2; peak <= 38; peak += 4) {
			isp3a_rig rig;
			rig.start();
			rig.scene.light = 0.3;
			rig.scene.focus_peak = peak;
			settle(rig, 100);
			cam::af_process_start_focus(&rig.sensor, &rig.c, 0, 0);
			int n = 0;
			for (; n < 300 && (cam::af_is_active() || cam::af_ctrl()->state == cam::WAIT_FOR_AEC_TO_SETTLE); n++) {
				rig.frame();
				rig.af_frame();
			}
			worst = std::max(worst, std::abs(rig.lens - peak));
			frames = std::max(frames, n);
			moves = std::max(moves, rig.moves);
		}
	}
	state.counters["worst_lens_error_steps"] = worst;
	state.counters["max_af_frames"] = frames;
	state.counters["max_lens_moves"] = moves;
}
BENCHMARK(BM_AfSearch)->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
