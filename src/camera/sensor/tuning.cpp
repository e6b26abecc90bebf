// Loader of the tuning file. Format: one "key = values" per line, values
// separated by blanks, a key's values may run on over the following lines,
// '#' starts a comment. Every key must appear once with exactly its count of
// values (the exposure table with 2 x num_exposure_values); values must be
// finite and inside their key's range.
#include "camera/sensor/tuning.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <vector>

#include "camera/sensor/sensor_convert.h"
#include "platform/platform.h"

namespace cam {

namespace {

struct key_t {
	const char *name;
	float *(*f)(sensor_tuning_t &);
	int32_t *(*i)(sensor_tuning_t &);
	int count;  // 0: two per exposure row
	double lo, hi;
};

#define KF(field, n, lo, hi) {#field, [](sensor_tuning_t &t) { return reinterpret_cast<float *>(&t.field); }, nullptr, n, lo, hi}
#define KI(field, n, lo, hi) {#field, nullptr, [](sensor_tuning_t &t) { return reinterpret_cast<int32_t *>(&t.field); }, n, lo, hi}

const key_t keys[] = {
    KI(aec_enable, 1, 0, 1),
    KI(num_exposure_values, 1, 1, TUNING_EXP_MAX),
    {"exposure_table", nullptr, nullptr, 0, 1, 1e6},
    KI(indoor_index, 1, 0, TUNING_EXP_MAX - 1),
    KI(outdoor_index, 1, 0, TUNING_EXP_MAX - 1),
    KI(aec_start_at_indoor, 1, 0, 1),
    KI(default_luma_target, 1, 1, 255),
    KI(outdoor_luma_target, 1, 1, 255),
    KI(luma_tolerance, 1, 1, 31),
    KI(aec_aggressiveness, 1, 0, 2),
    KF(exposure_index_adj_step, 1, 1, 1000),
    KI(fast_convergence_gain, 1, 1, 1024),
    KI(frame_skip, 1, 0, 10),
    KI(max_line_count, 1, 1, 65535),
    KF(luma_scale, 1, 0.01, 100),
    KI(led_trigger_index, 1, 0, TUNING_EXP_MAX - 1),
    KF(led_current, 2, 0, 10),
    KI(flash_ratio_limit, 1, 0, 65535),
    KI(iso100_gain, 1, 1, 65535),
    KI(luma_limit_max, 1, -2, 255),
    KI(luma_limit_1, 1, -2, 1023),
    KI(luma_limit_2, 1, -2, 1023),
    KI(awb_enable, 1, 0, 1),
    KF(ref_rg, AWB_REF_NUM, 0.05, 8),
    KF(ref_bg, AWB_REF_NUM, 0.05, 8),
    KF(r_gain_adj, AWB_REF_NUM, 0.25, 4),
    KF(b_gain_adj, AWB_REF_NUM, 0.25, 4),
    KF(blend_f, 1, 0, 1),
    KI(compact_r2, 1, 0, 65535),
    KI(near_ref_r2, 1, 0, 65535),
    KI(a_cluster_pct, 1, 0, 100),
    KI(f_cluster_pct, 1, 0, 100),
    KI(day_cluster_pct, 1, 0, 100),
    KI(green_pct, 1, 0, 100),
    KI(green_outdoor_pct, 1, 0, 100),
    KI(green_indoor_max_pct, 1, 0, 100),
    KI(f_line_enable, 1, 0, 1),
    KI(day_cluster_min_pct, 1, 0, 100),
    KI(green_min_pct, 1, 0, 100),
    KI(max_dist_limit, 1, 0, 65535),
    KI(green_inout_pct, 1, 0, 100),
    KI(green_in_max_pct, 1, 0, 100),
    KI(outlier_dist, 1, 1, 120),
    KI(weights, 30, 0, 100),
    KI(green_rg_offset, 1, -120, 120),
    KI(green_bg_offset, 1, -120, 120),
    KI(y_min_percentage, 1, 39, 99),
    KF(wb_gain_scale, 1, 0.1, 4),
    KF(min_gain, 3, 0.1, 8),
    KF(max_gain, 3, 0.1, 16),
    KF(default_gain, 3, 0.1, 16),
    KF(led_rgb, 3, 0.01, 100),
    KI(box_lowlight, 10, -32768, 32767),
    KI(box_normal, 10, -32768, 32767),
    KI(box_outdoor, 10, -32768, 32767),
    KI(awb_self_cal_enable, 1, 0, 1),
    KF(x_shift_limit_up, 1, 1, 2),
    KF(x_shift_limit_down, 1, 0.5, 1),
    KF(wb_incandescent, 3, 0.1, 16),
    KF(wb_fluorescent, 3, 0.1, 16),
    KF(wb_daylight, 3, 0.1, 16),
    KF(wb_cloudy, 3, 0.1, 16),
    // Every conversion value fits the narrowest field it goes to, 11 bits:
    // an offset as it stands, a coefficient in Q8 (checked below).
    KF(cc_default, CC_WORDS, -1024, 1023),
    KF(cc_daylight, CC_WORDS, -1024, 1023),
    KF(cc_fluorescent, CC_WORDS, -1024, 1023),
    KF(cc_incandescent, CC_WORDS, -1024, 1023),
    KF(cc_sepia, CC_WORDS, -1024, 1023),
    KF(cc_mono, CC_WORDS, -1024, 1023),
    KF(cc_negative, CC_WORDS, -1024, 1023),
    KF(cc_aqua, CC_WORDS, -1024, 1023),
    KF(ccm_normal, 13, -16, 16),
    KF(ccm_lowlight, 13, -16, 16),
    KI(ccm_lowlight_enable, 1, 0, 1),
    KI(black_level, 2, 0, 511),
    KI(gamma_enable, 1, 0, 1),
    KI(gamma_knots, GAMMA_TABLES * GAMMA_KNOTS, 0, 255),
    KI(solarize_knots, GAMMA_KNOTS, 0, 255),
    KI(rolloff_enable, 1, 0, 1),
    KI(rolloff_center, 2, 0, 4095),
    KI(rolloff_radius_sq, ROLLOFF_ROWS, 0, 16777215),
    // A gain is 13 bits in Q10.
    KF(rolloff_gain_r, ROLLOFF_ROWS, 0.5, 7.99),
    KF(rolloff_gain_g, ROLLOFF_ROWS, 0.5, 7.99),
    KF(rolloff_gain_b, ROLLOFF_ROWS, 0.5, 7.99),
    KI(asf_mode, 1, 0, 3),
    KF(asf_3x3, 9, -16, 16),  // 16 in Q10 still fits 16 bits
    KI(asf_q, 1, 0, 10),
    KI(asf_threshold, 2, 0, 255),
    KI(af_is_supported, 1, 0, 1),
    KI(af_no_search, 1, 0, 1),
    KI(af_process_type, 1, 0, 4),
    KI(af_coarse_step, 1, 1, 100),
    KI(af_fine_step, 1, 1, 100),
    KI(af_fine_step_num, 1, 1, 49),
    KI(af_near_end_macro, 1, 0, 1000),
    KI(af_default_macro, 1, 0, 1000),
    KI(af_near_end_normal, 1, 0, 1000),
    KI(af_default_normal, 1, 0, 1000),
    KI(af_far_end, 1, 1, 1000),
    KI(af_undershoot_protect, 1, 0, 1),
    KI(af_undershoot_adjust, 1, 0, 100),
};
constexpr int key_count = sizeof(keys) / sizeof(keys[0]);

bool fail(std::string *err, int line, const std::string &what)
{
	char buf[200];
	std::snprintf(buf, sizeof buf, "tuning: line %d: %s", line, what.c_str());
	if (err)
		*err = buf;
	return false;
}

std::string_view trim(std::string_view s)
{
	while (!s.empty() && (s.front() == ' ' || s.front() == '\t' || s.front() == '\r'))
		s.remove_prefix(1);
	while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r'))
		s.remove_suffix(1);
	return s;
}

struct pending_t {
	int key = -1;
	int line = 0;
	std::vector<double> values;
};

// Stores the values gathered for one key, with its count and range checks.
bool store(const pending_t &p, sensor_tuning_t *t, std::string *err)
{
	const key_t &k = keys[p.key];
	size_t want = k.count ? static_cast<size_t>(k.count) : 2u * static_cast<size_t>(t->num_exposure_values);
	if (p.values.size() != want)
		return fail(err, p.line, std::string(k.name) + ": " + std::to_string(p.values.size()) +
					     " values, " + std::to_string(want) + " expected");
	for (size_t n = 0; n < want; n++) {
		double v = p.values[n];
		if (v < k.lo || v > k.hi)
			return fail(err, p.line, std::string(k.name) + ": value " + std::to_string(v) + " out of range");
		if (!k.count) {
			(n % 2 ? t->exp_lines : t->exp_gain)[n / 2] = static_cast<int32_t>(v);
		} else if (k.f) {
			k.f(*t)[n] = static_cast<float>(v);
		} else {
			if (v != std::floor(v))
				return fail(err, p.line, std::string(k.name) + ": not a whole number");
			k.i(*t)[n] = static_cast<int32_t>(v);
		}
	}
	return true;
}

int key_index(std::string_view name)
{
	for (int k = 0; k < key_count; k++)
		if (name == keys[k].name)
			return k;
	return -1;
}

// The roll-off rings go outwards, and every slope between them fits its
// field.
bool check_rolloff(const sensor_tuning_t &t, const std::array<int, key_count> &line, std::string *err)
{
	int radius_line = line[key_index("rolloff_radius_sq")];
	for (int i = 1; i < ROLLOFF_ROWS; i++)
		if (t.rolloff_radius_sq[i] < t.rolloff_radius_sq[i - 1])
			return fail(err, radius_line, "rolloff_radius_sq: ring " + std::to_string(i) + " lies inside the one before");
	constexpr int64_t slope_max = (int64_t{1} << (ROLLOFF_SLOPE_BITS - 1)) - 1;
	const char *names[3] = {"rolloff_gain_r", "rolloff_gain_g", "rolloff_gain_b"};
	const std::array<float, ROLLOFF_ROWS> *gains[3] = {&t.rolloff_gain_r, &t.rolloff_gain_g, &t.rolloff_gain_b};
	for (int c = 0; c < 3; c++)
		for (int i = 0; i + 1 < ROLLOFF_ROWS; i++) {
			int64_t s = sensor_rolloff_slope((*gains[c])[i], (*gains[c])[i + 1], t.rolloff_radius_sq[i],
							 t.rolloff_radius_sq[i + 1]);
			if (s > slope_max || s < -slope_max - 1)
				return fail(err, std::max(line[key_index(names[c])], radius_line),
					    std::string(names[c]) + ": slope from ring " + std::to_string(i) +
						" does not fit 19 bits; the rings are too close for the change of gain");
		}
	return true;
}

// A conversion's coefficients fit 11 bits in Q8; its offsets are whole levels.
bool check_conversions(const sensor_tuning_t &t, const std::array<int, key_count> &line, std::string *err)
{
	const char *names[] = {"cc_default", "cc_daylight", "cc_fluorescent", "cc_incandescent",
			       "cc_sepia",   "cc_mono",     "cc_negative",    "cc_aqua"};
	const std::array<float, CC_WORDS> *tables[] = {&t.cc_default, &t.cc_daylight, &t.cc_fluorescent, &t.cc_incandescent,
						       &t.cc_sepia,   &t.cc_mono,     &t.cc_negative,    &t.cc_aqua};
	for (size_t n = 0; n < std::size(names); n++)
		for (size_t k = 0; k < CC_WORDS; k++) {
			float v = (*tables[n])[k];
			bool coefficient = sensor_conversion_is_coefficient(k);
			if (coefficient ? (v * 256.0f < -1024.0f || v * 256.0f >= 1024.0f) : v != std::floor(v))
				return fail(err, line[key_index(names[n])],
					    std::string(names[n]) + ": value " + std::to_string(k) +
						(coefficient ? " does not fit 11 bits in Q8" : " is not a whole number"));
		}
	return true;
}

// Cross-checks between keys, which each key's range cannot see.
bool check(const sensor_tuning_t &t, const std::array<int, key_count> &line, std::string *err)
{
	if (!check_rolloff(t, line, err) || !check_conversions(t, line, err))
		return false;
	int n = t.num_exposure_values;
	if (t.indoor_index >= n || t.outdoor_index >= t.indoor_index || t.led_trigger_index >= n)
		return fail(err, 0, "indoor/outdoor/led indexes must satisfy outdoor < indoor < num_exposure_values");
	for (int i = 1; i < n; i++)
		if (int64_t(t.exp_gain[i]) * t.exp_lines[i] < int64_t(t.exp_gain[i - 1]) * t.exp_lines[i - 1])
			return fail(err, 0, "exposure_table: row " + std::to_string(i) + " gives less light than the one before");
	for (int i = 0; i < 3; i++)
		if (t.min_gain[i] > t.max_gain[i])
			return fail(err, 0, "min_gain above max_gain");
	for (int i = 0; i < GAMMA_TABLES * GAMMA_KNOTS; i++)
		if (i % GAMMA_KNOTS && t.gamma_knots[i] < t.gamma_knots[i - 1])
			return fail(err, 0, "gamma_knots: a table falls at knot " + std::to_string(i % GAMMA_KNOTS));
	if (t.af_near_end_normal > t.af_far_end || t.af_near_end_macro > t.af_far_end ||
	    t.af_default_normal > t.af_far_end || t.af_default_macro > t.af_far_end)
		return fail(err, 0, "focus ends and defaults must lie at or below af_far_end");
	return true;
}

// A table straight between its knots, 64 entries apart.
void draw_table(const int32_t *knot, uint8_t *row)
{
	constexpr int span = GAMMA_ENTRIES / (GAMMA_KNOTS - 1);
	for (int i = 0; i < GAMMA_ENTRIES; i++) {
		int seg = i / span, at = i % span;
		row[i] = static_cast<uint8_t>((knot[seg] * (span - at) + knot[seg + 1] * at + span / 2) / span);
	}
}

// The byte after each gamma table's 1024 repeats its last entry.
void draw_gamma(sensor_tuning_t &t)
{
	for (int k = 0; k < GAMMA_TABLES; k++) {
		uint8_t *row = t.gamma.data() + k * GAMMA_ROW;
		draw_table(t.gamma_knots.data() + k * GAMMA_KNOTS, row);
		row[GAMMA_ENTRIES] = row[GAMMA_ENTRIES - 1];
	}
	draw_table(t.solarize_knots.data(), t.solarize_gamma.data());
}

}  // namespace

awb_box_t tuning_box(const std::array<int32_t, 10> &w)
{
	awb_box_t b{};
	b.y_min = static_cast<uint8_t>(w[0]);
	b.y_max = static_cast<uint8_t>(w[1]);
	for (int i = 0; i < 4; i++) {
		b.slope[i] = static_cast<uint8_t>(w[2 + i]);
		b.intercept[i] = static_cast<int16_t>(w[6 + i]);
	}
	return b;
}

bool tuning_parse(std::string_view text, sensor_tuning_t *out, std::string *err)
{
	*out = sensor_tuning_t{};
	std::array<bool, key_count> seen{};
	std::array<int, key_count> key_line{};
	pending_t p;
	int line_no = 0;
	while (!text.empty()) {
		size_t nl = text.find('\n');
		std::string_view line = text.substr(0, nl);
		text.remove_prefix(nl == std::string_view::npos ? text.size() : nl + 1);
		line_no++;
		if (size_t hash = line.find('#'); hash != std::string_view::npos)
			line = line.substr(0, hash);
		line = trim(line);
		if (line.empty())
			continue;
		if (size_t eq = line.find('='); eq != std::string_view::npos) {
			if (p.key >= 0 && !store(p, out, err))
				return false;
			std::string_view name = trim(line.substr(0, eq));
			p = pending_t{};
			p.line = line_no;
			p.key = key_index(name);
			if (p.key < 0)
				return fail(err, line_no, "unknown key '" + std::string(name) + "'");
			if (seen[p.key])
				return fail(err, line_no, "key '" + std::string(name) + "' given twice");
			if (!keys[p.key].count && !seen[1])
				return fail(err, line_no, "exposure_table before num_exposure_values");
			seen[p.key] = true;
			key_line[p.key] = line_no;
			line = line.substr(eq + 1);
		} else if (p.key < 0) {
			return fail(err, line_no, "values without a key");
		}
		std::string buf(line);
		const char *c = buf.c_str();
		for (int guard = 0; guard < 4096; guard++) {
			while (*c == ' ' || *c == '\t' || *c == ',')
				c++;
			if (!*c)
				break;
			char *end = nullptr;
			errno = 0;
			double v = std::strtod(c, &end);
			if (end == c)
				return fail(err, line_no, std::string(keys[p.key].name) + ": not a number: '" + c + "'");
			if (!std::isfinite(v) || errno == ERANGE)
				return fail(err, line_no, std::string(keys[p.key].name) + ": value is not finite");
			if (p.values.size() >= 2 * TUNING_EXP_MAX)
				return fail(err, line_no, std::string(keys[p.key].name) + ": too many values");
			p.values.push_back(v);
			c = end;
		}
	}
	if (p.key >= 0 && !store(p, out, err))
		return false;
	for (int k = 0; k < key_count; k++)
		if (!seen[k])
			return fail(err, line_no, std::string("missing key '") + keys[k].name + "'");
	if (!check(*out, key_line, err))
		return false;
	draw_gamma(*out);
	return true;
}

bool tuning_load(const char *path, sensor_tuning_t *out, std::string *err)
{
	int fd = plat::open(path, 0);
	if (fd < 0) {
		if (err)
			*err = std::string("tuning: cannot open ") + path;
		return false;
	}
	std::string text;
	char buf[4096];
	for (int guard = 0; guard < 64; guard++) {  // a tuning file is far below 256 KiB
		ssize_t n = plat::read(fd, buf, sizeof buf);
		if (n <= 0)
			break;
		text.append(buf, static_cast<size_t>(n));
	}
	plat::close(fd);
	return tuning_parse(text, out, err);
}

}  // namespace cam
