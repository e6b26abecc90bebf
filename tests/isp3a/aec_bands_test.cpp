// Flicker bands: the 50 Hz and 60 Hz exposure tables built from the
// tuning's on a sensor that gives its line time, and the anti-banding
// modes that switch to them.
#include <gtest/gtest.h>

#include <cmath>

#include "camera/isp3a/aec.h"
#include "support/isp3a_rig.h"

using testing_support::isp3a_rig;

namespace {

constexpr double LINES_PER_SECOND = 1 / testing_support::BAYERSIM_LINE_SECONDS;  // 30000

struct AecBands : ::testing::Test {
	isp3a_rig rig;
	cam::aec_ctrl_t *a = nullptr;
	void SetUp() override
	{
		ASSERT_TRUE(rig.start());
		a = cam::aec_ctrl();
		ASSERT_NE(a, nullptr);
	}
	// 3A again on the same sensor, after its timing was changed.
	void restart()
	{
		cam::isp3a_stop(&rig.c);
		cam::isp3a_start(&rig.sensor, &rig.c, 256);
		a = cam::aec_ctrl();
		ASSERT_NE(a, nullptr);
	}
	int32_t antibanding(int32_t value, std::string *err)
	{
		testing::internal::CaptureStderr();
		int32_t rc = cam::aec_set_antibanding(value, &rig.sensor);
		*err = testing::internal::GetCapturedStderr();
		return rc;
	}
};

}  // namespace

TEST_F(AecBands, PeriodsAreWholeRowsOfTheSensorsLineTime)
{
	EXPECT_EQ(a->band_supported, 1);
	EXPECT_EQ(a->rows_per_120hz, std::round(LINES_PER_SECOND / 120));  // 250
	EXPECT_EQ(a->rows_per_100hz, std::round(LINES_PER_SECOND / 100));  // 300
}

TEST_F(AecBands, EveryRowIsWholePeriodsAndKeepsTheTuningsExposure)
{
	struct Band {
		const char *name;
		uint32_t period;
		int32_t count;
		const cam::aec_exp_table_t &table;
	} bands[] = {{"50 Hz", uint32_t(LINES_PER_SECOND / 100), a->band_count_50, a->band_50},
		     {"60 Hz", uint32_t(LINES_PER_SECOND / 120), a->band_count_60, a->band_60}};
	const int n = rig.tuning.num_exposure_values;
	for (const Band &b : bands) {
		// Every tuning row with at least one period's light at unity gain has
		// its band row, the brightest rows have none.
		int fit = 0;
		for (int i = 0; i < n; i++)
			fit += uint64_t(rig.tuning.exp_gain[i]) * rig.tuning.exp_lines[i] >= 256u * b.period;
		ASSERT_EQ(b.count, fit) << b.name;
		ASSERT_GT(b.count, 100) << b.name;
		uint64_t last = 0;
		for (int j = 0; j < b.count; j++) {
			const cam::aec_exp_entry_t &r = b.table[size_t(j)];
			int i = n - b.count + j;  // the tuning row it stands for
			uint64_t want = uint64_t(rig.tuning.exp_gain[i]) * rig.tuning.exp_lines[i];
			uint64_t got = uint64_t(r.gain) * r.line_count;
			EXPECT_GT(r.line_count, 0u) << b.name << " row " << j;
			EXPECT_EQ(r.line_count % b.period, 0u) << b.name << " row " << j;
			EXPECT_LE(r.line_count, 1000u) << b.name << " row " << j;  // no longer than the tuning's longest
			EXPECT_GE(r.gain, 256u) << b.name << " row " << j;  // raised, never below unity
			EXPECT_NEAR(double(got) / double(want), 1.0, 0.005) << b.name << " row " << j;
			EXPECT_GE(got, last) << b.name << " row " << j;
			last = got;
		}
	}
}

TEST_F(AecBands, BuilderRefusesPeriodsItCannotHold)
{
	std::array<cam::aec_exp_entry_t, 3> table = {{{256, 100}, {512, 100}, {1024, 100}}};
	cam::aec_exp_table_t out{};
	EXPECT_EQ(cam::aec_core_build_band_table(table, 0, out), 0);    // no period
	EXPECT_EQ(cam::aec_core_build_band_table(table, 101, out), 0);  // longer than any row
	ASSERT_EQ(cam::aec_core_build_band_table(table, 50, out), 3);
	EXPECT_EQ(out[0].line_count, 100u);
	EXPECT_EQ(out[2].gain, 1024u);
	std::array<cam::aec_exp_entry_t, 1> small{};
	EXPECT_EQ(cam::aec_core_build_band_table(table, 50, small), 1);  // bounded by its room
}

