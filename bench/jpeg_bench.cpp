// Encode speed and size of the software engine against libjpeg-turbo fed
// the same YCbCr planes (see jpeg_compare.h), one thread each.
// Run once as is and once with JSIMD_FORCENONE=1 for libjpeg-turbo's C path.
#include <benchmark/benchmark.h>

#include <map>

#include "jpeg_compare.h"

namespace {

using namespace jpeg_compare;

const picture &get_picture(uint32_t w, uint32_t h)
{
	static std::map<uint64_t, picture> cache;
	auto &p = cache[uint64_t(w) << 32 | h];
	if (p.img.luma.empty())
		p = make(w, h);
	return p;
}

void set_counters(benchmark::State &state, size_t bytes, uint32_t w, uint32_t h)
{
	state.counters["MPix/s"] =
	    benchmark::Counter(double(w) * h * double(state.iterations()) / 1e6, benchmark::Counter::kIsRate);
	state.counters["bytes"] = double(bytes);
}

void BM_ftm_sw(benchmark::State &state)
{
	uint32_t w = uint32_t(state.range(0)), h = uint32_t(state.range(1));
	const picture &p = get_picture(w, h);
	jpeg::jpege_obj_handle enc = nullptr;
	jpeg::jpege_init(&enc, jc::on_event);
	size_t bytes = 0;
	for (auto _ : state)
		bytes = ours_encode(p.img, enc).size();
	jpeg::jpege_destroy(&enc);
	set_counters(state, bytes, w, h);
}

void BM_libjpeg_turbo(benchmark::State &state)
{
	uint32_t w = uint32_t(state.range(0)), h = uint32_t(state.range(1));
	turbo_encoder t(get_picture(w, h).split_planes);
	size_t bytes = 0;
	for (auto _ : state)
		bytes = t.encode();
	set_counters(state, bytes, w, h);
	state.SetLabel(getenv("JSIMD_FORCENONE") ? "no SIMD" : "SIMD");
}

// Both in turn on the same picture: time and size of ours over theirs.
void BM_ratio(benchmark::State &state)
{
	uint32_t w = uint32_t(state.range(0)), h = uint32_t(state.range(1));
	comparison c(get_picture(w, h));
	for (auto _ : state)
		c.round();
	double n = double(c.rounds());
	state.counters["ours_ms"] = c.ours().wall / n * 1e3;
	state.counters["turbo_ms"] = c.theirs().wall / n * 1e3;
	state.counters["time_ratio"] = c.ours().wall / c.theirs().wall;
	state.counters["ours_cpu_ms"] = c.ours().cpu / n * 1e3;
	state.counters["turbo_cpu_ms"] = c.theirs().cpu / n * 1e3;
	state.counters["cpu_ratio"] = c.ours().cpu / c.theirs().cpu;
	state.counters["size_ratio"] = double(c.ours_file().size()) / double(c.theirs_file().size());
	state.SetLabel(getenv("JSIMD_FORCENONE") ? "turbo without SIMD" : "turbo with SIMD");
}

}  // namespace

// Ours encodes on threads of its own: wall time is the measure for all.
BENCHMARK(BM_ftm_sw)->Args({640, 480})->Args({2592, 1944})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_libjpeg_turbo)->Args({640, 480})->Args({2592, 1944})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ratio)->Args({640, 480})->Args({2592, 1944})->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
