// isp3a-plot: runs 3A on the simulated Bayer sensor through a scripted
// scene (a 4-stop light change each way, a change from daylight to tungsten
// light, a defocus and a focus search), writes the per-frame figures as CSV
// and draws them with gnuplot as SVG.
//
//   isp3a-plot [out-dir]      (default: isp3a-plots)
#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "camera/isp3a/af.h"
#include "support/isp3a_rig.h"

namespace {

constexpr const char *plot_script = R"(set datafile separator ','
set terminal svg size 900,420 dynamic font 'sans,11'
set key outside right
set grid
set output 'exposure.svg'
set title 'Exposure: 4 stops brighter at frame 40, back at 80, tungsten at 120'
set xlabel 'frame'
set ylabel 'exposure index'
set y2label 'luma'
set y2tics
set ytics nomirror
plot 'frames.csv' using 1:2 with steps title 'exp\_index', \
     '' using 1:3 axes x1y2 with linespoints pt 7 ps 0.4 title 'luma', \
     '' using 1:4 axes x1y2 with lines dt 2 title 'target'
unset y2label
unset y2tics
set ytics mirror
set output 'white_balance.svg'
set title 'White balance gains and decision (2 A, 6 D50, 9 daylight line near D65)'
set ylabel 'gain'
set y2label 'decision'
set y2tics
set y2range [-1:10]
set ytics nomirror
plot 'frames.csv' using 1:5 with lines lw 2 title 'r gain', \
     '' using 1:6 with lines lw 2 title 'g gain', \
     '' using 1:7 with lines lw 2 title 'b gain', \
     '' using 1:8 axes x1y2 with points pt 7 ps 0.4 title 'decision'
unset y2label
unset y2tics
unset y2range
set ytics mirror
set output 'focus.svg'
set title 'Focus search: focus value against lens position (peak at 23)'
set xlabel 'lens position'
set ylabel 'focus value'
plot 'focus.csv' using 2:3 with linespoints pt 7 ps 0.5 title 'samples in search order', \
     'curve.csv' using 1:2 with lines dt 2 title 'scene'
)";

}  // namespace

int main(int argc, char **argv)
{
	std::string dir = "isp3a-plots";
	CLI::App app{"isp3a-plot: runs 3A on the simulated Bayer sensor and writes its curves as CSV and gnuplot scripts",
	             "isp3a-plot"};
	app.add_option("DIR", dir, "the folder for the plots' data (default isp3a-plots)");
	try {
		app.parse(argc, argv);
	} catch (const CLI::ParseError &e) {
		return app.exit(e) == 0 ? 0 : 2;
	}
	::mkdir(dir.c_str(), 0755);
	// The algorithms' trace goes to the log file, not the terminal.
	int log = ::open((dir + "/trace.log").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
	int saved = ::dup(2);
	if (log >= 0)
		::dup2(log, 2);
	testing_support::isp3a_rig rig;
	if (!rig.start()) {
		::dup2(saved, 2);
		std::fprintf(stderr, "isp3a-plot: the tuning file does not load\n");
		return 1;
	}
	FILE *frames = std::fopen((dir + "/frames.csv").c_str(), "w");
	FILE *focus = std::fopen((dir + "/focus.csv").c_str(), "w");
	FILE *curve = std::fopen((dir + "/curve.csv").c_str(), "w");
	if (!frames || !focus || !curve)
		return 1;
	std::fprintf(frames, "frame,exp_index,luma,target,r_gain,g_gain,b_gain,decision\n");
	std::fprintf(focus, "frame,lens,focus_value\n");
	rig.scene.light = 0.05;
	rig.scene.focus_peak = 23;
	int frame = 0;
	auto log_frame = [&] {
		const auto &u = rig.c.update_record;
		std::fprintf(frames, "%d,%d,%d,%d,%.4f,%.4f,%.4f,%d\n", frame, rig.c.aec_state.exp_index, rig.luma(),
			     rig.c.aec_state.luma_target, u.r_gain, u.g_gain, u.b_gain, rig.c.awb_state.decision);
	};
	for (; frame < 160; frame++) {
		if (frame == 40)
			rig.scene.light *= 16;
		if (frame == 80)
			rig.scene.light /= 16;
		if (frame == 120) {  // tungsten light indoors
			rig.scene.illum_rg = rig.tuning.ref_rg[2];
			rig.scene.illum_bg = rig.tuning.ref_bg[2];
			rig.scene.light = 0.02;
		}
		rig.frame();
		log_frame();
	}
	cam::af_process_start_focus(&rig.sensor, &rig.c, 0, 0);
	for (int n = 0; n < 300 && (cam::af_is_active() || cam::af_ctrl()->state == cam::WAIT_FOR_AEC_TO_SETTLE); n++, frame++) {
		rig.frame();
		log_frame();
		int lens = rig.lens, samples = cam::af_ctrl()->index;
		rig.af_frame();
		if (cam::af_ctrl()->index != samples)  // a sample was taken at this position
			std::fprintf(focus, "%d,%d,%.0f\n", frame, lens, sim::bayer_focus_value(rig.scene, lens));
	}
	for (int p = 0; p <= rig.tuning.af_far_end; p++)
		std::fprintf(curve, "%d,%.0f\n", p, sim::bayer_focus_value(rig.scene, p));
	std::fclose(frames);
	std::fclose(focus);
	std::fclose(curve);
	::dup2(saved, 2);
	std::printf("focus: lens at %d, peak at %d, %d moves\n", rig.lens, rig.scene.focus_peak, rig.moves);
	FILE *gp = std::fopen((dir + "/plots.gp").c_str(), "w");
	if (!gp)
		return 1;
	std::fputs(plot_script, gp);
	std::fclose(gp);
	std::string cmd = "cd '" + dir + "' && gnuplot plots.gp";
	int rc = std::system(cmd.c_str());
	std::printf("%s/frames.csv, focus.csv; plots %s\n", dir.c_str(), rc == 0 ? "exposure.svg, white_balance.svg, focus.svg" : "not drawn (gnuplot missing?)");
	return 0;
}
