// The snapshot's exposure: taken from the preview's settled row, traded
// between lines and gain by the ISO mode, the frame rate step and its
// failure, and the exposure time from the sensor's line time.
#include <gtest/gtest.h>

#include <cmath>

#include "camera/isp3a/aec.h"
#include "support/isp3a_rig.h"

using testing_support::isp3a_rig;

namespace {

constexpr double LINE_SECONDS = testing_support::BAYERSIM_LINE_SECONDS;

struct AecSnapshot : ::testing::Test {
	isp3a_rig rig;
	cam::aec_ctrl_t *a = nullptr;
	cam::isp3a_update_t u{};
	void SetUp() override
	{
		ASSERT_TRUE(rig.start());
		a = cam::aec_ctrl();
		ASSERT_NE(a, nullptr);
	}
	int32_t snapshot()
	{
		rig.c.isp3a_op = cam::ISP3A_OP_SNAPSHOT;
		cam::isp3a_ctx_t ctx = cam::isp3a_ctx(&rig.sensor, &rig.c);
		return cam::aec_algo_execution(cam::ISP3A_OP_SNAPSHOT, &ctx, &u, nullptr);
	}
	uint64_t row_exposure(int i) const { return uint64_t(rig.tuning.exp_gain[i]) * uint64_t(rig.tuning.exp_lines[i]); }
};

bool fps_ok(cam::sensor_ctrl_t *, uint16_t) { return true; }

}  // namespace

TEST_F(AecSnapshot, TakesThePreviewsSettledExposure)
{
	// Scenes from bright to dark: the preview settles, the snapshot keeps it.
	for (double light : {3.0, 0.2, 0.004}) {
		rig.scene.light = light;
		for (int k = 0; k < 60; k++)
			rig.frame();
		uint32_t gain = rig.gain, lines = rig.lines;
		int writes = rig.snapshot_writes;
		ASSERT_EQ(snapshot(), 1) << light;
		EXPECT_EQ(rig.snapshot_writes, writes + 1) << light;
		EXPECT_EQ(u.gain, gain) << light;
		EXPECT_EQ(u.line_count, lines) << light;
		EXPECT_EQ(rig.gain, gain) << light;
		EXPECT_EQ(rig.lines, lines) << light;
		EXPECT_EQ(rig.c.aec_state.snapshot_gain, gain) << light;
		EXPECT_EQ(a->snapshot_line_count, lines) << light;
		EXPECT_EQ(u.fps, 7680) << light;  // no frame rate change asked
	}
}

TEST_F(AecSnapshot, EachRowOfTheTableGoesOutAsItIs)
{
	for (int i : {0, 100, 140, 193, 257}) {
		a->out.exp_index = static_cast<int16_t>(i);
		ASSERT_EQ(snapshot(), 1) << i;
		EXPECT_EQ(rig.gain, uint32_t(rig.tuning.exp_gain[i])) << i;
		EXPECT_EQ(rig.lines, uint32_t(rig.tuning.exp_lines[i])) << i;
		EXPECT_FLOAT_EQ(rig.digital_gain, 1.0f) << i;
	}
}

TEST_F(AecSnapshot, IsoModesTradeLinesForGainKeepingTheExposure)
{
	// ISO modes: 1 the tuning's gain (256), 2 ISO 100 (256), 3 to 5 twice
	// the one before. A mode never changes the light the picture gets.
	const uint32_t iso[] = {0, 256, 256, 512, 1024, 2048};
	for (int i : {100, 140, 150, 193}) {
		uint64_t e = row_exposure(i);
		uint32_t last_lines = UINT32_MAX;
		for (int mode = 1; mode <= 5; mode++) {
			ASSERT_TRUE(cam::aec_set_isomode(mode));
			a->out.exp_index = static_cast<int16_t>(i);
			ASSERT_EQ(snapshot(), 1);
			uint64_t got = uint64_t(u.gain) * u.line_count;
			EXPECT_LE(std::llabs(int64_t(got) - int64_t(e)), int64_t(u.line_count / 2 + 1)) << i << " mode " << mode;
			EXPECT_LE(u.line_count, 1000u) << i << " mode " << mode;  // one frame at 30 fps
			EXPECT_GE(u.line_count, 1u);
			if (u.line_count < 1000)  // a free line count: the ISO's gain within a line's worth
				EXPECT_NEAR(u.gain, iso[mode], iso[mode] / double(u.line_count) + 1) << i << " mode " << mode;
			else
				EXPECT_GE(u.gain, iso[mode]) << i << " mode " << mode;  // the frame is full: more gain
			EXPECT_LE(u.line_count, last_lines) << i << " mode " << mode;  // higher ISO, shorter exposure
			last_lines = u.line_count;
			EXPECT_EQ(rig.gain, u.gain);
			EXPECT_EQ(rig.lines, u.line_count);
		}
	}
	// Auto keeps the row.
	ASSERT_TRUE(cam::aec_set_isomode(0));
	a->out.exp_index = 150;
	ASSERT_EQ(snapshot(), 1);
	EXPECT_EQ(u.gain, uint32_t(rig.tuning.exp_gain[150]));
	EXPECT_EQ(u.line_count, uint32_t(rig.tuning.exp_lines[150]));
}

