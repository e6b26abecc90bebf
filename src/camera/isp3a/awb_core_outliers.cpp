// The white balance decision of a frame in which every sample lies off the
// known lights: by compactness, green and exposure zone.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "camera/isp3a/awb_frame.h"

namespace cam {

namespace {

int32_t sq(int32_t v) { return v * v; }

int32_t single_color_tracking(awb_frame_t &f, int32_t max_dist)
{
	const awb_ctrl_t &c = *f.c;
	if (f.e < f.E->indoor_index || f.a->hist_cnt <= 4)
		return 0;
	int32_t thr = (60 * max_dist + 50) / 100;
	std::fprintf(stderr, "max_dist=%d, threshold=%d\n", max_dist, thr);
	int64_t sx = 0, sy = 0;
	int32_t n = 0;
	for (int i = 0; i < f.n_out; i++)
		if (sq(c.outlier_rg[i] - f.X) + sq(c.outlier_bg[i] - f.Y) < thr) {
			sx += c.outlier_rg[i];
			sy += c.outlier_bg[i];
			n++;
		}
	if (n == 0)
		return 0;
	int32_t mx = static_cast<int32_t>((sx + n / 2) / n), my = static_cast<int32_t>((sy + n / 2) / n);
	std::fprintf(stderr, "After dist thresholding, outlier ave(rg=%d, bg=%d)\n", mx, my);
	std::fprintf(stderr, "After dist thresholding, outlier cnt=%d, (before=%d)\n", n, f.n_out);
	int32_t d = 0;
	for (int i = 0; i < f.n_out; i++)
		if (sq(c.outlier_rg[i] - f.X) + sq(c.outlier_bg[i] - f.Y) < thr)
			d = std::max(d, sq(c.outlier_rg[i] - mx) + sq(c.outlier_bg[i] - my));
	std::fprintf(stderr, "outlier max_dist (before=%d, after=%d\n)", max_dist, d);
	return d < 2 * f.a->compact_r2 ? -1 : 0;
}

}  // namespace

bool awb_core_all_outliers(awb_frame_t &f)
{
	awb_ctrl_t &c = *f.c;
	cam3a_agw_t &a = *f.a;
	const awb_input_exposure_t &E = *f.E;
	if (f.led_on && f.led_mode1) {
		float r = 1 / a.led_rg_ratio, g = 1, b = 1 / a.led_bg_ratio;
		float m = std::fmin(1.0f, std::fmin(r, b));
		f.result = {1, 0, r / m, g / m, b / m, a.r_gain_adj[0], a.b_gain_adj[0]};
		std::fprintf(stderr, "LED ON, all outliers, D65:  r_gainf = %d , g_gainf = %d ,b_gainf = %d, return \n",
			     static_cast<int>(f.result.r_gain), static_cast<int>(f.result.g_gain), static_cast<int>(f.result.b_gain));
		return false;
	}
	if (f.white) {
		c.white_decision = -1;
		c.white_single_cluster = 0;
		std::fprintf(stderr, "### white stat : all outliers. return\n");
		c.y_min_percentage = std::max(c.y_min_percentage - 1, 59);
		std::fprintf(stderr, "### y_min_percentage= %d\n", c.y_min_percentage);
		return false;
	}
	if (f.e == E.max_index) {
		std::fprintf(stderr, "### all outliers, too dark, reject\n");
		return false;
	}
	f.ave_rg = f.rg = f.sgw_rg;
	f.ave_bg = f.bg = f.sgw_bg;
	awb_core_convert_to_grid(a, static_cast<int32_t>(f.ave_rg * 1024), static_cast<int32_t>(f.ave_bg * 1024), &f.X, &f.Y);
	f.r2 = awb_core_max_r2(f, false);
	f.compact = f.r2 <= a.compact_r2;
	int32_t dist;
	awb_core_search_nearest_reference_point(a, f.X, f.Y, &f.decision, &dist, nullptr);
	if (f.X > a.rg_grid[5] + 3 || f.Y > a.bg_grid[1]) {
		std::fprintf(stderr, "### too red or too blue. return\n");
		return false;
	}
	std::fprintf(stderr, "### all outliers : is_a_compact_cluster=%d, max_dist=%d\n", f.compact, f.r2);
	std::fprintf(stderr, "### all outliers : outliers RG grid=%d, BG grid=%d\n", f.X, f.Y);
	if (single_color_tracking(f, f.r2) < 0) {
		std::fprintf(stderr, "### all outliers : frame rejected for being single color\n");
		return false;
	}
	const grid_line_t &l3 = a.day_line_3;
	grid_pt_t p0 = l3.pt[0], pl = l3.pt[l3.cnt > 0 ? l3.cnt - 1 : 0];
	float d55_rg = 0.7f * a.grid[p0.rg] + 0.3f * a.grid[pl.rg], d55_bg = 0.7f * a.grid[p0.bg] + 0.3f * a.grid[pl.bg];
	float d50_rg = a.grid[pl.rg], d50_bg = a.grid[pl.bg];
	std::fprintf(stderr, "D55_rg=%f, D55_bg=%f\n", d55_rg, d55_bg);
	int32_t rc = c.stats.region_cnt;
	bool passA = (f.green_cnt > rc * a.green_pct / 100 && f.indoor_green_cnt == 0) || f.green_cnt > a.green_min_pct;
	bool passB = (f.green_cnt > rc * a.green_pct / 100 && f.indoor_green_cnt == 0) || f.green_cnt > rc * a.green_min_pct / 100;
	bool G5 = f.green_y > a.bg_grid[5];
	int32_t e = f.e, out = E.outdoor_index, mid = E.inout_mid, in = E.indoor_index;
	int zone = e < out ? 0 : e < mid ? 1 : e < in ? 2 : 3;
	auto set = [&](int32_t d, float rg, float bg, const char *msg) {
		f.decision = d;
		f.rg = rg;
		f.bg = bg;
		std::fprintf(stderr, "%s", msg);
	};
	auto dl2 = [&](int32_t p1, int32_t p2, const char *msg) {
		f.day_line = 2;
		f.day_idx = 0;
		if (p1 + p2 <= 0)
			set(9, d50_rg, d50_bg, msg);
		else
			set(9, (d50_rg * p2 + d55_rg * p1) / (p1 + p2), (d50_bg * p2 + d55_bg * p1) / (p1 + p2), msg);
	};
	auto reject = [&](const char *msg) {
		std::fprintf(stderr, "%s", msg);
		return false;
	};
	if (f.compact && dist < a.near_ref_r2) {
		if (!passA)
			std::fprintf(stderr, "### all outliers, compact cluster, use simple grey world\n");
		else if (zone == 0)
			set(6, d50_rg, d50_bg, "### all outliers, compact cluster, near ref,  D50 (0, outdoor)\n");
		else if (zone == 1)
			dl2(e - out, mid - e, "### all outliers, compact cluster, near ref, daylight line 2, (outdoor, inout mid)");
		else if (zone == 2 && G5)
			set(0, d55_rg, d55_bg, "### all outliers, compact cluster, near ref,  D55 (inout mid, indoor)\n");
		else if (zone == 3 && G5) {
			if (f.X < a.rg_grid[6])
				set(0, d55_rg, d55_bg, "### all outliers, compact cluster, near ref,  D565 (indoor, max)\n");
			else
				return reject("### all outliers, compact cluster, near ref,  dark, sample location suspecious, return\n");
		}
	} else if (f.compact) {
		if (passA && zone == 0)
			set(6, d50_rg, d50_bg, "### all outliers, compact cluster, far ref, D50, (0, outdoor)\n");
		else if (passA && zone == 1)
			dl2(e - out, mid - e, "### all outliers, compact cluster, far ref, Daylight line 2, (outdoor, inout mid)\n");
		else if (passA && zone == 2 && G5)
			set(0, d55_rg, d55_bg, "### all outliers, compact cluster, near ref, (inout_mid, indoor),  D55\n");
		else if (passA && zone == 3 && G5)
			set(0, d55_rg, d55_bg, "###  all outliers,compact cluster, near ref, (indoor, max),  D55\n");
		else if (!passA && e >= (mid + in) / 2 && f.green_cnt > 0 && f.indoor_green_cnt == 0 && G5 && f.X < a.rg_grid[6])
			set(0, d55_rg, d55_bg, "### all outliers, compact cluster, far ref,  D55 (inout mid, max)\n");
		else if (!passA)
			return reject("### all outliers, campact+high chroma. return\n");
	} else {
		if (zone == 0)
			set(6, d50_rg, d50_bg, "### all outliers, not campact. D50 (0, outdoor)\n");
		else if (passB && zone == 1)
			dl2(e - E.outdoor_mid, mid - e, "### all outliers, not campact. Daylight line 2, (outdoor, inout mid)\n");
		else if (passB && zone == 2 && G5)
			set(0, d55_rg, d55_bg, "### all outliers, compact cluster, near ref, (inout mid, indoor), D55\n");
		else if (passB && zone == 3 && G5)
			set(0, d55_rg, d55_bg, "### all outliers, compact cluster, near ref, (indoor, max),  D55\n");
		else if (!passB)
			return reject("### all outliers, not campact. not enough green. return\n");
		else
			return reject("### all outliers, not campact. should not reach here. return\n");
	}
	if (E.lighting == 0 && awb_class_day(f.decision))
		return false;
	std::fprintf(stderr, "### AWB all outliers, estimated rg_ratio=%f, bg_ratio=%f\n", f.rg, f.bg);
	if (awb_class_day(f.decision)) {
		std::fprintf(stderr, "--- all outliers: update history with rg=%f, bg=%f,decision=%d\n", f.rg, f.bg, f.decision);
		awb_core_update_history(a, f.rg, f.bg, f.decision, f.e, f.white);
		awb_core_adjust_rg_bg_by_history(c, &f.rg, &f.bg, &f.decision);
		std::fprintf(stderr, "--- all outliers: after history adjustment: rg=%f, bg=%f\n", f.rg, f.bg);
	}
	f.rg = f.rg == 0.0f ? 1.0f : f.rg;
	f.bg = f.bg == 0.0f ? 1.0f : f.bg;
	std::fprintf(stderr, "### AWB all outliers : flg_all_outliers = 1 : r_gainf = %f , g_gainf = %f , b_gainf = %f\n",
		     1 / f.rg, 1.0, 1 / f.bg);
	f.all_outliers = true;
	c.regular_decision = f.decision;
	c.regular_rg = f.rg;
	c.regular_bg = f.bg;
	return true;
}

}  // namespace cam
