// White balance: bins, the temporal filter, the grid, the history and the
// self-calibration, with the guards where the original would divide by zero
// or wrap.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <regex>

#include "camera/config/led.h"
#include "camera/isp3a/awb.h"
#include "support/isp3a_rig.h"

using testing_support::bayersim_tuning_text;
using testing_support::isp3a_rig;

namespace {

struct AwbTest : ::testing::Test {
	isp3a_rig rig;
	cam::awb_ctrl_t *c = nullptr;
	cam::isp3a_update_t u{};
	void SetUp() override
	{
		ASSERT_TRUE(rig.start());
		c = cam::awb_ctrl();
		ASSERT_NE(c, nullptr);
	}
	void TearDown() override { cam::led_ctrl_p = nullptr; }
};

std::string with(const std::string &key, const std::string &line)
{
	return std::regex_replace(bayersim_tuning_text(), std::regex("\n" + key + " *=[^\n]*"), "\n" + line,
				  std::regex_constants::format_first_only);
}

}  // namespace

TEST_F(AwbTest, BinsLeaveOutEmptyRegionsAndDoNotWrap)
{
	cam::vfe_stat_t st{};
	const uint32_t n = 0x1FFFF;  // the largest 17-bit count
	for (int i = 0; i < 256; i++) {
		st.Y[i] = 128 * n;  // about 2^24: times 4 and 256 needs more than 32 bits
		st.Cb[i] = st.Cr[i] = 128 * n;
		st.count[i] = n;
	}
	for (int i : {0, 1, 16, 17})  // the first 2x2 bin has no white pixels
		st.count[i] = 0;
	cam::awb_build_bins(*c, st, 256);
	EXPECT_EQ(c->stats.region_cnt, 64);
	EXPECT_EQ(c->stats.bin_cnt, 63);
	for (int k = 0; k < c->stats.bin_cnt; k++) {
		ASSERT_EQ(c->stats.g[k], 128 * 1024) << k;  // grey 128 in Q10
		ASSERT_EQ(c->stats.r[k], 128 * 1024) << k;
		ASSERT_EQ(c->stats.b[k], 128 * 1024) << k;
	}
}

TEST_F(AwbTest, TemporalFilterSmoothsWithLedOffAndNotWithLedOn)
{
	c->awb_state.filter_r = c->awb_state.filter_g = c->awb_state.filter_b = 1.0f;
	cam::awb_update_wb_gain_values(&u, 1.0f, 1.0f, 1.0f);
	EXPECT_EQ(u.wb_update, 0);  // identical gains: nothing runs
	EXPECT_EQ(u.wb_applied, 0);
	cam::awb_update_wb_gain_values(&u, 2.0f, 1.0f, 1.0f);
	EXPECT_FLOAT_EQ(u.r_gain, 1.05f);  // five percent of the way
	EXPECT_EQ(u.wb_update, 1);
	cam::awb_update_wb_gain_values(&u, 100.0f, 1.0f, 0.0f);  // clamped to the tuning's limits
	EXPECT_NEAR(u.r_gain, 0.95 * 1.05 + 0.05 * 4.0, 1e-5);
	EXPECT_NEAR(u.b_gain, 0.95 * 1.0 + 0.05 * 0.5, 1e-5);
	cam::led_ctrl_t led{-1, 1, 1};
	cam::led_ctrl_p = &led;
	cam::awb_update_wb_gain_values(&u, 3.0f, 1.0f, 2.0f);
	EXPECT_FLOAT_EQ(u.r_gain, 3.0f);  // at once
	EXPECT_FLOAT_EQ(u.b_gain, 2.0f);
}

