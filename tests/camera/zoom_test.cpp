// Digital zoom over its whole range, for each sensor: the crop stays inside
// the field of view, centred, never below a quarter of the output, and the
// VFE gets the crop and scaler that match it.
#include <cmath>

#include "cam_fixture.h"
#include "camera/vfe/vfe_tables.h"

namespace camtest {
namespace {

using namespace cam;
using sim::camera::Recorded;

TEST(ZoomTable, RisesFromOneToSixtyFourTimes)
{
	const auto &t = camera_zoom_table();
	std::vector<uint32_t> head(t.begin(), t.begin() + 8);
	EXPECT_EQ(head, (std::vector<uint32_t>{4096, 4191, 4289, 4389, 4492, 4597, 4705, 4815}));
	EXPECT_EQ(t[180], 262144u);
	EXPECT_EQ(t[181], 999999u);
	EXPECT_TRUE(std::is_sorted(t.begin(), t.end()));
	// Every step is 64 to the power of index / 180 in Q12, cut to a whole
	// number as the table's first entries are (4191.7 is 4191); 16384,
	// 65536 and 262144 are exact at 60, 120 and 180.
	ASSERT_EQ(t.size(), 182u);
	for (int i = 0; i <= 180; i++) {
		long double exact = 4096.0L * std::pow(64.0L, i / 180.0L);
		EXPECT_EQ(t[i], static_cast<uint32_t>(std::floor(exact + 1e-7L))) << i;
	}
	EXPECT_EQ(t[60], 16384u);
	EXPECT_EQ(t[120], 65536u);
}

TEST(SkipPatterns, TheWholeTableOfFramesPassedPerCycle)
{
	// 15-bit patterns, then 27-bit ones; the index is the frames wanted.
	const std::array<uint32_t, 30> want = {
	    0x1,       0x1,       0x101,     0x421,     0x1111,    0x1249,    0x14A5,    0x5554,
	    0x5555,    0x6B5A,    0x6DB6,    0x6EEE,    0x7BDE,    0x7EFE,    0x7FFE,    0x7FFF,
	    0x555AAAA, 0x56B55AA, 0x5AD6B5A, 0x6B6B6B6, 0x6DB6DB6, 0x376EDBB, 0x5DDEEEE, 0x5EF7BDE,
	    0x37DF7DF, 0x77DF7DF, 0x77DF7DF, 0x7EFFBFE, 0x7FF7FFE, 0x7FFFFFE,
	};
	EXPECT_EQ(vfe_skip_patterns, want);
}

TEST(ZoomTable, TheLimitIsTheLastEntryWithinTheMaximumCrop)
{
	zoom_ctrl_t z{};
	z.maximum_crop_factor = 4400;  // between entries 3 (4389) and 4 (4492)
	zoom_init_ctrl(&z);
	EXPECT_EQ(z.cam_parm_zoom.maximum_value, 3);
	EXPECT_EQ(z.zoom_step_size, 1u);
	z.maximum_crop_factor = 4096;
	zoom_init(&z);
	EXPECT_EQ(z.cam_parm_zoom.maximum_value, 0);
	z.maximum_crop_factor = 0xFFFFFFFF;  // above every entry
	zoom_init(&z);
	EXPECT_EQ(z.cam_parm_zoom.maximum_value, 181);
	EXPECT_EQ(z.crop_factor, 4096u);
}

TEST_F(CamConf, OneOutputScalesTheSecondPairOnlyInHeight)
{
	ASSERT_EQ(set_dimension(1280, 960, 800, 480), 1);
	start_preview();
	stop_preview();  // no frame runs the zoom beside this test
	idle();
	zoom_ctrl_t &z = cfgctrl.zoomCtrl;
	vfe_ctrl_t &v = cfgctrl.vfeCtrl;
	ASSERT_EQ(z.last_pixel - z.first_pixel + 1, 1280u);
	ASSERT_EQ(z.last_line - z.first_line + 1, 960u);
	v.outputs = 1;
	v.output1_width = 800;
	v.output1_height = 480;
	z.crop_factor = 2 * Q12_ONE;
	z.zoomscaling = {};
	ASSERT_TRUE(zoom_vfe(&cfgctrl));
	// The 800 x 480 output is wider than the field, so the crop goes by
	// width: 640 of the 1280 pixels, and 384 lines at the output's aspect.
	const zoom_scaling_t &sc = z.zoomscaling;
	EXPECT_EQ(sc.input1_width, 640u);
	EXPECT_EQ(sc.output1_width, 800u);
	EXPECT_EQ(sc.input2_width, 0u);
	EXPECT_EQ(sc.output2_width, 0u);
	EXPECT_EQ(sc.input1_height, 384u);
	EXPECT_EQ(sc.output1_height, 480u);
	EXPECT_EQ(sc.input2_height, 384u);
	EXPECT_EQ(sc.output2_height, 480u);
	EXPECT_EQ(sc.update_flag, 1);
	EXPECT_EQ(z.max_width, 800u);
	EXPECT_EQ(z.max_height, 480u);
}

struct ZoomCase {
	const char *sensor;
	uint16_t width, height;
};

class ZoomRange : public CamConf, public ::testing::WithParamInterface<ZoomCase> {
	std::map<std::string, std::string> board() const override { return {{"camera.sensor", GetParam().sensor}}; }
};

TEST_P(ZoomRange, CropAndScalerOverTheWholeRange)
{
	cam_ctrl_dimension_t d{};
	d.picture_width = GetParam().width;
	d.picture_height = GetParam().height;
	d.display_width = 800;
	d.display_height = 480;
	ASSERT_EQ(send_bytes(CAMERA_SET_PARM_DIMENSION, &d, sizeof d).status, 1);
	start_preview();
	Answer m = send(CAMERA_GET_PARM_MAXZOOM);
	int32_t max = 0;
	std::memcpy(&max, m.value.data(), 4);
	ASSERT_GT(max, 0);
	ASSERT_LT(max, ZOOM_TABLE_SIZE);
	const zoom_ctrl_t &z = cfgctrl.zoomCtrl;
	const vfe_ctrl_t &v = cfgctrl.vfeCtrl;
	uint32_t previous = UINT32_MAX;
	for (int32_t step = 0; step <= max; ++step) {
		kernel().clear_log();
		send(CAMERA_SET_PARM_ZOOM, step);
		idle();
		SCOPED_TRACE(step);
		uint32_t fw = z.last_pixel - z.first_pixel + 1, fh = z.last_line - z.first_line + 1;
		EXPECT_EQ(z.crop_factor, camera_zoom_table()[static_cast<size_t>(step)]);
		EXPECT_LE(z.crop_out_x, fw);
		EXPECT_LE(z.crop_out_y, fh);
		EXPECT_GE(z.crop_out_x, v.output2_width / 4);
		EXPECT_LE(z.crop_out_x, previous);  // a larger step never widens the crop
		previous = z.crop_out_x;
		EXPECT_EQ(z.crop_first_pixel, (fw - z.crop_out_x) / 2);
		EXPECT_EQ(z.crop_last_pixel, z.crop_first_pixel + z.crop_out_x - 1);
		EXPECT_LE(z.crop_last_line, z.last_line);
		auto log = kernel().log();
		auto crop = std::find_if(log.begin(), log.end(), [](const Recorded &r) {
			return r.request == MSM_CAM_IOCTL_VFE_COMMAND && r.queue == 25 && r.number == 15;
		});
		ASSERT_NE(crop, log.end());
		uint32_t w1 = 0;
		std::memcpy(&w1, crop->bytes.data() + 4, 4);
		EXPECT_EQ(w1 & 0xFFF, z.crop_last_pixel);
		EXPECT_EQ((w1 >> 16) & 0xFFF, z.crop_first_pixel);
		auto scaler = std::find_if(log.begin(), log.end(), [](const Recorded &r) {
			return r.request == MSM_CAM_IOCTL_VFE_COMMAND && r.queue == 26 && r.number == 1;
		});
		ASSERT_NE(scaler, log.end());
		vfe_rec<292> s{};
		std::memcpy(s.w.data(), scaler->bytes.data(), 292);
		EXPECT_EQ(s.get(8, 0, 12), z.crop_out_x);
		uint32_t mx = std::max<uint32_t>(1, z.crop_out_x / v.output2_width);
		EXPECT_EQ(s.get(12, 0, 12), z.crop_out_x / mx);
		EXPECT_EQ(s.get(4, 1, 1), mx != 1 ? 1u : 0u);
		// The frame path's crop: an input never beyond the field.
		const zoom_scaling_t &sc = z.zoomscaling;
		EXPECT_LE(sc.input2_width, fw);
		if (sc.input2_width) {
			EXPECT_GE(sc.input2_width * 4, sc.output2_width);
		}
	}
	// One past the end is refused and changes nothing.
	uint32_t factor = z.crop_factor;
	send(CAMERA_SET_PARM_ZOOM, max + 1);
	idle();
	EXPECT_EQ(z.crop_factor, factor);
}

INSTANTIATE_TEST_SUITE_P(Sensors, ZoomRange,
			 ::testing::Values(ZoomCase{"ov5642", 1280, 960}, ZoomCase{"ov5642af", 2592, 1944},
					   ZoomCase{"ov3642", 1024, 768}),
			 [](const auto &info) { return std::string(info.param.sensor); });

}  // namespace
}  // namespace camtest
