// A manual white balance on the Bayer sensor, seen from the DSP: the
// configuration thread takes the client's command and the simulated driver
// records the white balance and colour records that reached the DSP.
#include <cstring>

#include "camera/cam_fixture.h"
#include "camera/vfe/colour_record.h"

using namespace camtest;

namespace {

class ManualWb : public CamConf {
protected:
	std::map<std::string, std::string> board() const override { return {{"camera.sensor", "bayersim"}}; }

	// The records of a command number that reached the DSP's command queue.
	static std::vector<sim::camera::Recorded> sent(uint32_t number)
	{
		std::vector<sim::camera::Recorded> out;
		for (const auto &r : kernel().log())
			if (r.request == cam::MSM_CAM_IOCTL_VFE_COMMAND && r.queue == 25 && r.number == number)
				out.push_back(r);
		return out;
	}
};

uint32_t word_at(const std::vector<uint8_t> &bytes, size_t at)
{
	uint32_t w = 0;
	std::memcpy(&w, bytes.data() + at, sizeof w);
	return w;
}

struct manual {
	int32_t setting;
	std::array<float, 3> cam::sensor_tuning_t::*base;
	size_t reference;  // gain adjustments of this reference light
	cam::sensor_conversion_t cam::sensor_converted_t::*conversion;
};

// The white balance settings and what each takes from the tuning.
const manual settings[] = {
    {3, &cam::sensor_tuning_t::wb_incandescent, 2, &cam::sensor_converted_t::cc_incandescent},
    {4, &cam::sensor_tuning_t::wb_fluorescent, 3, &cam::sensor_converted_t::cc_fluorescent},
    {5, &cam::sensor_tuning_t::wb_daylight, 0, &cam::sensor_converted_t::cc_daylight},
    {6, &cam::sensor_tuning_t::wb_cloudy, 6, &cam::sensor_converted_t::cc_daylight},
};

uint32_t q7(double gain) { return static_cast<uint32_t>(std::min(gain * 128.0, 511.0)); }

}  // namespace

TEST_F(ManualWb, EachSettingSendsItsGainsAndColourToTheDsp)
{
	idle();
	start_preview();
	ASSERT_NE(cam::cfgctrl.sensorCtrl.tuning, nullptr);
	const cam::sensor_tuning_t &t = *cam::cfgctrl.sensorCtrl.tuning;
	for (const manual &m : settings) {
		SCOPED_TRACE(m.setting);
		idle();
		kernel().clear_log();
		Answer a = send(cam::CAMERA_SET_PARM_WB, m.setting);
		ASSERT_EQ(a.rc, 0);
		EXPECT_EQ(a.status, 1);
		auto wb = sent(cam::VFE_CMD_WHITE_BALANCE_CFG);
		ASSERT_EQ(wb.size(), 1u);
		const auto &base = t.*m.base;
		double s = t.wb_gain_scale;
		uint32_t w = word_at(wb[0].bytes, 4);
		EXPECT_EQ(w & 0x1FF, q7(base[1] * s));                                   // green
		EXPECT_EQ((w >> 9) & 0x1FF, q7(base[2] * s * t.b_gain_adj[m.reference]));  // blue
		EXPECT_EQ((w >> 18) & 0x1FF, q7(base[0] * s * t.r_gain_adj[m.reference])); // red
		auto colour = sent(cam::VFE_CMD_COLOR_PROCESSING_CFG);
		ASSERT_EQ(colour.size(), 1u);
		cam::vfe_rec<60> record;
		ASSERT_EQ(colour[0].bytes.size(), sizeof record.w);
		std::memcpy(record.w.data(), colour[0].bytes.data(), sizeof record.w);
		EXPECT_EQ(cam::colour_get_conversion(record), cam::cfgctrl.sensorCtrl.tuned.*m.conversion);
	}
}

TEST_F(ManualWb, AnEffectKeepsTheColourRecord)
{
	idle();
	start_preview();
	ASSERT_EQ(send(cam::CAMERA_SET_PARM_EFFECT, 2).rc, 0);  // mono
	idle();
	kernel().clear_log();
	EXPECT_EQ(send(cam::CAMERA_SET_PARM_WB, 5).status, 1);
	EXPECT_EQ(sent(cam::VFE_CMD_WHITE_BALANCE_CFG).size(), 1u);
	EXPECT_TRUE(sent(cam::VFE_CMD_COLOR_PROCESSING_CFG).empty());
}

TEST_F(ManualWb, SettingsOutsideTheTableSendNothing)
{
	idle();
	start_preview();
	for (int32_t setting : {0, 2, 7, 8, -1}) {
		SCOPED_TRACE(setting);
		idle();
		kernel().clear_log();
		EXPECT_EQ(send(cam::CAMERA_SET_PARM_WB, setting).status, 0);
		EXPECT_TRUE(sent(cam::VFE_CMD_WHITE_BALANCE_CFG).empty());
		EXPECT_TRUE(sent(cam::VFE_CMD_COLOR_PROCESSING_CFG).empty());
	}
}