TEST_F(AecBands, ModesSwitchTablesAndTheLoopWalksTheBandTable)
{
	struct Row {
		int32_t value, rc, antibanding;
		const cam::aec_exp_entry_t *table;
		int32_t count;
		const char *trace;
	} rows[] = {
	    {1, 1, 1, a->band_60.data(), a->band_count_60, ""},
	    {2, 1, 2, a->band_50.data(), a->band_count_50, ""},
	    {0, 1, 0, a->tuning_table.data(), 258, ""},
	    {3, 1, 0, a->tuning_table.data(), 258, ""},
	    {4, 0, 0, a->tuning_table.data(), 258, "aec_set_antibanding: CAMERA_FAILED 4\n"},
	    {-1, 0, 0, a->tuning_table.data(), 258, "aec_set_antibanding: CAMERA_FAILED -1\n"},
	};
	for (const Row &r : rows) {
		a->out.prev_exp_index = 7;
		std::string err;
		EXPECT_EQ(antibanding(r.value, &err), r.rc) << r.value;
		EXPECT_EQ(a->antibanding, r.antibanding) << r.value;
		EXPECT_EQ(a->exposure_table, r.table) << r.value;
		EXPECT_EQ(a->out.num_exp_tab_val, r.count) << r.value;
		EXPECT_EQ(a->out.prev_exp_index, r.rc ? 0 : 7) << r.value;
		EXPECT_NE(err.find(r.trace), std::string::npos) << err;
	}
	// 50 Hz in force: the preview's exposures are whole periods of 1/100 s.
	std::string err;
	ASSERT_EQ(antibanding(2, &err), 1);
	rig.scene.light = 0.01;
	for (int k = 0; k < 30; k++) {
		rig.frame();
		EXPECT_EQ(rig.lines % 300, 0u) << k;
	}
	// Without a frame rate operation the sensor's own row count stands, but
	// never more rows than the table holds.
	a->frame_rate_adjust = 0;
	rig.sensor.aec_limits.exp_index_max = 99;
	EXPECT_EQ(cam::aec_set_antibanding(0, &rig.sensor), 1);
	EXPECT_EQ(a->out.num_exp_tab_val, 100);
	rig.sensor.aec_limits.exp_index_max = 499;
	EXPECT_EQ(cam::aec_set_antibanding(1, &rig.sensor), 1);
	EXPECT_EQ(a->out.num_exp_tab_val, a->band_count_60);
	rig.sensor.output_format = cam::SENSOR_YCBCR;
	EXPECT_EQ(cam::aec_set_antibanding(3, &rig.sensor), 1);
	EXPECT_EQ(a->out.num_exp_tab_val, 0);
}

TEST_F(AecBands, ASensorWithoutLineTimeHasNoBands)
{
	struct Row {
		const char *name;
		uint32_t (*ppl)(const cam::sensor_ctrl_t *);
		bool line_time;
	} rows[] = {{"no timing", nullptr, false},
		    {"zero pixels a line", [](const cam::sensor_ctrl_t *) { return 0u; }, true},
		    {"no line time operation", [](const cam::sensor_ctrl_t *) { return 3200u; }, false}};
	for (const Row &r : rows) {
		rig.sensor.timing.pixels_per_line = r.ppl;
		if (!r.line_time)
			rig.sensor.timing.lines_per_frame = nullptr;
		restart();
		for (int32_t value : {1, 2}) {
			a->out.prev_exp_index = 7;
			std::string err;
			EXPECT_EQ(antibanding(value, &err), 0) << r.name;
			EXPECT_NE(err.find("aec_set_antibanding: " + std::to_string(value) + " FAILED.... \n"), std::string::npos)
			    << r.name << err;
			EXPECT_EQ(a->exposure_table, a->tuning_table.data()) << r.name;  // unchanged
			EXPECT_EQ(a->out.num_exp_tab_val, 258) << r.name;
			EXPECT_EQ(a->out.prev_exp_index, 7) << r.name;
		}
	}
}
