// Exposure: the convergence steps, the target and its bands, and the
// guards where a luma or a ratio of 0 would divide by zero.
#include <gtest/gtest.h>

#include <cmath>

#include "camera/isp3a/aec.h"
#include "support/isp3a_rig.h"

using testing_support::isp3a_rig;

namespace {

struct AecTest : ::testing::Test {
	isp3a_rig rig;
	cam::aec_ctrl_t *a = nullptr;
	void SetUp() override
	{
		ASSERT_TRUE(rig.start());
		a = cam::aec_ctrl();
		ASSERT_NE(a, nullptr);
		ASSERT_EQ(cam::aec_set_exposure_compensation((0u << 16) | 6), 1);
	}
};

}  // namespace

TEST_F(AecTest, StartsAtThreeQuartersOfTheTableWithTargetFromCompensation)
{
	EXPECT_EQ(a->out.exp_index, (3 * 258 - 3) / 4);
	EXPECT_EQ(a->out.luma_target, 50);
	EXPECT_EQ(a->luma_high_near, 52);
	EXPECT_EQ(a->luma_low_mid, 46);
	EXPECT_EQ(a->luma_high_far, 66);
}

TEST_F(AecTest, CompensationIsCappedAndRejectsBadSteps)
{
	ASSERT_EQ(cam::aec_set_exposure_compensation((12u << 16) | 6), 1);
	EXPECT_EQ(a->out.luma_target, 112);  // 4 x 50 = 200, capped
	ASSERT_EQ(cam::aec_set_exposure_compensation((uint32_t(uint16_t(-6)) << 16) | 6), 1);
	EXPECT_EQ(a->out.luma_target, 25);
	EXPECT_EQ(cam::aec_set_exposure_compensation((13u << 16) | 6), -1);
	EXPECT_EQ(cam::aec_set_exposure_compensation((1u << 16) | 0), -1);  // a zero denominator
	EXPECT_EQ(a->out.luma_target, 25);
}

TEST_F(AecTest, FastStepOfLumaZeroIsBoundedAndNeverZero)
{
	a->out.exp_index = 100;
	cam::aec_core_fast_convergence(0, 0);  // log10(50 / 1): no division by zero
	EXPECT_EQ(a->out.exp_index, 100 + static_cast<int>(192 * std::log10(50.0) * 77.898 / 256.0));
	a->out.exp_index = 100;
	cam::aec_core_fast_convergence(53, 0);  // just outside the window: a step below 1 becomes -1
	EXPECT_EQ(a->out.exp_index, 99);
	cam::aec_core_fast_convergence(51, 0);  // inside: settles
	EXPECT_EQ(a->out.exp_index, 99);
	EXPECT_EQ(a->out.luma_settled_cnt, 1u);
	a->out.exp_index = 250;
	cam::aec_core_fast_convergence(1, 0);
	EXPECT_EQ(a->out.exp_index, 257);  // the end of the table
	a->out.exp_index = 2;
	cam::aec_core_fast_convergence(255, 0);
	EXPECT_EQ(a->out.exp_index, 0);
}

TEST_F(AecTest, SlowFilterOfFlatHistoryIsTheLumaItself)
{
	for (int k = 0; k < 10; k++)
		EXPECT_EQ(cam::aec_core_slow_convergence(77, true), k < 2 ? (k == 0 ? 46 : 65) : 77);
	a->out.exp_index = 100;
	a->out.luma_settled_cnt = 3;
	cam::aec_core_slow_convergence(77, true);  // far above: aggressiveness 1 steps 6
	EXPECT_EQ(a->out.exp_index, 94);
	EXPECT_EQ(a->out.luma_settled_cnt, 0u);
}

TEST_F(AecTest, SettledTestIncludesItsEdges)
{
	a->out.luma_target = 50;
	a->out.current_luma = 40;  // exactly 0.8 x target
	EXPECT_TRUE(cam::aec_check_settled());
	a->out.current_luma = 39;
	EXPECT_FALSE(cam::aec_check_settled());
	a->out.current_luma = 60;
	EXPECT_TRUE(cam::aec_check_settled());
	a->out.current_luma = 10;
	a->out.exp_index = static_cast<int16_t>(a->out.num_exp_tab_val - 1);  // as bright as it gets
	EXPECT_TRUE(cam::aec_check_settled());
}

