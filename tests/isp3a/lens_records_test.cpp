// The lens records of the Bayer path as the DSP receives them: the roll-off
// table and the adaptive filter, built from the tuning file of the board.
#include <cmath>
#include <cstring>

#include "camera/cam_fixture.h"
#include "camera/sensor/bayersim.h"

using namespace camtest;

namespace {

class LensRecords : public CamConf {
protected:
	std::map<std::string, std::string> board() const override { return {{"camera.sensor", "bayersim"}}; }

	// The last record of a number on a queue.
	static std::vector<uint8_t> last(uint16_t queue, uint32_t number)
	{
		std::vector<uint8_t> found;
		for (const auto &r : kernel().log())
			if (r.request == cam::MSM_CAM_IOCTL_VFE_COMMAND && r.queue == queue && r.number == number)
				found = r.bytes;
		return found;
	}
};

uint32_t word(const std::vector<uint8_t> &b, size_t at)
{
	uint32_t w = 0;
	if (at + 4 <= b.size())
		std::memcpy(&w, b.data() + at, 4);
	return w;
}

int16_t half(const std::vector<uint8_t> &b, size_t at)
{
	int16_t h = 0;
	if (at + 2 <= b.size())
		std::memcpy(&h, b.data() + at, 2);
	return h;
}

// A 19-bit two's complement field as a number.
int32_t slope_of(uint32_t w)
{
	int32_t s = static_cast<int32_t>(w & 0x7FFFF);
	return s >= (1 << 18) ? s - (1 << 19) : s;
}

}  // namespace

TEST_F(LensRecords, PreviewSendsTheTunedRollOffTable)
{
	idle();
	kernel().clear_log();
	start_preview();
	idle();
	ASSERT_NE(cam::cfgctrl.sensorCtrl.tuning, nullptr);
	const cam::sensor_tuning_t &t = *cam::cfgctrl.sensorCtrl.tuning;
	std::vector<uint8_t> r = last(cam::VFE_QUEUE_TABLE, cam::VFE_CMD_ROLL_OFF_CFG);
	ASSERT_EQ(r.size(), 520u);
	EXPECT_EQ(word(r, 4) & 0xFFF, 1296u);           // centre x, 12 bits
	EXPECT_EQ((word(r, 4) >> 16) & 0xFFF, 972u);    // centre y, in the next half
	const std::array<float, cam::ROLLOFF_ROWS> *gains[3] = {&t.rolloff_gain_r, &t.rolloff_gain_g, &t.rolloff_gain_b};
	for (int i = 0; i < cam::ROLLOFF_ROWS; ++i) {
		SCOPED_TRACE(i);
		size_t row = 8 + 16 * static_cast<size_t>(i);
		EXPECT_EQ(word(r, row), static_cast<uint32_t>(t.rolloff_radius_sq[i]));
		for (int c = 0; c < 3; ++c) {
			uint32_t w = word(r, row + 4 + 4 * static_cast<size_t>(c));
			const auto &g = *gains[c];
			EXPECT_EQ(w >> 19, static_cast<uint32_t>(g[i] * 1024.0)) << c;  // Q10, truncated
			int32_t want = 0;
			if (i + 1 < cam::ROLLOFF_ROWS)
				want = static_cast<int32_t>(std::ldexp(double(g[i + 1]) - g[i], 30) /
							    double(t.rolloff_radius_sq[i + 1] - t.rolloff_radius_sq[i]));
			EXPECT_EQ(slope_of(w), want) << c;
		}
	}
	// The tuning's gains rise outwards, so do the slopes' signs.
	EXPECT_GT(slope_of(word(r, 8 + 16 * 20 + 4)), 0);
	const auto start = last(cam::VFE_QUEUE_CMD, cam::VFE_CMD_START);
	ASSERT_FALSE(start.empty());
	EXPECT_EQ((start[8] >> 1) & 1, 1);  // lensRollOffCorrectionEnable
	EXPECT_EQ((start[8] >> 5) & 1, 1);  // adaptiveSpatialFilterEnable
}

TEST_F(LensRecords, PreviewSendsTheTunedAdaptiveFilter)
{
	idle();
	kernel().clear_log();
	start_preview();
	idle();
	std::vector<uint8_t> r = last(cam::VFE_QUEUE_CMD, cam::VFE_CMD_ADAPTIVE_FILTER_CFG);
	ASSERT_EQ(r.size(), 32u);
	EXPECT_EQ(r[4], 2);    // sharp mode
	EXPECT_EQ(r[5], 8);    // Q
	EXPECT_EQ(r[6], 4);    // lower threshold
	EXPECT_EQ(r[7], 200);  // upper threshold
	// 0 -0.125 0 / -0.125 1.5 -0.125 / 0 -0.125 0 in Q8.
	const int16_t want[9] = {0, -32, 0, -32, 384, -32, 0, -32, 0};
	for (size_t k = 0; k < 9; ++k)
		EXPECT_EQ(half(r, 8 + 2 * k), want[k]) << k;
	// Mode 2 does not follow the client's sharpness.
	idle();
	kernel().clear_log();
	send(cam::CAMERA_SET_PARM_SHARPNESS, 30);
	idle();
	EXPECT_TRUE(last(cam::VFE_QUEUE_CMD, cam::VFE_CMD_ADAPTIVE_FILTER_CFG).empty());
}

