// The working record of one run of the white balance decision, shared by
// its sampling and estimate (awb_core) and its scene rules (awb_core_rules).
#pragma once

#include <cstdint>

#include "camera/isp3a/awb.h"

namespace cam {

struct awb_frame_t {
	awb_ctrl_t *c;
	cam3a_agw_t *a;
	const awb_input_exposure_t *E;
	int32_t e;
	bool white, led_on, led_mode1;
	// The estimate and the decision.
	float rg, bg;
	int32_t decision;
	int32_t day_line, day_idx, f_line_idx, a_line_idx, a_line_id;
	// Samples.
	int32_t N, n_out;
	int32_t green_cnt, indoor_green_cnt, green_x, green_y;  // green means after the loop
	int32_t a_cluster, f_cluster, day_cluster;
	float sgw_rg, sgw_bg, ave_rg, ave_bg;
	// The estimate on the grid and its spread.
	int32_t X, Y, r2;
	bool compact, near, changed;
	bool all_outliers;
	awb_result_t result;
};

bool awb_class_day(int32_t d);
bool awb_class_a(int32_t d);
bool awb_class_f(int32_t d);
// Largest squared grid distance of the outliers (and samples) from (X, Y).
int32_t awb_core_max_r2(const awb_frame_t &f, bool with_samples);
// The frame without a valid sample; false when rejected.
bool awb_core_all_outliers(awb_frame_t &f);
// Scene rules, history and the end of the decision; false when the frame is rejected.
bool awb_core_scene_rules(awb_frame_t &f);
void awb_core_finish(awb_frame_t &f, float r, float g, float b);

}  // namespace cam
