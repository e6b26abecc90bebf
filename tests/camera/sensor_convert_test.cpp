// The sensor's conversions of a tuning record into the VFE's fixed point,
// the common defaults a Bayer driver starts from, and the limits the sensor
// gives a tuning that leaves them unset.
#include <gtest/gtest.h>

#include <regex>

#include "camera/sensor/bayersim.h"
#include "camera/sensor/sensor.h"
#include "support/isp3a_rig.h"

namespace {

using namespace cam;

// The low-light colour correction of snapshots, as given, and its
// coefficients in Q7, truncated towards zero (worked by hand).
const std::array<float, 13> snapshot_lowlight = {1.8678f, -0.4337f, -0.4341f, -0.0034f, 0.9086f, 0.0948f, -0.2932f,
						 -0.5805f, 1.8738f,  0.0f,     0.0f,     0.0f,     0.0f};
const std::array<int32_t, 9> snapshot_lowlight_q7 = {239, -55, -55, 0, 116, 12, -37, -74, 239};

TEST(SensorConvert, ColourCorrectionTruncatesInQOfTheFactor)
{
	sensor_color_correction_t c{};
	sensor_convert_tuning_color_correction(snapshot_lowlight, &c);
	for (size_t k = 0; k < 9; ++k)
		EXPECT_EQ(c.coef[k], snapshot_lowlight_q7[k]) << k;
	EXPECT_EQ(c.q_factor, 0);

	struct Row {
		float factor;
		float coef;
		int32_t want;
	} rows[] = {{0, 1.5f, 192}, {1, 1.5f, 384}, {2, -0.25f, -128}, {3, 0.75f, 768}};
	for (const Row &r : rows) {
		std::array<float, 13> m{};
		m[4] = r.coef;
		m[9] = 16, m[10] = -8, m[11] = 3;
		m[12] = r.factor;
		sensor_convert_tuning_color_correction(m, &c);
		EXPECT_EQ(c.coef[4], r.want) << r.factor;
		EXPECT_EQ(c.bias, (std::array<int32_t, 3>{16, -8, 3}));
		EXPECT_EQ(c.q_factor, static_cast<int32_t>(r.factor));
		EXPECT_EQ(sensor_color_correction_words(c)[12], 7 + static_cast<int32_t>(r.factor));
	}
}

TEST(SensorConvert, WhiteBalanceIsQ7InTheOrderRedBlueGreen)
{
	sensor_wb_gains_t g{};
	sensor_convert_tuning_white_balance({1.5f, 1.0f, 2.25f}, &g);  // red, green, blue
	EXPECT_EQ(g.r, 192);
	EXPECT_EQ(g.b, 288);
	EXPECT_EQ(g.g, 128);
}

TEST(SensorConvert, ColourConversionCoefficientsInQ8OffsetsCopied)
{
	// a_m a_p b_m b_p c_m c_p d_m d_p, the Cb and Cr offsets, luma r g b,
	// the luma offset.
	const std::array<float, CC_WORDS> in = {0.5f, 0.4453125f, -0.3359375f, -0.34f, 1.0f, 3.99f, -4.0f, 0.001f,
						108, -20, 0.30078125f, 0.5859375f, 0.11328125f, 255};
	const sensor_conversion_t want = {128, 114, -86, -87, 256, 1021, -1024, 0, 108, -20, 77, 150, 29, 255};
	sensor_conversion_t out{};
	sensor_convert_tuning_color_conversion(in, &out);
	EXPECT_EQ(out, want);
}

TEST(SensorConvert, AdaptiveFilterMatrixInItsQ)
{
	std::array<int16_t, 9> m{};
	sensor_convert_asf_3x3_matrix({0, -0.125f, 0, -0.125f, 1.5f, -0.125f, 0, -0.125f, 0}, 8, &m);
	EXPECT_EQ(m, (std::array<int16_t, 9>{0, -32, 0, -32, 384, -32, 0, -32, 0}));
	sensor_convert_asf_3x3_matrix({0.5f, -2.0f, 0, 0, 0, 0, 0, 0, 1.0f}, 4, &m);
	EXPECT_EQ(m[0], 8);
	EXPECT_EQ(m[1], -32);
	EXPECT_EQ(m[8], 16);
}

TEST(SensorConvert, RollOffGainsSlopesAndARingOfNoWidth)
{
	sensor_tuning_t t{};
	t.rolloff_center = {1296, 972};
	for (int i = 0; i < ROLLOFF_ROWS; ++i) {
		t.rolloff_radius_sq[i] = 65536 * i;
		t.rolloff_gain_r[i] = t.rolloff_gain_g[i] = t.rolloff_gain_b[i] = 1.0f;
	}
	// Ring 2 repeats ring 1: the slope from 1 keeps the one from 0.
	t.rolloff_radius_sq[2] = t.rolloff_radius_sq[1];
	t.rolloff_gain_g[1] = 1.5f;
	t.rolloff_gain_g[2] = 1.5f;
	t.rolloff_gain_g[3] = 1.25f;
	t.rolloff_gain_b[31] = 2.0f;
	sensor_rolloff_t r{};
	sensor_convert_roll_off_table(t, &r);
	EXPECT_EQ(r.cx, 1296);
	EXPECT_EQ(r.cy, 972);
	EXPECT_EQ(r.radius_sq[5], 5u * 65536u);
	EXPECT_EQ(r.gain[1][1], 1536);  // 1.5 in Q10
	EXPECT_EQ(r.gain[0][1], 1024);
	EXPECT_EQ(r.gain[2][31], 2048);
	// 2^30 x 0.5 / 65536; ring 1 to 2 has no width; 2 to 3 falls by 0.25
	// over 65536 x 2 (ring 2 sits at ring 1).
	EXPECT_EQ(r.slope[1][0], 8192);
	EXPECT_EQ(r.slope[1][1], 8192);
	EXPECT_EQ(r.slope[1][2], -2048);
	EXPECT_EQ(r.slope[1][3], -4096);  // back to 1.0 over 65536
	EXPECT_EQ(r.slope[1][4], 0);
	EXPECT_EQ(r.slope[2][30], 16384);  // blue's last interval
	EXPECT_EQ(r.slope[2][31], 0);      // beyond the last ring the gain stays
	EXPECT_EQ(r.slope[0], (std::array<int32_t, ROLLOFF_ROWS>{}));
}

// A Bayer sensor started on the tree's tuning, after the common defaults.
struct BayerStart : ::testing::Test {
	sensor_tuning_t tuning{};
	sensor_ctrl_t s{};
	void start(const std::string &text = testing_support::bayersim_tuning_text())
	{
		std::string err;
		ASSERT_TRUE(tuning_parse(text, &tuning, &err)) << err;
		sensor_init(&s);
		ASSERT_TRUE(bayersim_start_with(&s, &tuning));
	}
};

std::string with(const std::string &key, const std::string &value)
{
	std::regex re("\n" + key + " *=[^\n]*");
	return std::regex_replace(testing_support::bayersim_tuning_text(), re, "\n" + key + " = " + value,
				  std::regex_constants::format_first_only);
}

TEST_F(BayerStart, CommonDefaultsFor3A)
{
	start();
	EXPECT_FLOAT_EQ(s.af_fine_ratio, 1.05f);
	EXPECT_EQ(s.af_fine_steps, 4u);
	const sensor_3a_defaults_t &d = s.defaults_3a;
	EXPECT_EQ(d.awb_aec_word, 2);
	EXPECT_FLOAT_EQ(d.awb_aec_ratio, 0.15f);
	EXPECT_EQ(d.awb_aec_flag, 1);
	EXPECT_EQ(d.awb_aec_words, (std::array<int32_t, 2>{2, 2}));
	EXPECT_FLOAT_EQ(d.awb_aec_bounds[0], 0.8f);
	EXPECT_FLOAT_EQ(d.awb_aec_bounds[1], 0.9f);
	for (float f : d.awb_aec_fractions)
		EXPECT_FLOAT_EQ(f, 0.3f);
	EXPECT_EQ(d.awb_aec_flag2, 1);
	const std::array<int32_t, 28> search = {1, 200, 30, 1, 200, 30, 2, 1, 1, 10, 15, 5, 6, 10,
						3, 2,   1,  1, 1,   200, 30, 10, 15, 5, 1, 200, 30, 6};
	EXPECT_EQ(d.af_search, search);
	EXPECT_EQ(s.ycbcr_min, 16);
	EXPECT_EQ(s.ycbcr_max, 235);
}

TEST_F(BayerStart, FocusWindowsAQuarterInFromEachEdge)
{
	start();
	struct Row {
		size_t window;
		uint16_t first_x, first_y, last_x, last_y;
	} rows[] = {
	    {0, 324, 243, 972, 729},     // 1296 x 972
	    {1, 648, 486, 1944, 1458},   // 2592 x 1944
	};
	for (const Row &r : rows) {
		const sensor_af_window_t &w = s.af_window[r.window];
		EXPECT_EQ(w.first_x, r.first_x) << r.window;
		EXPECT_EQ(w.first_y, r.first_y) << r.window;
		EXPECT_EQ(w.last_x, r.last_x) << r.window;
		EXPECT_EQ(w.last_y, r.last_y) << r.window;
	}
}

TEST_F(BayerStart, PostInitCopiesTheTuningUnderItsFlags)
{
	start();
	const sensor_converted_t &c = s.tuned;
	EXPECT_EQ(c.cc_normal.coef[0], 204);     // 1.60 in Q7
	EXPECT_EQ(c.cc_lowlight.coef[0], 166);   // 1.30
	EXPECT_EQ(c.wb[2].r, 213);               // daylight 1.667
	EXPECT_EQ(c.wb[2].b, 170);               // 1.333
	EXPECT_EQ(c.wb[0].b, 320);               // incandescent 2.5
	EXPECT_EQ(c.asf_3x3[4], 384);
	EXPECT_EQ(c.cc_default, (sensor_conversion_t{128, 128, -86, -86, 128, 128, -42, -42, 128, 128, 77, 150, 29, 0}));
	EXPECT_EQ(c.cc_negative[13], 255);
	EXPECT_EQ(c.cc_sepia[9], 148);
	EXPECT_EQ(c.rolloff.cx, 1296);
	EXPECT_EQ(c.rolloff.gain[1][0], 1024);
	EXPECT_EQ(s.wb.gain[0], 188);  // the start gains 1.47, 1.0, 1.56: red, green, blue
	EXPECT_EQ(s.wb.gain[1], 128);
	EXPECT_EQ(s.wb.gain[2], 199);

	s = sensor_ctrl_t{};
	start(with("rolloff_enable", "0"));
	EXPECT_EQ(s.tuned.rolloff.cx, 0);  // the feature off: nothing copied
	s = sensor_ctrl_t{};
	start(with("ccm_lowlight_enable", "0"));
	EXPECT_EQ(s.tuned.cc_lowlight.coef, s.tuned.cc_normal.coef);
}

// The gamma flag is the tuning's: the driver neither keeps it off nor
// forces it on.
TEST_F(BayerStart, TheGammaFlagFollowsTheTuning)
{
	for (int flag : {1, 0}) {
		s = sensor_ctrl_t{};
		start(with("gamma_enable", std::to_string(flag)));
		EXPECT_EQ(s.gamma_enable, flag);
	}
	s = sensor_ctrl_t{};
	start();
	EXPECT_EQ(s.gamma_enable, 1);  // the tree's sensor is gamma-corrected
}

TEST_F(BayerStart, UnsetLimitsTakeTheirDefaults)
{
	struct Row {
		const char *max, *first, *second;
		uint32_t want_max, want_first, want_second;
	} rows[] = {
	    {"-1", "-1", "-1", 255, 200, 125},  // target 50: 4 x 50, 2.5 x 50 + 0.5
	    {"-2", "-2", "-2", 255, 200, 125},
	    {"240", "150", "100", 240, 150, 100},
	    {"0", "-1", "7", 0, 200, 7},
	};
	for (const Row &r : rows) {
		std::string text = testing_support::bayersim_tuning_text();
		for (auto [key, v] : {std::pair{"luma_limit_max", r.max}, {"luma_limit_1", r.first}, {"luma_limit_2", r.second}})
			text = std::regex_replace(text, std::regex(std::string("\n") + key + " *=[^\n]*"),
						  std::string("\n") + key + " = " + v, std::regex_constants::format_first_only);
		s = sensor_ctrl_t{};
		start(text);
		EXPECT_EQ(s.aec_limits.luma_max, r.want_max) << r.max;
		EXPECT_EQ(s.aec_limits.luma_limit_1, r.want_first) << r.first;
		EXPECT_EQ(s.aec_limits.luma_limit_2, r.want_second) << r.second;
		EXPECT_EQ(s.aec_limits.exp_index_max, 257);
	}
	s = sensor_ctrl_t{};
	start(with("default_luma_target", "51"));
	EXPECT_EQ(s.aec_limits.luma_limit_2, 128u);  // 127.5 + 0.5
}

}  // namespace
