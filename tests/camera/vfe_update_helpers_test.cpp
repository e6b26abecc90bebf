// The helpers that change a record of a running VFE: their bit layouts and
// the statistics state they leave.
#include "cam_fixture.h"

namespace camtest {
namespace {

using namespace cam;

class Helpers : public CamConf {};

TEST_F(Helpers, StatisticsEnableAndUpdateRecords)
{
	start_preview();
	idle();
	// From here the test drives the VFE records directly; the thread
	// sits in GET_STATS and the DSP is silent, so nothing races.
	set_board("camera.dsp", "silent");
	vfe_ctrl_t &v = cfgctrl.vfeCtrl;
	kernel().clear_log();
	ASSERT_EQ(v.InVfeUpdate, 0);
	EXPECT_TRUE(vfe_util_updatestatssend(&v, VFE_STATS_ENABLE));
	EXPECT_EQ(v.stats_state, 5u);
	auto log = kernel().log();
	ASSERT_EQ(log.size(), 1u);
	EXPECT_EQ(log[0].cmd_type, 14u);
	EXPECT_EQ(log[0].bytes.size(), 40u);
	EXPECT_EQ(log[0].bytes[4], 0x1F);  // the default's regions and the enable bit
	v.InVfeUpdate = 1;  // an update is out: the disable is stored
	EXPECT_TRUE(vfe_util_updatestatssend(&v, VFE_STATS_DISABLE));
	EXPECT_EQ(v.stats_state, 1u);
	EXPECT_EQ(v.stored_count, 1u);

	v.InVfeUpdate = 0;
	kernel().clear_log();
	vfe_stats_bounds_t bounds{10, 240, {1, 2, 3, 4}, {0x101, 0x202, 0x303, 0x404}};
	EXPECT_TRUE(vfe_update_stats_config(&v, bounds));
	log = kernel().log();
	ASSERT_EQ(log.size(), 1u);
	std::vector<uint8_t> want = {31, 0, 0, 0, 0x03, 0, 10, 240, 1, 2, 3, 4,
				     0x02, 0x02, 0x01, 0x01, 0x04, 0x04, 0x03, 0x03};
	EXPECT_EQ(log[0].bytes, want);
	v.stored_count = 0;
}

TEST_F(Helpers, WhiteBalanceGainsInQ7)
{
	start_preview();
	idle();
	set_board("camera.dsp", "silent");
	vfe_ctrl_t &v = cfgctrl.vfeCtrl;
	kernel().clear_log();
	EXPECT_TRUE(vfe_util_updatewb(&v, 2.0f, 1.0f, 1.5f, true));
	auto log = kernel().log();
	ASSERT_EQ(log.size(), 1u);
	uint32_t w = 0;
	std::memcpy(&w, log[0].bytes.data() + 4, 4);
	EXPECT_EQ(w & 0x1FF, 128u);          // green
	EXPECT_EQ((w >> 9) & 0x1FF, 192u);   // blue
	EXPECT_EQ((w >> 18) & 0x1FF, 256u);  // red, in the 16 bits at 6
	// Out of range gains saturate in their nine bits; unsent, nothing goes out.
	EXPECT_TRUE(vfe_util_updatewb(&v, 9.0f, -1.0f, 1.0f, false));
	EXPECT_EQ(kernel().log().size(), 1u);
	EXPECT_EQ(v.vcmd->VFE_WhiteBalanceCfgCmd.get(6, 2, 9), 0x1FFu);
	EXPECT_EQ(v.vcmd->VFE_WhiteBalanceCfgCmd.get(4, 0, 9), 0u);
	// The scaling truncates: 1.999 x 128 is 255.87, which gives 255.
	EXPECT_TRUE(vfe_util_updatewb(&v, 1.999f, 1.0f, 1.0f, false));
	EXPECT_EQ(v.vcmd->VFE_WhiteBalanceCfgCmd.get(6, 2, 9), 255u);
}

TEST_F(Helpers, GammaAndRegionHelpers)
{
	start_preview();
	idle();
	std::array<uint8_t, 1024> table{};
	for (size_t i = 0; i < table.size(); ++i)
		table[i] = static_cast<uint8_t>(255 - i / 4);
	kernel().clear_log();
	vfe_util_updategamma(&cfgctrl.vfeCtrl, table.data());
	EXPECT_TRUE(kernel().log().empty());  // loaded at the next restart
	EXPECT_EQ(cfgctrl.vfeCtrl.vcmd->VFE_Y_GammaCfgCmd.get(8, 0, 8), 255u);
	EXPECT_EQ(cfgctrl.vfeCtrl.vcmd->VFE_RGB_GammaCfgCmd.get(8 + 1023, 0, 8), 0u);
	// 1280 x 960 active region; the region flags are bits 1 and 2, after the
	// enable. Default: both set, s = 4 + 2, t = 2.
	auto &stats = cfgctrl.vfeCtrl.vcmd->VFE_StatsWB_EXP_CfgCmd;
	EXPECT_EQ(vfe_util_get_input_pix_per_region(&cfgctrl), ((1280u >> 6) << 2) * ((960u >> 6) << 2));
	stats.set(4, 0, 3, 0x5);  // enable and sub-regions: s = 3 + 2, t = 2
	EXPECT_EQ(vfe_util_get_input_pix_per_region(&cfgctrl), ((1280u >> 5) << 2) * ((960u >> 5) << 2));
	stats.set(4, 0, 3, 0x3);  // enable and regions: s = 4 + 3, t = 3
	EXPECT_EQ(vfe_util_get_input_pix_per_region(&cfgctrl), ((1280u >> 7) << 3) * ((960u >> 7) << 3));
}

}  // namespace
}  // namespace camtest