TEST_F(AwbTest, HistoryKeepsFifteenAndDaylightIsTheOldest)
{
	cam::cam3a_agw_t &a = c->agw;
	a.hist_cnt = 0;
	cam::awb_core_update_history(a, 0.8f, 0.5f, 3, 200, 0);
	cam::awb_core_update_history(a, 0.6f, 0.75f, 0, 100, 0);
	cam::awb_core_update_history(a, 0.68f, 0.64f, 6, 100, 0);
	float rg = 0, bg = 0;
	EXPECT_EQ(cam::awb_core_get_daylight_from_history(a, &rg, &bg), 1);
	EXPECT_FLOAT_EQ(rg, 0.6f);
	EXPECT_FLOAT_EQ(bg, 0.75f);
	for (int k = 0; k < 13; k++)
		cam::awb_core_update_history(a, 1.0f + k * 0.01f, 0.4f, 2, 200, 0);
	EXPECT_EQ(a.hist_cnt, 15);
	EXPECT_EQ(a.hist_rg[0], 600);  // the sixteenth entry dropped the F one
	EXPECT_EQ(a.hist_rg[14], 1120);
	a.aec_hist_cnt = 0;
	EXPECT_EQ(cam::awb_core_smallest_exp_index_in_history(a), 9999);
}

TEST_F(AwbTest, HistoryAdjustsOnlyWithEnoughEntries)
{
	cam::cam3a_agw_t &a = c->agw;
	c->exposure.indoor_index = 190;
	c->exposure.max_index = 257;
	a.hist_cnt = a.aec_hist_cnt = 0;
	for (int k = 0; k < 4; k++)
		cam::awb_core_update_history(a, 0.6f, 0.75f, 0, 100, 0);
	c->exposure.exp_index = 100;
	c->exposure.current_luma = 50;
	for (int k = 0; k < 5; k++)
		cam::awb_core_update_complete_aec_history(*c);
	float rg = 0.7f, bg = 0.6f;
	int32_t d = 0;
	cam::awb_core_adjust_rg_bg_by_history(*c, &rg, &bg, &d);
	EXPECT_FLOAT_EQ(rg, 0.7f);  // five AEC entries: nothing yet
	cam::awb_core_update_complete_aec_history(*c);
	cam::awb_core_adjust_rg_bg_by_history(*c, &rg, &bg, &d);
	EXPECT_FLOAT_EQ(rg, 0.6f);  // stable daylight: the day mean
	EXPECT_FLOAT_EQ(bg, 0.75f);
	for (int k = 0; k < 30; k++)
		cam::awb_core_update_complete_aec_history(*c);
	EXPECT_EQ(a.aec_hist_cnt, 25);
}

TEST_F(AwbTest, SelfCalibrationLearnsAfterFiftySamples)
{
	cam::awb_agw_update_self_cal(*c, 0.62f, 0.72f);
	EXPECT_FLOAT_EQ(c->self_cal.nw_ave_rg, 0.62f);  // the first sample sets all three means
	EXPECT_FLOAT_EQ(c->self_cal.se_ave_bg, 0.72f);
	for (int k = 1; k < 49; k++)
		cam::awb_agw_update_self_cal(*c, k % 2 ? 0.60f : 0.66f, k % 2 ? 0.74f : 0.68f);
	float ref = c->agw.ref_rg[0];
	cam::awb_agw_self_cal_adj_ref_points(*c);
	EXPECT_FLOAT_EQ(c->agw.ref_rg[0], ref);  // 49 samples: nothing
	cam::awb_agw_update_self_cal(*c, 0.60f, 0.74f);
	cam::awb_agw_self_cal_adj_ref_points(*c);
	EXPECT_TRUE(c->agw.ref_rg[0] != ref || c->self_cal.ave_cnt != 50);
	EXPECT_GE(c->self_cal.fx, 0.9f);
	EXPECT_LE(c->self_cal.fx, 1.1f);
}

TEST_F(AwbTest, DecisionEightKeepsTheConversion)
{
	cam::isp3a_misc_t info{cam::ISP3A_MISC_EXPOSURE_INFO, {0, 0}};
	cam::isp3a_ctx_t ctx = cam::isp3a_ctx(&rig.sensor, &rig.c);
	EXPECT_EQ(cam::awb_algo_execution(cam::ISP3A_OP_MISC, &ctx, &u, &info), 1);
	EXPECT_EQ(c->exposure.inout_mid, (190 + 90 + 1) / 2);
	EXPECT_EQ(c->exposure.outdoor_mid, (90 + 1) / 2);
	c->awb_state.decision = 8;
	c->current_conversion[0] = 999;
	rig.scene.illum_rg = rig.tuning.ref_rg[8];
	rig.scene.illum_bg = rig.tuning.ref_bg[8];
	rig.frame();
	EXPECT_EQ(c->current_conversion[0], 999);
}

