// Scene rules of the white balance decision: the first decision corrected
// by exposure zone, green samples, compactness and the white frame; then
// the history, and the gains with their adjustments.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "camera/isp3a/awb_frame.h"

namespace cam {

namespace {

struct rules_t {
	awb_frame_t &f;
	awb_ctrl_t &c;
	cam3a_agw_t &a;
	const awb_input_exposure_t &E;
	int32_t rc;  // region_cnt

	void store(int32_t d, float rg, float bg)
	{
		f.decision = d;
		f.rg = rg;
		f.bg = bg;
		if (f.white) {
			c.white_decision = d;
			c.white_rg = rg;
			c.white_bg = bg;
		} else {
			c.regular_decision = d;
			c.regular_rg = rg;
			c.regular_bg = bg;
		}
		f.changed = true;
	}
	void set_day(int32_t d) { store(d, a.ref_rg[d], a.ref_bg[d]); }
	bool set_from_history()
	{
		if (!awb_core_is_there_daylight_in_history(a))
			return false;
		float rg, bg;
		awb_core_get_daylight_from_history(a, &rg, &bg);
		f.day_line = 2;
		f.day_idx = 0;
		store(9, rg, bg);
		return true;
	}
	void history_or_day0()
	{
		if (!set_from_history())
			set_day(0);
	}
	bool green_over(int32_t pct) const { return f.green_cnt > rc * pct / 100; }
	// The white frame's decision takes over the regular one.
	void take_white(const char *msg, const char *msg2)
	{
		std::fprintf(stderr, msg, c.regular_decision, c.white_decision);
		store(c.white_decision, c.white_rg, c.white_bg);
		std::fprintf(stderr, msg2, c.white_rg, c.white_bg);
	}
	bool white_overrule()
	{
		if (f.white || f.changed)
			return false;
		if (c.white_decision == 2 && c.white_single_cluster && c.white_rg <= a.ref_rg[2] && c.white_bg >= a.ref_bg[2] &&
		    f.ave_rg * 1.3f > c.white_rg && f.ave_bg < c.white_bg * 1.3f) {
			take_white("### reglar decision=%d -->changed to white decision=%d\n", "### adjust rg=%f, bg=%f (intdoor, max).\n");
			return true;
		}
		if (awb_class_f(c.white_decision)) {
			take_white("### reglar decision=%d -->changed to white decision=%d (inout mid, indoor)\n", "### white rg=%f, bg=%f\n");
			return true;
		}
		return false;
	}
	bool custom_flo_kept() const
	{
		return awb_core_is_custom_flo_close_to_daylight(a) &&
		       (awb_core_smallest_exp_index_in_history(a) >= E.indoor_index || awb_core_is_there_daylight_in_history(a));
	}
	bool fluorescent();
	bool section_b();
	bool section_c();
};

bool rules_t::fluorescent()
{
	int32_t e = f.e;
	if (e < E.outdoor_index) {
		if (!f.compact && !f.changed) {
			if (E.lighting == 1 || E.lighting == 2) {
				std::fprintf(stderr, "### valid, not campact. decision=%d ->D50 (0,outdoor)\n", f.decision);
				set_day(6);
			} else {
				std::fprintf(stderr, "### exp<outdoor, is a compact cluster=%d, not changed\n", f.compact);
			}
			return true;
		}
		std::fprintf(stderr, "### exp<outdoor, not compact cluster, low confidence, reject\n");
		return false;
	}
	if (e < E.inout_mid) {
		if (!f.compact && f.r2 < a.max_dist_limit && f.green_cnt > 0 && f.green_y > a.bg_grid[5] &&
		    (E.lighting == 1 || E.lighting == 2)) {
			if (!set_from_history()) {
				int32_t p1 = e - E.outdoor_index, p2 = E.inout_mid - e;
				std::fprintf(stderr, "### valid, not campact, decision=%d ->daylight line 2 (outdoor, inout mid), p1=%d, p2=%d\n",
					     f.decision, p1, p2);
				f.day_line = 2;
				f.day_idx = 0;
				float s = static_cast<float>(p1 + p2 ? p1 + p2 : 1);
				store(9, (a.ref_rg[0] * p2 + p1 * a.ref_rg[6]) / s, (a.ref_bg[0] * p2 + p1 * a.ref_bg[6]) / s);
			}
		} else if (E.lighting != 0) {
			std::fprintf(stderr, "### outdoor<exp<inout_mid, max_dist=%d, not changed\n", f.r2);
		}
	}
	return true;
}

bool rules_t::section_b()
{
	int32_t GM = (a.bg_grid[5] + a.bg_grid[2]) / 2;
	if (green_over(a.green_outdoor_pct) && !f.compact && f.r2 < a.max_dist_limit && f.indoor_green_cnt == 0 &&
	    f.green_y > GM) {
		std::fprintf(stderr, "### valid, not campact. decision=%d ->outdoor (iout mid,indoor)", f.decision);
		history_or_day0();
	}
	white_overrule();
	if (f.green_cnt > 0 && !f.compact && !f.changed && awb_core_is_there_daylight_in_history(a) && f.green_y > GM) {
		if (!awb_class_day(c.white_decision))
			return true;  // the rest of this section does not apply
		std::fprintf(stderr, "### valid, not campact. decision=%d ->outdoor (inoutmid, indoor)\n", f.decision);
		float rg, bg;
		awb_core_get_daylight_from_history(a, &rg, &bg);
		store(c.white_decision, rg, bg);
	}
	if (green_over(a.green_indoor_max_pct) && !f.compact && f.r2 < a.max_dist_limit && f.indoor_green_cnt == 0 &&
	    f.green_y > a.bg_grid[2]) {
		if (custom_flo_kept()) {
			std::fprintf(stderr, "custom flo close to daylight (indoor,max), do not change decision\n");
		} else {
			std::fprintf(stderr, "### valid, not campact. decision=%d ->D65 (indoor,max), green bgx=%d, horizon bg=%d\n",
				     f.decision, f.green_y, a.bg_grid[5]);
			history_or_day0();
		}
	}
	if (green_over(a.green_min_pct) && !f.changed && f.indoor_green_cnt == 0 && f.green_y > a.bg_grid[2]) {
		if (custom_flo_kept()) {
			std::fprintf(stderr, "custom flo close to daylight (indoor,max), do not change decision\n");
		} else {
			std::fprintf(stderr, "### green cnt > threshold,  decision=%d ->D65 (indoor,max)\n", f.decision);
			history_or_day0();
		}
	}
	white_overrule();
	if (f.green_cnt > 0 && !f.compact && !f.changed && f.green_y > a.bg_grid[2] && awb_core_is_there_daylight_in_history(a)) {
		bool office = (c.white_decision == 9 || c.white_decision == 6 || c.white_decision == 8) && !f.white &&
			      c.regular_decision == 7 &&
			      (f.day_cluster < 15 * f.N / 100 || f.f_cluster > 80 * f.N / 100) && f.green_cnt < 30 * rc / 100;
		if (office) {
			std::fprintf(stderr, "### indoor office: fluorescent decision=%d kept\n", f.decision);
		} else {
			std::fprintf(stderr, "### valid, not campact. decision=%d ->%d (indoor,max)\n", f.decision, c.white_decision);
			float rg, bg;
			awb_core_get_daylight_from_history(a, &rg, &bg);
			store(c.white_decision >= 0 ? c.white_decision : 9, rg, bg);
		}
	}
	return true;
}

bool rules_t::section_c()
{
	if (!awb_class_a(f.decision))
		return true;
	if (f.white && awb_class_day(c.regular_decision) && awb_core_is_there_daylight_in_history(a)) {
		std::fprintf(stderr, "white decision is %d, grey decision=%d,  reject\n", c.white_decision, c.regular_decision);
		c.white_decision = -1;
		return false;
	}
	// e is above indoor here, so only the (indoor, max) clauses can hold.
	if (green_over(a.green_in_max_pct) && !f.compact && f.r2 < a.max_dist_limit && !f.changed &&
	    f.indoor_green_cnt == 0 && f.green_y > a.bg_grid[5]) {
		std::fprintf(stderr, "### valid, not campact. decision=%d ->D65 (indoor,max)\n", f.decision);
		history_or_day0();
	} else if (green_over(a.green_min_pct) && !f.changed && f.indoor_green_cnt == 0 && f.green_y > a.bg_grid[5]) {
		std::fprintf(stderr, "### valid, not campact. decision=%d ->D65 (indoor,max)\n", f.decision);
		history_or_day0();
	} else if (!f.white && !f.changed &&
		   (((c.white_decision == 2 || c.white_decision == 5) && c.white_single_cluster) || awb_class_f(c.white_decision))) {
		take_white("### reglar decision=%d -->changed to white decision=%d\n", "### white rg=%f, bg=%f (indoor, max)\n");
	} else if (f.green_cnt > 0 && !f.compact && !f.changed && f.green_y > a.bg_grid[5] &&
		   awb_core_is_there_daylight_in_history(a) && awb_class_day(c.white_decision)) {
		std::fprintf(stderr, "### valid, not campact, decision=%d -> hybrid with history(in, max)\n", f.decision);
		set_from_history();
	}
	return true;
}

}  // namespace

bool awb_core_scene_rules(awb_frame_t &f)
{
	rules_t r{f, *f.c, *f.a, *f.E, f.c->stats.region_cnt};
	awb_ctrl_t &c = *f.c;
	cam3a_agw_t &a = *f.a;
	const awb_input_exposure_t &E = *f.E;
	int32_t e = f.e, d = f.decision;
	f.changed = false;
	if (!f.led_on) {
		if (!f.white && e > E.inout_mid && (d == 6 || d == 8 || d == 9 || d == 0) && f.sgw_bg < a.ref_bg[4] &&
		    f.green_cnt == 0 && f.day_cluster < r.rc * a.day_cluster_min_pct / 100) {
			std::fprintf(stderr, "### regular decision=%d, day_cluster=%d, may be indoor, return\n", d, f.day_cluster);
			return false;
		}
		if (f.compact && (f.X > a.rg_grid[5] + 3 || f.Y < a.bg_grid[5] - 3 || f.Y > a.bg_grid[1])) {
			std::fprintf(stderr, "### regular decision=%d, compact cluster, too red or blue too weak/strong. return\n", d);
			return false;
		}
		if (e > (E.inout_mid + E.indoor_index) / 2 && f.N > 0 && (d == 6 || d == 8 || (d == 9 && f.day_line == 2)) &&
		    r.green_over(a.green_min_pct) && !f.compact && f.day_cluster < r.rc * a.day_cluster_min_pct / 100) {
			std::fprintf(stderr, "### dark, enough green, not campact. few samples in day cluster, decision=%d ->D65\n", d);
			r.set_day(0);
		}
		if ((d == 0 || d == 1 || d == 9 || d == 8) && f.compact && !f.white && e <= E.outdoor_index) {
			std::fprintf(stderr, "### decision changed from %d to D50, bright and compact\n", d);
			r.set_day(6);
		}
		if (f.white) {
			int clusters = (f.a_cluster > 0) + (f.f_cluster > 0) + (f.day_cluster > 0);
			c.white_single_cluster = clusters == 1;
			if (clusters > 1) {
				std::fprintf(stderr, "### valid, white stat has multiple clusters, (D,F,A)=(%d,%d,%d)\n", f.day_cluster,
					     f.f_cluster, f.a_cluster);
				c.y_min_percentage = std::min(c.y_min_percentage + 1, 99);
				std::fprintf(stderr, "### y_min_percentage= %d\n", c.y_min_percentage);
			}
			if (e >= E.indoor_index && awb_class_day(c.white_decision) &&
			    (awb_class_a(c.regular_decision) || awb_class_f(c.regular_decision))) {
				std::fprintf(stderr, "### valid, white decision=%d -->-1, reg decision=%d. low confidence return\n",
					     c.white_decision, c.regular_decision);
				c.white_decision = -1;
				return false;
			}
		}
		bool ok = true;
		if (awb_class_f(c.regular_decision))
			ok = r.fluorescent();
		else if (e <= E.indoor_index)
			ok = r.section_b();
		else
			ok = r.section_c();
		if (!ok)
			return false;
	} else if (e >= (E.inout_mid + E.indoor_index) / 2 && !f.white && f.green_cnt == 0 && f.indoor_green_cnt == 0 &&
		   !f.compact && !f.changed && awb_class_f(c.white_decision)) {
		r.take_white("### reglar decision=%d -->changed to white decision=%d\n", "### white rg=%f, bg=%f ((inout mid+in)/2, max)\n");
	}
	if (!f.compact && (f.X > a.rg_grid[5] + a.outlier_dist / 2 || f.Y < a.bg_grid[5] - a.outlier_dist) && !f.led_on) {
		std::fprintf(stderr, "### regular decision=%d, not compact, too red or weak blue, return\n", f.decision);
		return false;
	}
	if (!(f.led_on && f.led_mode1)) {
		awb_core_update_history(a, f.rg, f.bg, f.decision, e, f.white);
		awb_core_adjust_rg_bg_by_history(c, &f.rg, &f.bg, &f.decision);
		std::fprintf(stderr, "### after history adjustment: rg=%f, bg=%f\n", f.rg, f.bg);
		if (f.white) {
			c.white_rg = f.rg;
			c.white_bg = f.bg;
		} else {
			c.regular_rg = f.rg;
			c.regular_bg = f.bg;
		}
	}
	return true;
}

void awb_core_finish(awb_frame_t &f, float r, float g, float b)
{
	const cam3a_agw_t &a = *f.a;
	int32_t d = f.decision;
	if (!f.led_on || f.led_mode1) {
		if (f.E->lighting == 0 && awb_class_day(d))
			return;
		if (f.E->lighting == 1 && (awb_class_a(d) || awb_class_f(d)))
			return;
	}
	// A ratio of 0 or worse would give an endless gain: stay at unity.
	if (!std::isfinite(r) || r <= 0)
		r = 1.0f;
	if (!std::isfinite(b) || b <= 0)
		b = 1.0f;
	float ra = 1.0f, ba = 1.0f;
	if (d >= 0 && d <= 8) {
		ra = a.r_gain_adj[d];
		ba = a.b_gain_adj[d];
		if (f.changed) {
			std::fprintf(stderr, "### gain adj: r_gain_adj = %f, b_gain_adj = %f\n", ra, ba);
		} else if (awb_class_a(d) && f.a_line_idx >= 0 && a.a_line_2.cnt > 0) {
			float w = float(a.a_line_2.cnt - f.a_line_idx) / a.a_line_2.cnt;
			ra = a.r_gain_adj[5] * (1 - w) + a.r_gain_adj[2] * w;
			ba = a.b_gain_adj[5] * (1 - w) + a.b_gain_adj[2] * w;
			std::fprintf(stderr, "### A line 2 adj: r_gain_adj = %f , b_gain_adj = %f\n", ra, ba);
		} else if ((d == 3 || d == 4) && f.f_line_idx >= 0 && a.f_line.cnt > 0) {
			float w = float(a.f_line.cnt - f.f_line_idx) / a.f_line.cnt;
			ra = a.r_gain_adj[3] * (1 - w) + a.r_gain_adj[4] * w;
			ba = a.b_gain_adj[3] * (1 - w) + a.b_gain_adj[4] * w;
			std::fprintf(stderr, "### F line adj: r_gain_adj = %f , b_gain_adj = %f\n", ra, ba);
		}
	} else if (d == 9) {
		const grid_line_t &l = f.day_line == 1 ? a.day_line_1 : a.day_line_2;
		if ((f.day_line == 1 || f.day_line == 2) && l.cnt > 0) {
			float w = float(l.cnt - f.day_idx) / l.cnt;
			int lo = f.day_line == 1 ? 0 : 6, hi = f.day_line == 1 ? 1 : 0;
			ra = a.r_gain_adj[lo] * (1 - w) + a.r_gain_adj[hi] * w;
			ba = a.b_gain_adj[lo] * (1 - w) + a.b_gain_adj[hi] * w;
			std::fprintf(stderr, f.day_line == 1 ? "### day1 adj: r_gain_adj = %.0f , b_gain_adj = %.0f\n "
							     : "### day2 adj: r_gain_adj = %.0f , b_gain_adj = %.0f\n",
				     ra, ba);
		} else {
			ra = a.r_gain_adj[0];
			ba = a.b_gain_adj[0];
			std::fprintf(stderr, "### ERROR: r_gain_adj = %.0f , b_gain_adj = %.0f\n", ra, ba);
		}
	}
	float m = std::fmin(1.0f, std::fmin(r, b));
	r /= m;
	g /= m;
	b /= m;
	std::fprintf(stderr, "### >>>  gain_min = %f, r_gainf = %f , g_gainf = %f ,b_gainf = %f <<<\n", m, r, g, b);
	f.result = {1, d, r, g, b, ra, ba};
}

}  // namespace cam
