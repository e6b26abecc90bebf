// The camera's state machine, driven as the client drives it, with the
// simulated DSP answering.
#include "cam_fixture.h"

namespace camtest {
namespace {

using namespace cam;
using sim::camera::Recorded;

TEST_F(CamConf, PreviewStartsWithTheModulesThenResetThenThePipeline)
{
	start_preview();
	auto log = kernel().log();
	std::vector<std::string> order;
	for (const Recorded &r : log) {
		if (r.request == MSM_CAM_IOCTL_ENABLE_VFE)
			order.push_back("enable " + r.name);
		else if (r.request == MSM_CAM_IOCTL_SENSOR_CFG)
			order.push_back("sensor " + std::to_string(r.cmd_type) + "/" + std::to_string(r.queue));
		else if (r.request == MSM_CAM_IOCTL_AXI_CONFIG)
			order.push_back("axi " + std::to_string(r.cmd_type));
		else if (r.request == MSM_CAM_IOCTL_VFE_COMMAND)
			order.push_back(std::to_string(r.queue) + ":" + std::to_string(r.number));
	}
	// Reset; on its acknowledgement the sensor goes to preview, then CAMIF,
	// active region, input format, crop, output 2 scaler, clamp, frame skip,
	// chroma subsample, AXI and start; after START_ACK one update.
	std::vector<std::string> want = {"enable QCAMTASK", "enable VFETASK", "25:0", "sensor 0/0", "25:4", "25:5", "25:7",
					 "25:15", "26:1", "25:8", "25:14", "25:9", "axi 3", "25:1", "25:3"};
	EXPECT_EQ(order, want);
}

TEST_F(CamConf, SecondStartPreviewIsRefusedButResetsAllTheSame)
{
	start_preview();
	kernel().clear_log();
	Answer a = send(CAMERA_START_PREVIEW);
	EXPECT_EQ(a.status, 0);
	EXPECT_EQ(state(), CAMERA_STATE_PREVIEW_RUNNING);
	auto numbers = vfe_numbers(kernel().log());
	ASSERT_FALSE(numbers.empty());
	EXPECT_EQ(numbers.front(), 0u);  // VFE_RESET went out
	EXPECT_EQ(count_requests(kernel().log(), MSM_CAM_IOCTL_ENABLE_VFE), 0u);
}

TEST_F(CamConf, StopPreviewIsAnsweredByTheStopAcknowledgement)
{
	start_preview();
	stop_preview();
	EXPECT_EQ(kernel().unanswered(), 0u);
	EXPECT_EQ(cfgctrl.ctrlCmd, nullptr);
}

TEST_F(CamConf, SnapshotAfterPreviewThenPreviewAgainWithoutEnabling)
{
	start_preview();
	stop_preview();
	kernel().clear_log();
	Answer a = send(CAMERA_START_SNAPSHOT);
	EXPECT_EQ(a.status, 1);
	EXPECT_EQ(state(), CAMERA_STATE_SNAPSHOT_STOPPED);  // SNAPSHOT_DONE arrived
	auto log = kernel().log();
	EXPECT_EQ(count_requests(log, MSM_CAM_IOCTL_SNAPSHOT_BEGIN), 1u);
	auto sensor = std::find_if(log.begin(), log.end(), [](auto &r) { return r.request == MSM_CAM_IOCTL_SENSOR_CFG; });
	ASSERT_NE(sensor, log.end());
	EXPECT_EQ(sensor->queue, 1);  // snapshot mode
	auto axi = std::find_if(log.begin(), log.end(), [](auto &r) { return r.request == MSM_CAM_IOCTL_AXI_CONFIG; });
	ASSERT_NE(axi, log.end());
	EXPECT_EQ(axi->cmd_type, 2u);
	// Both scalers go out for the thumbnail and the picture.
	EXPECT_EQ(vfe_numbers(log, 26), (std::vector<uint32_t>{0, 1}));

	kernel().clear_log();
	EXPECT_EQ(send(CAMERA_START_PREVIEW).status, 1);
	EXPECT_EQ(state(), CAMERA_STATE_PREVIEW_RUNNING);
	EXPECT_EQ(count_requests(kernel().log(), MSM_CAM_IOCTL_ENABLE_VFE), 0u);
}

TEST_F(CamConf, RawSnapshotAfterPreview)
{
	start_preview();
	stop_preview();
	kernel().clear_log();
	EXPECT_EQ(send(CAMERA_START_RAW_SNAPSHOT).status, 1);
	EXPECT_EQ(state(), CAMERA_STATE_RAW_SNAPSHOT_STOPPED);
	auto log = kernel().log();
	auto axi = std::find_if(log.begin(), log.end(), [](auto &r) { return r.request == MSM_CAM_IOCTL_AXI_CONFIG; });
	ASSERT_NE(axi, log.end());
	EXPECT_EQ(axi->cmd_type, 6u);
	// Reset, CAMIF and start: nothing else is configured for raw data.
	auto numbers = vfe_numbers(log);
	ASSERT_GE(numbers.size(), 3u);
	EXPECT_EQ(std::vector<uint32_t>(numbers.begin(), numbers.begin() + 3), (std::vector<uint32_t>{0, 4, 1}));
}

TEST_F(CamConf, SnapshotBeforePreviewIsRefusedAndSendsNothing)
{
	Answer a = send(CAMERA_START_SNAPSHOT);
	EXPECT_EQ(a.rc, 0);
	EXPECT_EQ(a.status, 0);
	EXPECT_EQ(state(), CAMERA_STATE_IDLE);
	EXPECT_TRUE(vfe_numbers(kernel().log()).empty());
	EXPECT_EQ(cfgctrl.vfeCtrl.vfeMode, VFE_MODE_SNAPSHOT);  // set all the same
}

TEST_F(CamConf, RawSnapshotFromIdleFailsWithNoModuleLoaded)
{
	Answer a = send(CAMERA_START_RAW_SNAPSHOT);
	EXPECT_EQ(a.status, 0);
	EXPECT_EQ(state(), CAMERA_STATE_IDLE);
}

TEST_F(CamConf, StopBeforeStartIsAnsweredAtOnce)
{
	// The stop cannot reach a VFE that was never loaded, so no
	// acknowledgement can come: the client gets status 0, not a time-out.
	Answer a = send(CAMERA_STOP_PREVIEW);
	EXPECT_EQ(a.rc, 0);
	EXPECT_EQ(a.status, 0);
	EXPECT_EQ(state(), CAMERA_STATE_IDLE);
	EXPECT_EQ(cfgctrl.ctrlCmd, nullptr);
	EXPECT_EQ(send(CAMERA_START_PREVIEW).status, 1);
}

TEST_F(CamConf, StopSnapshotInPreviewIsIllegalButStopsTheVfe)
{
	start_preview();
	Answer a = send(CAMERA_STOP_SNAPSHOT);
	EXPECT_EQ(a.rc, 0);
	EXPECT_EQ(a.status, 0);
	EXPECT_EQ(state(), CAMERA_STATE_PREVIEW_STOPPED);
}

TEST_F(CamConf, StopWithASilentDspEndsAtTheClientTimeout)
{
	start_preview();
	set_board("camera.dsp", "silent");
	Answer a = command(fd_, CAMERA_STOP_PREVIEW, nullptr, 0, 0, 200);
	EXPECT_EQ(a.rc, -1);
	EXPECT_EQ(state(), CAMERA_STATE_PREVIEW_STOP_SENT);
	// The driver forgot the abandoned command; the thread still answers.
	EXPECT_EQ(kernel().unanswered(), 0u);
	set_board("camera.dsp", "normal");
	EXPECT_EQ(send(CAMERA_SET_PARM_PREVIEW_MODE, 1).status, 1);
}

TEST_F(CamConf, StopAcknowledgedTwiceAnswersOnce)
{
	start_preview();
	set_board("camera.dsp", "double");
	Answer a = send(CAMERA_STOP_PREVIEW);
	EXPECT_EQ(a.status, 1);
	EXPECT_EQ(state(), CAMERA_STATE_PREVIEW_STOPPED);
	EXPECT_EQ(cfgctrl.ctrlCmd, nullptr);
}

TEST_F(CamConf, StartAckOutsideItsStatesChangesNothing)
{
	kernel().post(RESP_VFE, 0, VFE_START_ACK);
	kernel().post(RESP_VFE, 0, VFE_RESET_ACK);
	kernel().post(RESP_VFE, 0, VFE_STOP_ACK);  // no held command, no restart
	kernel().post(RESP_VFE, 0, VFE_SNAPSHOT_DONE);
	EXPECT_EQ(state(), CAMERA_STATE_IDLE);
	EXPECT_TRUE(vfe_numbers(kernel().log()).empty());
}

TEST_F(CamConf, InvalidResponseTypeIsReportedAndTheLoopGoesOn)
{
	kernel().post(7, 0, 0);
	kernel().post(RESP_VFE, 9, 0);  // unknown message kind: dropped
	EXPECT_EQ(send(CAMERA_SET_PARM_PREVIEW_MODE, 0).status, 1);
}

TEST_F(CamConf, ExitIsAnsweredThenTheThreadEnds)
{
	exit_thread();
	thread_.join();
	EXPECT_EQ(cfgctrl.camfd, -1);
	// Nobody serves the driver now: a command times out.
	Answer a = command(fd_, CAMERA_SET_PARM_PREVIEW_MODE, nullptr, 0, 0, 50);
	EXPECT_EQ(a.rc, -1);
}

TEST_F(CamConf, EnableFailureAnswersStatusZero)
{
	set_board("camera.fail", "enable_vfe");
	EXPECT_EQ(send(CAMERA_START_PREVIEW).status, 0);
	EXPECT_EQ(state(), CAMERA_STATE_IDLE);
}

TEST_F(CamConf, AxiFailureLeavesThePreviewUnstarted)
{
	set_board("camera.fail", "axi_config");
	EXPECT_EQ(send(CAMERA_START_PREVIEW).status, 1);  // answered before the reset's acknowledgement
	EXPECT_EQ(state(), CAMERA_STATE_PREVIEW_VFE_RESET);
	auto numbers = vfe_numbers(kernel().log());
	EXPECT_EQ(std::count(numbers.begin(), numbers.end(), 1u), 0);  // no start
}

TEST_F(CamConf, ModuleReadyTwiceDoesNotSkipTheSequence)
{
	set_board("camera.dsp", "double");
	EXPECT_EQ(send(CAMERA_START_PREVIEW).status, 1);
	uint32_t s = state();
	// The second ready event of each enable finds a later state and does
	// nothing but an empty enable; the preview still runs.
	EXPECT_EQ(s, CAMERA_STATE_PREVIEW_RUNNING);
}

}  // namespace
}  // namespace camtest

namespace camtest {
namespace {

using namespace cam;

class UnknownSensor : public CamConf {
	std::map<std::string, std::string> board() const override { return {{"camera.sensor", "ov9999"}}; }
};

TEST_F(UnknownSensor, TheThreadEndsBeforeItsLoopAndClientsTimeOut)
{
	thread_.join();  // ends by itself: no loop without a sensor
	exited_ = true;
	EXPECT_EQ(cfgctrl.camfd, -1);
	EXPECT_EQ(cfgctrl.sensorCtrl.sfd, -1);
	Answer a = command(fd_, CAMERA_START_PREVIEW, nullptr, 0, 0, 50);
	EXPECT_EQ(a.rc, -1);
	EXPECT_EQ(count_requests(kernel().log(), MSM_CAM_IOCTL_FLASH_LED_CFG), 0u);
}

}  // namespace
}  // namespace camtest
