// The Bayer path of the simulated DSP. The colour bars and grey ramp of the
// YCbCr scene are taken as reflectances (mid grey is 1.0); the sensor
// makes a 10-bit pixel on a black pedestal, and the VFE's stages follow
// as the records last sent set them.
#include "sim/bayer_dsp.h"
#include "sim/bayer_frame_log.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <mutex>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "camera/sensor/bayersim.h"
#include "camera/vfe/vfe_cmd.h"
#include "sim/board.h"
#include "sim/camera_scene.h"

namespace sim::camera {

namespace {

struct rgb {
	double r, g, b;
};

// The scene's colour, BT.601 studio range, as reflectances: 128 is 1.0.
rgb reflectance(uint32_t x, uint32_t y, uint32_t w, uint32_t h)
{
	yuv c = scene_at(x, y, w, h);
	double yy = (c.y - 16) * 255.0 / 219, cb = (c.cb - 128) * 255.0 / 224, cr = (c.cr - 128) * 255.0 / 224;
	auto refl = [](double v) { return std::max(0.0, v) / 128.0; };
	return {refl(yy + 1.402 * cr), refl(yy - 0.344136 * cb - 0.714136 * cr), refl(yy + 1.772 * cb)};
}

uint8_t clamp8(double v, uint8_t lo = 0, uint8_t hi = 255)
{
	if (lo > hi)
		std::swap(lo, hi);
	return static_cast<uint8_t>(std::lround(std::clamp(v, double(lo), double(hi))));
}

// A number of the board's camera section inside [lo, hi]. A value that is
// not is refused once with its line in the kernel log, and the last good
// value (or the default) stays.
double board_number(std::string_view key, double fallback, double lo, double hi)
{
	static std::mutex mutex;
	static std::map<std::string, double, std::less<>> good;
	static std::map<std::string, std::string, std::less<>> refused;
	Board &board = Board::get();
	std::string text = board.text(key, "");
	std::lock_guard lock(mutex);
	auto kept = good.find(key);
	double keep = kept == good.end() ? fallback : kept->second;
	if (text.empty())
		return fallback;
	char *end = nullptr;
	double v = std::strtod(text.c_str(), &end);
	if (end != text.c_str() + text.size() || !std::isfinite(v) || v < lo || v > hi) {
		auto [it, fresh] = refused.try_emplace(std::string(key), text);
		if (fresh || it->second != text) {
			it->second = text;
			char line[200];
			std::snprintf(line, sizeof line, "board.conf:%d: %.*s = %.40s refused: not a number from %g to %g\n",
				      board.line_of(key), static_cast<int>(key.size()), key.data(), text.c_str(), lo, hi);
			board.kmsg_write(line);
		}
		return keep;
	}
	good[std::string(key)] = v;
	return v;
}

// Gain of the roll-off at a squared radius, Q10: the row the radius falls
// in, its gain and its slope over the rest of the way. The slope is in
// whole gain, not Q10, per 2^30 of squared radius.
double roll_off_gain(const vfe_roll_off_t &t, size_t c, double r2)
{
	size_t row = 0;
	while (row + 1 < ROLL_OFF_ROWS && t.r2[row + 1] > t.r2[row] && r2 >= t.r2[row + 1])
		++row;
	double over = std::max(0.0, r2 - t.r2[row]);
	return t.gain[row][c] + t.slope[row][c] * over / double(1u << 20);
}

// A 10-bit level through a gamma table to 8 bits; with no table loaded
// the stage is a straight line.
double gamma_out(const vfe_gamma_t &g, double v10)
{
	v10 = std::clamp(v10, 0.0, 1023.0);
	return g.table ? g.at[static_cast<size_t>(v10)] : v10 / 4;
}

// Luma by the conversion's weights, before its offset.
double luma_of(const vfe_colour_t &c, double r, double g, double b)
{
	return (c.conv[10] * r + c.conv[11] * g + c.conv[12] * b) / 256.0;
}

// Colour conversion, Q8: luma from the three weights, each chroma from its
// own colour difference plus a share of the other one; _m for a negative
// difference, _p for a positive.
void convert(const vfe_colour_t &c, double r, double g, double b, double *y, double *cb, double *cr)
{
	const auto &k = c.conv;
	double db = b - g, dr = r - g;
	auto pick = [](double d, int32_t m, int32_t p) { return (d < 0 ? m : p) / 256.0; };
	*y = luma_of(c, r, g, b) + k[13];
	*cb = pick(db, k[0], k[1]) * (db + pick(dr, k[2], k[3]) * dr) + k[8];
	*cr = pick(dr, k[4], k[5]) * (dr + pick(db, k[6], k[7]) * db) + k[9];
}

}  // namespace

bayer_scene_t bayer_board_scene(uint32_t regions)
{
	bayer_scene_t s;
	s.light = board_number("camera.scene_light", 0.1, 1e-6, 1e4);
	s.illum_rg = board_number("camera.illuminant_rg", 0.60, 0.05, 20);
	s.illum_bg = board_number("camera.illuminant_bg", 0.75, 0.05, 20);
	s.focus_peak = static_cast<int>(board_number("camera.focus_peak", 20, 0, 1023));
	s.focus_width = board_number("camera.focus_width", 6, 0.1, 1023);
	s.pix_per_region = regions ? BAYER_PREVIEW_W * BAYER_PREVIEW_H / regions : 0;
	return s;
}

int bayer_lens_far_end() { return static_cast<int>(board_number("camera.lens_far_end", 40, 1, 1023)); }

bool bayer_take_record(bayer_path_t &p, uint16_t queue, uint32_t number, std::span<const uint8_t> r)
{
	if (queue == cam::VFE_QUEUE_CMD) {
		switch (number) {
		case cam::VFE_CMD_START: vfe_decode_start(p.enables, r); return true;
		case cam::VFE_CMD_OUTPUT_CLAMP_CFG: vfe_decode_clamp(p.clamp, r); return true;
		case cam::VFE_CMD_BLACK_LEVEL_CFG: vfe_decode_black_level(p.black, r); return true;
		case cam::VFE_CMD_WHITE_BALANCE_CFG: vfe_decode_white_balance(p.wb_q7, r); return true;
		case cam::VFE_CMD_COLOR_PROCESSING_CFG: vfe_decode_colour(p.colour, r); return true;
		default: return false;
		}
	}
	if (queue == cam::VFE_QUEUE_TABLE && number == cam::VFE_CMD_RGB_GAMMA_CFG) {
		vfe_decode_gamma(p.rgb_gamma, r);
		return true;
	}
	if (queue == cam::VFE_QUEUE_TABLE && number == cam::VFE_CMD_Y_GAMMA_CFG) {
		vfe_decode_gamma(p.y_gamma, r);
		return true;
	}
	if (queue == cam::VFE_QUEUE_TABLE && number == cam::VFE_CMD_ROLL_OFF_CFG) {
		vfe_decode_roll_off(p.roll_off, r);
		return true;
	}
	return false;
}

void bayer_lens_default(bayer_path_t &p) { p.lens = bayer_lens_far_end(); }

void bayer_lens_move(bayer_path_t &p, int32_t direction, int32_t steps)
{
	long to = long{p.lens} + (direction == 1 ? 1L : -1L) * std::clamp<long>(steps, 0, 1 << 16);
	p.lens = static_cast<int>(std::clamp<long>(to, 0, bayer_lens_far_end()));
}

void bayer_process(const bayer_path_t &p, std::array<double, 3> c, uint32_t x, uint32_t y, uint32_t w, uint32_t h,
		   uint8_t *luma, uint8_t *cb, uint8_t *cr)
{
	if (p.enables.black_level) {
		double black[3] = {double(p.black[0]), (p.black[0] + p.black[1]) / 2.0, double(p.black[1])};
		for (size_t i = 0; i < 3; ++i)
			c[i] = std::max(0.0, c[i] - black[i]);
	}
	// A table whose radii never grow was not loaded: the stage passes.
	if (p.enables.roll_off && p.roll_off.r2[1] > p.roll_off.r2[0] && w && h) {
		double dx = double(x) * BAYER_FULL_W / w - p.roll_off.cx, dy = double(y) * BAYER_FULL_H / h - p.roll_off.cy;
		for (size_t i = 0; i < 3; ++i)
			c[i] = std::min(1023.0, c[i] * std::max(0.0, roll_off_gain(p.roll_off, i, dx * dx + dy * dy)) / 1024);
	}
	if (p.enables.white_balance)
		for (size_t i = 0; i < 3; ++i)
			c[i] = std::min(1023.0, c[i] * p.wb_q7[i] / 128.0);
	const vfe_colour_t &k = p.colour;
	double unit = double(1u << (7 + k.q)), m[3];
	for (size_t i = 0; i < 3; ++i)
		m[i] = std::clamp((k.ccm[3 * i] * c[0] + k.ccm[3 * i + 1] * c[1] + k.ccm[3 * i + 2] * c[2]) / unit + k.bias[i],
				  0.0, 1023.0);
	// Luma leaves for its own path before the RGB gamma; the start
	// record's one gamma bit switches both tables.
	double linear_luma = luma_of(k, m[0], m[1], m[2]);
	for (double &v : m)
		v = p.enables.rgb_gamma ? gamma_out(p.rgb_gamma, v) : v / 4;
	double yy, u, v;
	convert(k, m[0], m[1], m[2], &yy, &u, &v);
	// The Y table maps linear 10-bit luma, as the contrast step builds it
	// from the same curve as the RGB table: it replaces the gamma'd luma.
	if (p.enables.rgb_gamma && p.y_gamma.table)
		yy = gamma_out(p.y_gamma, linear_luma) + k.conv[13];
	*luma = clamp8(yy, p.clamp.min[0], p.clamp.max[0]);
	*cb = clamp8(u, p.clamp.min[1], p.clamp.max[1]);
	*cr = clamp8(v, p.clamp.min[2], p.clamp.max[2]);
}

std::array<double, 3> bayer_lens_shading(uint32_t x, uint32_t y, uint32_t w, uint32_t h)
{
	if (!w || !h)
		return {1, 1, 1};
	// Falls off with the square of the radius to 1 / (1 + k) at the corner:
	// the curve the tuning's roll-off table was drawn to undo.
	constexpr double k[3] = {0.7, 0.6, 0.5};
	constexpr double cx = BAYER_FULL_W / 2.0, cy = BAYER_FULL_H / 2.0, corner2 = cx * cx + cy * cy;
	double dx = double(x) * BAYER_FULL_W / w - cx, dy = double(y) * BAYER_FULL_H / h - cy;
	double r2 = (dx * dx + dy * dy) / corner2;
	return {1 / (1 + k[0] * r2), 1 / (1 + k[1] * r2), 1 / (1 + k[2] * r2)};
}

std::array<double, 3> bayer_sense(const bayer_scene_t &s, const bayer_path_t &p, std::array<double, 3> refl, uint32_t x,
				  uint32_t y, uint32_t w, uint32_t h)
{
	std::array<double, 3> lens = bayer_lens_shading(x, y, w, h);
	const double illum[3] = {s.illum_rg, 1, s.illum_bg};
	// Four 10-bit levels to the statistics' one, on the pedestal.
	double exposure = 4 * s.light * (p.gain_q8 / 256.0) * p.lines;
	for (size_t i = 0; i < 3; ++i)
		refl[i] = std::min(1023.0, refl[i] * illum[i] * lens[i] * exposure + BAYER_PEDESTAL);
	return refl;
}

void bayer_pixel(const bayer_scene_t &s, const bayer_path_t &p, uint32_t x, uint32_t y, uint32_t w, uint32_t h,
		 uint8_t *luma, uint8_t *cb, uint8_t *cr)
{
	rgb f = reflectance(x, y, w, h);
	bayer_process(p, bayer_sense(s, p, {f.r, f.g, f.b}, x, y, w, h), x, y, w, h, luma, cb, cr);
}

void bayer_log_frame(const bayer_scene_t &s, const bayer_path_t &p, uint64_t frame)
{
	Board &board = Board::get();
	if (board.num("camera.frame_log", 0) != 1)
		return;
	// The mid-grey patch: its raw green, and its colour through the stages.
	double exposure = s.light * (p.gain_q8 / 256.0) * p.lines;
	uint8_t y = 0, cb = 0, cr = 0;
	bayer_process(p, bayer_sense(s, p, {1, 1, 1}, 1, 1, 2, 2), 1, 1, 2, 2, &y, &cb, &cr);
	char line[256];
	int n = std::snprintf(line, sizeof line, "%llu,%g,%g,%g,%u,%u,%d,%.0f,%.3f,%u,%u,%u,%u,%u,%u\n",
			      static_cast<unsigned long long>(frame), s.light, s.illum_rg, s.illum_bg, p.gain_q8, p.lines,
			      p.lens, bayer_focus_value(s, p.lens), std::min(255.0, exposure), p.wb_q7[0], p.wb_q7[1],
			      p.wb_q7[2], y, cb, cr);
	::mkdir((board.root() + "/var").c_str(), 0755);
	std::string path = board.root() + BAYER_FRAME_LOG;
	int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
	if (fd < 0)
		return;
	// One write a line, so a reader never sees half of one.
	ssize_t put = ::write(fd, line, static_cast<size_t>(std::clamp(n, 0, int(sizeof line) - 1)));
	(void)put;
	::close(fd);
}

void bayer_render_ycbcr420(const bayer_scene_t &s, const bayer_path_t &p, uint8_t *y_plane, uint8_t *cbcr, uint32_t w,
			   uint32_t h)
{
	uint8_t cb = 0, cr = 0;
	for (uint32_t y = 0; y < h; ++y)
		for (uint32_t x = 0; x < w; ++x) {
			bayer_pixel(s, p, x, y, w, h, &y_plane[size_t{y} * w + x], &cb, &cr);
			if (!(x & 1) && !(y & 1)) {
				cbcr[size_t{y / 2} * w + x] = cb;
				cbcr[size_t{y / 2} * w + x + 1] = cr;
			}
		}
}

void bayer_render_uyvy(const bayer_scene_t &s, const bayer_path_t &p, uint8_t *out, uint32_t w, uint32_t h)
{
	for (uint32_t y = 0; y < h; ++y)
		for (uint32_t x = 0; x + 1 < w; x += 2) {
			uint8_t *q = out + (size_t{y} * w + x) * 2;
			uint8_t cb2 = 0, cr2 = 0;
			bayer_pixel(s, p, x, y, w, h, &q[1], &q[0], &q[2]);
			bayer_pixel(s, p, x + 1, y, w, h, &q[3], &cb2, &cr2);
		}
}

}  // namespace sim::camera
