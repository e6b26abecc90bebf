// White balance self-calibration: running means of the outdoor daylight
// estimates, and the shift of the reference points that they call for.
#include <cmath>
#include <cstdio>

#include "camera/isp3a/awb.h"

namespace cam {

namespace {

void join(float &mrg, float &mbg, int32_t &n, float rg, float bg)
{
	mrg = (mrg * n + rg) / (n + 1);
	mbg = (mbg * n + bg) / (n + 1);
	n++;
}

// Foot of the perpendicular from (px, py) onto the line through (x0, y0) of slope k.
void foot(float k, float x0, float y0, float px, float py, float *fx, float *fy)
{
	*fx = (k * (py - y0) + px + k * k * x0) / (k * k + 1);
	*fy = y0 + k * (*fx - x0);
}

float clampf(float v, float lo, float hi) { return v < lo ? lo : v > hi ? hi : v; }

}  // namespace

void awb_agw_update_self_cal(awb_ctrl_t &c, float rg, float bg)
{
	awb_self_cal_t &s = c.self_cal;
	join(s.ave_rg, s.ave_bg, s.ave_cnt, rg, bg);
	if (s.nw_ave_cnt == 0) {
		s.nw_ave_cnt = 1;
		s.nw_ave_rg = s.ave_rg;
		s.nw_ave_bg = s.ave_bg;
	} else if (bg >= s.nw_ave_bg) {
		join(s.nw_ave_rg, s.nw_ave_bg, s.nw_ave_cnt, rg, bg);
	}
	if (s.se_ave_cnt == 0) {
		s.se_ave_cnt = 1;
		s.se_ave_rg = s.ave_rg;
		s.se_ave_bg = s.ave_bg;
	} else if (bg <= s.se_ave_bg) {
		join(s.se_ave_rg, s.se_ave_bg, s.se_ave_cnt, rg, bg);
	}
	std::fprintf(stderr, "Self-Cal Update: ave rg=%f, ave bg=%f\n", s.ave_rg, s.ave_bg);
	std::fprintf(stderr, "Self-Cal Update: ave nw cnt=%d, nw ave rg=%f, nw ave bg=%f\n", s.nw_ave_cnt, s.nw_ave_rg, s.nw_ave_bg);
	std::fprintf(stderr, "Self-Cal Update: ave se cnt=%d, se ave rg=%f, se ave bg=%f\n", s.se_ave_cnt, s.se_ave_rg, s.se_ave_bg);
}

void awb_agw_self_cal_adj_ref_points(awb_ctrl_t &c)
{
	awb_self_cal_t &s = c.self_cal;
	cam3a_agw_t &a = c.agw;
	std::fprintf(stderr, "Self-Cal Update: ave cnt=%d, ave rg=%f, ave bg=%f\n", s.ave_cnt, s.ave_rg, s.ave_bg);
	std::fprintf(stderr, "Self-Cal Update: ave se cnt=%d, se ave rg=%f, se ave bg=%f\n", s.se_ave_cnt, s.se_ave_rg, s.se_ave_bg);
	std::fprintf(stderr, "Self-Cal Update: ave nw cnt=%d, nw ave rg=%f, nw ave bg=%f\n", s.nw_ave_cnt, s.nw_ave_rg, s.nw_ave_bg);
	if (s.ave_cnt <= 49)
		return;
	float x1 = s.fx * a.ref_rg[6], y1 = s.fy * a.ref_bg[6];
	float x2 = s.fx * a.ref_rg[0], y2 = s.fy * a.ref_bg[0];
	float x3 = a.ref_rg[8], y3 = a.ref_bg[8];
	float ave_threshold = 0.85f * y2 + 0.15f * y1;
	std::fprintf(stderr, "Self-Cal Update: ave_threshold=%f for upshift\n", ave_threshold);
	float ref_range = y2 - y1, self_range = s.nw_ave_bg - s.se_ave_bg;
	std::fprintf(stderr, "Self-Cal Update: Ref points range=%d, self_cal_range=%d\n", static_cast<int>(ref_range * 1000),
		     static_cast<int>(self_range * 1000));
	if (x2 == x1)
		return;
	float k = (y2 - y1) / (x2 - x1);
	if (k == 0)
		return;
	float x4 = s.ave_rg, y4 = s.ave_bg;
	float c4 = y4 - k * x4;
	auto d2 = [&](float x, float y) { return (k * x - y + c4) * (k * x - y + c4) / (k * k + 1); };
	bool se_bad = d2(s.se_ave_rg, s.se_ave_bg) > 0.0005f || s.se_ave_rg <= x4;
	bool nw_bad = d2(s.nw_ave_rg, s.nw_ave_bg) > 0.0005f || s.nw_ave_rg >= x4;
	if (se_bad)
		std::fprintf(stderr, "Self-Cal Update: SE ave deviates too far (dd=%d), reset\n", static_cast<int>(d2(s.se_ave_rg, s.se_ave_bg) * 1e6f));
	if (nw_bad)
		std::fprintf(stderr, "Self-Cal Update: NW ave deviates too far (dd=%d), reset\n", static_cast<int>(d2(s.nw_ave_rg, s.nw_ave_bg) * 1e6f));
	float xp, yp;
	foot(k, x3, y3, x4, y4, &xp, &yp);
	float vx1 = x4 - xp, vy1 = y4 - yp;
	std::fprintf(stderr, "Self-Cal Update:line shift needed from line3 to ave: vx1=%d, vy1=%d", static_cast<int>(vx1 * 1000),
		     static_cast<int>(vy1 * 1000));
	int type = (self_range < 0.95f * ref_range || self_range > 1.05f * ref_range || s.nw_ave_cnt <= 14 ||
		    s.se_ave_cnt <= 14 || nw_bad || se_bad)
			   ? 1
			   : 2;
	float vx2 = 0, vy2 = 0, vx3 = 0, vy3 = 0;
	if (type == 2) {
		float fxp, fyp;
		foot(k, x2, y2, x3, y3, &fxp, &fyp);
		float dx = x3 - fxp, dy = y3 - fyp;
		vx2 = s.nw_ave_rg - (x2 + dx);
		vy2 = s.nw_ave_bg - (y2 + dy);
		vx3 = s.se_ave_rg - (x1 + dx);
		vy3 = s.se_ave_bg - (y1 + dy);
		auto off = [](float p, float q) { return std::fabs(p) > 2.5f * std::fabs(q) && std::fabs(p - q) > 0.01f; };
		if (off(vx3, vx2) || off(vy3, vy2)) {
			se_bad = true;
			type = 1;
			std::fprintf(stderr, "Self-Cal Update: SE AVE has problem\n");
		} else if (off(vx2, vx3) || off(vy2, vy3)) {
			nw_bad = true;
			type = 1;
			std::fprintf(stderr, "Self-Cal Update: NW AVE has problem\n");
		} else {
			std::fprintf(stderr, "Self-Cal Update: line shift + 2 points are used\n");
		}
	}
	float vx, vy;
	bool shifted_up = false;
	if (type == 2) {
		vx = 0.5f * vx1 + 0.25f * (vx2 + vx3);
		vy = 0.5f * vy1 + 0.25f * (vy2 + vy3);
	} else {
		vx = vx1;
		std::fprintf(stderr, "Self-Cal Update: type 1, stat data not good for point matching, line shift vx=%d, vy=%d",
			     static_cast<int>(vx1 * 1000), static_cast<int>(vy1 * 1000));
		if (s.se_ave_bg > y1 && s.ave_bg > ave_threshold) {
			float v = 0.5f * ((s.se_ave_bg - y1) + (s.ave_bg - ave_threshold));
			vy = 0.5f * vy1 + 0.5f * v;
			shifted_up = true;
			std::fprintf(stderr, "Self-Cal Update: needs upshift\n");
		} else if (s.ave_bg < y3 && s.se_ave_bg < y1) {
			float v = 0.33f * ((s.se_ave_bg - y1) + (s.ave_bg - y3) + (s.nw_ave_bg - y2));
			vy = 0.4f * vy1 + 0.6f * v;
			shifted_up = true;
			std::fprintf(stderr, "Self-Cal Update: needs downshift\n");
		} else {
			vy = vy1;
		}
	}
	std::fprintf(stderr, "Self-Cal Update: composite shift: vx=%d, vy=%d\n", static_cast<int>(vx * 1000), static_cast<int>(vy * 1000));
	std::fprintf(stderr, "Self-Cal Update: previous  fx=%f, fy=%f\n", s.fx, s.fy);
	float fx = (vx / a.ref_rg[6] + 1) * s.fx, fy = (vy / a.ref_bg[6] + 1) * s.fy;
	std::fprintf(stderr, "Self-Cal Update: new mult-factor: fx=%f, fy=%f\n", fx, fy);
	const sensor_tuning_t *t = c.tuning;
	float up = t ? t->x_shift_limit_up : 1.1f, down = t ? t->x_shift_limit_down : 0.9f;
	fx = clampf(fx, down, up);
	float yup = up, ydown = down;
	if (type == 1 && !shifted_up) {
		float r = std::fabs(1 / k);
		yup = (up - 1) * r + 1;
		ydown = (down - 1) * r + 1;
		std::fprintf(stderr, "Self-Cal Update: x_shift_limit_up=%f,y_shift_limit_up=%f, y_limit_ratio=%f", up, yup, r);
	}
	fy = clampf(fy, ydown, yup);
	std::fprintf(stderr, "Self-Cal Update: after clamping, combined reference point mult-factor: fx=%f, fy=%f", fx, fy);
	for (int i = 0; i < AWB_REF_NUM; i++) {
		a.ref_rg[i] *= fx;
		a.ref_bg[i] *= fy;
		std::fprintf(stderr, "Self-Cal Update:adjusted reference point [%d]: rg=%f, bg=%f\n", i, a.ref_rg[i], a.ref_bg[i]);
	}
	a.ref_rg[8] *= fx;  // Noon a second time, as the design has it
	a.ref_bg[8] *= fy;
	std::fprintf(stderr, "Self-Cal Update: adjusted noon rg=%f, bg=%f\n", a.ref_rg[8], a.ref_bg[8]);
	s.fx = fx;
	s.fy = fy;
	if (type == 2) {
		s.ave_cnt = s.nw_ave_cnt = s.se_ave_cnt = 500;
		return;
	}
	if (s.ave_cnt > 50) {
		s.ave_cnt = 50;
		std::fprintf(stderr, "Self-Cal Update: ave_cnt reset\n");
	}
	if (se_bad) {
		s.se_ave_rg = s.ave_rg;
		s.se_ave_bg = s.ave_bg;
		s.se_ave_cnt = 1;
		std::fprintf(stderr, "Self-Cal Update: se_ave_cnt reset to 1\n");
	}
	if (nw_bad) {
		s.nw_ave_rg = s.ave_rg;
		s.nw_ave_bg = s.ave_bg;
		s.nw_ave_cnt = 1;
		std::fprintf(stderr, "Self-Cal Update: nw_ave_cnt reset to 1\n");
	}
	if (s.se_ave_cnt > 15) {
		s.se_ave_cnt = 15;
		std::fprintf(stderr, "Self-Cal Update: se_ave_cnt reduced\n");
	}
	if (s.nw_ave_cnt > 15) {
		s.nw_ave_cnt = 15;
		std::fprintf(stderr, "Self-Cal Update: nw_ave_cnt reduced\n");
	}
}

}  // namespace cam
