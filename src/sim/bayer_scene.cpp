// The scene model behind the simulated Bayer sensor's statistics.
#include "sim/bayer_scene.h"

#include <algorithm>
#include <cmath>

namespace sim {

namespace {

// Reflectance of a region: a fixed texture between 0.35 and 1.65.
double reflectance(int region)
{
	uint32_t h = static_cast<uint32_t>(region) * 2654435761u;
	return 0.35 + 1.3 * ((h >> 16) & 0xFF) / 255.0;
}

bool coloured(const bayer_scene_t &s, int region, int regions)
{
	return s.colour_fraction > 0 && region < static_cast<int>(s.colour_fraction * regions + 0.5);
}

// YCbCr of the front end, the exact inverse of the conversion the white
// balance uses (Q10: Y, Cb, Cr to R, G, B).
void to_ycc(double r, double g, double b, double *y, double *cb, double *cr)
{
	static const double m[9] = {1, -233 / 1024.0, 1436 / 1024.0, 1, -233 / 1024.0, -612 / 1024.0, 1, 1815 / 1024.0, -612 / 1024.0};
	// Invert the 3x3 matrix once.
	static double inv[9];
	static bool ready = false;
	if (!ready) {
		double det = m[0] * (m[4] * m[8] - m[5] * m[7]) - m[1] * (m[3] * m[8] - m[5] * m[6]) + m[2] * (m[3] * m[7] - m[4] * m[6]);
		inv[0] = (m[4] * m[8] - m[5] * m[7]) / det;
		inv[1] = (m[2] * m[7] - m[1] * m[8]) / det;
		inv[2] = (m[1] * m[5] - m[2] * m[4]) / det;
		inv[3] = (m[5] * m[6] - m[3] * m[8]) / det;
		inv[4] = (m[0] * m[8] - m[2] * m[6]) / det;
		inv[5] = (m[2] * m[3] - m[0] * m[5]) / det;
		inv[6] = (m[3] * m[7] - m[4] * m[6]) / det;
		inv[7] = (m[1] * m[6] - m[0] * m[7]) / det;
		inv[8] = (m[0] * m[4] - m[1] * m[3]) / det;
		ready = true;
	}
	*y = inv[0] * r + inv[1] * g + inv[2] * b;
	*cb = inv[3] * r + inv[4] * g + inv[5] * b + 128;
	*cr = inv[6] * r + inv[7] * g + inv[8] * b + 128;
}

uint32_t sum25(double mean, uint32_t n)
{
	double v = std::max(0.0, mean) * n;
	return static_cast<uint32_t>(std::min(v, double(0x1FFFFFF)));
}

}  // namespace

double bayer_region_green(const bayer_scene_t &s, int region, uint32_t gain_q8, uint32_t lines, bool led_on)
{
	double light = s.light + (led_on ? s.led_light : 0);
	return std::min(255.0, light * reflectance(region) * (gain_q8 / 256.0) * lines);
}

void bayer_fill_aec_awb(const bayer_scene_t &s, uint32_t gain_q8, uint32_t lines, bool led_on, int regions,
			std::span<uint32_t> out)
{
	std::fill(out.begin(), out.end(), 0u);
	if (out.size() < 1 + 8u * regions)
		return;
	out[0] = static_cast<uint32_t>(regions);
	for (int i = 0; i < regions; i++) {
		double g = bayer_region_green(s, i, gain_q8, lines, led_on);
		double r, b;
		if (coloured(s, i, regions)) {  // foliage: green, little red and blue
			r = g * 0.45 * s.illum_rg / 0.6;
			b = g * 0.25 * s.illum_bg / 0.75;
		} else {
			r = g * s.illum_rg;
			b = g * s.illum_bg;
		}
		r = std::min(255.0, r);
		b = std::min(255.0, b);
		double y, cb, cr;
		to_ycc(r, g, b, &y, &cb, &cr);
		double luma = std::min(255.0, 0.299 * r + 0.587 * g + 0.114 * b);
		uint32_t n = s.pix_per_region;
		bool in_box = y >= s.box_y_min && y <= s.box_y_max;
		uint32_t *w = &out[1 + 8 * i];
		uint32_t cnt = in_box ? std::min<uint32_t>(n, 0x1FFFF) : 0;
		w[0] = sum25(y, cnt);
		w[1] = sum25(cb, cnt);
		w[2] = sum25(cr, cnt);
		w[3] = cnt;
		w[4] = sum25(luma, n);
	}
}

double bayer_focus_value(const bayer_scene_t &s, int position)
{
	double d = (position - s.focus_peak) / (s.focus_width > 0 ? s.focus_width : 1);
	return s.focus_base + s.focus_gain / (1 + d * d);  // contrast falls slowly far from focus
}

void bayer_fill_af(const bayer_scene_t &s, int position, uint32_t n, std::span<uint32_t> out)
{
	std::fill(out.begin(), out.end(), 0u);
	if (out.empty())
		return;
	double fv = bayer_focus_value(s, position);
	for (uint32_t k = 0; k < n && k + 1 < out.size(); k++)
		out[k + 1] = static_cast<uint32_t>(fv);
}

}  // namespace sim
