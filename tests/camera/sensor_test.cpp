// The sensor layer: probe by the kernel's name, the drivers' settings, the
// frame-rate lists, conversions and null operation slots.
#include "cam_fixture.h"

#include "camera/sensor/sensor.h"

namespace camtest {
namespace {

using namespace cam;

// A probe on the simulated driver without the configuration thread.
class Sensor : public ::testing::Test {
protected:
	void SetUp() override
	{
		board_dir();
		reset_board();
		kernel().reset();
		config_reset();
		cfgctrl.camfd = plat::open("/dev/msm_camera0", O_RDWR);
		ASSERT_GE(cfgctrl.camfd, 0);
	}
	void TearDown() override
	{
		plat::close(cfgctrl.camfd);
		led_ctrl_p = nullptr;
		reset_board();
	}
	uint32_t probe(const std::string &name)
	{
		set_board("camera.sensor", name);
		return sensor_get_info(SENSOR_OP_MODE_INIT, &cfgctrl);
	}
	sensor_ctrl_t &s = cfgctrl.sensorCtrl;
};

TEST_F(Sensor, EachNameOfTheTableStartsItsDriver)
{
	struct Row {
		const char *name;
		uint16_t qtr_w, qtr_h, full_w, full_h;
		bool autofocus;
	};
	for (Row r : {Row{"ov5642", 1280, 960, 2592, 1944, false}, Row{"ov5642af", 1280, 960, 2592, 1944, true},
		      Row{"ov3642", 1024, 768, 2048, 1536, false}}) {
		plat::close(cfgctrl.camfd);
		config_reset();
		int fd = plat::open("/dev/msm_camera0", O_RDWR);
		cfgctrl.camfd = fd;
		ASSERT_EQ(probe(r.name), 1u) << r.name;
		EXPECT_EQ(s.sfd, fd);
		EXPECT_EQ(s.output_format, SENSOR_YCBCR);
		EXPECT_EQ(s.qtr_width, r.qtr_w);
		EXPECT_EQ(s.full_height, r.full_h);
		EXPECT_EQ(s.current_width, r.qtr_w);
		EXPECT_EQ(s.ratio_width_q12, r.full_w * 4096u / r.qtr_w);
		EXPECT_EQ(s.preview_fps, 7680);
		EXPECT_EQ(s.night_fps, 3840);
		EXPECT_EQ(s.tuning, nullptr);
		EXPECT_EQ(s.flags & 0x1E, 0x02);
		EXPECT_EQ(s.ops.set_autofocus != nullptr, r.autofocus) << r.name;
		EXPECT_EQ(s.ops.set_wb, nullptr);
		EXPECT_EQ(s.ops.set_brightness, nullptr);
		EXPECT_NE(s.ops.video_config, nullptr);
		EXPECT_FALSE(s.camctrl.iso_supported);
		EXPECT_EQ(s.wb.gain[0], 128);
	}
}

TEST_F(Sensor, UnknownAndNearNamesAreRefused)
{
	EXPECT_EQ(probe("ov9999"), 0u);
	EXPECT_EQ(s.sfd, -1);
	EXPECT_EQ(probe("ov5642a"), 0u);  // the comparison is exact
	EXPECT_EQ(probe(""), 0u);
	set_board("camera.fail", "sensor_info");
	EXPECT_EQ(probe("ov5642"), 0u);
}

TEST_F(Sensor, ModesAfterTheProbe)
{
	ASSERT_EQ(probe("ov5642"), 1u);
	EXPECT_EQ(sensor_get_info(5, &cfgctrl), 0u);
	kernel().clear_log();
	EXPECT_EQ(sensor_get_info(SENSOR_OP_MODE_NONE, &cfgctrl), 1u);
	EXPECT_EQ(s.op_mode, SENSOR_OP_MODE_NONE);
	EXPECT_TRUE(kernel().log().empty());  // no hardware touched
	EXPECT_EQ(sensor_get_info(SENSOR_OP_MODE_PREVIEW, &cfgctrl), 1u);
	EXPECT_EQ(s.camif_format, 6u);
	EXPECT_EQ(s.camif_frame.low(), 2560u);
	EXPECT_EQ(s.camif_frame.high(), 960u);
	EXPECT_EQ(s.camif_width.low(), 2559u);
	EXPECT_EQ(s.camif_height.low(), 959u);
	EXPECT_EQ(sensor_get_info(SENSOR_OP_MODE_SNAPSHOT, &cfgctrl), 1u);
	EXPECT_EQ(s.current_width, 2592);
	EXPECT_EQ(s.camif_width.low(), 2592u * 2 - 1);
	EXPECT_EQ(s.op_mode, SENSOR_OP_MODE_SNAPSHOT);
	set_board("camera.fail", "sensor_cfg");
	EXPECT_EQ(sensor_get_info(SENSOR_OP_MODE_PREVIEW, &cfgctrl), 0u);
	EXPECT_EQ(s.op_mode, SENSOR_OP_MODE_SNAPSHOT);  // unchanged on failure
}

TEST_F(Sensor, NullSlotsAreTestedByEveryCaller)
{
	ASSERT_EQ(probe("ov3642"), 1u);
	EXPECT_TRUE(sensor_ycbcr_set_wb(&cfgctrl, 3));
	EXPECT_FALSE(sensor_af_move_focus(&s, 1, 4));
	EXPECT_FALSE(sensor_af_set_default_focus(&s));
	sensor_aec_update_t update{10, 20};
	EXPECT_TRUE(sensor_set_aec_preview(&s, &update));
	EXPECT_FALSE(sensor_set_aec_preview(&s, nullptr));
	EXPECT_EQ(sensor_get_camif_x_subsample(&s), 1);
	// A driver that fills nothing: every mode reports failure, no crash.
	s.ops = sensor_ops_t{};
	EXPECT_EQ(sensor_get_info(SENSOR_OP_MODE_PREVIEW, &cfgctrl), 0u);
	EXPECT_EQ(sensor_get_info(SENSOR_OP_MODE_SNAPSHOT, &cfgctrl), 0u);
	EXPECT_EQ(sensor_get_info(SENSOR_OP_MODE_RAW_SNAPSHOT, &cfgctrl), 0u);
}

TEST_F(Sensor, FrameRateLists)
{
	sensor_ctrl_t t{};
	t.fps_count = 4;
	t.fps_table[0] = {7680, 1, {}};
	t.fps_table[1] = {3840, 0, {}};
	t.fps_table[2] = {1920, 1, {}};
	t.fps_table[3] = {7680 + 1, 0, {}};  // bits remain after four doublings
	sensor_create_fps_list(&t);
	EXPECT_EQ(t.fps_long[0], 30u);
	EXPECT_EQ(t.fps_long[1], 15u);
	EXPECT_EQ(t.fps_long[2], 0x00020000u + 15);
	EXPECT_EQ(t.fps_long[3], (16u << 16) | ((7681u << 4) / 256));
	EXPECT_EQ(t.fps_long[4], 0u);
	EXPECT_EQ(t.fps_short[0], 30u);
	EXPECT_EQ(t.fps_short[1], 0x0002000Fu);
	EXPECT_EQ(t.fps_short[2], 0u);

	uintptr_t which = 1;
	uint32_t count = 0;
	ASSERT_TRUE(sensor_get_fps_list(&t, &which, &count));
	EXPECT_EQ(count, 4u);
	EXPECT_EQ(reinterpret_cast<const uint32_t *>(which), t.fps_long.data());
	which = 0;
	ASSERT_TRUE(sensor_get_fps_list(&t, &which, &count));
	EXPECT_EQ(count, 2u);
	EXPECT_FALSE(sensor_get_fps_list(&t, nullptr, &count));
	EXPECT_FALSE(sensor_get_fps_list(&t, &which, nullptr));

	// A full table never writes past the lists; a zero rate ends it early.
	t.fps_count = 99;
	for (auto &e : t.fps_table)
		e = {3840, 1, {}};
	sensor_create_fps_list(&t);
	EXPECT_EQ(t.fps_long[14], 15u);
	EXPECT_EQ(t.fps_long[15], 0u);
	t.fps_table[1].rate = 0;
	sensor_create_fps_list(&t);
	EXPECT_EQ(t.fps_long[1], 0u);
}

TEST_F(Sensor, FixedPointConversions)
{
	EXPECT_EQ(sensor_convert_float_2_int(1.5, 7), 192u);
	EXPECT_DOUBLE_EQ(sensor_convert_int_2_float(192, 7), 1.5);
	EXPECT_EQ(sensor_convert_float_2_int(1.25, 32), 1u << 30);  // the whole part shifts out
	EXPECT_EQ(sensor_convert_float_2_int(2.0, 10), 2048u);
}

}  // namespace
}  // namespace camtest
