// Encode speed and size of the software engine against libjpeg-turbo fed
// the same YCbCr planes (raw data in: no colour conversion on either side;
// the semi-planar to planar split happens outside the timing). Accurate
// integer DCT, annex K tables, quality 90, H2V2, one thread each.
// Run once as is and once with JSIMD_FORCENONE=1 for libjpeg-turbo's C path.
#include <benchmark/benchmark.h>

#include <chrono>
#include <ctime>
#include <cstdlib>

#include "jpeg_check.h"

namespace {

using namespace jpeg_check;
namespace jc = jpeg_client;

struct picture {
	yuv_image img;
	planes split_planes;
	std::vector<plane> padded;  // MCU-padded planes for libjpeg-turbo's raw data entry
};

const picture &get_picture(uint32_t w, uint32_t h)
{
	static std::map<uint64_t, picture> cache;
	auto &p = cache[uint64_t(w) << 32 | h];
	if (p.img.luma.empty()) {
		p.img = make_picture(w, h, jpeg::YCBCRLP_H2V2, 42);
		p.split_planes = split(p.img);
	}
	return p;
}

// libjpeg-turbo on raw planes, as the tests' reference encoder but with the
// padding done once beforehand.
struct turbo_encoder {
	jpeg_compress_struct cinfo{};
	jpeg_error_mgr err{};
	std::vector<plane> pad;
	uint32_t mcus_y = 0;
	explicit turbo_encoder(const planes &p)
	{
		cinfo.err = jpeg_std_error(&err);
		jpeg_create_compress(&cinfo);
		uint32_t mcus_x = (p.c[0].w + 15) / 16;
		mcus_y = (p.c[0].h + 15) / 16;
		int samp[3] = {2, 1, 1};
		pad.resize(3);
		for (int k = 0; k < 3; k++) {
			pad[k].w = mcus_x * 8 * samp[k];
			pad[k].h = mcus_y * 8 * samp[k];
			pad[k].px.resize(size_t(pad[k].w) * pad[k].h);
			for (uint32_t y = 0; y < pad[k].h; y++)
				for (uint32_t x = 0; x < pad[k].w; x++)
					pad[k].px[size_t(y) * pad[k].w + x] = p.c[k].at(std::min(x, p.c[k].w - 1), std::min(y, p.c[k].h - 1));
		}
		cinfo.image_width = p.c[0].w;
		cinfo.image_height = p.c[0].h;
	}
	~turbo_encoder() { jpeg_destroy_compress(&cinfo); }
	size_t encode()
	{
		unsigned char *mem = nullptr;
		unsigned long size = 0;
		jpeg_mem_dest(&cinfo, &mem, &size);
		cinfo.input_components = 3;
		cinfo.in_color_space = JCS_YCbCr;
		jpeg_set_defaults(&cinfo);
		jpeg_set_quality(&cinfo, 90, TRUE);
		cinfo.dct_method = JDCT_ISLOW;
		cinfo.raw_data_in = TRUE;
		cinfo.comp_info[0].h_samp_factor = cinfo.comp_info[0].v_samp_factor = 2;
		jpeg_start_compress(&cinfo, TRUE);
		for (uint32_t m = 0; m < mcus_y; m++) {
			JSAMPROW rows[3][16];
			JSAMPARRAY arrays[3];
			for (int k = 0; k < 3; k++) {
				int n = k ? 8 : 16;
				for (int r = 0; r < n; r++)
					rows[k][r] = pad[k].px.data() + (size_t(m) * n + r) * pad[k].w;
				arrays[k] = rows[k];
			}
			jpeg_write_raw_data(&cinfo, arrays, 16);
		}
		jpeg_finish_compress(&cinfo);
		free(mem);
		return size;
	}
};

size_t ours_encode(const yuv_image &img, jpeg::jpege_obj_handle enc)
{
	jc::options opt;
	opt.quality = 90;
	opt.encoder = enc;
	jc::result r = jc::encode(img, opt);
	return r.bytes.size();
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
		bytes = ours_encode(p.img, enc);
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
	const picture &p = get_picture(w, h);
	turbo_encoder t(p.split_planes);
	jpeg::jpege_obj_handle enc = nullptr;
	jpeg::jpege_init(&enc, jc::on_event);
	using clock = std::chrono::steady_clock;
	// Process CPU time counts all threads and is steadier than wall time on a loaded machine.
	auto cpu_now = [] {
		timespec ts{};
		clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
		return double(ts.tv_sec) + double(ts.tv_nsec) * 1e-9;
	};
	double ours_s = 0, theirs_s = 0, ours_cpu = 0, theirs_cpu = 0;
	size_t ours_bytes = 0, theirs_bytes = 0;
	for (auto _ : state) {
		double c0 = cpu_now();
		auto t0 = clock::now();
		ours_bytes = ours_encode(p.img, enc);
		auto t1 = clock::now();
		double c1 = cpu_now();
		theirs_bytes = t.encode();
		auto t2 = clock::now();
		double c2 = cpu_now();
		ours_cpu += c1 - c0;
		theirs_cpu += c2 - c1;
		ours_s += std::chrono::duration<double>(t1 - t0).count();
		theirs_s += std::chrono::duration<double>(t2 - t1).count();
	}
	jpeg::jpege_destroy(&enc);
	double n = double(state.iterations());
	state.counters["ours_ms"] = ours_s / n * 1e3;
	state.counters["turbo_ms"] = theirs_s / n * 1e3;
	state.counters["time_ratio"] = ours_s / theirs_s;
	state.counters["ours_cpu_ms"] = ours_cpu / n * 1e3;
	state.counters["turbo_cpu_ms"] = theirs_cpu / n * 1e3;
	state.counters["cpu_ratio"] = ours_cpu / theirs_cpu;
	state.counters["size_ratio"] = double(ours_bytes) / double(theirs_bytes);
	state.SetLabel(getenv("JSIMD_FORCENONE") ? "turbo without SIMD" : "turbo with SIMD");
}

}  // namespace

// Ours encodes on threads of its own: wall time is the measure for all.
BENCHMARK(BM_ftm_sw)->Args({640, 480})->Args({2592, 1944})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_libjpeg_turbo)->Args({640, 480})->Args({2592, 1944})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ratio)->Args({640, 480})->Args({2592, 1944})->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
