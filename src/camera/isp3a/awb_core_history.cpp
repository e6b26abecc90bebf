// History of white balance decisions and of exposure, and the rules by
// which a stable history overrules a frame's decision.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "camera/isp3a/awb_frame.h"

namespace cam {

namespace {

int16_t milli(float v)
{
	double m = double(v) * 1000 + 0.5;
	return static_cast<int16_t>(m < -32768 ? -32768 : m > 32767 ? 32767 : m);
}

struct hstats_t {
	int32_t a_cnt, f_cnt, day_cnt;
	int64_t a_rg, a_bg, f_rg, f_bg, d_rg, d_bg;
	int32_t exp_ave, small_range;
	int32_t exp_max, exp_min, range, max_exp_delta;
	int32_t luma_min, luma_max, luma_range, max_luma_delta;
};

int32_t rmean(int64_t sum, int32_t n) { return n ? static_cast<int32_t>((sum + n / 2) / n) : 0; }

hstats_t history_stats(const cam3a_agw_t &a)
{
	hstats_t s{};
	int32_t emin = 1 << 30, emax = -(1 << 30);
	int64_t esum = 0;
	for (int i = 0; i < a.hist_cnt; i++) {
		int32_t d = a.hist_decision[i];
		if (awb_class_a(d)) {
			s.a_cnt++;
			s.a_rg += a.hist_rg[i];
			s.a_bg += a.hist_bg[i];
		} else if (awb_class_f(d)) {
			s.f_cnt++;
			s.f_rg += a.hist_rg[i];
			s.f_bg += a.hist_bg[i];
		} else {
			s.day_cnt++;
			s.d_rg += a.hist_rg[i];
			s.d_bg += a.hist_bg[i];
		}
		esum += a.hist_exp_index[i];
		emin = std::min<int32_t>(emin, a.hist_exp_index[i]);
		emax = std::max<int32_t>(emax, a.hist_exp_index[i]);
	}
	s.exp_ave = rmean(esum, a.hist_cnt);
	s.small_range = a.hist_cnt ? emax - emin : 0;
	// The first entry takes no part in max and min, a quirk kept.
	s.exp_max = s.luma_max = -(1 << 30);
	s.exp_min = s.luma_min = 1 << 30;
	for (int i = 1; i < a.aec_hist_cnt; i++) {
		s.exp_max = std::max<int32_t>(s.exp_max, a.aec_hist_exp_index[i]);
		s.exp_min = std::min<int32_t>(s.exp_min, a.aec_hist_exp_index[i]);
		s.luma_max = std::max<int32_t>(s.luma_max, a.aec_hist_luma[i]);
		s.luma_min = std::min<int32_t>(s.luma_min, a.aec_hist_luma[i]);
		s.max_exp_delta = std::max(s.max_exp_delta, std::abs(a.aec_hist_exp_index[i] - a.aec_hist_exp_index[i - 1]));
		s.max_luma_delta = std::max(s.max_luma_delta, std::abs(a.aec_hist_luma[i] - a.aec_hist_luma[i - 1]));
	}
	s.range = s.exp_max - s.exp_min;
	s.luma_range = s.luma_max - s.luma_min;
	return s;
}

}  // namespace

void awb_core_update_complete_aec_history(awb_ctrl_t &c)
{
	cam3a_agw_t &a = c.agw;
	if (a.aec_hist_cnt >= AEC_HIST_MAX) {
		std::copy(a.aec_hist_exp_index.begin() + 1, a.aec_hist_exp_index.end(), a.aec_hist_exp_index.begin());
		std::copy(a.aec_hist_luma.begin() + 1, a.aec_hist_luma.end(), a.aec_hist_luma.begin());
		a.aec_hist_cnt = AEC_HIST_MAX - 1;
	}
	a.aec_hist_exp_index[a.aec_hist_cnt] = c.exposure.exp_index;
	a.aec_hist_luma[a.aec_hist_cnt] = c.exposure.current_luma;
	a.aec_hist_cnt++;
}

void awb_core_update_history(cam3a_agw_t &a, float rg, float bg, int32_t decision, int32_t exp_index, int32_t white)
{
	if (a.hist_cnt >= HIST_MAX) {
		auto drop = [](auto &arr) { std::copy(arr.begin() + 1, arr.end(), arr.begin()); };
		drop(a.hist_rg);
		drop(a.hist_bg);
		drop(a.hist_decision);
		drop(a.hist_exp_index);
		drop(a.hist_adjusted);
		drop(a.hist_white);
		a.hist_cnt = HIST_MAX - 1;
	}
	int k = a.hist_cnt++;
	a.hist_rg[k] = milli(rg);
	a.hist_bg[k] = milli(bg);
	a.hist_decision[k] = decision;
	a.hist_exp_index[k] = static_cast<int16_t>(exp_index);
	a.hist_adjusted[k] = 0;
	a.hist_white[k] = static_cast<uint8_t>(white);
}

bool awb_core_is_there_daylight_in_history(const cam3a_agw_t &a)
{
	for (int i = 0; i < a.hist_cnt; i++) {
		int32_t d = a.hist_decision[i];
		if (d == 0 || d == 6 || d == 1 || d == 9 || d == 8) {
			std::fprintf(stderr, "found daylight in history\n");
			return true;
		}
	}
	return false;
}

int32_t awb_core_get_daylight_from_history(const cam3a_agw_t &a, float *rg, float *bg)
{
	for (int i = 0; i < a.hist_cnt; i++) {
		int32_t d = a.hist_decision[i];
		if (d == 0 || d == 6 || d == 1 || d == 9 || d == 8) {
			*rg = a.hist_rg[i] * 0.001f;
			*bg = a.hist_bg[i] * 0.001f;
			std::fprintf(stderr, "daylight history: rg=%d, bg=%d, cnt=%d\n", a.hist_rg[i], a.hist_bg[i], 1);
			return 1;
		}
	}
	return 0;
}

bool awb_core_is_custom_flo_close_to_daylight(const cam3a_agw_t &a)
{
	int32_t d = (a.rg_grid[7] - a.rg_grid[6]) * (a.rg_grid[7] - a.rg_grid[6]) +
		    (a.bg_grid[7] - a.bg_grid[6]) * (a.bg_grid[7] - a.bg_grid[6]);
	bool close = a.bg_grid[7] >= a.bg_grid[6] || a.rg_grid[7] < a.rg_grid[4] ||
		     (d <= 10 && a.bg_grid[7] > a.bg_grid[4] && a.bg_grid[7] > a.bg_grid[3]);
	if (close)
		std::fprintf(stderr, "custom flo close to daylight\n");
	return close;
}

int32_t awb_core_smallest_exp_index_in_history(const cam3a_agw_t &a)
{
	int32_t m = 9999;
	for (int i = 0; i < a.aec_hist_cnt; i++)
		m = std::min<int32_t>(m, a.aec_hist_exp_index[i]);
	return m;
}

void awb_core_adjust_rg_bg_by_history(awb_ctrl_t &c, float *rg, float *bg, int32_t *decision)
{
	cam3a_agw_t &a = c.agw;
	const awb_input_exposure_t &E = c.exposure;
	constexpr int32_t exp_range = 25, luma_range_thr = 40, luma_delta_thr = 20;
	std::fprintf(stderr, "------ luma range threshold=%d, luma delta threshold=%d", luma_range_thr, luma_delta_thr);
	if (a.hist_cnt <= 3 || a.aec_hist_cnt <= 5)
		return;
	hstats_t s = history_stats(a);
	std::fprintf(stderr, " AWB history: A cnt=%d, F cnt=%d, Day cnt=%d\n", s.a_cnt, s.f_cnt, s.day_cnt);
	std::fprintf(stderr, " AWB history: complete exp range=%d (max=%d, min=%d)\n", s.range, s.exp_max, s.exp_min);
	std::fprintf(stderr, " AWB history: max exp delta=%d, exp ave=%d, small range=%d\n", s.max_exp_delta, s.exp_ave, s.small_range);
	std::fprintf(stderr, " AWB history: max luma delta=%d, min_luma=%d, max luma=%d", s.max_luma_delta, s.luma_min, s.luma_max);
	std::fprintf(stderr, " AWB history: luma range=%d", s.luma_range);
	int k = a.hist_cnt - 1;
	int32_t last = a.hist_decision[k];
	bool last_day = last == 0 || last == 6 || last == 1 || last == 9;
	bool last_f = awb_class_f(last);
	auto put = [&](int64_t srg, int64_t sbg, int32_t n) {
		*rg = rmean(srg, n) * 0.001f;
		*bg = rmean(sbg, n) * 0.001f;
	};
	auto replace_last = [&](int32_t d) {
		a.hist_rg[k] = milli(*rg);
		a.hist_bg[k] = milli(*bg);
		a.hist_decision[k] = d;
		a.hist_adjusted[k] = 1;
	};
	int32_t in = E.indoor_index;
	if (s.exp_max <= in - 30 && s.max_exp_delta <= exp_range && s.exp_ave <= in - 46 && s.day_cnt > s.f_cnt &&
	    s.day_cnt > s.a_cnt && s.max_luma_delta < luma_delta_thr && s.luma_range < luma_range_thr && !last_day) {
		put(s.d_rg, s.d_bg, s.day_cnt);
		*decision = 6;
		a.hist_cnt--;
		std::fprintf(stderr, "AWB history: (LH0) indoor decision is changed to D50 (day ave) by history (exp_idx=%d)\n", E.exp_index);
		return;
	}
	if (s.day_cnt > s.a_cnt && s.day_cnt > s.f_cnt && s.exp_ave <= in && s.max_exp_delta < 12 && s.max_luma_delta <= 9) {
		put(s.d_rg, s.d_bg, s.day_cnt);
		std::fprintf(stderr, "------ AWB history: Day cluster, rg = %d, bg= %d ", milli(*rg), milli(*bg));
		if (last_day) {
			replace_last(last);
			std::fprintf(stderr, "------ AWB history:(PVS)outdoor last entry replaced>> rg =%d, bg= %d ", milli(*rg), milli(*bg));
		}
		return;
	}
	if (s.range <= 1 && s.small_range <= 1 && s.f_cnt > s.day_cnt && s.f_cnt > s.a_cnt && s.exp_ave < E.max_index &&
	    s.max_luma_delta < luma_delta_thr && s.luma_range < luma_range_thr) {
		if (last_f) {
			if (a.indoor_F_WB_locked == 0) {
				a.indoor_F_WB_locked = 1;
				put(s.f_rg, s.f_bg, s.f_cnt);
				replace_last(last);
				std::fprintf(stderr, "------ AWB history: (LH2A) F locked (exp_idx=%d, range=%d, exp_ave=%d)", E.exp_index, s.range, s.exp_ave);
			} else if (k > 0) {
				*rg = a.hist_rg[k - 1] * 0.001f;
				*bg = a.hist_bg[k - 1] * 0.001f;
				a.hist_cnt--;
				std::fprintf(stderr, "------ AWB history: (LH2A) F locked (exp_idx=%d, range=%d),gain locked", E.exp_index, s.range);
			}
			return;
		}
		std::fprintf(stderr, "------ AWB history: (LH2A) bypass current frame\n");
	} else {
		a.indoor_F_WB_locked = 0;
		std::fprintf(stderr, "AWB history: (LH2A)indoor_F_WB_locked reset to 0\n");
		std::fprintf(stderr, " range=%d, small_range=%d, exp_ave=%d", s.range, s.small_range, s.exp_ave);
	}
	if (s.small_range < 6 && s.max_exp_delta < 6 && s.f_cnt > s.a_cnt && s.f_cnt > s.day_cnt &&
	    a.hist_exp_index[k] >= in && s.luma_range < 20 && (last == 0 || last == 6 || last == 9)) {
		put(s.f_rg, s.f_bg, s.f_cnt);
		*decision = 3;
		replace_last(3);
		std::fprintf(stderr, "------ AWB history: (LH2)outdoor decision is changed to TL84 by history (exp_idx=%d, range=%d)\n", E.exp_index, s.range);
		return;
	}
	int32_t newest_aec = a.aec_hist_exp_index[a.aec_hist_cnt - 1];
	if (s.range < exp_range && s.max_exp_delta < 12 && s.f_cnt > s.day_cnt && s.f_cnt > s.a_cnt && newest_aec >= E.inout_mid &&
	    s.max_luma_delta < luma_delta_thr && s.luma_range < luma_range_thr && awb_class_a(last) && s.f_cnt > 0) {
		put(s.f_rg, s.f_bg, s.f_cnt);
		*decision = 3;
		a.hist_cnt--;
		std::fprintf(stderr, "------ AWB history: (LH3) A or H decision is changed to TL84 by history (exp_idx=%d, range=%d)\n", E.exp_index, s.range);
		return;
	}
	if (s.small_range > 3 || s.luma_range >= 10)
		return;
	if (s.a_cnt > s.f_cnt && s.a_cnt > s.day_cnt) {
		put(s.a_rg, s.a_bg, s.a_cnt);
		std::fprintf(stderr, "------ AWB history: A cluster is dominant, rg = %d, bg= %d\n", milli(*rg), milli(*bg));
	} else if (s.f_cnt > s.a_cnt && s.f_cnt > s.day_cnt) {
		put(s.f_rg, s.f_bg, s.f_cnt);
		std::fprintf(stderr, "------ AWB history: F cluster is dominant, rg = %d, bg= %d\n", milli(*rg), milli(*bg));
		if (last_f) {
			replace_last(last);
			std::fprintf(stderr, "------ AWB history: (PVS)last entry replaced>> rg = %d, bg= %d\n", milli(*rg), milli(*bg));
		} else if (s.max_exp_delta <= 2 && s.exp_ave >= in && a.hist_exp_index[k] >= in) {
			replace_last(3);
			*decision = 3;
			std::fprintf(stderr, "------ AWB history: (PVS)last entry changed, decision=%d --> TL84\n", last);
		}
	} else if (s.day_cnt > s.a_cnt && s.day_cnt > s.f_cnt) {
		put(s.d_rg, s.d_bg, s.day_cnt);
		std::fprintf(stderr, "------ AWB history: Day cluster, rg = %d, bg= %d\n", milli(*rg), milli(*bg));
		if (last_day)
			replace_last(last);
	}
}

}  // namespace cam
