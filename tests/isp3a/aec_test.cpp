// Exposure: the convergence steps, the target and its bands, and the
// guards where a luma or a ratio of 0 would divide by zero.
#include <gtest/gtest.h>

#include <cmath>
#include <regex>

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

namespace {

std::string tuning_with(const std::string &key, const std::string &value)
{
	std::regex re("\n" + key + " *=[^\n]*");
	return std::regex_replace(testing_support::bayersim_tuning_text(), re, "\n" + key + " = " + value,
				  std::regex_constants::format_first_only);
}

}  // namespace

TEST(AecStart, ThreeQuartersDownWhateverTheIndoorFlag)
{
	isp3a_rig rig;
	ASSERT_TRUE(rig.start(tuning_with("aec_start_at_indoor", "1")));
	EXPECT_EQ(cam::aec_ctrl()->out.exp_index, (3 * 258 - 3) / 4);
	EXPECT_EQ(cam::aec_ctrl()->out.prev_exp_index, (3 * 258 - 3) / 4);
}

TEST(AecStart, OffsetsAreScaledByTheDigitalGainToo)
{
	isp3a_rig rig;
	ASSERT_TRUE(rig.start(tuning_with("ccm_normal", "1.60 -0.40 -0.20  -0.25 1.45 -0.20  -0.05 -0.55 1.60  10 -12 6  0")));
	cam::isp3a_ctx_t ctx = cam::isp3a_ctx(&rig.sensor, &rig.c);
	cam::isp3a_update_t u{};
	u.digital_gain = 2.0f;
	rig.c.isp3a_op = cam::ISP3A_OP_PREVIEW;
	rig.c.trigger[1] = 0;
	cam::aec_ctrl()->out.exp_index = 100;  // normal light: A alone
	EXPECT_EQ(cam::aec_update_color_correction(&ctx, &u), 1);
	EXPECT_EQ(u.color_correction[0], 408);  // 204 x 2
	EXPECT_EQ(u.color_correction[1], -102);  // -51 x 2
	EXPECT_EQ(u.color_correction[9], 20);
	EXPECT_EQ(u.color_correction[10], -24);
	EXPECT_EQ(u.color_correction[11], 12);
	EXPECT_EQ(u.color_correction[12], 7);  // the Q is not scaled
	// A snapshot blends towards the snapshot's own low-light matrix.
	rig.c.isp3a_op = cam::ISP3A_OP_SNAPSHOT;
	cam::aec_ctrl()->out.digital_gain = 1.0f;
	cam::aec_ctrl()->out.exp_index = static_cast<int16_t>(cam::aec_ctrl()->out.num_exp_tab_val - 1);
	EXPECT_EQ(cam::aec_update_color_correction(&ctx, &u), 1);
	EXPECT_EQ(u.color_correction[0], 239);  // 1.8678 in Q7
	EXPECT_EQ(u.color_correction[7], -74);  // -0.5805
	EXPECT_EQ(u.color_correction[9], 0);    // its offsets are 0
}

TEST(AecIso, HighestModeBelowTheLastRowsGain)
{
	// The last row's gain is 4078 (Q8); ISO 1600, 800, 400 are 8, 4, 2 x ISO 100.
	struct Row {
		const char *iso100;
		bool supported;
		int32_t mode;
	} rows[] = {{"256", true, 5}, {"600", true, 4}, {"1500", true, 3}, {"2100", true, 0}, {"256", false, 0}};
	for (const Row &r : rows) {
		isp3a_rig rig;
		ASSERT_TRUE(rig.start(tuning_with("iso100_gain", r.iso100)));
		rig.sensor.camctrl.iso_supported = r.supported;
		EXPECT_EQ(cam::aec_get_max_iso_mode(&rig.sensor), r.mode) << r.iso100;
	}
}

TEST_F(AecTest, IsoModeOneTakesTheTuningsGain)
{
	EXPECT_TRUE(cam::aec_set_isomode(1));
	EXPECT_FLOAT_EQ(a->iso_mode1_gain, 256.0f);
	EXPECT_TRUE(cam::aec_set_isomode(2));
	EXPECT_FLOAT_EQ(a->iso_mode1_gain, 0.0f);
	EXPECT_FALSE(cam::aec_set_isomode(cam::aec_max_iso_type() + 1));
	EXPECT_EQ(a->iso_mode, 2);
}

