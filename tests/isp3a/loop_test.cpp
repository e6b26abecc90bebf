// The closed loop: 3A on the simulated Bayer sensor's scene converges.
#include <gtest/gtest.h>

#include <cmath>

#include "camera/isp3a/aec.h"
#include "camera/isp3a/af.h"
#include "camera/isp3a/awb.h"
#include "support/isp3a_rig.h"

using testing_support::isp3a_rig;

namespace {

int frames_to_settle(isp3a_rig &rig, int max_frames)
{
	for (int n = 1; n <= max_frames; n++) {
		rig.frame();
		double t = rig.c.aec_state.luma_target;
		if (std::fabs(rig.luma() - t) <= 0.05 * t && rig.c.aec_state.luma_settled_cnt > 0)
			return n;
	}
	return -1;
}

}  // namespace

TEST(Isp3aLoop, ExposureSettlesAfterFourStopSteps)
{
	isp3a_rig rig;
	ASSERT_TRUE(rig.start());
	rig.scene.light = 0.05;
	ASSERT_GT(frames_to_settle(rig, 60), 0);
	int bright = rig.c.aec_state.exp_index;
	rig.scene.light *= 16;  // four stops brighter
	int n = frames_to_settle(rig, 60);
	EXPECT_GT(n, 0);
	EXPECT_LT(rig.c.aec_state.exp_index, bright - 80);  // 16x is 94 rows of 3 percent
	rig.scene.light /= 16;
	EXPECT_GT(frames_to_settle(rig, 60), 0);
}

namespace {

// Runs a focus search to its end; the number of AF frames, or -1.
int focus(isp3a_rig &rig, int max_frames)
{
	cam::af_process_start_focus(&rig.sensor, &rig.c, 0, 0);
	for (int n = 1; n <= max_frames; n++) {
		if (!cam::af_is_active() && cam::af_ctrl()->state != cam::WAIT_FOR_AEC_TO_SETTLE)
			return n - 1;
		rig.frame();  // AEC frames go on; only the settle test reads them
		rig.af_frame();
	}
	return -1;
}

}  // namespace

TEST(Isp3aLoop, FocusEndsWithinOneFineStepOfThePeak)
{
	for (int peak : {6, 20, 33}) {
		isp3a_rig rig;
		ASSERT_TRUE(rig.start());
		rig.scene.light = 0.3;
		rig.scene.focus_peak = peak;
		EXPECT_GT(focus(rig, 200), 0) << peak;
		EXPECT_EQ(cam::af_ctrl()->af_success, 1) << peak;
		EXPECT_LE(std::abs(rig.lens - peak), rig.tuning.af_fine_step) << peak;
		EXPECT_EQ(rig.lens, cam::af_ctrl()->position);
	}
}

TEST(Isp3aLoop, WhiteBalancePicksEachReferenceLight)
{
	const char *names[9] = {"D65", "D75", "A", "TL84", "CWF", "Horizon", "D50", "custom F", "Noon"};
	for (int i = 0; i < cam::AWB_REF_NUM; i++) {
		isp3a_rig rig;
		ASSERT_TRUE(rig.start());
		rig.scene.illum_rg = rig.tuning.ref_rg[i];
		rig.scene.illum_bg = rig.tuning.ref_bg[i];
		rig.scene.light = i == 2 || i == 3 || i == 4 || i == 5 || i == 7 ? 0.02 : 0.3;  // indoor lights are dim
		for (int n = 0; n < 80; n++)
			rig.frame();
		const cam::isp3a_update_t &u = rig.c.update_record;
		double ideal_r = 1 / rig.scene.illum_rg, ideal_b = 1 / rig.scene.illum_bg;
		EXPECT_NEAR(u.r_gain / u.g_gain, ideal_r, 0.03 * ideal_r) << names[i];
		EXPECT_NEAR(u.b_gain / u.g_gain, ideal_b, 0.03 * ideal_b) << names[i];
		std::fprintf(stdout, "%s: decision %d exp_index %d gains %.3f %.3f %.3f\n", names[i], rig.c.awb_state.decision,
			     rig.c.aec_state.exp_index, u.r_gain, u.g_gain, u.b_gain);
	}
}

TEST(Isp3aLoop, HillClimbingFindsThePeakFromWhereTheLensStands)
{
	for (int type : {2, 3, 4})
		for (int peak : {8, 20, 31}) {
			isp3a_rig rig;
			ASSERT_TRUE(rig.start());
			rig.scene.light = 0.3;
			rig.scene.focus_peak = peak;
			cam::isp3a_ctx_t ctx = cam::isp3a_ctx(&rig.sensor, &rig.c);
			cam::af_algo_config(&ctx, type);
			rig.lens = cam::af_ctrl()->position = 15;
			int n = focus(rig, 300);
			EXPECT_GT(n, 0) << type << " " << peak;
			EXPECT_LE(std::abs(rig.lens - peak), 1) << type << " " << peak;
			EXPECT_EQ(rig.lens, cam::af_ctrl()->position);
			std::printf("hill climbing type %d peak %d: lens %d after %d frames, %d moves, success %d\n", type, peak,
				    rig.lens, n, rig.moves, cam::af_ctrl()->af_success);
		}
}
