// 3A inside the camera: the configuration thread on the simulated driver
// probes the Bayer sensor, loads its tuning file from the board, and runs
// exposure and white balance on statistics messages; the test plays the
// DSP, rendering the scene at the exposure the sensor was last given.
#include <cmath>
#include <fstream>
#include <span>

#include "camera/cam_fixture.h"
#include "camera/isp3a/aec.h"
#include "camera/isp3a/af.h"
#include "camera/sensor/bayersim.h"
#include "sim/bayer_scene.h"

using namespace camtest;

namespace {

// The message that a statistics buffer is full, as the driver hands it on.
std::vector<uint8_t> stats_message(uint32_t fd)
{
	cam::vfe_stats_msg_t body{0, nullptr, static_cast<int32_t>(fd)};
	std::vector<uint8_t> bytes(sizeof body);
	std::memcpy(bytes.data(), &body, sizeof body);
	return bytes;
}


class BayerCam : public CamConf {
protected:
	std::map<std::string, std::string> board() const override { return {{"camera.sensor", "bayersim"}}; }

	// The exposure the sensor was last given through the driver.
	void last_exposure(uint32_t *gain, uint32_t *lines)
	{
		for (const auto &r : kernel().log())
			if (r.request == cam::MSM_CAM_IOCTL_SENSOR_CFG && r.cmd_type == cam::CFG_SET_EXP_GAIN) {
				*gain = r.queue;
				*lines = r.number;
			}
	}

	void stats_frame(int k, const sim::bayer_scene_t &scene, uint32_t gain, uint32_t lines)
	{
		idle();
		cam::isp3a_buf_t &b = cam::cfgctrl.isp3aCtrl.AecAwbBuf[k % 3];
		ASSERT_NE(b.addr, nullptr);
		sim::bayer_fill_aec_awb(scene, gain, lines, false, cam::cfgctrl.isp3aCtrl.num_regions, std::span(b.addr, b.len / 4));
		std::vector<uint8_t> bytes = stats_message(static_cast<uint32_t>(b.fd));
		kernel().post(cam::RESP_VFE, 0, cam::VFE_STATS_WB_EXP, bytes);
		idle();
	}
};

}  // namespace

TEST_F(BayerCam, ExposureConvergesThroughTheConfigurationThread)
{
	idle();
	ASSERT_EQ(cam::cfgctrl.sensorCtrl.output_format, cam::SENSOR_BAYER);
	ASSERT_NE(cam::cfgctrl.sensorCtrl.tuning, nullptr);
	const cam::sensor_tuning_t &t = *cam::cfgctrl.sensorCtrl.tuning;
	start_preview();
	sim::bayer_scene_t scene;
	scene.light = 0.05;
	scene.pix_per_region = cam::isp3a_pix_per_region(&cam::cfgctrl.sensorCtrl, cam::cfgctrl.isp3aCtrl.num_regions);
	int i = cam::cfgctrl.isp3aCtrl.aec_state.exp_index;
	uint32_t gain = static_cast<uint32_t>(t.exp_gain[i]), lines = static_cast<uint32_t>(t.exp_lines[i]);
	for (int k = 0; k < 40; k++) {
		stats_frame(k, scene, gain, lines);
		last_exposure(&gain, &lines);
	}
	const cam::aec_state_t &a = cam::cfgctrl.isp3aCtrl.aec_state;
	EXPECT_GT(a.aec_frame_cnt, 0u);
	EXPECT_NEAR(a.current_luma, a.luma_target, 0.05 * a.luma_target);
	EXPECT_GT(count_requests(kernel().log(), cam::MSM_CAM_IOCTL_SENSOR_CFG), 10u);
	stop_preview();
	std::ifstream f(board_dir() + "/data/awbautocal.bin", std::ios::binary);
	EXPECT_TRUE(f.good());  // written at the stop of preview
}

TEST_F(BayerCam, StatisticsOfAnUnknownBufferAreOnlyReported)
{
	idle();
	start_preview();
	std::vector<uint8_t> bytes = stats_message(12345);
	kernel().post(cam::RESP_VFE, 0, cam::VFE_STATS_WB_EXP, bytes);
	idle();
	EXPECT_EQ(cam::cfgctrl.isp3aCtrl.aec_state.aec_frame_cnt, 0u);
	EXPECT_EQ(count_requests(kernel().log(), cam::MSM_CAM_IOCTL_RELEASE_STATS_BUFFER), 1u);  // still given back
}

TEST_F(BayerCam, NoExposureOrWhiteBalanceDuringAFocusSearch)
{
	idle();
	start_preview();
	sim::bayer_scene_t scene;
	scene.pix_per_region = cam::isp3a_pix_per_region(&cam::cfgctrl.sensorCtrl, cam::cfgctrl.isp3aCtrl.num_regions);
	stats_frame(0, scene, 256, 100);  // the first frame after the set-up is skipped
	stats_frame(1, scene, 256, 100);
	uint32_t before = cam::cfgctrl.isp3aCtrl.aec_state.aec_frame_cnt;
	EXPECT_EQ(before, 1u);
	cam::af_ctrl()->state = cam::AF_GATHER_STATS_FINE;  // a search runs
	stats_frame(2, scene, 256, 100);
	EXPECT_EQ(cam::cfgctrl.isp3aCtrl.aec_state.aec_frame_cnt, before);
	EXPECT_EQ(count_requests(kernel().log(), cam::MSM_CAM_IOCTL_RELEASE_STATS_BUFFER), 3u);  // the buffers keep flowing
	cam::af_ctrl()->state = cam::AF_INACTIVE;
	stats_frame(0, scene, 256, 100);
	EXPECT_EQ(cam::cfgctrl.isp3aCtrl.aec_state.aec_frame_cnt, before + 1);
}
