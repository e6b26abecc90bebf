// The update protocol: settings changed while the VFE runs are committed by
// one VFE_UPDATE after the event that changed them; commands sent while an
// update is out wait for its acknowledgement.
#include "cam_fixture.h"

namespace camtest {
namespace {

using namespace cam;

size_t updates(const std::vector<sim::camera::Recorded> &log)
{
	auto n = vfe_numbers(log);
	return static_cast<size_t>(std::count(n.begin(), n.end(), 3u));
}

cam_ctrl_dimension_t preview_dimension()
{
	cam_ctrl_dimension_t d{};
	d.picture_width = 1280;
	d.picture_height = 960;
	d.display_width = 800;
	d.display_height = 480;
	d.ui_thumbnail_width = 320;
	d.ui_thumbnail_height = 240;
	return d;
}

TEST_F(CamConf, OneUpdatePerEventHoweverManyCommands)
{
	auto d = preview_dimension();
	ASSERT_EQ(send_bytes(CAMERA_SET_PARM_DIMENSION, &d, sizeof d).status, 1);
	start_preview();
	kernel().clear_log();
	// A zoom step sends the crop and the scaler: two commands, one update.
	send(CAMERA_SET_PARM_ZOOM, 10);
	idle();
	auto log = kernel().log();
	EXPECT_EQ(updates(log), 1u);
	EXPECT_GE(vfe_numbers(log).size() + vfe_numbers(log, 26).size(), 3u);
	kernel().clear_log();
	send(CAMERA_SET_PARM_SATURATION, 5);
	idle();
	EXPECT_EQ(updates(kernel().log()), 1u);
}

TEST_F(CamConf, NoUpdateOutsideTheRunningStates)
{
	start_preview();
	stop_preview();
	kernel().clear_log();
	send(CAMERA_SET_PARM_SATURATION, 5);
	idle();
	EXPECT_EQ(updates(kernel().log()), 0u);
	EXPECT_EQ(vfe_numbers(kernel().log()), (std::vector<uint32_t>{12}));  // the colour record went out
}

TEST_F(CamConf, CommandsWaitForTheUpdateAcknowledgement)
{
	start_preview();
	set_board("camera.dsp", "silent");
	kernel().clear_log();
	send(CAMERA_SET_PARM_SATURATION, 5);  // sent, then the update, unacknowledged
	send(CAMERA_SET_PARM_SATURATION, 6);  // stored
	send(CAMERA_SET_PARM_SATURATION, 7);  // stored again, same record
	idle();
	EXPECT_EQ(vfe_numbers(kernel().log()), (std::vector<uint32_t>{12, 3}));
	EXPECT_EQ(cfgctrl.vfeCtrl.stored_count, 2u);
	set_board("camera.dsp", "normal");
	kernel().clear_log();
	kernel().post(RESP_VFE, 0, VFE_UPDATE_ACK);
	idle();
	// Drained in order, the record as it stands now; then one new update.
	auto log = kernel().log();
	EXPECT_EQ(vfe_numbers(log), (std::vector<uint32_t>{12, 12, 3}));
	EXPECT_EQ(cfgctrl.vfeCtrl.stored_count, 0u);
	auto first = std::find_if(log.begin(), log.end(), [](auto &r) { return r.number == 12; });
	auto last = std::find_if(log.rbegin(), log.rend(), [](auto &r) { return r.number == 12; });
	EXPECT_EQ(first->bytes, last->bytes);
}

TEST_F(CamConf, AStopIsNeverStoredAndClearsTheUpdate)
{
	start_preview();
	set_board("camera.dsp", "silent");
	send(CAMERA_SET_PARM_SATURATION, 5);
	send(CAMERA_SET_PARM_SATURATION, 6);  // stored behind the update
	idle();
	ASSERT_EQ(cfgctrl.vfeCtrl.stored_count, 1u);
	set_board("camera.dsp", "normal");
	kernel().clear_log();
	EXPECT_EQ(send(CAMERA_STOP_PREVIEW).status, 1);
	EXPECT_EQ(state(), CAMERA_STATE_PREVIEW_STOPPED);
	EXPECT_EQ(vfe_numbers(kernel().log()), (std::vector<uint32_t>{2}));
	EXPECT_EQ(cfgctrl.vfeCtrl.InVfeUpdate, 0);
	EXPECT_EQ(cfgctrl.vfeCtrl.stored_count, 1u);  // stays until the next acknowledgement
}

TEST_F(CamConf, TheStoredQueueIsBounded)
{
	start_preview();
	set_board("camera.dsp", "silent");
	for (int i = 0; i < VFE_STORED_MAX + 10; ++i)
		send(CAMERA_SET_PARM_SATURATION, i % 10);
	idle();
	EXPECT_EQ(cfgctrl.vfeCtrl.stored_count, static_cast<uint32_t>(VFE_STORED_MAX));
	set_board("camera.dsp", "normal");
	kernel().post(RESP_VFE, 0, VFE_UPDATE_ACK);
	idle();
	EXPECT_EQ(cfgctrl.vfeCtrl.stored_count, 0u);
}

TEST_F(CamConf, ZoomAppliesOnTheNextFrame)
{
	auto d = preview_dimension();
	ASSERT_EQ(send_bytes(CAMERA_SET_PARM_DIMENSION, &d, sizeof d).status, 1);
	start_preview();
	idle();
	// The preview's first frame applies the crop of the pipeline.
	EXPECT_EQ(cfgctrl.zoomCtrl.zoom_vfe_update_zoom, 1);
	kernel().clear_log();
	kernel().post(RESP_VFE, 0, VFE_OUTPUT2);
	idle();
	EXPECT_EQ(cfgctrl.zoomCtrl.zoom_vfe_update_zoom, 0);
	auto numbers = vfe_numbers(kernel().log());
	EXPECT_NE(std::find(numbers.begin(), numbers.end(), 15u), numbers.end());
	EXPECT_EQ(updates(kernel().log()), 1u);
}

TEST_F(CamConf, ZoomBeforeAnyPreviewIsSafe)
{
	// No field of view yet, no outputs: the answer comes, nothing divides by zero.
	Answer a = send(CAMERA_SET_PARM_ZOOM, 0);
	EXPECT_EQ(a.rc, 0);
	EXPECT_EQ(a.status, 0xAB);
	EXPECT_EQ(send(CAMERA_SET_PARM_ZOOM, 1000).status, 0xAB);  // out of range: refused
}

}  // namespace
}  // namespace camtest