TEST_F(LensRecords, SharpnessScalesTheFilterOfMode3WithinItsLimits)
{
	idle();
	start_preview();
	idle();
	static cam::sensor_tuning_t mode3;
	mode3 = *cam::cfgctrl.sensorCtrl.tuning;
	mode3.asf_mode = 3;
	const cam::sensor_tuning_t *kept = cam::cfgctrl.sensorCtrl.tuning;
	cam::cfgctrl.sensorCtrl.tuning = &mode3;
	// The client's value v gives sharpness v / 10, held within 0.5 and 4;
	// the centre is 1 + 0.5 x k and the sides -0.125 x k, in Q8.
	struct Row {
		int32_t value;
		int16_t centre, side;
	} rows[] = {{20, 512, -64}, {60, 768, -128}, {1, 320, -16}, {10, 384, -32}};
	for (const Row &row : rows) {
		SCOPED_TRACE(row.value);
		idle();
		kernel().clear_log();
		send(cam::CAMERA_SET_PARM_SHARPNESS, row.value);
		idle();
		std::vector<uint8_t> r = last(cam::VFE_QUEUE_CMD, cam::VFE_CMD_ADAPTIVE_FILTER_CFG);
		ASSERT_EQ(r.size(), 32u);
		EXPECT_EQ(r[4], 3);
		EXPECT_EQ(half(r, 8 + 2 * 4), row.centre);
		EXPECT_EQ(half(r, 8 + 2 * 1), row.side);
		EXPECT_EQ(half(r, 8 + 2 * 0), 0);
	}
	idle();
	cam::cfgctrl.sensorCtrl.tuning = kept;
}

TEST_F(LensRecords, AFilterOffOrWithoutASharpModeIsNotSentAndNotEnabled)
{
	idle();
	static cam::sensor_tuning_t off;
	off = *cam::cfgctrl.sensorCtrl.tuning;
	const cam::sensor_tuning_t *kept = cam::cfgctrl.sensorCtrl.tuning;
	for (int32_t mode : {0, 1}) {
		SCOPED_TRACE(mode);
		off.asf_mode = mode;
		cam::cfgctrl.sensorCtrl.tuning = &off;
		kernel().clear_log();
		start_preview();
		idle();
		EXPECT_TRUE(last(cam::VFE_QUEUE_CMD, cam::VFE_CMD_ADAPTIVE_FILTER_CFG).empty());
		const auto start = last(cam::VFE_QUEUE_CMD, cam::VFE_CMD_START);
		ASSERT_FALSE(start.empty());
		EXPECT_EQ((start[8] >> 5) & 1, 0);
		stop_preview();
	}
	idle();
	cam::cfgctrl.sensorCtrl.tuning = kept;
}

TEST_F(LensRecords, TheFocusWindowOfTheSensorReachesTheAutofocusRecord)
{
	idle();
	// Before a preview sets its own window, 3A's start took the sensor's.
	const auto &af = cam::cfgctrl.vfeCtrl.vcmd->VFE_StatsAutofocusCfgCmd;
	EXPECT_EQ(af.get(10, 0, 12), 324u);   // a quarter of 1296 in
	EXPECT_EQ(af.get(8, 0, 12), 243u);    // a quarter of 972 down
	EXPECT_EQ(af.get(14, 0, 11), 648u);   // half the width
	EXPECT_EQ(af.get(12, 0, 11), 486u);   // half the height
}

TEST_F(LensRecords, TheGammaAecChoseGoesIntoBothGammaRecords)
{
	idle();
	start_preview();
	idle();
	cam::isp3a_update_t &u = cam::cfgctrl.isp3aCtrl.update_record;
	for (size_t i = 0; i < u.gamma.size(); ++i)
		u.gamma[i] = static_cast<uint8_t>(255 - i / 4);
	u.gamma_update = 1;
	u.color_correction_update = 0;
	EXPECT_TRUE(cam::vfe_stats_update(0, &cam::cfgctrl));
	EXPECT_EQ(u.gamma_update, 0);
	const auto &b = *cam::cfgctrl.vfeCtrl.vcmd;
	for (const auto *r : {&b.VFE_RGB_GammaCfgCmd, &b.VFE_Y_GammaCfgCmd})
		EXPECT_EQ(std::memcmp(reinterpret_cast<const uint8_t *>(r->w.data() + 2), u.gamma.data(), u.gamma.size()), 0);
}
