// Each control command's answer, as the client sees it through the driver.
#include "cam_fixture.h"

namespace camtest {
namespace {

using namespace cam;

constexpr uint16_t UNTOUCHED = 0xAB;  // the status the client sent

TEST_F(CamConf, ParameterCommandsAnswerTheirStatus)
{
	EXPECT_EQ(send(CAMERA_SET_PARM_DISPLAY_INFO, 480 << 16 | 800).status, 1);
	idle();
	EXPECT_EQ(cfgctrl.display_info.width, 800);
	EXPECT_EQ(cfgctrl.display_info.height, 480);
	// The YCbCr sensors leave brightness, contrast and white balance to
	// null slots: each answers success with no effect.
	EXPECT_EQ(send(CAMERA_SET_PARM_BRIGHTNESS, 3).status, 1);
	EXPECT_EQ(send(CAMERA_SET_PARM_EXPOSURE_COMPENSATION, 3).status, 1);
	EXPECT_EQ(send(CAMERA_SET_PARM_CONTRAST, 5).status, 1);  // the stored value
	EXPECT_EQ(send(CAMERA_SET_PARM_CONTRAST, 7).status, 1);
	EXPECT_EQ(send(CAMERA_SET_PARM_WB, 1).status, 1);
	EXPECT_EQ(send(CAMERA_SET_PARM_ANTIBANDING, 0).status, 1);
	idle();
	EXPECT_EQ(cfgctrl.effectsCtrl.contrast.current_value, 7);
	EXPECT_EQ(cfgctrl.sensorCtrl.wb_mode, 1u);
	EXPECT_EQ(cfgctrl.sensorCtrl.awb_auto, 0);
}

TEST_F(CamConf, PreviewModeTwoIsRefusedAndStaysStored)
{
	EXPECT_EQ(send(CAMERA_SET_PARM_PREVIEW_MODE, 1).status, 1);
	EXPECT_EQ(send(CAMERA_SET_PARM_PREVIEW_MODE, 2).status, 0);
	idle();
	EXPECT_EQ(cfgctrl.preview_mode, 2u);
}

TEST_F(CamConf, CommandsWithoutStatusLeaveItAsItCame)
{
	for (uint16_t type : std::initializer_list<uint16_t>{CAMERA_SET_PARM_SENSOR_POSITION, CAMERA_SET_PARM_ENCODE_ROTATION, CAMERA_SET_PARM_FPS,
			      CAMERA_SET_PARM_PREVIEW_FPS, CAMERA_SET_PARM_HUE, CAMERA_SET_PARM_SHARPNESS, CAMERA_SET_PARM_ISO,
			      CAMERA_SET_PARM_HJR, CAMERA_SET_PARM_ROLLOFF, CAMERA_SET_PARM_EFFECT, uint16_t{44}, uint16_t{46},
			      uint16_t{50}, uint16_t{0xFFFF}}) {
		Answer a = send(type, 1);
		EXPECT_EQ(a.rc, 0) << type;
		EXPECT_EQ(a.status, UNTOUCHED) << type;
	}
	// Out of range: exposure 3 and focus 3 do nothing and are answered.
	EXPECT_EQ(send(CAMERA_SET_PARM_EXPOSURE, 3).status, UNTOUCHED);
	EXPECT_EQ(send(CAMERA_SET_PARM_AUTO_FOCUS, 3).status, UNTOUCHED);
	EXPECT_EQ(send(CAMERA_SET_PARM_ISO, 6).status, UNTOUCHED);
	idle();
	EXPECT_EQ(cfgctrl.isp3aCtrl.iso, 1u);  // 1 was stored, 6 was not
	EXPECT_EQ(cfgctrl.vfeCtrl.hjr_enable, 1);
	EXPECT_EQ(cfgctrl.effectsCtrl.hue.current_value, 1);
}

TEST_F(CamConf, CommandLengthsAreBounded)
{
	std::array<uint8_t, 600> big{};
	Answer a = send_bytes(CAMERA_SET_PARM_PREVIEW_MODE, big.data(), 513);
	EXPECT_EQ(a.rc, -1);  // the driver refuses what the thread cannot hold
	// A short value reads as its bytes padded with zeros.
	uint8_t one = 1;
	a = send_bytes(CAMERA_SET_PARM_PREVIEW_MODE, &one, 1);
	EXPECT_EQ(a.status, 1);
	a = send_bytes(CAMERA_SET_PARM_PREVIEW_MODE, nullptr, 0);
	EXPECT_EQ(a.status, 1);
	idle();
	EXPECT_EQ(cfgctrl.preview_mode, 0u);
	a = send_bytes(CAMERA_SET_PARM_PREVIEW_MODE, big.data(), 512);
	EXPECT_EQ(a.status, 1);
}

TEST_F(CamConf, DimensionAnswersTheFittedSizes)
{
	cam_ctrl_dimension_t d{};
	d.picture_width = 600;
	d.picture_height = 800;
	d.display_width = 800;
	d.display_height = 480;
	d.ui_thumbnail_width = 320;
	d.ui_thumbnail_height = 240;
	Answer a = send_bytes(CAMERA_SET_PARM_DIMENSION, &d, sizeof d);
	EXPECT_EQ(a.status, 1);
	cam_ctrl_dimension_t got{};
	std::memcpy(&got, a.value.data(), sizeof got);
	EXPECT_EQ(got.picture_width, 800);  // swapped, then rounded up to 16
	EXPECT_EQ(got.picture_height, 608);
	EXPECT_EQ(got.orig_picture_dx, 600);
	EXPECT_EQ(got.raw_picture_width, 2592 * 2);
	EXPECT_EQ(got.raw_picture_height, 1944);
	// The dimension already put the sensor into preview mode.
	EXPECT_EQ(count_requests(kernel().log(), MSM_CAM_IOCTL_SENSOR_CFG), 1u);

	d.picture_width = 0;
	EXPECT_EQ(send_bytes(CAMERA_SET_PARM_DIMENSION, &d, sizeof d).status, 0);
}

TEST_F(CamConf, BigPictureIsCutToTheSensorAndTheThumbnailKept)
{
	cam_ctrl_dimension_t d{};
	d.picture_width = 4000;
	d.picture_height = 3000;
	d.display_width = 800;
	d.display_height = 480;
	d.ui_thumbnail_width = 320;
	d.ui_thumbnail_height = 240;
	Answer a = send_bytes(CAMERA_SET_PARM_DIMENSION, &d, sizeof d);
	EXPECT_EQ(a.status, 1);
	cam_ctrl_dimension_t got{};
	std::memcpy(&got, a.value.data(), sizeof got);
	EXPECT_EQ(got.picture_width, 2592);
	EXPECT_EQ(got.picture_height, 1936);
	EXPECT_EQ(got.orig_picture_dx, 2592);
	EXPECT_EQ(got.orig_picture_dy, 1936);
	EXPECT_EQ(got.thumbnail_width, 320);
	EXPECT_EQ(got.thumbnail_height, 239);  // fitted to the picture's ratio
}

TEST_F(CamConf, MaxZoomIsWrittenIntoTheAnswer)
{
	ASSERT_EQ(set_dimension(1280, 960, 800, 480), 1);
	Answer a = send(CAMERA_GET_PARM_MAXZOOM, -1);
	int32_t max = -1;
	std::memcpy(&max, a.value.data(), sizeof max);
	idle();
	EXPECT_EQ(max, cfgctrl.zoomCtrl.cam_parm_zoom.maximum_value);
	EXPECT_GT(max, 0);
	EXPECT_EQ(a.status, UNTOUCHED);
}

TEST_F(CamConf, LedModeSwitchesTheFlashOnceForTheSameState)
{
	EXPECT_EQ(send(CAMERA_SET_PARM_LED_MODE, 2).status, UNTOUCHED);
	EXPECT_EQ(send(CAMERA_SET_PARM_LED_MODE, 2).status, UNTOUCHED);
	EXPECT_EQ(send(CAMERA_SET_PARM_LED_MODE, 3).status, UNTOUCHED);  // ignored
	EXPECT_EQ(count_requests(kernel().log(), MSM_CAM_IOCTL_FLASH_LED_CFG), 1u);
	EXPECT_EQ(kernel().led_state(), 1u);
	idle();
	EXPECT_EQ(get_led_mode(), 2u);
	// Mode 0 switches it off; the exit switches off again only if needed.
	EXPECT_EQ(send(CAMERA_SET_PARM_LED_MODE, 0).status, UNTOUCHED);
	EXPECT_EQ(kernel().led_state(), 0u);
	exit_thread();
	thread_.join();
	EXPECT_EQ(count_requests(kernel().log(), MSM_CAM_IOCTL_FLASH_LED_CFG), 2u);
}

class NoFlash : public CamConf {
	std::map<std::string, std::string> board() const override { return {{"camera.flash", "0"}}; }
};

TEST_F(NoFlash, LedModeIsRefusedWithoutAFlash)
{
	EXPECT_EQ(send(CAMERA_SET_PARM_LED_MODE, 2).status, UNTOUCHED);
	EXPECT_EQ(count_requests(kernel().log(), MSM_CAM_IOCTL_FLASH_LED_CFG), 0u);
}

class WithAutofocus : public CamConf {
	std::map<std::string, std::string> board() const override { return {{"camera.sensor", "ov5642af"}}; }
};

TEST_F(WithAutofocus, AutoFocusGoesToTheSensorInPreviewMode)
{
	// Before any mode is set the sensor refuses, and nothing reaches the kernel.
	EXPECT_EQ(send(CAMERA_SET_PARM_AUTO_FOCUS, 1).status, UNTOUCHED);
	EXPECT_EQ(count_requests(kernel().log(), MSM_CAM_IOCTL_SENSOR_CFG), 0u);
	start_preview();
	kernel().clear_log();
	send(CAMERA_SET_PARM_AUTO_FOCUS, 2);
	auto log = kernel().log();
	ASSERT_EQ(count_requests(log, MSM_CAM_IOCTL_SENSOR_CFG), 1u);
	auto r = *std::find_if(log.begin(), log.end(), [](auto &e) { return e.request == MSM_CAM_IOCTL_SENSOR_CFG; });
	EXPECT_EQ(r.cmd_type, 28u);  // CFG_SET_AUTOFOCUS
	EXPECT_EQ(r.queue, 0);       // preview mode
	EXPECT_EQ(r.number, 2u);
}

TEST_F(CamConf, V4l2RequestsAnswerInTheirOwnWay)
{
	auto v4l2 = [&](uint16_t type, std::vector<uint32_t> words, uint16_t status_in = 0xAB) {
		Answer a;
		std::memcpy(a.value.data(), words.data(), words.size() * 4);
		ctrl_cmd_t cmd{5000, type, static_cast<uint16_t>(words.size() * 4), a.value.data(), status_in, 0};
		a.rc = kernel().control(&cmd, RESP_V4L2);
		a.status = cmd.status;
		return a;
	};
	// Brightness on a YCbCr sensor succeeds, and success reads 0 here.
	EXPECT_EQ(v4l2(MSM_V4L2_SET_CTRL, {0x980900, 3}).status, 0);
	EXPECT_EQ(v4l2(MSM_V4L2_SET_CTRL, {0x980904, 3}).status, 22);
	EXPECT_EQ(v4l2(MSM_V4L2_GET_CTRL, {0x980900}).status, 0xAB);
	// Asking for the control after brightness names contrast, which has no
	// description; brightness itself is described.
	std::vector<uint32_t> query(15, 0);
	query[0] = 0x980900;
	Answer q = v4l2(MSM_V4L2_QUERY_CTRL, query);
	uint32_t type = 0;
	std::memcpy(&type, q.value.data() + 4, 4);
	EXPECT_EQ(type, 1u);
	EXPECT_EQ(std::string(reinterpret_cast<char *>(q.value.data() + 8), 10), "Brightness");
	query[0] = 0x80000000u | 0x980900;
	q = v4l2(MSM_V4L2_QUERY_CTRL, query);
	uint32_t id = 0;
	std::memcpy(&id, q.value.data(), 4);
	EXPECT_EQ(id, 0x980901u);
	// The format request sets the dimensions.
	std::vector<uint32_t> fmt(51, 0);
	fmt[1] = 1280;
	fmt[2] = 960;
	EXPECT_EQ(v4l2(MSM_V4L2_VID_CAP_TYPE, fmt).status, 1);
	// Stream on and off run the preview and its held stop.
	EXPECT_EQ(v4l2(MSM_V4L2_STREAM_ON, {0}).status, 1);
	EXPECT_EQ(state(), CAMERA_STATE_PREVIEW_RUNNING);
	EXPECT_EQ(v4l2(MSM_V4L2_STREAM_OFF, {0}).status, 1);
	EXPECT_EQ(state(), CAMERA_STATE_PREVIEW_STOPPED);
}

TEST_F(CamConf, ClientsFasterThanTheThreadEachGetTheirOwnAnswer)
{
	// Four clients send without pause; each answer must belong to its
	// command (preview mode 0 and 1 answer 1, 2 answers 0).
	std::vector<std::thread> clients;
	std::atomic<int> wrong{0}, failed{0};
	for (int c = 0; c < 4; ++c)
		clients.emplace_back([&, c] {
			for (int i = 0; i < 40; ++i) {
				int32_t v = (c + i) % 3;
				Answer a = command(fd_, CAMERA_SET_PARM_PREVIEW_MODE, &v, 4);
				if (a.rc != 0)
					++failed;
				else if (a.status != (v < 2 ? 1 : 0))
					++wrong;
			}
		});
	for (auto &t : clients)
		t.join();
	EXPECT_EQ(failed, 0);
	EXPECT_EQ(wrong, 0);
	EXPECT_EQ(kernel().unanswered(), 0u);
}

TEST_F(CamConf, ADriverWithNoEventsDoesNotSpin)
{
	// The thread waits in a call made before the switch; a command ends that
	// call, and every call after it finds the driver empty.
	idle();
	set_board("camera.get_stats", "empty");
	EXPECT_EQ(send(CAMERA_SET_PARM_PREVIEW_MODE, 1).status, 1);
	// The loop keeps asking (a bounded while: a loaded machine may be slow).
	uint64_t start = kernel().stats_calls();
	for (int i = 0; i < 500 && kernel().stats_calls() < start + 2; ++i)
		::usleep(10000);
	EXPECT_GE(kernel().stats_calls(), start + 2);
	uint64_t before = kernel().stats_calls();
	plat::usleep(10000000);  // 100 ms at the test's time scale
	uint64_t calls = kernel().stats_calls() - before;
	set_board("camera.get_stats", "normal");
	// The loop pauses between empty answers; a spinning loop would ask
	// millions of times in this while.
	EXPECT_LT(calls, 5000u);
	EXPECT_EQ(send(CAMERA_SET_PARM_PREVIEW_MODE, 1).status, 1);
}

}  // namespace
}  // namespace camtest