namespace camtest {
namespace {

using namespace cam;

TEST_F(CamConf, ARestartStopsAtTheNextFrameAndStartsAgainUnasked)
{
	start_preview();
	idle();
	cfgctrl.vfeCtrl.restart = 1;  // a new gamma table waits; the thread is idle
	kernel().clear_log();
	kernel().post(RESP_VFE, 0, VFE_OUTPUT2);
	EXPECT_EQ(state(), CAMERA_STATE_PREVIEW_RUNNING);
	EXPECT_EQ(cfgctrl.vfeCtrl.restart, 0);
	// The frame first applies the pipeline's pending crop, then stops; the
	// stop's acknowledgement resets and configures again.
	auto numbers = vfe_numbers(kernel().log());
	auto stop = std::find(numbers.begin(), numbers.end(), 2u);
	ASSERT_NE(stop, numbers.end());
	ASSERT_NE(stop + 1, numbers.end());
	EXPECT_EQ(stop[1], 0u);
	EXPECT_EQ(std::count(numbers.begin(), numbers.end(), 1u), 1);  // one start
	EXPECT_EQ(kernel().unanswered(), 0u);
	EXPECT_EQ(send(CAMERA_SET_PARM_PREVIEW_MODE, 1).status, 1);
}

TEST_F(CamConf, AZoomInForceReachesTheSnapshot)
{
	ASSERT_EQ(set_dimension(1280, 960, 800, 480), 1);
	start_preview();
	send(CAMERA_SET_PARM_ZOOM, 20);
	stop_preview();
	kernel().clear_log();
	ASSERT_EQ(send(CAMERA_START_SNAPSHOT).status, 1);
	idle();
	auto numbers = vfe_numbers(kernel().log());
	auto start = std::find(numbers.begin(), numbers.end(), 1u);
	// The pipeline's crop, then the zoom's crop, both before the start.
	EXPECT_EQ(std::count(numbers.begin(), start, 15u), 2);
	EXPECT_NE(cfgctrl.zoomCtrl.crop_factor, Q12_ONE);
}

TEST_F(CamConf, LedModeOutOfRangeIsStoredAndRefused)
{
	idle();
	EXPECT_EQ(set_led_mode(3), 0);
	EXPECT_EQ(get_led_mode(), 3u);
	EXPECT_EQ(count_requests(kernel().log(), MSM_CAM_IOCTL_FLASH_LED_CFG), 0u);
	EXPECT_EQ(set_led_state(0), 1);  // already off: nothing to do
}

}  // namespace
}  // namespace camtest