TEST_F(AecSnapshot, GainBeyondTheSensorsGoesDigitalOnlyWithTheCapability)
{
	// Past the sensor's last gain the analog part stops there and the rest
	// is digital, if the sensor has a digital stage.
	cam::aec_snapshot_start_t s{4078, 1000, 7680, 256, 800, 4078, true};
	cam::aec_snapshot_exposure_t e = cam::aec_core_run_adjust_exposure_algorithm_per_iso(s);
	EXPECT_EQ(e.line_count, 800u);  // ISO 100 wants 15930 lines; a frame holds 800
	EXPECT_EQ(e.gain, 4078u);
	EXPECT_NEAR(e.digital_gain, 1000.0 / 800.0, 1e-3);
	s.digital_gain = false;
	e = cam::aec_core_run_adjust_exposure_algorithm_per_iso(s);
	EXPECT_EQ(e.gain, (4078u * 1000 + 400) / 800);
	EXPECT_FLOAT_EQ(e.digital_gain, 1.0f);
	// Through the snapshot: the sensor's last gain (the tuning's last row)
	// lowered to 2000 under a row of 4078; the digital gain is kept only by
	// a capable sensor.
	rig.tuning.exp_gain[257] = 2000;
	for (uint8_t capable : {0, 1}) {
		rig.sensor.camctrl.digital_gain = capable;
		a->out.digital_gain = 1.0f;
		a->out.exp_index = 257;
		ASSERT_EQ(snapshot(), 1);
		EXPECT_EQ(rig.gain, capable ? 2000u : 4078u) << int(capable);
		EXPECT_FLOAT_EQ(rig.digital_gain, capable ? 4078.0f / 2000.0f : 1.0f) << int(capable);
		EXPECT_FLOAT_EQ(rig.c.aec_state.digital_gain, capable ? 4078.0f / 2000.0f : 1.0f) << int(capable);
	}
}

TEST_F(AecSnapshot, AFrameRateTheSensorRefusesStopsTheSnapshot)
{
	a->out.exp_index = 150;
	rig.sensor.fps[1] = 3840;  // the snapshot at 15 fps; the driver has no device: refused
	int writes = rig.snapshot_writes;
	testing::internal::CaptureStderr();
	EXPECT_EQ(snapshot(), 0);
	std::string err = testing::internal::GetCapturedStderr();
	EXPECT_NE(err.find("Failed to change the snapshot fps to :3840"), std::string::npos) << err;
	EXPECT_NE(err.find("aec_algo_snapshot: FAILED...."), std::string::npos) << err;
	EXPECT_EQ(rig.snapshot_writes, writes);  // no exposure without its frame rate
	// Accepted: the exposure goes out and its time counts at the new rate.
	rig.sensor.ops.set_frame_rate = fps_ok;
	testing::internal::CaptureStderr();
	EXPECT_EQ(snapshot(), 1);
	err = testing::internal::GetCapturedStderr();
	EXPECT_EQ(err.find("Failed to change"), std::string::npos) << err;
	EXPECT_EQ(rig.snapshot_writes, writes + 1);
	EXPECT_EQ(u.fps, 3840);
	EXPECT_NEAR(a->exposure_time_ms, 674 * LINE_SECONDS * 1000, 1e-3);
}

TEST_F(AecSnapshot, ExposureTimeIsLinesTimesTheLineTime)
{
	for (int i : {0, 100, 150, 193, 257}) {
		a->out.exp_index = static_cast<int16_t>(i);
		ASSERT_EQ(snapshot(), 1);
		EXPECT_NEAR(a->exposure_time_ms, rig.tuning.exp_lines[i] * LINE_SECONDS * 1000, 1e-3) << i;
	}
	// Another timing: 48 MHz, 2000 pixels a line, 800 lines a frame at 30 fps.
	rig.sensor.timing.lines_per_frame = [](const cam::sensor_ctrl_t *, uint16_t fps) {
		return fps ? uint32_t(48000000ull * 256 / (2000ull * fps)) : 0u;
	};
	a->out.exp_index = 150;  // 674 lines
	ASSERT_EQ(snapshot(), 1);
	EXPECT_NEAR(a->exposure_time_ms, 674 * 2000.0 / 48e6 * 1000, 1e-3);
	EXPECT_EQ(u.line_count, 674u);
}

TEST_F(AecSnapshot, NoLineTimeGivesNoExposureTimeAndNoDivision)
{
	struct Row {
		const char *name;
		uint32_t (*lines_per_frame)(const cam::sensor_ctrl_t *, uint16_t);
	} rows[] = {{"zero lines a frame", [](const cam::sensor_ctrl_t *, uint16_t) { return 0u; }},
		    {"no operation", nullptr}};
	for (const Row &r : rows) {
		rig.sensor.timing.lines_per_frame = r.lines_per_frame;
		a->exposure_time_ms = -1.0f;
		a->out.exp_index = 150;
		ASSERT_EQ(snapshot(), 1) << r.name;
		EXPECT_EQ(a->exposure_time_ms, 0.0f) << r.name;
		EXPECT_EQ(u.line_count, 674u) << r.name;  // the tuning's frame limit stands in
		EXPECT_EQ(cam::aec_get_snapshot_line_time_ms(&rig.sensor, 7680), 0.0f) << r.name;
	}
	EXPECT_EQ(cam::aec_get_snapshot_line_time_ms(nullptr, 7680), 0.0f);
}

TEST_F(AecSnapshot, WithoutAecInTheTuningTheSensorKeepsItsExposure)
{
	rig.tuning.aec_enable = 0;
	int writes = rig.snapshot_writes;
	EXPECT_EQ(snapshot(), 1);
	EXPECT_EQ(rig.snapshot_writes, writes);
}
