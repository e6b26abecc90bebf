// 3A control: decoding, the order and the hold-offs of a statistics frame,
// manual white balance, and the calibration file on stop.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

#include "camera/config/config.h"
#include "camera/config/led.h"
#include "camera/isp3a/aec.h"
#include "camera/isp3a/awb.h"
#include "camera/cam_fixture.h"
#include "support/isp3a_rig.h"

using testing_support::isp3a_rig;

namespace {

struct Isp3aTest : ::testing::Test {
	isp3a_rig rig;
	cam::led_ctrl_t led{-1, 0, 0};
	void SetUp() override
	{
		ASSERT_TRUE(rig.start());
		rig.scene.light = 0.3;
	}
	void TearDown() override { cam::led_ctrl_p = nullptr; }
	uint32_t aec_frames() const { return cam::aec_ctrl()->out.aec_frame_cnt; }
};

}  // namespace

TEST_F(Isp3aTest, RegionsAreMaskedToTheirWidths)
{
	std::vector<uint32_t> raw(1 + 8 * 256, 0xFFFFFFFFu);
	EXPECT_EQ(cam::isp3a_shared_parse_regions(raw.data(), &rig.c, 0x100), 64);  // only the low byte counts
	EXPECT_EQ(rig.c.vfeStatStruct->SY[63], 0x1FFFFFFu);
	EXPECT_EQ(rig.c.vfeStatStruct->count[0], 0x1FFFFu);
	EXPECT_EQ(rig.c.vfeStatStruct->Y[64], 0u);
	EXPECT_EQ(cam::isp3a_shared_parse_regions(raw.data(), &rig.c, 1), 256);
	EXPECT_EQ(rig.c.vfeStatStruct->Cr[255], 0x1FFFFFFu);
	EXPECT_EQ(cam::isp3a_shared_parse_regions(nullptr, &rig.c, 1), 256);  // reported, nothing walked
}

TEST_F(Isp3aTest, NothingRunsBeforeTheFirstBuffer)
{
	EXPECT_EQ(cam::isp3a_stats_execution(&rig.sensor, &rig.c, cam::ISP3A_OP_PREVIEW, 0, 6), 1);
	EXPECT_EQ(aec_frames(), 0u);
	EXPECT_EQ(rig.exposure_writes, 0);
	rig.frame();
	EXPECT_EQ(aec_frames(), 1u);
	EXPECT_EQ(rig.exposure_writes, 1);
	// Without a new buffer the last statistics run AEC again, but not AWB.
	rig.c.update_record.wb_update = 0;
	EXPECT_EQ(cam::isp3a_stats_execution(&rig.sensor, &rig.c, cam::ISP3A_OP_PREVIEW, 0, 6), 1);
	EXPECT_EQ(aec_frames(), 2u);
	EXPECT_EQ(rig.c.update_record.wb_update, 0);
}

TEST_F(Isp3aTest, LedHoldsOffThreeFrames)
{
	cam::led_ctrl_p = &led;
	led.led_state = 1;
	for (int n = 1; n <= 3; n++) {
		rig.frame();
		EXPECT_EQ(aec_frames(), 0u) << n;
	}
	rig.frame();
	EXPECT_EQ(aec_frames(), 1u);
	EXPECT_EQ(rig.c.aec_LED_stats_cnt, 4u);
}

TEST_F(Isp3aTest, AwbRunsOnlyInTheLastStatisticsState)
{
	rig.stats_state = 5;
	rig.frame();
	EXPECT_EQ(rig.c.update_record.wb_update, 0);
	EXPECT_EQ(rig.c.update_record.bounding_box_update, 0);
	rig.stats_state = 6;
	rig.frame();
	EXPECT_EQ(rig.c.update_record.bounding_box_update, 1);
}

TEST_F(Isp3aTest, FailedAwbLeavesTheExposureUpdate)
{
	cam::led_ctrl_p = &led;
	led.led_state = 1;
	rig.scene.light = 0;  // nothing inside the white box: no bins
	cam::awb_ctrl()->white_frame_next = 1;  // and a white frame with the LED on: rejected
	rig.c.aec_LED_stats_cnt = 3;
	rig.frame();
	EXPECT_EQ(aec_frames(), 1u);
	EXPECT_EQ(rig.exposure_writes, 1);
	EXPECT_EQ(rig.c.update_record.wb_update, 0);
	EXPECT_EQ(rig.c.update_record.gain, rig.gain);
}

TEST_F(Isp3aTest, ManualWhiteBalance)
{
	cam::isp3a_ctrl_t before = rig.c;
	EXPECT_FALSE(cam::isp3a_set_wb_on(&rig.sensor, &rig.c, 2));
	EXPECT_EQ(rig.c.awb_auto, before.awb_auto);
	EXPECT_EQ(rig.c.update_record.wb_update, 0);
	ASSERT_TRUE(cam::isp3a_set_wb_on(&rig.sensor, &rig.c, 3));
	EXPECT_EQ(rig.c.awb_auto, 0);
	EXPECT_FLOAT_EQ(rig.c.wb_gain_b, 2.5f);
	EXPECT_EQ(rig.c.awb_state.decision, 2);
	EXPECT_EQ(rig.c.update_record.conversion, rig.sensor.tuned.cc_incandescent);
	rig.c.update_record.wb_update = 0;
	rig.frame();
	EXPECT_EQ(rig.c.update_record.wb_update, 0);  // automatic balance is off
	ASSERT_TRUE(cam::isp3a_set_wb_on(&rig.sensor, &rig.c, 1));
	EXPECT_EQ(rig.c.awb_auto, 1);
	EXPECT_EQ(cam::isp3a_select_gamma_table(4), 4);
	EXPECT_EQ(cam::isp3a_select_gamma_table(9), 5);
	EXPECT_EQ(cam::isp3a_select_gamma_table(1), 0);
}

TEST(Isp3aFile, StopOfPreviewWritesTheCalibrationFile)
{
	const std::string &dir = camtest::board_dir();  // the one board of this binary
	cam::config_reset();
	isp3a_rig rig;
	ASSERT_TRUE(rig.start());
	cam::cfgctrl.sensorCtrl = rig.sensor;
	cam::cfgctrl.isp3aCtrl = rig.c;
	cam::isp3a_misc_t stop{cam::ISP3A_MISC_STOP_PREVIEW, {0, 0}};
	EXPECT_TRUE(cam::isp3a_miscs_execution(&cam::cfgctrl, &stop));
	std::ifstream f(dir + "/data/awbautocal.bin", std::ios::binary);
	std::vector<char> bytes((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
	ASSERT_EQ(bytes.size(), 44u);
	float scale;
	std::memcpy(&scale, &bytes[8], 4);
	EXPECT_FLOAT_EQ(scale, rig.tuning.wb_gain_scale);
	cam::isp3a_misc_t six{6, {0, 0}};
	EXPECT_FALSE(cam::isp3a_miscs_execution(&cam::cfgctrl, &six));
	cam::isp3a_misc_t exposure{cam::ISP3A_MISC_EXPOSURE_COMPENSATION, {1, 0}};
	EXPECT_TRUE(cam::isp3a_miscs_execution(&cam::cfgctrl, &exposure));  // accepted, no effect
	cam::config_reset();
}