TEST(AwbGrid, CoincidentReferencesGiveOnePointLines)
{
	std::string t = with("ref_rg", "ref_rg = 0.7 0.7 0.7 0.7 0.7 0.7 0.7 0.7 0.7");
	t = std::regex_replace(t, std::regex("\nref_bg *=[^\n]*"), "\nref_bg = 0.7 0.7 0.7 0.7 0.7 0.7 0.7 0.7 0.7");
	isp3a_rig same;
	ASSERT_TRUE(same.start(t));
	cam::awb_ctrl_t *c = cam::awb_ctrl();
	EXPECT_EQ(c->agw.day_line_1.cnt, 1);
	EXPECT_EQ(c->agw.day_line_2.cnt, 1);
	EXPECT_EQ(c->agw.f_line.cnt, 1);
	EXPECT_EQ(c->agw.a_line_2.cnt, 1);
	for (int n = 0; n < 20; n++)  // no division by the zero width of the green line
		same.frame();
	EXPECT_TRUE(std::isfinite(same.c.update_record.r_gain));
}

TEST(AwbZones, ZoneOfZeroWidthIsNoDivisionByZero)
{
	isp3a_rig rig;
	std::string t = with("outdoor_index", "outdoor_index = 189");  // inout mid falls on indoor
	ASSERT_TRUE(rig.start(t));
	for (double light : {0.001, 0.01, 0.03, 0.1, 1.0, 10.0})
		for (int n = 0; n < 10; n++) {
			rig.scene.light = light;
			rig.frame();
		}
	EXPECT_TRUE(std::isfinite(rig.c.update_record.b_gain));
}

// The grid's range is widened by a fifth each way and made symmetric about 1
// in ratio from whichever end is further out: each tuning takes one way.
TEST(AwbGrid, RangeIsMadeSymmetricFromTheFartherEnd)
{
	struct range_case {
		const char *name, *ref_rg, *ref_bg;
		float min, max;  // reference inputs worked by hand
	};
	const range_case cases[] = {
	    // Lowest 0.32, highest 1.25: 0.256 is farther from 1 than 1.5, max is 1 / 0.256.
	    {"blue end farther", "ref_rg = 0.60 0.55 1.05 0.80 0.72 1.25 0.68 0.90 0.64",
	     "ref_bg = 0.75 0.82 0.40 0.50 0.55 0.32 0.64 0.45 0.70", 0.32f * 0.8f, 1 / (0.32f * 0.8f)},
	    // Highest 3.0: 3.6 is farther than the lowest, the LED's 1 / 1.4, at 0.8 of it; min is 1 / 3.6.
	    {"red end farther", "ref_rg = 0.90 0.95 1.00 1.10 1.20 2.00 1.00 1.00 3.00",
	     "ref_bg = 0.90 0.95 1.00 1.00 0.95 0.90 1.00 1.00 1.00", 1 / (3.0f * 1.2f), 3.0f * 1.2f},
	};
	for (const range_case &rc : cases) {
		SCOPED_TRACE(rc.name);
		std::string t = with("ref_rg", rc.ref_rg);
		t = std::regex_replace(t, std::regex("\nref_bg *=[^\n]*"), std::string("\n") + rc.ref_bg);
		isp3a_rig rig;
		ASSERT_TRUE(rig.start(t));
		const auto &a = cam::awb_ctrl()->agw;
		EXPECT_NEAR(a.grid[0], rc.min, 1e-5);
		EXPECT_NEAR(a.grid[121], rc.max, 1e-4);
		// 60 equal steps up to just below 1, 60 more towards max.
		EXPECT_NEAR(a.grid[60], rc.min + 60 * (1 - rc.min) / 60.5f, 1e-4);
		EXPECT_NEAR(a.grid[120], a.grid[60] + 60 * (rc.max - 1) / 60.5f, 1e-4);
		for (int k = 0; k <= 121; k++)
			EXPECT_EQ(a.grid_x[k], static_cast<int32_t>(a.grid[k] * 1024)) << k;
	}
}
