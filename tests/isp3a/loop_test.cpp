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
