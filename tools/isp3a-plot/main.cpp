// isp3a-plot: runs ftmd-sim with the Bayer sensor on a fresh board, drives
// its preview with a capture and changes the board's scene under it (a
// 4-stop light change each way, daylight to tungsten light, then the nine
// reference lights, each switched in as a lamp), reads the DSP model's
// per-frame log, writes it as CSV with the figures worked out from it,
// and draws it with gnuplot as SVG.
// Then a focus search through the configuration thread (focus_run.h).
//
//   isp3a-plot [out-dir]      (default: isp3a-plots)
#include <CLI/CLI.hpp>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "camera/sensor/tuning.h"
#include "focus_run.h"
#include "sim/bayer_frame_log.h"
#include "support/sim_phone.h"

namespace {

using sim::camera::bayer_frame_t;
using testing_support::SimPhone;

constexpr const char *plot_script = R"(set datafile separator ','
set terminal svg size 900,420 dynamic font 'sans,11'
set key outside right
set grid
set output 'exposure.svg'
set title 'On the board: 4 stops brighter at frame 40, back at 80, tungsten at 120'
set xlabel 'frame'
set ylabel 'gain x lines'
set logscale y
set y2label 'mid grey, raw green'
set y2tics
set ytics nomirror
plot 'frames.csv' using 1:2 with steps title 'exposure', \
     '' using 1:3 axes x1y2 with linespoints pt 7 ps 0.4 title 'grey raw'
unset logscale y
unset y2label
unset y2tics
set ytics mirror
set output 'white_balance.svg'
set title 'On the board: white balance gains and the grey patch (tungsten at 120, then the nine reference lights from 240, 10 dark frames before each)'
set ylabel 'gain'
set y2label 'Cb, Cr'
set y2tics
set ytics nomirror
plot 'frames.csv' using 1:4 with lines lw 2 title 'r gain', \
     '' using 1:5 with lines lw 2 title 'g gain', \
     '' using 1:6 with lines lw 2 title 'b gain', \
     '' using 1:7 axes x1y2 with lines title 'grey Cb', \
     '' using 1:8 axes x1y2 with lines title 'grey Cr'
set output 'focus.svg'
set title 'Focus search through the configuration thread: focus value against lens position (peak at 23)'
set xlabel 'lens position'
set ylabel 'focus value'
plot 'focus.csv' using 2:3 with linespoints pt 7 ps 0.5 title 'frames in search order', \
     'curve.csv' using 1:2 with lines dt 2 title 'scene'
)";

// Lamps of the reference lights (A, TL84, the second fluorescent,
// Horizon, the custom fluorescent); the others are daylights.
bool indoor_light(size_t i) { return i == 2 || i == 3 || i == 4 || i == 5 || i == 7; }
// The booth between two lamps.
constexpr const char *DARK = "0.0001";

class BoardRun {
public:
	explicit BoardRun(const SimPhone::Setup &setup) : phone(setup) {}

	std::vector<bayer_frame_t> frames() const
	{
		return sim::camera::bayer_parse_frames(phone.file(sim::camera::BAYER_FRAME_LOG));
	}
	// Waits (at most a minute) until the log holds n frames; false if not.
	bool wait_frames(size_t n)
	{
		auto until = std::chrono::steady_clock::now() + std::chrono::minutes(1);
		while (frames().size() < n)
			if (std::chrono::steady_clock::now() > until)
				return false;
			else
				std::this_thread::sleep_for(std::chrono::milliseconds(5));
		return true;
	}

	SimPhone phone;
};

double seconds(const std::chrono::steady_clock::time_point &since)
{
	return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

// AT+DSCC at the default time scale (33 ms frames): first (with the
// bring-up), again while up, and after a 4-stop step.
void capture_times()
{
	SimPhone phone(SimPhone::Setup{{{"camera.sensor", "bayersim"}}});
	const char *what[] = {"first, with bring-up", "while up", "after a 4-stop step"};
	for (int i = 0; i < 3; ++i) {
		if (i == 2)
			phone.set_board("camera.scene_light", "1.6");
		auto t0 = std::chrono::steady_clock::now();
		std::string answer = phone.ask("AT+DSCC\n", {}, 60000);
		std::printf("AT+DSCC %s: %.1f s (%s)\n", what[i], seconds(t0), answer == "OK\n" ? "OK" : "failed");
	}
	phone.ask("AT+DSCE\n");
}

}  // namespace

