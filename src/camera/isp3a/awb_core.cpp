// The advanced grey world decision: the rg/bg grid and its reference lines,
// the sampling of the bins, the first estimate and decision. The scene rules
// and the history are in awb_core_rules and awb_core_history, the self-calibration in
// awb_core_selfcal.
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cmath>
#include <cstdio>

#include "camera/config/led.h"
#include "camera/isp3a/awb.h"
#include "camera/isp3a/awb_frame.h"

namespace cam {

namespace {

int32_t sq(int32_t v) { return v * v; }

int32_t to_grid(const cam3a_agw_t &a, int32_t x)
{
	if (x < a.grid_x[0])
		return 0;
	for (int k = 0; k < GRID_STEPS - 1; k++)
		if (a.grid_x[k] <= x && a.grid_x[k + 1] > x)
			return k;
	return GRID_STEPS - 1;
}

// Grid index of a reference: the first interval whose ends straddle it.
int32_t ref_to_grid(const cam3a_agw_t &a, int32_t x, int32_t kmax)
{
	if (x < a.grid_x[0])
		return 0;
	if (x >= a.grid_x[GRID_STEPS])
		return GRID_STEPS - 1;
	for (int k = 0; k < kmax; k++)
		if (int64_t(x - a.grid_x[k]) * (x - a.grid_x[k + 1]) <= 0)
			return k;
	return GRID_STEPS - 1;
}

// A straight line between two grid points, one step along the longer axis.
void rasterise(grid_line_t &l, grid_pt_t p0, grid_pt_t p1)
{
	int32_t dx = p1.rg - p0.rg, dy = p1.bg - p0.bg;
	int32_t n = std::max(std::abs(dx), std::abs(dy));
	l.cnt = 0;
	if (n == 0) {
		l.pt[0] = p0;
		l.cnt = 1;
		return;
	}
	n = std::min(n, GRID_LINE_MAX - 1);
	bool along_rg = std::abs(dx) >= std::abs(dy);
	int32_t lo_first = along_rg ? (p0.rg <= p1.rg) : (p0.bg <= p1.bg);
	grid_pt_t a = lo_first ? p0 : p1, b = lo_first ? p1 : p0;
	for (int32_t k = 0; k <= n; k++) {
		double t = double(k) / n;
		grid_pt_t p{static_cast<int32_t>(a.rg + (b.rg - a.rg) * t + 0.5), static_cast<int32_t>(a.bg + (b.bg - a.bg) * t + 0.5)};
		l.pt[l.cnt++] = p;
	}
}

grid_pt_t ref_pt(const cam3a_agw_t &a, int i) { return {a.rg_grid[i], a.bg_grid[i]}; }

}  // namespace

void awb_core_convert_to_grid(const cam3a_agw_t &a, int32_t rg_x, int32_t bg_x, int32_t *rg, int32_t *bg)
{
	*rg = to_grid(a, rg_x);
	*bg = to_grid(a, bg_x);
}

void awb_algo_core_init_agw_algorithm(awb_ctrl_t &c)
{
	cam3a_agw_t &a = c.agw;
	a.hist_cnt = 0;
	a.aec_hist_cnt = 0;
	std::fprintf(stderr, "awb_self_cal_enable %d\n", a.awb_self_cal_enable);
	float mn = 1.0f, mx = 1.0f;
	for (int i = 0; i < AWB_REF_NUM; i++) {
		mn = std::fmin(mn, std::fmin(a.ref_rg[i], a.ref_bg[i]));
		mx = std::fmax(mx, std::fmax(a.ref_rg[i], a.ref_bg[i]));
		a.rg_ratio_x[i] = static_cast<int32_t>(a.ref_rg[i] * 1024);
		a.bg_ratio_x[i] = static_cast<int32_t>(a.ref_bg[i] * 1024);
	}
	mn = std::fmin(mn, std::fmin(a.led_rg_ratio, a.led_bg_ratio));
	mx = std::fmax(mx, std::fmax(a.led_rg_ratio, a.led_bg_ratio));
	a.led_rg_x = static_cast<int32_t>(a.led_rg_ratio) * 1024;
	a.led_bg_x = static_cast<int32_t>(a.led_bg_ratio) * 1024;
	mx *= 1.2f;
	mn *= 0.8f;
	if (mx < 1 / mn)
		mx = 1 / mn;
	else if (mn > 1 / mx)
		mn = 1 / mx;
	a.grid[0] = mn;
	for (int k = 1; k <= 60; k++)
		a.grid[k] = a.grid[k - 1] + (1 - mn) / 60.5f;
	for (int k = 61; k <= 120; k++)
		a.grid[k] = a.grid[k - 1] + (mx - 1) / 60.5f;
	a.grid[GRID_STEPS] = mx;
	for (int k = 0; k <= GRID_STEPS; k++)
		a.grid_x[k] = static_cast<int32_t>(a.grid[k] * 1024);
	for (int i = 0; i < AWB_REF_NUM; i++) {
		a.rg_grid[i] = ref_to_grid(a, a.rg_ratio_x[i], GRID_STEPS - 1);
		a.bg_grid[i] = ref_to_grid(a, a.bg_ratio_x[i], GRID_STEPS - 1);
	}
	awb_core_convert_to_grid(a, a.led_rg_x, a.led_bg_x, &a.led_rg_grid, &a.led_bg_grid);
	rasterise(a.day_line_1, ref_pt(a, 1), ref_pt(a, 0));
	rasterise(a.day_line_2, ref_pt(a, 0), ref_pt(a, 6));
	rasterise(a.f_line, ref_pt(a, 4), ref_pt(a, 3));
	rasterise(a.day_f_line, {(a.rg_grid[3] + a.rg_grid[4]) / 2, (a.bg_grid[3] + a.bg_grid[4]) / 2}, ref_pt(a, 6));
	rasterise(a.a_line_1, {(2 * a.rg_grid[2] + a.rg_grid[3]) / 3, (2 * a.bg_grid[2] + a.bg_grid[3]) / 3}, ref_pt(a, 2));
	rasterise(a.a_line_2, ref_pt(a, 2), ref_pt(a, 5));
	int32_t diff = a.rg_grid[0] - a.rg_grid[6];
	a.green_slope_q8 = ((a.bg_grid[0] - a.bg_grid[6]) * 256) / (diff ? diff : 1);
	int32_t X = a.green_rg_offset + std::max(a.rg_grid[4], a.rg_grid[6]);
	a.green_intercept = a.bg_grid[2] + a.green_bg_offset - (a.green_slope_q8 * X) / 256;
	// Noon shift: the offset of Noon from the D65-D50 line, moved onto D50 and D65.
	float rg0 = a.ref_rg[0], bg0 = a.ref_bg[0], rg6 = a.ref_rg[6], bg6 = a.ref_bg[6];
	float rg8 = a.ref_rg[8], bg8 = a.ref_bg[8];
	float vx = 0, vy = 0;
	if (rg6 != rg0) {
		float k = (bg6 - bg0) / (rg6 - rg0);
		float xp = (k * (bg8 - bg0) + rg8 + k * k * rg0) / (k * k + 1);
		float yp = bg0 + k * (xp - rg0);
		vx = rg8 - xp;
		vy = bg8 - yp;
		std::fprintf(stderr, "xp=%f, yp =%f\n", xp, yp);
	}
	std::fprintf(stderr, "d65_rg=%f, d65_bg =%f\n", rg0, bg0);
	std::fprintf(stderr, "d50_rg=%f, d50_bg =%f\n", rg6, bg6);
	std::fprintf(stderr, "noon_rg=%f, noon_bg =%f\n", rg8, bg8);
	std::fprintf(stderr, "vx=%f, vy =%f\n", vx, vy);
	a.shifted_d50_rg = rg6 + vx;
	a.shifted_d50_bg = bg6 + vy;
	std::fprintf(stderr, "shifted d50_rg=%f, shifted d50_bg =%f\n", a.shifted_d50_rg, a.shifted_d50_bg);
	float s65rg = rg0 + vx, s65bg = bg0 + vy;
	std::fprintf(stderr, "shifted D65 (float): rg=%f, bg =%f\n", s65rg, s65bg);
	int32_t gx = ref_to_grid(a, static_cast<int32_t>(s65rg * 1024), GRID_STEPS);
	int32_t gy = ref_to_grid(a, static_cast<int32_t>(s65bg * 1024), GRID_STEPS);
	std::fprintf(stderr, "shifted D65 (grid): rg=%d, bg =%d\n", gx, gy);
	int32_t dx = gx - a.rg_grid[0], dy = gy - a.bg_grid[0];
	std::fprintf(stderr, "Delta (grid) for D65 is: dx=%d, dy =%d\n", dx, dy);
	a.day_line_3 = a.day_line_2;
	for (int k = 0; k < a.day_line_3.cnt; k++) {
		a.day_line_3.pt[k].rg = std::clamp(a.day_line_3.pt[k].rg + dx, 0, GRID_STEPS - 1);
		a.day_line_3.pt[k].bg = std::clamp(a.day_line_3.pt[k].bg + dy, 0, GRID_STEPS - 1);
	}
	a.indoor_F_WB_locked = 0;
	a.last_rg = a.ref_rg[3];
	a.last_bg = a.ref_bg[3];
	a.led_last_rg = a.led_rg_ratio;
	a.led_last_bg = a.led_bg_ratio;
	a.led_was_on = 0;
	std::fprintf(stderr, "------------ AWB init debug -----------\n");
	std::fprintf(stderr, "day1 %d, day2 %d, f %d, day_f %d, a1 %d, a2 %d points\n", a.day_line_1.cnt, a.day_line_2.cnt,
		     a.f_line.cnt, a.day_f_line.cnt, a.a_line_1.cnt, a.a_line_2.cnt);
	std::fprintf(stderr, "------------ END AWB init debug -----------\n");
}

void awb_core_search_nearest_reference_point(const cam3a_agw_t &a, int32_t rg, int32_t bg, int32_t *index,
					     int32_t *dist, int32_t *line)
{
	int32_t best = 1073741823, idx = 0, ln = 0;
	auto d2 = [&](grid_pt_t p) { return sq(rg - p.rg) + sq(bg - p.bg); };
	for (int i = 0; i < AWB_REF_NUM; i++) {
		int32_t d = d2(ref_pt(a, i));
		bool f_over_a = d == best && (i == 3 || i == 4 || i == 7) && (idx == 2 || idx == 5);
		if (d < best || f_over_a) {
			best = d;
			idx = i;
		}
	}
	if (get_led_state()) {
		int32_t d = d2({a.led_rg_grid, a.led_bg_grid});
		if (d < best) {
			best = d;
			idx = 0;
		}
	}
	auto walk = [&](const grid_line_t &l, int from, int to, auto take) {
		for (int k = from; k <= to && k < l.cnt; k++) {
			int32_t d = d2(l.pt[k]);
			take(d, k);
		}
	};
	walk(a.day_line_1, 1, a.day_line_1.cnt - 2, [&](int32_t d, int) { if (d < best) { best = d; idx = 9; ln = 1; } });
	walk(a.day_line_2, 1, a.day_line_2.cnt - 2, [&](int32_t d, int) { if (d < best) { best = d; idx = 9; ln = 2; } });
	walk(a.day_line_3, 0, a.day_line_3.cnt - 1, [&](int32_t d, int) { if (d < best) { best = d; idx = 9; ln = 2; } });
	walk(a.f_line, 1, a.f_line.cnt - 2, [&](int32_t d, int) {
		if (d < best || (d == best && (idx == 2 || idx == 5))) { best = d; idx = 3; }
	});
	walk(a.day_f_line, 1, a.day_f_line.cnt - 2, [&](int32_t d, int) {
		if (d < best || (d == best && idx == 6)) { best = d; idx = 3; }
	});
	walk(a.a_line_1, 0, a.a_line_1.cnt - 2, [&](int32_t d, int) { if (d < best) { best = d; idx = 2; } });
	walk(a.a_line_2, 1, a.a_line_2.cnt - 2, [&](int32_t d, int) { if (d < best) { best = d; idx = 2; } });
	*index = idx;
	*dist = best;
	if (line)
		*line = ln;
}


bool awb_class_day(int32_t d) { return d == 0 || d == 1 || d == 6 || d == 8 || d == 9; }
bool awb_class_a(int32_t d) { return d == 2 || d == 5; }
bool awb_class_f(int32_t d) { return d == 3 || d == 4 || d == 7; }

namespace {

// Weight of a sample by exposure zone; a zone of zero width takes its
// first weight instead of dividing by zero.
int32_t zone_weight(const awb_frame_t &f, int32_t d, int32_t line)
{
	if (d < 0 || d > 9)
		return 0;
	const auto &w = f.a->weights[d];
	int32_t in = w[0], out = w[1], mid = w[2];
	const awb_input_exposure_t &E = *f.E;
	int32_t e = f.e;
	auto mix = [](int32_t p1, int32_t a, int32_t p2, int32_t b, int32_t dflt) {
		return p1 + p2 ? (p1 * a + p2 * b) / (p1 + p2) : dflt;
	};
	if (e >= E.indoor_index)
		return in;
	if (e >= E.inout_mid)
		return mix(e - E.inout_mid, in, E.indoor_index - e, mid, in);
	if (e >= E.outdoor_index)
		return mix(e - E.outdoor_index, mid, E.inout_mid - e, out, mid);
	if (e >= E.outdoor_mid)
		return mix(e - E.outdoor_mid, mid, E.outdoor_index - e, out, mid);
	int32_t p1 = e, p2 = E.outdoor_mid - e;
	if (p1 + p2 == 0)
		return out;
	if (d == 1)
		return (p1 * out + p2) / (p1 + p2);
	if (d == 0 || (d == 9 && line == 1))
		return (p1 * out + 2 * p2) / (p1 + p2);
	if (d == 9)
		return (p1 * out + (p2 * out) / 3) / (p1 + p2);
	return out;
}

struct sums_t {
	int64_t sgw_rg, sgw_bg, w, w_rg, w_bg;
	int64_t a_rg, a_bg, f_rg, f_bg, d_rg, d_bg;
	int64_t green_x, green_y;
};

int32_t mean_q10(int64_t sum, int32_t n) { return n ? static_cast<int32_t>((sum + n / 2) / n) : 1024; }

// Samples every bin; false if the frame is rejected.
bool sample_bins(awb_frame_t &f, sums_t &s)
{
	awb_ctrl_t &c = *f.c;
	cam3a_agw_t &a = *f.a;
	const awb_input_stats_t &st = c.stats;
	int32_t G = std::max(a.rg_grid[6], a.rg_grid[4]);
	int32_t H = a.bg_grid[5] + a.green_bg_offset;
	int32_t od2 = a.outlier_dist * a.outlier_dist;
	for (int i = 0; i < st.bin_cnt && i < STATS_REGIONS; i++) {
		int64_t r = st.r[i], g = st.g[i], b = st.b[i];
		if (r < 0 || g < 0 || b < 0) {
			std::fprintf(stderr, "Invalid stat: r=%d, g=%d, b=%d, reject this frame\n", st.r[i], st.g[i], st.b[i]);
			return false;
		}
		g = g ? g : 1;
		int64_t rgx = (r * 1024 + g / 2) / g, bgx = (b * 1024 + g / 2) / g;
		s.sgw_rg += rgx;
		s.sgw_bg += bgx;
		if (rgx > 4000 || bgx > 4000) {
			std::fprintf(stderr, "Invalid stat: rg_ratio_x=%d,  bg_ratio_x=%d, reject this frame\n",
				     static_cast<int>(rgx), static_cast<int>(bgx));
			return false;
		}
		int32_t x, y;
		awb_core_convert_to_grid(a, static_cast<int32_t>(rgx), static_cast<int32_t>(bgx), &x, &y);
		if (y <= a.green_slope_q8 * x / 256 + a.green_intercept && x > 0 && x <= a.green_rg_offset + G &&
		    y < a.green_bg_offset + (a.bg_grid[0] + a.bg_grid[6]) / 2 && y > H) {
			f.green_cnt++;
			s.green_x += x;
			s.green_y += y;
		}
		if ((x < G && y <= H) || (y < a.bg_grid[5] && x >= G && x < a.rg_grid[2]))
			f.indoor_green_cnt++;
		int32_t d, dist, line;
		awb_core_search_nearest_reference_point(a, x, y, &d, &dist, &line);
		if (dist > od2 || y > a.bg_grid[1] || x > a.rg_grid[5] + 3 || y < a.bg_grid[5] - 3) {
			c.outlier_rg[f.n_out] = x;
			c.outlier_bg[f.n_out] = y;
			f.n_out++;
			continue;
		}
		a.sample_rg[f.N] = x;
		a.sample_bg[f.N] = y;
		f.N++;
		int64_t w = zone_weight(f, d, line);
		s.w += w;
		s.w_rg += w * rgx;
		s.w_bg += w * bgx;
		if (awb_class_a(d)) {
			f.a_cluster++;
			s.a_rg += rgx;
			s.a_bg += bgx;
		} else if (awb_class_f(d)) {
			f.f_cluster++;
			s.f_rg += rgx;
			s.f_bg += bgx;
		} else {
			f.day_cluster++;
			s.d_rg += rgx;
			s.d_bg += bgx;
		}
	}
	return true;
}

float to_ratio(int32_t q10) { return q10 * 0.000976562f; }

grid_pt_t pt_of(const cam3a_agw_t &a, int i) { return {a.rg_grid[i], a.bg_grid[i]}; }

// Main steps 3 to 9: the nearest of references and lines, with their values.
void nearest_with_values(awb_frame_t &f)
{
	cam3a_agw_t &a = *f.a;
	const awb_input_exposure_t &E = *f.E;
	int32_t lighting = E.lighting;
	float ar = f.ave_rg, ab = f.ave_bg;
	auto blend = [&](float p, float ave) { return static_cast<float>((1.0 - a.blend_f) * p + double(a.blend_f) * ave); };
	auto put = [&](float rg, float bg) {
		f.rg = f.near ? f.sgw_rg : rg;
		f.bg = f.near ? f.sgw_bg : bg;
	};
	auto d2 = [&](grid_pt_t p) { return sq(f.X - p.rg) + sq(f.Y - p.bg); };
	int32_t best = INT_MAX;
	f.decision = -1;
	for (int i = 0; i < AWB_REF_NUM; i++) {
		int32_t d = d2(pt_of(a, i));
		bool fl = (i == 3 || i == 4 || i == 7), al = (i == 2 || i == 5);
		bool indoor_ok = lighting == 0 || lighting == 2, outdoor_ok = lighting == 1 || lighting == 2;
		if (d < best) {
			if (fl && indoor_ok) {
				put(blend(a.ref_rg[i], ar), blend(a.ref_bg[i], ab));
				std::fprintf(stderr, "### F light. rg_ratio=%f  bg_ratio=%f\n", f.rg, f.bg);
				if (i == 4)
					f.f_line_idx = 0;
				if (i == 3)
					f.f_line_idx = a.f_line.cnt - 1;
			} else if (al && indoor_ok) {
				put(std::fmin(a.ref_rg[2], ar), std::fmax(a.ref_bg[2], ab));
				std::fprintf(stderr, i == 2 ? "### A light. rg_ratio=%f  bg_ratio=%f\n" : "### Horizon. rg_ratio=%f  bg_ratio=%f\n",
					     f.rg, f.bg);
				f.a_line_idx = i == 2 ? 0 : a.a_line_2.cnt - 1;
			} else if (!fl && !al && outdoor_ok) {
				put(std::fmax(a.ref_rg[i], ar), std::fmin(a.ref_bg[i], ab));
				std::fprintf(stderr, "### day light. rg_ratio=%f  bg_ratio=%f\n", f.rg, f.bg);
			} else {
				continue;
			}
			best = d;
			f.decision = i;
		} else if (d == best && f.decision >= 0) {
			int32_t cur = f.decision;
			if (i == 7 && (cur == 3 || cur == 4)) {
				put(blend(a.ref_rg[i], ar), blend(a.ref_bg[i], ab));
				std::fprintf(stderr, "### Custom F light. rg_ratio=%f  bg_ratio=%f\n", f.rg, f.bg);
				f.decision = i;
			} else if (fl && awb_class_a(cur)) {
				put(blend(a.ref_rg[i], ar), blend(a.ref_bg[i], ab));
				std::fprintf(stderr, "### F light. rg_ratio=%f  bg_ratio=%f\n", f.rg, f.bg);
				f.decision = i;
			} else if (i == 6 && awb_class_f(cur) && f.e >= E.inout_mid) {
				put(std::fmax(a.ref_rg[i], ar), std::fmin(a.ref_bg[i], ab));
				std::fprintf(stderr, "### D50. rg_ratio=%f  bg_ratio=%f\n", f.rg, f.bg);
				f.decision = i;
			}
		}
	}
	auto line = [&](const grid_line_t &l, int from, int to, auto take) {
		for (int k = from; k <= to && k < l.cnt; k++) {
			int32_t d = d2(l.pt[k]);
			if (d < best) {
				best = d;
				take(k, l.pt[k]);
			}
		}
	};
	if (lighting == 1 || lighting == 2) {
		const char *msg[3] = {"### day line 1. rg_ratio=%f  bg_ratio=%f\n", "### day line 2. rg_ratio=%f  bg_ratio=%f\n",
				      "### day line 3. rg_ratio=%f  bg_ratio=%f\n"};
		const grid_line_t *ls[3] = {&a.day_line_1, &a.day_line_2, &a.day_line_3};
		for (int n = 0; n < 3; n++)
			line(*ls[n], n == 2 ? 0 : 1, n == 2 ? ls[n]->cnt - 1 : ls[n]->cnt - 2, [&](int k, grid_pt_t p) {
				f.decision = 9;
				f.day_line = n == 0 ? 1 : 2;
				f.day_idx = k;
				put(std::fmax(a.grid[p.rg], ar), std::fmin(a.grid[p.bg], ab));
				std::fprintf(stderr, msg[n], f.rg, f.bg);
			});
	}
	if (f.led_on) {
		if (d2({a.led_rg_grid, a.led_bg_grid}) < best) {
			best = d2({a.led_rg_grid, a.led_bg_grid});
			f.decision = 0;
		}
		if (!f.near) {
			f.rg = a.grid[f.X];
			f.bg = a.grid[f.Y];
		}
	}
	if (a.awb_self_cal_enable && awb_class_day(f.decision)) {
		int32_t delta = std::abs(E.luma_target - E.current_luma);
		std::fprintf(stderr, "Self_cal update: luma target=%d, frame luma=%d, delta=%d\n", E.luma_target, E.current_luma, delta);
		if (f.e <= E.outdoor_index - 46 && awb_core_is_there_daylight_in_history(a) && delta <= 7)
			awb_agw_update_self_cal(*f.c, f.ave_rg, f.ave_bg);
	}
	if (a.f_line_enable && (lighting == 0 || lighting == 2)) {
		const grid_line_t &fl = a.f_line;
		bool first_high_rg = fl.cnt > 0 && fl.pt[0].rg >= fl.pt[fl.cnt - 1].rg;
		line(fl, 1, fl.cnt - 2, [&](int k, grid_pt_t p) {
			bool first_half = k < fl.cnt / 2;
			f.decision = (first_half == first_high_rg) ? 3 : 4;
			f.f_line_idx = k;
			put(blend(a.grid[p.rg], ar), blend(a.grid[p.bg], ab));
			std::fprintf(stderr, "### F line. rg_ratio=%f  bg_ratio=%f\n", f.rg, f.bg);
		});
		const grid_line_t &dl = a.day_f_line;
		bool first_low_bg = dl.cnt > 0 && dl.pt[0].bg <= dl.pt[dl.cnt - 1].bg;
		line(dl, 1, dl.cnt - 2, [&](int k, grid_pt_t p) {
			bool low_bg = (k < dl.cnt / 2) == first_low_bg;
			f.decision = low_bg ? 7 : (f.e <= E.indoor_index ? 6 : 7);
			put(blend(a.grid[p.rg], ar), blend(a.grid[p.bg], ab));
			std::fprintf(stderr, "### Day_F line. rg_ratio=%f  bg_ratio=%f\n", f.rg, f.bg);
		});
	}
	if (lighting == 0 || lighting == 2) {
		bool hit = false;
		line(a.a_line_1, 0, a.a_line_1.cnt - 2, [&](int, grid_pt_t p) {
			f.decision = 2;
			hit = true;
			put(std::fmin(a.grid[p.rg], ar), std::fmax(a.grid[p.bg], ab));
			std::fprintf(stderr, "### A line1. rg_ratio=%f  bg_ratio=%f\n", f.rg, f.bg);
		});
		if (hit)
			f.a_line_idx = 0;
		f.a_line_id = 2;
		const grid_line_t &l2 = a.a_line_2;
		bool first_high_rg = l2.cnt > 0 && l2.pt[0].rg >= l2.pt[l2.cnt - 1].rg;
		line(l2, 1, l2.cnt - 2, [&](int k, grid_pt_t) {
			f.decision = ((k < l2.cnt / 2) == first_high_rg) ? 5 : 2;
			f.a_line_idx = k;
			put(std::fmin(a.ref_rg[2], ar), std::fmax(a.ref_bg[2], ab));
			std::fprintf(stderr, "### A line2. rg_ratio=%f  bg_ratio=%f\n", f.rg, f.bg);
		});
	}
}

void purple_sky(awb_frame_t &f)
{
	const cam3a_agw_t &a = *f.a;
	int32_t d = f.decision;
	if (!(d == 9 || d == 0 || d == 6) || !(a.shifted_d50_bg < f.bg))
		return;
	int32_t out = f.E->outdoor_index, m = out / 2;
	if (f.e >= m && f.e <= out && out > m) {
		float tr = (a.shifted_d50_rg + f.rg) / 2, tb = (a.shifted_d50_bg + f.bg) / 2;
		float w = float(f.e - m) / float(out - m);
		std::fprintf(stderr, "Purple sky prevention: w1=%f, w2=%f, outdoor_mid<exp_idx <outdoor_idx\n", w, 1 - w);
		std::fprintf(stderr, "rg_target=%f, bg_target=%f", tr, tb);
		f.rg = std::fmax(f.rg, w * f.rg + (1 - w) * tr);
		f.bg = std::fmin(f.bg, w * f.bg + (1 - w) * tb);
		std::fprintf(stderr, "after adjustment: rg_ratio=%f, bg_ratio=%f\n", f.rg, f.bg);
	} else if (f.e < m) {
		f.rg = std::fmax(a.shifted_d50_rg, f.ave_rg);
		f.bg = std::fmin(a.shifted_d50_bg, f.ave_bg);
		std::fprintf(stderr, "Purple sky prevention: after adjustment: rg_ratio=%f, bg_ratio=%f", f.rg, f.bg);
	}
}

void store_frame(awb_frame_t &f)
{
	awb_ctrl_t &c = *f.c;
	if (f.white) {
		c.white_decision = f.decision;
		c.white_rg = f.rg;
		c.white_bg = f.bg;
		std::fprintf(stderr, "### white stat : ave_rg_ratio = %f , ave_bg_ratio = %f, decision=%d\n", f.rg, f.bg, f.decision);
	} else {
		c.regular_decision = f.decision;
		c.regular_rg = f.rg;
		c.regular_bg = f.bg;
		std::fprintf(stderr, "### reg stat : ave_rg_ratio = %f , ave_bg_ratio = %f, decision=%d\n", f.rg, f.bg, f.decision);
	}
	if (f.decision == 9)
		std::fprintf(stderr, "### day light line= %d, day idx=%d\n", f.day_line, f.day_idx);
}

}  // namespace

int32_t awb_core_max_r2(const awb_frame_t &f, bool with_samples)
{
	int32_t r2 = 0;
	for (int i = 0; i < f.n_out && i < STATS_REGIONS; i++)
		r2 = std::max(r2, sq(f.c->outlier_rg[i] - f.X) + sq(f.c->outlier_bg[i] - f.Y));
	if (with_samples)
		for (int i = 0; i < f.N && i < STATS_REGIONS; i++)
			r2 = std::max(r2, sq(f.a->sample_rg[i] - f.X) + sq(f.a->sample_bg[i] - f.Y));
	return r2;
}


awb_result_t awb_core_run_agw_algorithm(awb_ctrl_t &c)
{
	awb_frame_t f{};
	f.c = &c;
	f.a = &c.agw;
	f.E = &c.exposure;
	f.e = c.exposure.exp_index;
	f.white = c.white_stat;
	f.led_on = get_led_state() != 0;
	f.led_mode1 = get_led_mode() == 1;
	f.f_line_idx = f.a_line_idx = -1;
	const awb_input_exposure_t &E = c.exposure;
	f.rg = f.bg = 1.0f;
	if (!f.white && c.regular_decision >= 0) {
		f.rg = c.regular_rg;
		f.bg = c.regular_bg;
	} else if (f.white && c.white_decision >= 0) {
		f.rg = c.white_rg;
		f.bg = c.white_bg;
	}
	std::fprintf(stderr, "indoor_index=%d, outdoor_index=%d, max_index=%d\n", E.indoor_index, E.outdoor_index, E.max_index);
	std::fprintf(stderr, f.led_on ? "AWB runs in the mode LED = ON\n" : "AWB runs in the mode LED = OFF\n");
	std::fprintf(stderr, f.led_mode1 ? "AWB LED Auto detect mode = true\n" : "AWB LED Auto detect mode = false\n");
	sums_t s{};
	if (!sample_bins(f, s))
		return f.result;
	int clusters = (f.a_cluster > 0) + (f.f_cluster > 0) + (f.day_cluster > 0);
	if (f.white && clusters > 1) {
		c.y_min_percentage = std::min(c.y_min_percentage + 1, 98);
		c.white_decision = -1;
		std::fprintf(stderr, "white world, multi-cluster, reject. Ymin percentage=%d\n", c.y_min_percentage);
		return f.result;
	}
	int32_t bins = c.stats.bin_cnt;
	f.sgw_rg = to_ratio(mean_q10(s.sgw_rg, bins));
	f.sgw_bg = to_ratio(mean_q10(s.sgw_bg, bins));
	f.green_x = f.green_cnt ? static_cast<int32_t>(s.green_x / f.green_cnt) : 0;
	f.green_y = f.green_cnt ? static_cast<int32_t>(s.green_y / f.green_cnt) : 0;
	if (!f.white)
		c.regular_green_cnt = f.green_cnt;
	std::fprintf(stderr, "### sgw_rg_ratio = %f , sgw_bg_ratio = %f. valid sample cnt=%d\n", f.sgw_rg, f.sgw_bg, f.N);
	std::fprintf(stderr, "### outdoor_green=%d, indoor green=%d, x_cnt=%d\n", f.green_cnt, f.indoor_green_cnt, f.n_out);
	std::fprintf(stderr, "### day cluster=%d, f cluster=%d, a_cluster=%d\n", f.day_cluster, f.f_cluster, f.a_cluster);
	if (f.white && clusters == 0) {
		if (f.e == E.max_index) {
			c.y_min_percentage = std::max(c.y_min_percentage - 1, 39);
			std::fprintf(stderr, "### white stat: low light: reduced y_min_percentage= %d\n", c.y_min_percentage);
		} else {
			c.y_min_percentage = std::max(c.y_min_percentage - 1, 59);
			std::fprintf(stderr, "### white stat: reduced y_min_percentage= %d\n", c.y_min_percentage);
		}
		std::fprintf(stderr, "### white stat, all outliers, low confidence, return\n");
		c.white_decision = -1;
		return f.result;
	}
	std::fprintf(stderr, "### current frame luma=%d\n", E.current_luma);
	const cam3a_agw_t &a = c.agw;
	if (E.current_luma == 0 && f.e == E.max_index) {
		if (!f.led_on) {
			std::fprintf(stderr, "### scene is too dark, reject\n");
			return f.result;
		}
		if (f.led_mode1) {
			f.rg = a.led_rg_ratio;
			f.bg = a.led_bg_ratio;
			f.decision = 0;
			std::fprintf(stderr, "lowlight & LED on: use LED ref point for white balance.(r,g,b)gain=(%f,%f,%f)\n",
				     1 / f.rg, 1.0, 1 / f.bg);
			awb_core_finish(f, 1 / f.rg, 1, 1 / f.bg);
			return f.result;
		}
	}
	if (f.led_on && f.led_mode1) {
		f.green_cnt = 0;
		std::fprintf(stderr, "green sample cnt set to 0\n");
	}
	if (f.e == E.max_index && clusters == 0) {
		int32_t x, y, d, dist;
		awb_core_convert_to_grid(a, static_cast<int32_t>(f.sgw_rg * 1024), static_cast<int32_t>(f.sgw_bg * 1024), &x, &y);
		awb_core_search_nearest_reference_point(a, x, y, &d, &dist, nullptr);
		if (!f.led_on) {
			if (dist > 2 * a.outlier_dist * a.outlier_dist) {
				std::fprintf(stderr, "### all outliers, SGW ave to nearest ref point=%d, low confidence, reject\n", d);
				return f.result;
			}
			f.rg = f.sgw_rg;
			f.bg = f.sgw_bg;
			f.decision = d;
			std::fprintf(stderr, "lowlight: use simple grey world. set decision=%d\n", d);
		} else if (f.led_mode1) {
			f.rg = a.led_rg_ratio;
			f.bg = a.led_bg_ratio;
			f.decision = 0;
			std::fprintf(stderr, "lowlight: use LED. set decision=%d\n", 0);
		} else {
			std::fprintf(stderr, "### all outliers, LED is ON, reject\n");
			return f.result;
		}
		awb_core_finish(f, 1 / f.rg, 1, 1 / f.bg);
		return f.result;
	}
	if (f.N == 0) {
		if (awb_core_all_outliers(f))
			awb_core_finish(f, 1 / f.rg, 1, 1 / f.bg);
		return f.result;
	}
	int32_t arg, abg;
	if (f.a_cluster > f.N * a.a_cluster_pct / 100 && f.e >= E.indoor_index) {
		std::fprintf(stderr, "### A cluster is dominant\n");
		arg = mean_q10(s.a_rg, f.a_cluster);
		abg = mean_q10(s.a_bg, f.a_cluster);
	} else if (f.f_cluster > f.N * a.f_cluster_pct / 100 && f.e >= E.indoor_index) {
		std::fprintf(stderr, "### F cluster is dominant\n");
		arg = mean_q10(s.f_rg, f.f_cluster);
		abg = mean_q10(s.f_bg, f.f_cluster);
	} else if (f.day_cluster > f.N * a.day_cluster_pct / 100) {
		std::fprintf(stderr, "### Day cluster is dominant\n");
		arg = mean_q10(s.d_rg, f.day_cluster);
		abg = mean_q10(s.d_bg, f.day_cluster);
	} else {
		std::fprintf(stderr, "### No dominant cluster, use WV\n");
		arg = s.w ? static_cast<int32_t>((s.w_rg + s.w / 2) / s.w) : mean_q10(s.sgw_rg, bins);
		abg = s.w ? static_cast<int32_t>((s.w_bg + s.w / 2) / s.w) : mean_q10(s.sgw_bg, bins);
	}
	f.ave_rg = to_ratio(arg);
	f.ave_bg = to_ratio(abg);
	if (f.white) {
		c.white_rg = f.ave_rg;
		c.white_bg = f.ave_bg;
		std::fprintf(stderr, "### white stat : ave_rg_ratio = %f , ave_bg_ratio = %f\n", f.ave_rg, f.ave_bg);
	} else {
		c.regular_rg = f.ave_rg;
		c.regular_bg = f.ave_bg;
		std::fprintf(stderr, "### regular stat : ave_rg_ratio = %f, ave_bg_ratio = %f\n", f.ave_rg, f.ave_bg);
	}
	// Main.
	std::fprintf(stderr, "### Before adjustment. ave_rg_ratio=%f  ave_bg_ratio=%f\n", f.ave_rg, f.ave_bg);
	awb_core_convert_to_grid(a, arg, abg, &f.X, &f.Y);
	f.r2 = awb_core_max_r2(f, true);
	std::fprintf(stderr, "sample distribution r2=%d\n", f.r2);
	f.compact = f.r2 <= a.compact_r2 && !f.white;
	{
		int32_t d, dist;
		awb_core_search_nearest_reference_point(a, f.X, f.Y, &d, &dist, nullptr);
		f.near = f.compact && dist <= a.near_ref_r2;
	}
	f.rg = f.ave_rg;
	f.bg = f.ave_bg;
	nearest_with_values(f);
	purple_sky(f);
	if (f.white && f.decision == 5) {
		c.white_decision = -1;
		std::fprintf(stderr, "### white stat, decision=Horizon, low confidence. return\n");
		return f.result;
	}
	if (f.white && f.decision == 2 && f.a_line_id == 2 && f.a_line_idx > a.a_line_2.cnt / 5) {
		c.white_decision = -1;
		std::fprintf(stderr, "### white stat, decision=A, beyond 1/5 of Aline2, low confidence. return");
		return f.result;
	}
	store_frame(f);
	if (c.regular_decision < 0 && !f.led_on) {
		std::fprintf(stderr, "### regular decision =%d. return\n", c.regular_decision);
		return f.result;
	}
	if (awb_core_scene_rules(f))
		awb_core_finish(f, 1 / f.rg, 1, 1 / f.bg);
	return f.result;
}

}  // namespace cam
