// The tuning file: the tree's file loads, and a bad file is refused at load
// with the line and the reason.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <regex>

#include "camera/sensor/tuning.h"
#include "support/isp3a_rig.h"

using cam::sensor_tuning_t;
using testing_support::bayersim_tuning_text;

namespace {

// The tree's file with one key's line replaced.
std::string with(const std::string &key, const std::string &line)
{
	std::string t = bayersim_tuning_text();
	std::regex re("\n" + key + " *=[^\n]*");
	return std::regex_replace(t, re, "\n" + line, std::regex_constants::format_first_only);
}

std::string refused(const std::string &text)
{
	sensor_tuning_t t;
	std::string err;
	EXPECT_FALSE(cam::tuning_parse(text, &t, &err));
	return err;
}

}  // namespace

TEST(Tuning, TreeFileIsSelfConsistent)
{
	sensor_tuning_t t;
	std::string err;
	ASSERT_TRUE(cam::tuning_parse(bayersim_tuning_text(), &t, &err)) << err;
	EXPECT_EQ(t.num_exposure_values, 258);
	EXPECT_EQ(t.exp_gain[0], 256);
	EXPECT_EQ(t.exp_lines[0], 8);
	// Each row three percent more light than the last, within rounding.
	for (int i = 1; i < t.num_exposure_values; i++) {
		double r = double(t.exp_gain[i]) * t.exp_lines[i] / (double(t.exp_gain[i - 1]) * t.exp_lines[i - 1]);
		EXPECT_NEAR(r, 1.03, 0.13) << i;
	}
	EXPECT_LT(t.outdoor_index, t.indoor_index);
	EXPECT_FLOAT_EQ(t.ref_rg[2], 1.05f);
	EXPECT_EQ(t.weights[29], 2);
}

TEST(Tuning, GammaTablesAreDrawnThroughTheirKnots)
{
	sensor_tuning_t t;
	std::string err;
	ASSERT_TRUE(cam::tuning_parse(bayersim_tuning_text(), &t, &err)) << err;
	for (int k = 0; k < cam::GAMMA_TABLES; ++k) {
		SCOPED_TRACE(k);
		const uint8_t *row = t.gamma.data() + k * cam::GAMMA_ROW;
		const int32_t *knot = t.gamma_knots.data() + k * cam::GAMMA_KNOTS;
		for (int n = 0; n < cam::GAMMA_KNOTS - 1; ++n)
			EXPECT_EQ(row[n * 64], knot[n]);
		// Halfway between two knots, their mean, rounded.
		EXPECT_EQ(row[32], (knot[0] + knot[1] + 1) / 2);
		EXPECT_TRUE(std::is_sorted(row, row + cam::GAMMA_ENTRIES));
		EXPECT_EQ(row[cam::GAMMA_ENTRIES], row[cam::GAMMA_ENTRIES - 1]);
	}
	// Low light is brighter than the default in the shadows.
	EXPECT_GT(t.gamma[cam::GAMMA_ROW + 64], t.gamma[64]);
}

TEST(Tuning, AFallingGammaTableIsRefused)
{
	std::string knots = "gamma_knots = 0 73 100 120 137 151 164 176 187 197 206 215 224 232 240 248 255\n"
			    "    0 89 116 135 151 164 176 186 196 205 213 221 229 236 242 249 255\n"
			    "    0 55 81 102 119 134 149 162 174 186 197 208 218 227 237 246 255\n"
			    "    0 73 100 120 137 151 164 176 187 197 206 215 224 232 240 248 200\n";
	std::string t = bayersim_tuning_text();
	size_t at = t.find("\ngamma_knots");
	ASSERT_NE(at, std::string::npos);
	size_t end = t.find("\n\n", at + 1);
	ASSERT_NE(end, std::string::npos);
	t.replace(at + 1, end - at, knots);
	EXPECT_NE(refused(t).find("gamma_knots: a table falls at knot 16"), std::string::npos);
}

TEST(Tuning, NotFiniteValuesAreRefused)
{
	EXPECT_NE(refused(with("blend_f", "blend_f = nan")).find("blend_f: value is not finite"), std::string::npos);
	EXPECT_NE(refused(with("wb_gain_scale", "wb_gain_scale = inf")).find("not finite"), std::string::npos);
	EXPECT_NE(refused(with("ref_rg", "ref_rg = 0.6 0.55 1.05 0.8 0.72 1e999 0.68 0.9 0.64")).find("not finite"),
		  std::string::npos);
}

TEST(Tuning, CountsRangesAndKeysAreChecked)
{
	EXPECT_NE(refused(with("ref_bg", "ref_bg = 0.75 0.82")).find("ref_bg: 2 values, 9 expected"), std::string::npos);
	EXPECT_NE(refused(with("indoor_index", "indoor_index = 400")).find("indoor"), std::string::npos);
	EXPECT_NE(refused(with("outdoor_index", "outdoor_index = 200")).find("outdoor < indoor"), std::string::npos);
	EXPECT_NE(refused(with("af_fine_step_num", "af_fine_step_num = 0")).find("out of range"), std::string::npos);
	EXPECT_NE(refused(with("af_coarse_step", "af_coarse_step = 2.5")).find("not a whole number"), std::string::npos);
	EXPECT_NE(refused(with("blend_f", "blend_fx = 0.5")).find("unknown key 'blend_fx'"), std::string::npos);
	EXPECT_NE(refused(with("blend_f", "")).find("missing key 'blend_f'"), std::string::npos);
	EXPECT_NE(refused(with("num_exposure_values", "num_exposure_values = 257")).find("exposure_table: 516 values, 514 expected"),
		  std::string::npos);
	EXPECT_NE(refused(bayersim_tuning_text() + "blend_f = 0.5\n").find("given twice"), std::string::npos);
	std::string err = refused(with("blend_f", "blend_f = 0.5 x"));
	EXPECT_EQ(err.rfind("tuning: line ", 0), 0u) << err;
}