TEST_F(AecTest, LuxIndexAndWeightsStayFinite)
{
	EXPECT_TRUE(std::isfinite(cam::aec_calc_lux_index(100, 0, 50, false, 7680, 7680)));
	EXPECT_TRUE(std::isfinite(cam::aec_calc_lux_index(100, 50, 0, false, 0, 7680)));
	EXPECT_NEAR(cam::aec_calc_lux_index(100, 25, 50, true, 3840, 7680), 100 + std::log10(2.0) / 0.012837224639952183, 1e-9);
	EXPECT_FLOAT_EQ(cam::aec_calc_interpolation_weight(5, 10, 10), 0.0f);
	EXPECT_FLOAT_EQ(cam::aec_calc_interpolation_weight(10, 10, 10), 1.0f);  // an empty range is no division by zero
	EXPECT_FLOAT_EQ(cam::aec_calc_interpolation_weight(15, 10, 20), 0.5f);
	EXPECT_EQ(cam::get_aec_index(), a->out.exp_index * 19 / 258);
}

TEST_F(AecTest, MeteringTablesWeighTheCentre)
{
	cam::vfe_stat_t st{};
	st.SY.fill(100 * 10);
	for (int r = 7; r <= 8; r++)
		for (int c = 7; c <= 8; c++)
			st.SY[r * 16 + c] = 200 * 10;
	ASSERT_EQ(cam::aec_set_mode(256, 2), 1);  // spot: the four centre regions only
	EXPECT_EQ(cam::aec_core_calculate_current_luma(&st, 256, 10), 200);
	ASSERT_EQ(cam::aec_set_mode(256, 0), 1);  // average
	EXPECT_EQ(cam::aec_core_calculate_current_luma(&st, 256, 10), 101);
	EXPECT_EQ(cam::aec_set_mode(256, 3), -1);
	st.SY.fill(0x1FFFFFF);  // 25-bit sums of a whole frame do not wrap
	EXPECT_EQ(cam::aec_core_calculate_current_luma(&st, 256, 0), 255);
}

TEST_F(AecTest, FlashAndStrobeDecisions)
{
	a->out.current_luma = 0;
	EXPECT_TRUE(cam::aec_flash_needed());  // no division by a luma of 0
	a->out.current_luma = 10;
	EXPECT_TRUE(cam::aec_flash_needed());  // 50 / 10 x 256 above 1024
	a->out.current_luma = 25;
	EXPECT_FALSE(cam::aec_flash_needed());
	a->out.exp_index = 229;
	EXPECT_FALSE(cam::aec_LED_use_strobe());
	a->out.exp_index = 230;
	EXPECT_TRUE(cam::aec_LED_use_strobe());
}

TEST_F(AecTest, ColourCorrectionBlendsTowardsLowLightAtTheDarkEnd)
{
	cam::isp3a_ctx_t ctx = cam::isp3a_ctx(&rig.sensor, &rig.c);
	cam::isp3a_update_t u{};
	u.digital_gain = 1.0f;
	rig.c.isp3a_op = cam::ISP3A_OP_PREVIEW;
	rig.c.trigger[1] = 0;
	a->out.exp_index = static_cast<int16_t>(a->out.num_exp_tab_val - 1);  // darkest row: all low light
	EXPECT_EQ(cam::aec_update_color_correction(&ctx, &u), 1);
	EXPECT_EQ(u.color_correction_update, 1);
	EXPECT_EQ(u.color_correction[0], static_cast<int32_t>(1.30f * 128));
	a->out.exp_index = 100;  // brighter than the middle of the dark half: normal
	EXPECT_EQ(cam::aec_update_color_correction(&ctx, &u), 1);
	EXPECT_EQ(u.color_correction[0], static_cast<int32_t>(1.60f * 128));
	a->out.indoor_index = static_cast<int16_t>(a->out.num_exp_tab_val - 1);  // no dark half: no division by zero
	a->out.exp_index = static_cast<int16_t>(a->out.num_exp_tab_val - 1);
	EXPECT_EQ(cam::aec_update_color_correction(&ctx, &u), 1);
	EXPECT_EQ(u.color_correction[0], static_cast<int32_t>(1.60f * 128));
	rig.c.trigger[1] = 1;  // with the trigger: only once exposure has settled
	u.color_correction_update = 0;
	a->out.current_luma = 10;
	a->out.exp_index = 100;
	EXPECT_EQ(cam::aec_update_color_correction(&ctx, &u), 1);
	EXPECT_EQ(u.color_correction_update, 0);
}