int main(int argc, char **argv)
{
	std::string dir = "isp3a-plots";
	bool timing = true;
	CLI::App app{"isp3a-plot: runs 3A of the Bayer sensor on a simulated board and writes its curves as CSV and SVG",
		     "isp3a-plot"};
	app.add_option("DIR", dir, "the folder for the plots' data (default isp3a-plots)");
	app.add_flag("!--no-timing", timing, "leave out the capture times at the default time scale");
	try {
		app.parse(argc, argv);
	} catch (const CLI::ParseError &e) {
		return app.exit(e) == 0 ? 0 : 2;
	}
	::mkdir(dir.c_str(), 0755);
	// Preview frames every 5 ms of board time, a hundred times faster.
	BoardRun run(SimPhone::Setup{{{"camera.sensor", "bayersim"},
				      {"camera.frame_log", "1"},
				      {"camera.frame_ms", "5"},
				      {"time.scale", "0.01"},
				      {"camera.scene_light", "0.05"}}});
	if (run.phone.ask("AT+DSCC\n", {}, 60000) != "OK\n") {
		std::fprintf(stderr, "isp3a-plot: the capture that starts the preview failed\n");
		return 1;
	}
	// The tuning's grey under each reference light, from the board's file.
	auto tuning = std::make_unique<cam::sensor_tuning_t>();
	std::string error;
	if (!cam::tuning_parse(run.phone.file("/system/etc/bayersim.tuning"), tuning.get(), &error)) {
		std::fprintf(stderr, "isp3a-plot: %s\n", error.c_str());
		return 1;
	}
	const auto &ref_rg = tuning->ref_rg, &ref_bg = tuning->ref_bg;
	size_t base = run.frames().size();
	// Board changes at these frames (from the first after the capture).
	struct change {
		size_t frame;
		std::vector<std::pair<std::string, std::string>> keys;
	};
	std::vector<change> script = {
	    {40, {{"camera.scene_light", "0.8"}}},
	    {80, {{"camera.scene_light", "0.05"}}},
	    {120, {{"camera.scene_light", "0.02"}, {"camera.illuminant_rg", "1.05"}, {"camera.illuminant_bg", "0.40"}}},
	};
	constexpr size_t LIGHT_FRAMES = 150, DARK_FRAMES = 10;
	constexpr size_t lights = cam::AWB_REF_NUM;
	for (size_t i = 0; i < lights; ++i) {
		// A lamp is switched off and the next one on, as in a light booth;
		// the daylights are bright, the lamps indoors dim, as in process.
		script.push_back({240 + i * LIGHT_FRAMES, {{"camera.scene_light", DARK}}});
		script.push_back({240 + i * LIGHT_FRAMES + DARK_FRAMES,
				  {{"camera.scene_light", indoor_light(i) ? "0.02" : "0.3"},
				   {"camera.illuminant_rg", std::to_string(ref_rg[i])},
				   {"camera.illuminant_bg", std::to_string(ref_bg[i])}}});
	}
	size_t end = 240 + lights * LIGHT_FRAMES;
	for (const change &c : script) {
		if (!run.wait_frames(base + c.frame))
			return 1;
		for (const auto &[k, v] : c.keys)
			run.phone.set_board(k, v);
	}
	if (!run.wait_frames(base + end))
		return 1;
	run.phone.ask("AT+DSCE\n");
	std::vector<bayer_frame_t> all = run.frames();
	std::vector<bayer_frame_t> f(all.begin() + static_cast<long>(base), all.begin() + static_cast<long>(base + end));
	FILE *csv = std::fopen((dir + "/frames.csv").c_str(), "w");
	if (!csv)
		return 1;
	std::fprintf(csv, "frame,exposure,grey_raw,r_gain,g_gain,b_gain,grey_cb,grey_cr,light,illum_rg,illum_bg\n");
	for (size_t i = 0; i < f.size(); ++i)
		std::fprintf(csv, "%zu,%.1f,%.2f,%.4f,%.4f,%.4f,%u,%u,%g,%g,%g\n", i, f[i].gain_q8 / 256.0 * f[i].lines,
			     f[i].grey_raw, f[i].wb[0] / 128.0, f[i].wb[1] / 128.0, f[i].wb[2] / 128.0, f[i].cb, f[i].cr,
			     f[i].light, f[i].illum_rg, f[i].illum_bg);
	std::fclose(csv);
	// Where each change shows in the log (the board is read a frame late at most).
	auto first_with = [&](size_t from, auto seen) {
		while (from < f.size() && !seen(f[from]))
			++from;
		return from;
	};
	auto segment = [&](size_t a, size_t b) { return std::vector<bayer_frame_t>(f.begin() + static_cast<long>(a), f.begin() + static_cast<long>(b)); };
	size_t up = first_with(40, [](const bayer_frame_t &x) { return x.light == 0.8; });
	size_t down = first_with(80, [](const bayer_frame_t &x) { return x.light == 0.05; });
	std::printf("frames to settle within 5 %% after 4 stops brighter: %d\n", sim::camera::bayer_frames_to_settle(segment(0, std::min(down, f.size())), up));
	std::printf("frames to settle within 5 %% after 4 stops darker: %d\n", sim::camera::bayer_frames_to_settle(segment(0, std::min<size_t>(120, f.size())), down));
	int worst = 0;
	for (size_t i = 0; i < lights; ++i) {
		const bayer_frame_t &last = f[std::min(f.size() - 1, 240 + (i + 1) * LIGHT_FRAMES - 1)];
		int err = std::max(std::abs(int(last.cb) - 128), std::abs(int(last.cr) - 128));
		std::printf("light %zu (r/g %.2f b/g %.2f): grey Cb %u Cr %u after %zu frames\n", i, ref_rg[i], ref_bg[i], last.cb,
			    last.cr, LIGHT_FRAMES);
		worst = std::max(worst, err);
	}
	std::printf("worst grey error over the reference lights: %d levels of Cb or Cr\n", worst);
	if (timing)
		capture_times();
	// The trace of the configuration thread in this process goes to a file.
	std::fflush(stderr);
	int saved = ::dup(2), log = ::open((dir + "/trace.log").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
	if (log >= 0)
		::dup2(log, 2);
	bool focused = focus_run(dir, 23);
	::dup2(saved, 2);
	if (!focused)
		std::fprintf(stderr, "isp3a-plot: the focus search did not end\n");
	FILE *gp = std::fopen((dir + "/plots.gp").c_str(), "w");
	if (!gp)
		return 1;
	std::fputs(plot_script, gp);
	std::fclose(gp);
	std::string cmd = "cd '" + dir + "' && gnuplot plots.gp";
	int rc = std::system(cmd.c_str());
	std::printf("%s/frames.csv; plots %s\n", dir.c_str(), rc == 0 ? "exposure.svg, white_balance.svg, focus.svg" : "not drawn (gnuplot missing?)");
	return 0;
}