TEST(Tuning, ExposureTableMustGrow)
{
	std::string t = bayersim_tuning_text();
	size_t at = t.find("    256 8  264 8");
	ASSERT_NE(at, std::string::npos);
	t.replace(at, 16, "    256 8  200 8");
	EXPECT_NE(refused(t).find("row 1 gives less light"), std::string::npos);
}

namespace {

// The tree's file with a key and its continuation lines replaced by one line.
std::string with_key(const std::string &key, const std::string &values)
{
	std::regex re("\n" + key + " *=[^\n]*(\n    [^\n]*)*");
	return std::regex_replace(bayersim_tuning_text(), re, "\n" + key + " = " + values,
				  std::regex_constants::format_first_only);
}

int line_of(const std::string &text, const std::string &key)
{
	size_t at = text.find("\n" + key + " ");
	return at == std::string::npos ? -1 : static_cast<int>(std::count(text.begin(), text.begin() + at + 1, '\n')) + 1;
}

std::string rings(const std::function<std::string(int)> &value)
{
	std::string s;
	for (int i = 0; i < cam::ROLLOFF_ROWS; ++i)
		s += value(i) + " ";
	return s;
}

}  // namespace

TEST(Tuning, LensKeysAreRefusedWithTheirLineAndReason)
{
	struct Row {
		const char *key;
		std::string values;
		const char *reason;
		const char *line_key;  // the key whose line the refusal names
	} rows[] = {
	    {"rolloff_radius_sq", rings([](int i) { return std::to_string(i == 7 ? 1000 : 65536 * i); }),
	     "rolloff_radius_sq: ring 7 lies inside the one before", "rolloff_radius_sq"},
	    // 0.5 of gain over 1000 of squared radius is 2^30 x 0.5 / 1000 a unit.
	    {"rolloff_radius_sq", rings([](int i) { return std::to_string(1000 * i); }),
	     "rolloff_gain_r: slope from ring 0 does not fit 19 bits", "rolloff_gain_r"},
	    {"rolloff_gain_g", rings([](int) { return std::string("8.5"); }), "rolloff_gain_g: value", "rolloff_gain_g"},
	    {"rolloff_gain_b", rings([](int i) { return i == 3 ? std::string("nan") : std::string("1.0"); }),
	     "rolloff_gain_b: value is not finite", "rolloff_gain_b"},
	    {"rolloff_center", "1296", "rolloff_center: 1 values, 2 expected", "rolloff_center"},
	    {"rolloff_center", "1296 5000", "rolloff_center: value", "rolloff_center"},
	    {"asf_3x3", "0 0 0  0 17 0  0 0 0", "asf_3x3: value", "asf_3x3"},
	    {"asf_q", "11", "asf_q: value", "asf_q"},
	    {"asf_mode", "4", "asf_mode: value", "asf_mode"},
	    {"asf_threshold", "4 256", "asf_threshold: value", "asf_threshold"},
	    {"luma_limit_1", "-3", "luma_limit_1: value", "luma_limit_1"},
	    {"cc_mono", "0 0 0 0 0 0 0 0  128 128  0.3 4.0 0.1  0", "cc_mono: value 11 does not fit 11 bits in Q8", "cc_mono"},
	    {"cc_aqua", "0 0 0 0 0 0 0 0  160.5 100  0.3 0.6 0.1  0", "cc_aqua: value 8 is not a whole number", "cc_aqua"},
	    {"iso100_gain", "0", "iso100_gain: value", "iso100_gain"},
	    {"gamma_enable", "2", "gamma_enable: value", "gamma_enable"},
	    {"gamma_enable", "0.5", "gamma_enable: not a whole number", "gamma_enable"},
	};
	for (const Row &r : rows) {
		SCOPED_TRACE(r.key);
		std::string text = with_key(r.key, r.values);
		if (std::string(r.reason).find("slope") != std::string::npos)  // steep only with a gain step
			text = std::regex_replace(text, std::regex("\nrolloff_gain_r *=[^\n]*(\n    [^\n]*)*"),
						  "\nrolloff_gain_r = " + rings([](int i) { return i ? "1.5" : "1.0"; }),
						  std::regex_constants::format_first_only);
		std::string err = refused(text);
		EXPECT_NE(err.find(r.reason), std::string::npos) << err;
		EXPECT_EQ(err.rfind("tuning: line " + std::to_string(line_of(text, r.line_key)) + ":", 0), 0u) << err;
	}
	for (const char *key : {"rolloff_enable", "gamma_enable", "rolloff_gain_r", "asf_3x3", "luma_limit_2"}) {
		std::regex re(std::string("\n") + key + " *=[^\n]*(\n    [^\n]*)*");
		std::string err = refused(std::regex_replace(bayersim_tuning_text(), re, "", std::regex_constants::format_first_only));
		EXPECT_NE(err.find(std::string("missing key '") + key + "'"), std::string::npos) << err;
	}
}
