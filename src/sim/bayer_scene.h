// A scene in front of the simulated Bayer sensor, and the statistics that
// the front end would gather from it: luma that follows gain times lines
// and clips, colours under one illuminant, a white-box count, and a focus
// value that peaks at one lens position.
#pragma once

#include <cstdint>
#include <span>

namespace sim {

struct bayer_scene_t {
	double light = 1.0;           // scene brightness: raw green of a mid patch per (gain x line)
	double illum_rg = 0.60;       // r/g and b/g of grey under the illuminant
	double illum_bg = 0.75;
	double colour_fraction = 0;   // share of strongly coloured (green foliage) regions
	double led_light = 0;         // extra light while the LED is on
	int focus_peak = 20;          // lens position of best focus
	double focus_width = 6;       // lens steps from the peak to lose half the contrast
	double focus_base = 2000;     // focus value far out of focus
	double focus_gain = 20000;    // added at the peak
	uint32_t pix_per_region = 4800;
	int box_y_min = 10, box_y_max = 240;
};

// Raw green of one region at gain (Q8) and lines: clips at 255.
double bayer_region_green(const bayer_scene_t &s, int region, uint32_t gain_q8, uint32_t lines, bool led_on);
// Fills an AEC/AWB statistics buffer: a header word then eight words per
// region (Y, Cb, Cr, count, SY of the white box and of the whole region).
void bayer_fill_aec_awb(const bayer_scene_t &s, uint32_t gain_q8, uint32_t lines, bool led_on, int regions,
			std::span<uint32_t> out);
// Focus value of the scene at a lens position.
double bayer_focus_value(const bayer_scene_t &s, int position);
// Fills an AF statistics buffer with n focus words, each the focus value.
void bayer_fill_af(const bayer_scene_t &s, int position, uint32_t n, std::span<uint32_t> out);

}  // namespace sim
