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
#include "camera/vfe/contrast.h"
#include "camera/vfe/vfe_tables.h"
#include "sim/bayer_dsp.h"
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

	// The VFE records the driver was sent, in order, read into a DSP path.
	sim::camera::bayer_path_t sent_path()
	{
		sim::camera::bayer_path_t p;
		for (const auto &r : kernel().log())
			if (r.request == cam::MSM_CAM_IOCTL_VFE_COMMAND)
				sim::camera::bayer_take_record(p, r.queue, r.number, r.bytes);
		return p;
	}

	// A preview started and stopped, so the Bayer records are set up; the
	// sensor's tuning, or null (the caller asserts).
	const cam::sensor_tuning_t *after_a_preview()
	{
		idle();
		start_preview();
		stop_preview();
		idle();
		return cam::cfgctrl.sensorCtrl.tuning;
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

TEST_F(BayerCam, SnapshotsTakeThePreviewsExposureAfterTheModeChange)
{
	idle();
	const cam::sensor_tuning_t *t = cam::cfgctrl.sensorCtrl.tuning;
	ASSERT_NE(t, nullptr);
	sim::bayer_scene_t scene;
	scene.pix_per_region = cam::isp3a_pix_per_region(&cam::cfgctrl.sensorCtrl, 256);
	// A dark scene and a bright one: the picture's exposure follows each.
	struct Row {
		uint16_t command;
		double light;
		uint32_t axi;
	} rows[] = {{cam::CAMERA_START_RAW_SNAPSHOT, 0.01, 6}, {cam::CAMERA_START_SNAPSHOT, 2.0, 2}};
	for (const Row &r : rows) {
		start_preview();
		int i = cam::cfgctrl.isp3aCtrl.aec_state.exp_index;
		uint32_t gain = static_cast<uint32_t>(t->exp_gain[i]), lines = static_cast<uint32_t>(t->exp_lines[i]);
		scene.light = r.light;
		for (int k = 0; k < 40; k++) {
			stats_frame(k, scene, gain, lines);
			last_exposure(&gain, &lines);
		}
		stop_preview();
		kernel().clear_log();
		ASSERT_EQ(send(r.command).status, 1) << r.light;
		idle();
		// In order: the sensor to snapshot mode, its exposure, the VFE set-up
		// for the picture.
		auto log = kernel().log();
		auto is_mode = [](const sim::camera::Recorded &x) {
			return x.request == cam::MSM_CAM_IOCTL_SENSOR_CFG && x.cmd_type == cam::CFG_SET_MODE && x.queue == 1;
		};
		auto mode = std::find_if(log.begin(), log.end(), is_mode);
		ASSERT_NE(mode, log.end()) << r.light;
		auto exposure = std::find_if(mode, log.end(), [](const sim::camera::Recorded &x) {
			return x.request == cam::MSM_CAM_IOCTL_SENSOR_CFG && x.cmd_type == cam::CFG_SET_EXP_GAIN;
		});
		ASSERT_NE(exposure, log.end()) << r.light;
		EXPECT_EQ(exposure->queue, gain) << r.light;
		EXPECT_EQ(exposure->number, lines) << r.light;
		auto axi = std::find_if(log.begin(), log.end(), [&](const sim::camera::Recorded &x) {
			return x.request == cam::MSM_CAM_IOCTL_AXI_CONFIG && x.cmd_type == r.axi;
		});
		ASSERT_NE(axi, log.end()) << r.light;
		EXPECT_LT(exposure - log.begin(), axi - log.begin()) << r.light;
		EXPECT_EQ(cam::cfgctrl.isp3aCtrl.aec_state.snapshot_gain, gain) << r.light;
		EXPECT_NEAR(cam::aec_ctrl()->exposure_time_ms, lines / 30.0, 1e-3) << r.light;  // 30000 lines a second
	}
}

TEST_F(BayerCam, StatisticsOfAnUnknownBufferAreReportedAndStillRun)
{
	idle();
	start_preview();
	idle();
	cam::cfgctrl.isp3aCtrl.curAwbAecBuf = 1;
	std::vector<uint8_t> bytes = stats_message(12345);
	kernel().post(cam::RESP_VFE, 0, cam::VFE_STATS_WB_EXP, bytes);  // the skipped first frame
	idle();
	EXPECT_EQ(cam::cfgctrl.isp3aCtrl.aec_state.aec_frame_cnt, 0u);
	kernel().post(cam::RESP_VFE, 0, cam::VFE_STATS_WB_EXP, bytes);
	idle();
	EXPECT_EQ(cam::cfgctrl.isp3aCtrl.aec_state.aec_frame_cnt, 1u);  // on the buffer noted last
	EXPECT_EQ(cam::cfgctrl.isp3aCtrl.curAwbAecBuf, 1u);
	EXPECT_EQ(count_requests(kernel().log(), cam::MSM_CAM_IOCTL_RELEASE_STATS_BUFFER), 2u);  // still given back
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

namespace {

// The last record of a command number on the command queue.
const sim::camera::Recorded *last_record(const std::vector<sim::camera::Recorded> &log, uint32_t number,
					 uint32_t cmd_type = 0)
{
	const sim::camera::Recorded *found = nullptr;
	for (const auto &r : log)
		if (r.request == cam::MSM_CAM_IOCTL_VFE_COMMAND && r.queue == cam::VFE_QUEUE_CMD && r.number == number &&
		    r.cmd_type == cmd_type)
			found = &r;
	return found;
}
// The record points into the log: a log that is about to go is refused.
const sim::camera::Recorded *last_record(std::vector<sim::camera::Recorded> &&, uint32_t, uint32_t = 0) = delete;

uint32_t word_at(const std::vector<uint8_t> &bytes, size_t off)
{
	uint32_t w = 0;
	if (off + 4 <= bytes.size())
		std::memcpy(&w, bytes.data() + off, 4);
	return w;
}

}  // namespace

TEST_F(BayerCam, PreviewSendsTheBayerRecordsAndTurnsStatisticsOn)
{
	idle();
	kernel().clear_log();
	start_preview();
	idle();
	auto log = kernel().log();
	const auto *stats = last_record(log, cam::VFE_CMD_STATS_WB_EXP_CFG, cam::VFE_STATS_ENABLE);
	ASSERT_NE(stats, nullptr);
	EXPECT_EQ(stats->bytes[4] & 1, 1);  // enabled
	// The white box of normal light, four bytes further on than in an update.
	ASSERT_NE(cam::cfgctrl.sensorCtrl.tuning, nullptr);
	cam::awb_box_t box = cam::tuning_box(cam::cfgctrl.sensorCtrl.tuning->box_normal);
	EXPECT_EQ(stats->bytes[10], box.y_min);
	EXPECT_EQ(stats->bytes[11], box.y_max);
	EXPECT_EQ(stats->bytes[15], box.slope[3]);
	EXPECT_EQ(word_at(stats->bytes, 16) >> 16 & 0xFFF, cam::vfe_field(box.intercept[0], 12));  // Cb line 1
	EXPECT_EQ(word_at(stats->bytes, 20) & 0xFFF, cam::vfe_field(box.intercept[3], 12));         // Cr line 4
	// The three statistics buffers go out in the record.
	const auto &bufs = cam::cfgctrl.isp3aCtrl.AecAwbBuf;
	EXPECT_EQ(word_at(stats->bytes, 28), static_cast<uint32_t>(reinterpret_cast<uintptr_t>(bufs[0].addr)));
	EXPECT_NE(last_record(log, cam::VFE_CMD_STATS_AF_CFG, cam::VFE_STATS_AF), nullptr);
	const auto *wb = last_record(log, cam::VFE_CMD_WHITE_BALANCE_CFG);
	ASSERT_NE(wb, nullptr);
	const float *g = cam::cfgctrl.isp3aCtrl.wb_gain;
	EXPECT_EQ(word_at(wb->bytes, 4) & 0x1FF, static_cast<uint32_t>(g[1] * 128.0));
	EXPECT_NE(last_record(log, cam::VFE_CMD_DEMOSAIC_CFG), nullptr);
	EXPECT_NE(last_record(log, cam::VFE_CMD_BLACK_LEVEL_CFG), nullptr);
	// The start record: active region less 12 and 6.
	const auto *start = last_record(log, cam::VFE_CMD_START);
	ASSERT_NE(start, nullptr);
	const auto &region = cam::cfgctrl.vfeCtrl.vcmd->VFE_ActiveRegionCfgCmd;
	EXPECT_EQ(word_at(start->bytes, 12) & 0xFFF, region.get(4, 0, 13) + 1 - 12);
	EXPECT_EQ((word_at(start->bytes, 12) >> 16) & 0xFFF, region.get(8, 0, 13) + 1 - 6);
}

TEST_F(BayerCam, WhiteBalanceResultsReachTheRecords)
{
	idle();
	start_preview();
	idle();
	set_board("camera.dsp", "silent");
	cam::vfe_ctrl_t &v = cam::cfgctrl.vfeCtrl;
	v.InVfeUpdate = 0;
	kernel().clear_log();
	cam::isp3a_update_t &u = cam::cfgctrl.isp3aCtrl.update_record;
	u.box = {12, 230, {1, 2, 3, 4}, {-8, 9, -10, 11}};
	u.bounding_box_update = 1;
	u.r_gain = 2.0f, u.g_gain = 1.0f, u.b_gain = 1.5f;
	u.wb_update = 1;
	u.wb_applied = 1;
	EXPECT_TRUE(cam::vfe_stats_update(1, &cam::cfgctrl));
	auto log = kernel().log();
	const auto *bounds = last_record(log, cam::VFE_CMD_STATS_WB_EXP_UPDATE);
	ASSERT_NE(bounds, nullptr);
	EXPECT_EQ(bounds->bytes[6], 12);
	EXPECT_EQ(bounds->bytes[7], 230);
	EXPECT_EQ(word_at(bounds->bytes, 12) >> 16 & 0xFFF, 0xFF8u);  // Cb line 1, 12 bits
	const auto *wb = last_record(log, cam::VFE_CMD_WHITE_BALANCE_CFG);
	ASSERT_NE(wb, nullptr);
	uint32_t w = word_at(wb->bytes, 4);
	EXPECT_EQ(w & 0x1FF, 128u);
	EXPECT_EQ((w >> 9) & 0x1FF, 192u);
	EXPECT_EQ((w >> 18) & 0x1FF, 256u);
	EXPECT_EQ(u.wb_update, 0);  // taken
	// Unflagged results send nothing.
	kernel().clear_log();
	EXPECT_TRUE(cam::vfe_stats_update(1, &cam::cfgctrl));
	EXPECT_TRUE(kernel().log().empty());
}

TEST_F(BayerCam, ContrastBuildsTheLumaGammaFromTheTuningAndRestarts)
{
	const cam::sensor_tuning_t *t = after_a_preview();
	ASSERT_NE(t, nullptr);
	auto &b = *cam::cfgctrl.vfeCtrl.vcmd;
	const auto rgb_before = b.VFE_RGB_GammaCfgCmd;
	cam::cfgctrl.vfeCtrl.restart = 0;
	cam::cfgctrl.effectsCtrl.special_effect.current_value = 0;
	cam::vfe_preview_putgammatable(&cam::cfgctrl, 0, 8, 3);
	const auto *y = reinterpret_cast<const uint8_t *>(b.VFE_Y_GammaCfgCmd.w.data() + 2);
	const auto &curve = cam::ipl_gamma_sigmoid(8);
	for (size_t i = 0; i < cam::GAMMA_ENTRIES; ++i)
		ASSERT_EQ(y[i], curve[t->gamma[i]] & 0xFF) << i;  // the first table
	EXPECT_EQ(b.VFE_Y_GammaCfgCmd.w[1], 1u);  // the record's own words stay
	EXPECT_EQ(b.VFE_RGB_GammaCfgCmd.w, rgb_before.w);
	EXPECT_EQ(cam::cfgctrl.vfeCtrl.restart, 1);
	// The neutral step is the tuning's table itself.
	cam::vfe_preview_putgammatable(&cam::cfgctrl, 0, 5, 3);
	EXPECT_TRUE(std::equal(y, y + cam::GAMMA_ENTRIES, t->gamma.begin()));
	// A step with no curve leaves the table as it was.
	cam::vfe_preview_putgammatable(&cam::cfgctrl, 0, 11, 3);
	EXPECT_TRUE(std::equal(y, y + cam::GAMMA_ENTRIES, t->gamma.begin()));
}

// The tree's sensor is gamma-corrected, so a client's contrast step
// reaches the picture at the next preview through the Y record: darks
// darker, lights lighter, the colour of neither moved.
TEST_F(BayerCam, AContrastStepReachesThePicturesLumaOnly)
{
	ASSERT_NE(after_a_preview(), nullptr);
	ASSERT_EQ(cam::cfgctrl.sensorCtrl.gamma_enable, 1);
	const sim::camera::bayer_path_t neutral = sent_path();
	ASSERT_TRUE(neutral.enables.rgb_gamma && neutral.y_gamma.table);
	// A step builds its table from the contrast before it: 7 then 8 puts
	// the curve of 7 in the Y record.
	EXPECT_EQ(send(cam::CAMERA_SET_PARM_CONTRAST, 7).status, 1);
	EXPECT_EQ(send(cam::CAMERA_SET_PARM_CONTRAST, 8).status, 1);
	EXPECT_EQ(cam::cfgctrl.vfeCtrl.restart, 1);
	cam::cfgctrl.vfeCtrl.restart = 0;  // the next preview is the restart
	kernel().clear_log();
	after_a_preview();
	const sim::camera::bayer_path_t steep = sent_path();
	EXPECT_EQ(steep.rgb_gamma.at, neutral.rgb_gamma.at);
	auto pixel = [](const sim::camera::bayer_path_t &p, double r, double g, double b) {
		std::array<uint8_t, 3> ycc{};
		sim::camera::bayer_process(p, {r, g, b}, 1, 1, 2, 2, &ycc[0], &ycc[1], &ycc[2]);
		return ycc;
	};
	struct row {
		const char *what;
		std::array<double, 3> raw;
		int luma_moves;
	};
	const row rows[] = {
	    {"dark grey", {70, 70, 70}, -1},
	    {"light grey", {500, 500, 500}, 1},
	    {"dark red", {120, 50, 40}, -1},
	    {"light blue", {300, 450, 700}, 1},
	};
	for (const row &r : rows) {
		auto was = pixel(neutral, r.raw[0], r.raw[1], r.raw[2]), got = pixel(steep, r.raw[0], r.raw[1], r.raw[2]);
		int moved = got[0] - was[0];
		EXPECT_EQ((moved > 0) - (moved < 0), r.luma_moves) << r.what << ": " << int(was[0]) << " to " << int(got[0]);
		EXPECT_EQ(got[1], was[1]) << r.what;
		EXPECT_EQ(got[2], was[2]) << r.what;
	}
	// Between the two greys the spread grows by the curve's slope.
	auto spread = [&](const sim::camera::bayer_path_t &p) {
		return pixel(p, 500, 500, 500)[0] - pixel(p, 70, 70, 70)[0];
	};
	EXPECT_GT(spread(steep), spread(neutral) + 10);
}

TEST_F(BayerCam, DefaultConversionThroughTheWriterIsTheDefaultRecord)
{
	const cam::sensor_tuning_t *t = after_a_preview();
	ASSERT_NE(t, nullptr);
	auto &r = cam::cfgctrl.vfeCtrl.vcmd->VFE_ColorProcessingCfgCmd;
	r = cam::VFE_DefaultColorProcessingCfgCmd;
	for (size_t i = 8; i < 15; ++i)
		r.w[i] = 0xFFFFFFFFu;
	kernel().clear_log();
	EXPECT_TRUE(cam::vfe_util_updateconversincolorprcess(&cam::cfgctrl, cam::cfgctrl.sensorCtrl.tuned.cc_default));
	EXPECT_EQ(r.w, cam::VFE_DefaultColorProcessingCfgCmd.w);
	const auto log = kernel().log();  // the record found points into it
	const auto *sent = last_record(log, cam::VFE_CMD_COLOR_PROCESSING_CFG);
	ASSERT_NE(sent, nullptr);
	ASSERT_EQ(sent->bytes.size(), 60u);
	EXPECT_EQ(word_at(sent->bytes, 52), 0x96004Du);  // luma coefficients of r and g
	EXPECT_EQ(word_at(sent->bytes, 56), 0x1Du);
	EXPECT_EQ(cam::cfgctrl.isp3aCtrl.update_record.conversion, cam::cfgctrl.sensorCtrl.tuned.cc_default);
}

namespace {

// The conversion of the last colour record the DSP was sent.
cam::colour_conversion_t sent_conversion(const std::vector<sim::camera::Recorded> &log)
{
	const auto *sent = last_record(log, cam::VFE_CMD_COLOR_PROCESSING_CFG);
	cam::vfe_rec<60> r{};
	if (sent && sent->bytes.size() == 60)
		std::memcpy(r.w.data(), sent->bytes.data(), 60);
	return cam::colour_get_conversion(r);
}

bool gamma_is(const cam::vfe_cmd_block_t &b, const uint8_t *table)
{
	const auto *rgb = reinterpret_cast<const uint8_t *>(b.VFE_RGB_GammaCfgCmd.w.data() + 2);
	const auto *y = reinterpret_cast<const uint8_t *>(b.VFE_Y_GammaCfgCmd.w.data() + 2);
	return std::equal(rgb, rgb + 1024, table) && std::equal(y, y + 1024, table);
}

}  // namespace

TEST_F(BayerCam, ColourEffectsWriteTheirConversionAndKeepTheGamma)
{
	const cam::sensor_tuning_t *t = after_a_preview();
	ASSERT_NE(t, nullptr);
	auto &b = *cam::cfgctrl.vfeCtrl.vcmd;
	cam::vfe_util_updategammafromtuning(&cam::cfgctrl);
	const auto correction = b.VFE_ColorProcessingCfgCmd.w[1];
	const std::pair<uint32_t, const cam::colour_conversion_t *> effects[] = {
	    {1, &cam::cfgctrl.sensorCtrl.tuned.cc_sepia}, {2, &cam::cfgctrl.sensorCtrl.tuned.cc_mono}, {3, &cam::cfgctrl.sensorCtrl.tuned.cc_negative}, {4, &cam::cfgctrl.sensorCtrl.tuned.cc_aqua}};
	for (const auto &[effect, matrix] : effects) {
		kernel().clear_log();
		EXPECT_TRUE(cam::vfe_util_set_special_effect(&cam::cfgctrl, effect));
		EXPECT_EQ(sent_conversion(kernel().log()), *matrix) << effect;
		EXPECT_TRUE(gamma_is(b, t->gamma.data())) << effect;
		// The correction part stays as it was.
		EXPECT_EQ(b.VFE_ColorProcessingCfgCmd.w[1], correction);
	}
	// The matrices differ, so each effect above was told apart.
	EXPECT_NE(cam::cfgctrl.sensorCtrl.tuned.cc_sepia, cam::cfgctrl.sensorCtrl.tuned.cc_aqua);
	EXPECT_NE(cam::cfgctrl.sensorCtrl.tuned.cc_mono, cam::cfgctrl.sensorCtrl.tuned.cc_default);
}

TEST_F(BayerCam, GammaEffectsLoadTheirTablesAndOffRestoresTheTuning)
{
	const cam::sensor_tuning_t *t = after_a_preview();
	ASSERT_NE(t, nullptr);
	auto &b = *cam::cfgctrl.vfeCtrl.vcmd;
	cam::cfgctrl.isp3aCtrl.update_record.conversion = cam::cfgctrl.sensorCtrl.tuned.cc_fluorescent;  // 3A's last choice
	const std::pair<uint32_t, const uint8_t *> effects[] = {{5, cam::PosterizationGammaTbl.data()},
								{6, cam::BlackboardGammaTbl.data()},
								{7, cam::WhiteboardGammaTbl.data()},
								{8, t->solarize_gamma.data()}};
	for (const auto &[effect, table] : effects) {
		ASSERT_TRUE(cam::vfe_util_set_special_effect(&cam::cfgctrl, 2));  // mono first
		kernel().clear_log();
		EXPECT_TRUE(cam::vfe_util_set_special_effect(&cam::cfgctrl, effect));
		EXPECT_TRUE(gamma_is(b, table)) << effect;
		// Mono's matrix is gone: the colour is 3A's again.
		EXPECT_EQ(sent_conversion(kernel().log()), cam::cfgctrl.sensorCtrl.tuned.cc_fluorescent) << effect;
		EXPECT_EQ(cam::cfgctrl.effectsCtrl.effect_flag[2], 1) << effect;
	}
	// Solarize turns highlights dark: its table falls after the middle.
	EXPECT_GT(t->solarize_gamma[512], t->solarize_gamma[1023] + 100);
	kernel().clear_log();
	EXPECT_TRUE(cam::vfe_util_set_special_effect(&cam::cfgctrl, 0));
	EXPECT_TRUE(gamma_is(b, t->gamma.data()));
	EXPECT_EQ(sent_conversion(kernel().log()), cam::cfgctrl.sensorCtrl.tuned.cc_fluorescent);
	// Before 3A chose any, the sensor's default conversion comes back.
	cam::cfgctrl.isp3aCtrl.update_record.conversion = {};
	ASSERT_TRUE(cam::vfe_util_set_special_effect(&cam::cfgctrl, 3));
	kernel().clear_log();
	EXPECT_TRUE(cam::vfe_util_set_special_effect(&cam::cfgctrl, 0));
	EXPECT_EQ(sent_conversion(kernel().log()), cam::cfgctrl.sensorCtrl.tuned.cc_default);
}

TEST_F(BayerCam, TheClientsSepiaReachesTheColourRecord)
{
	const cam::sensor_tuning_t *t = after_a_preview();
	ASSERT_NE(t, nullptr);
	cam::cfgctrl.effectsCtrl.special_effect.current_value = 1;
	kernel().clear_log();
	EXPECT_TRUE(cam::effects_set_special_effect(&cam::cfgctrl.effectsCtrl, 8));  // the client's sepia
	EXPECT_EQ(sent_conversion(kernel().log()), cam::cfgctrl.sensorCtrl.tuned.cc_sepia);
}

TEST_F(BayerCam, InitTakesTheTuningAndTheSensorsLimits)
{
	idle();
	const cam::sensor_tuning_t *t = cam::cfgctrl.sensorCtrl.tuning;
	ASSERT_NE(t, nullptr);
	cam::vfe_ctrl_t v{};
	v.vcmd = cam::cfgctrl.vfeCtrl.vcmd;
	cam::sensor_ctrl_t s = cam::cfgctrl.sensorCtrl;
	s.ycbcr_min = 20;
	s.ycbcr_max = 230;
	cam::vfe_util_init(&v, &s);
	const auto &b = *v.vcmd;
	for (const auto *r : {&b.VFE_ColorProcessingCfgCmd, &b.VFE_ColorProcessingCfgCmd2}) {
		EXPECT_EQ(cam::colour_get_conversion(*r), cam::cfgctrl.sensorCtrl.tuned.cc_default);
		// 1.60 and -0.40 in Q7, the tuning's factor being 0.
		EXPECT_EQ(r->w[1], (static_cast<uint32_t>(-51) & 0xFFF) << 16 | 204u);
		EXPECT_EQ(r->w[7] & 3u, 0u);
	}
	EXPECT_EQ(std::memcmp(b.VFE_RGB_GammaCfgCmd.w.data() + 2, t->gamma.data(), 1024), 0);
	EXPECT_EQ(std::memcmp(b.VFE_Y_GammaCfgCmd.w.data() + 2, t->gamma.data(), 1024), 0);
	EXPECT_EQ(b.VFE_BlackLevelCfgCmd.get(4, 0, 9), static_cast<uint32_t>(t->black_level[0]));
	EXPECT_EQ(b.VFE_BlackLevelCfgCmd.get(6, 0, 9), static_cast<uint32_t>(t->black_level[1]));
	EXPECT_NE(b.VFE_BlackLevelCfgCmd.w, cam::VFE_DefaultBlackLevelCfgCmd.w);
	EXPECT_EQ(b.VFE_OutputClampCfgCmd.w[1], 230u * 0x010101u);
	EXPECT_EQ(b.VFE_OutputClampCfgCmd.w[2], 20u * 0x010101u);
	// A YCbCr sensor takes the defaults as they stand.
	s.output_format = cam::SENSOR_YCBCR;
	cam::vfe_util_init(&v, &s);
	EXPECT_EQ(b.VFE_ColorProcessingCfgCmd.w, cam::VFE_DefaultColorProcessingCfgCmd.w);
	EXPECT_EQ(b.VFE_OutputClampCfgCmd.w, cam::VFE_DefaultOutputClampCfgCmd.w);
	EXPECT_EQ(b.VFE_BlackLevelCfgCmd.w, cam::VFE_DefaultBlackLevelCfgCmd.w);
	cam::vfe_util_init(&cam::cfgctrl.vfeCtrl, &cam::cfgctrl.sensorCtrl);  // leave the block as the thread had it
}
