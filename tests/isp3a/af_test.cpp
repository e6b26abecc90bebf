// Focus: lens bookkeeping, the wait for exposure, and searches that end by
// themselves whatever the statistics do.
#include <gtest/gtest.h>

#include "camera/isp3a/aec.h"
#include "camera/isp3a/af.h"
#include "support/isp3a_rig.h"

using testing_support::isp3a_rig;

namespace {

struct AfTest : ::testing::Test {
	isp3a_rig rig;
	cam::af_ctrl_t *af = nullptr;
	void SetUp() override
	{
		ASSERT_TRUE(rig.start());
		af = cam::af_ctrl();
		ASSERT_NE(af, nullptr);
		rig.scene.light = 0.3;
	}
	void start_search()
	{
		rig.c.aec_state.luma_settled_cnt = 5;  // exposure has settled: no wait
		cam::af_process_start_focus(&rig.sensor, &rig.c, 0, 0);
		ASSERT_EQ(af->state, cam::AF_START);
	}
	// AF frames until the search ends; -1 if it has not after max.
	int run(int max)
	{
		for (int n = 0; n < max; n++) {
			if (!cam::af_is_active())
				return n;
			rig.af_frame();
		}
		return -1;
	}
};

}  // namespace

TEST_F(AfTest, MovesAreClampedToTheLimitsAndZeroMovesComplete)
{
	af->position = 3;
	rig.lens = 3;
	cam::af_do_move_lens(0, 5);
	EXPECT_EQ(af->position, 0);
	EXPECT_EQ(rig.lens, 0);
	EXPECT_EQ(rig.moves, 1);
	af->position = 38;
	rig.lens = 38;
	cam::af_do_move_lens(1, 5);
	EXPECT_EQ(af->position, 40);  // the boundary
	af->frame_delay = 0;
	af->is_exhaustive = 0;
	cam::af_do_move_lens(1, 0);  // nothing to move, yet the delay is armed
	EXPECT_EQ(rig.moves, 2);
	EXPECT_EQ(af->frame_delay, 2);
}

TEST_F(AfTest, WaitForExposureIsBoundedToFifteenFrames)
{
	rig.scene.light = 0.000001;  // far too dark: exposure never settles
	cam::aec_ctrl()->out.luma_settled_cnt = 0;
	rig.c.aec_state.luma_settled_cnt = 0;
	rig.c.aec_state.exp_index = 10;
	ASSERT_EQ(cam::af_process_start_focus(&rig.sensor, &rig.c, 0, 0), 1);
	ASSERT_EQ(af->state, cam::WAIT_FOR_AEC_TO_SETTLE);
	EXPECT_FALSE(cam::af_is_active());
	cam::aec_state_t unsettled = rig.c.aec_state;
	for (int n = 0; n < 15; n++) {
		cam::af_check_aec_settled_cnt(&rig.c, &unsettled);
		ASSERT_EQ(af->state, cam::WAIT_FOR_AEC_TO_SETTLE) << n;
	}
	cam::af_check_aec_settled_cnt(&rig.c, &unsettled);
	EXPECT_EQ(af->state, cam::AF_START);
}

TEST_F(AfTest, FrameWithoutFocusValuesChangesNothing)
{
	af->state = cam::AF_GATHER_STATS_FINE;
	rig.c.vfeStatStruct->NFocus = 0;
	int32_t before = af->index;
	EXPECT_EQ(rig.af_frame(), 0);
	EXPECT_EQ(af->state, cam::AF_GATHER_STATS_FINE);
	EXPECT_EQ(af->index, before);
}

TEST_F(AfTest, FailingLensEndsEverySearchAndThenStopsTrying)
{
	rig.fail_moves = true;
	for (int k = 0; k < 101; k++) {
		start_search();
		EXPECT_GE(run(10), 0);
		EXPECT_EQ(af->af_success, 0);
	}
	EXPECT_EQ(af->fail_cnt, 101);
	af->state = cam::AF_START;
	rig.af_frame();  // more than 100 failures: the search ends at once
	EXPECT_EQ(af->state, cam::AF_ERROR);
	EXPECT_FALSE(cam::af_is_active());
	EXPECT_EQ(rig.moves, 0);
}

TEST_F(AfTest, FlatSceneNeedsNoFineSearchAndSamplesStayBounded)
{
	af->mode = 1;  // macro: coarse then fine
	rig.scene.focus_gain = 0;  // nothing in focus anywhere
	rig.scene.focus_base = 400;
	start_search();
	ASSERT_GE(run(200), 0);
	EXPECT_EQ(af->af_success, 0);
	EXPECT_LE(af->index, cam::AF_SAMPLES);
}

TEST_F(AfTest, EqualMaximaKeepTheFirst)
{
	af->mode = 1;
	rig.scene.focus_width = 1000;  // so flat that every sample is equal
	rig.scene.focus_gain = 0;
	rig.scene.focus_base = 5000;
	start_search();
	ASSERT_GE(run(200), 0);
	EXPECT_EQ(af->max_position, 40);  // the first sample, at the far end
}

TEST_F(AfTest, LongSweepStopsFillingAtFiftySamples)
{
	start_search();
	af->state = cam::AF_GATHER_STATS_FINE;
	af->mode = 0;
	af->direction = 1;
	af->position = rig.lens = 0;
	af->far_end = af->boundary = 1000;  // a lens with a very long travel
	rig.scene.focus_peak = 2000;
	rig.scene.focus_width = 500;
	rig.scene.focus_gain = 1e6;  // rising all the way
	for (int n = 0; n < 80; n++)
		rig.af_frame();
	EXPECT_EQ(af->state, cam::AF_GATHER_STATS_FINE);
	EXPECT_EQ(af->index, cam::AF_SAMPLES);
	EXPECT_EQ(af->sample_cnt, cam::AF_SAMPLES);
}

TEST_F(AfTest, SearchWhoseStatisticsNeverComeEnds)
{
	start_search();
	rig.c.vfeStatStruct->NFocus = 0;  // the front end sends empty focus statistics
	int n = run(1000);
	EXPECT_GT(n, 1);
	EXPECT_LE(n, 31);
	EXPECT_EQ(af->af_success, 0);
}