TEST_F(AecTest, HandJitterHalvesTheGainDownToTwo)
{
	struct Row {
		float gain;
		uint32_t lines_in, q7, lines;
	} rows[] = {{7.0f, 100, 224, 400}, {2.0f, 100, 256, 100}, {2.5f, 30, 160, 60}, {1.0f, 5, 128, 5},
		    {INFINITY, 10, 0, 10}, {NAN, 10, 0, 10}};
	for (const Row &r : rows) {
		a->hjr.prev_line_count = r.lines_in;
		cam::aec_hjr_adjust_for_max_gain(r.gain);
		EXPECT_EQ(a->hjr.gain, r.q7) << r.gain;
		EXPECT_EQ(a->hjr.line_count, r.lines) << r.gain;
	}
	a->last_line_count = 500;
	a->out.current_real_gain = 3.0f;
	cam::isp3a_ctx_t ctx = cam::isp3a_ctx(&rig.sensor, &rig.c);
	cam::aec_prepare_for_hjr(&rig.sensor, &ctx);
	EXPECT_EQ(a->hjr.frames, 1);
	EXPECT_EQ(a->hjr.ref_gain, 128u);
	EXPECT_EQ(a->hjr.max_gain, 4078u);
	EXPECT_EQ(a->hjr.max_line_count, 1000u);
	EXPECT_EQ(a->hjr.prev_line_count, 500u);
	EXPECT_FLOAT_EQ(a->hjr.prev_real_gain, 3.0f);
	cam::isp3a_update_t u{};
	EXPECT_EQ(cam::aec_adjust_exposure_as_per_hjr(&ctx, &u), 0);  // as designed, it reports failure
}

TEST_F(AecTest, SnapshotTargetFollowsTheOffsetLevelInADarkScene)
{
	// Target 50; the levels' steps: up to 1 none, then 3, 5 and 8.
	struct Row {
		uint8_t level;
		int want;
	} rows[] = {{0, 50}, {1, 50}, {2, 47}, {3, 47}, {4, 45}, {7, 45}, {8, 42}, {255, 42}};
	cam::isp3a_ctx_t ctx = cam::isp3a_ctx(&rig.sensor, &rig.c);
	rig.sensor.aec_extra = 1;
	float indoor_gain = static_cast<float>(rig.tuning.exp_gain[static_cast<size_t>(a->out.indoor_index)]) / 256.0f;
	for (const Row &r : rows) {
		a->luma_offset_level = r.level;
		a->out.current_real_gain = indoor_gain * 2;
		EXPECT_EQ(cam::aec_core_configure_snapshot_luma_target(&rig.sensor, &ctx), r.want) << int(r.level);
		EXPECT_FLOAT_EQ(a->out.current_real_gain, indoor_gain * 2 * r.want / 50.0f) << int(r.level);
	}
	a->luma_offset_level = 8;
	a->out.current_real_gain = indoor_gain;  // not darker than indoors: the target stands
	EXPECT_EQ(cam::aec_core_configure_snapshot_luma_target(&rig.sensor, &ctx), 50);
	a->out.current_real_gain = indoor_gain * 2;
	rig.sensor.aec_extra = 0;
	EXPECT_EQ(cam::aec_core_configure_snapshot_luma_target(&rig.sensor, &ctx), 50);
	EXPECT_EQ(cam::GetAvailableFlashCurrent(), 0);
}

TEST_F(AecTest, GammaFollowsTheLightWhenItsTriggerIsSet)
{
	std::array<uint8_t, cam::GAMMA_ENTRIES> a0{}, b255{}, out{};
	b255.fill(255);
	struct Row {
		float ratio;
		uint8_t want;
	} rows[] = {{0.0f, 0}, {0.5f, 128}, {1.0f, 255}, {2.0f, 255}, {-1.0f, 0}, {0.25f, 64}};
	for (const Row &r : rows) {
		cam::aec_interpolate_gamma_table(a0.data(), b255.data(), r.ratio, out.data());
		EXPECT_EQ(out[0], r.want) << r.ratio;
		EXPECT_EQ(out[1023], r.want) << r.ratio;
	}
	cam::isp3a_ctx_t ctx = cam::isp3a_ctx(&rig.sensor, &rig.c);
	cam::isp3a_update_t u{};
	rig.c.isp3a_op = cam::ISP3A_OP_SNAPSHOT;
	rig.c.trigger[4] = 1;
	const uint8_t *dflt = rig.tuning.gamma.data(), *low = dflt + cam::GAMMA_ROW, *outdoor = dflt + 2 * cam::GAMMA_ROW;
	// Darkest row: the low-light table; half the outdoor index: the outdoor
	// table; between outdoor and indoor: the default.
	struct Light {
		int16_t index;
		const uint8_t *table;
	} lights[] = {{257, low}, {45, outdoor}, {0, outdoor}, {150, dflt}};
	for (const Light &l : lights) {
		a->out.exp_index = l.index;
		u.gamma_update = 0;
		EXPECT_EQ(cam::aec_update_gamma(&ctx, &u), 1);
		EXPECT_EQ(u.gamma_update, 1);
		EXPECT_TRUE(std::equal(u.gamma.begin(), u.gamma.end(), l.table)) << l.index;
	}
	rig.c.trigger[4] = 0;
	u.gamma_update = 0;
	EXPECT_EQ(cam::aec_update_gamma(&ctx, &u), 1);
	EXPECT_EQ(u.gamma_update, 0);
}
