// The Bayer path of the simulated DSP: sensor exposure and white balance
// applied to the board's scene. The colour bars and grey ramp of the
// YCbCr scene are taken as reflectances (mid grey is 1.0).
#include "sim/bayer_dsp.h"

#include <algorithm>
#include <cmath>
#include <cstring>

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

uint8_t clamp8(double v) { return static_cast<uint8_t>(std::lround(std::clamp(v, 0.0, 255.0))); }

// A scene value of the board that must be a positive finite number.
double positive(std::string_view key, double fallback)
{
	double v = Board::get().real(key, fallback);
	return std::isfinite(v) && v > 0 ? v : fallback;
}

}  // namespace

bayer_scene_t bayer_board_scene(uint32_t regions)
{
	bayer_scene_t s;
	s.light = positive("camera.scene_light", 0.1);
	s.illum_rg = positive("camera.illuminant_rg", 0.60);
	s.illum_bg = positive("camera.illuminant_bg", 0.75);
	s.pix_per_region = regions ? BAYER_PREVIEW_W * BAYER_PREVIEW_H / regions : 0;
	return s;
}

void bayer_take_wb_record(bayer_path_t &path, std::span<const uint8_t> record)
{
	if (record.size() < 8)
		return;
	uint32_t w = 0;
	std::memcpy(&w, record.data() + 4, sizeof w);
	path.wb_q7 = {(w >> 18) & 0x1FF, w & 0x1FF, (w >> 9) & 0x1FF};
}

void bayer_pixel(const bayer_scene_t &s, const bayer_path_t &p, uint32_t x, uint32_t y, uint32_t w, uint32_t h,
		 uint8_t *luma, uint8_t *cb, uint8_t *cr)
{
	rgb f = reflectance(x, y, w, h);
	double exposure = s.light * (p.gain_q8 / 256.0) * p.lines;
	// The sensor clips, then the white balance gains, then the VFE's clamp.
	double r = std::min(255.0, f.r * s.illum_rg * exposure) * p.wb_q7[0] / 128.0;
	double g = std::min(255.0, f.g * exposure) * p.wb_q7[1] / 128.0;
	double b = std::min(255.0, f.b * s.illum_bg * exposure) * p.wb_q7[2] / 128.0;
	r = std::min(255.0, r), g = std::min(255.0, g), b = std::min(255.0, b);
	double yy = 0.299 * r + 0.587 * g + 0.114 * b;
	*luma = clamp8(yy);
	*cb = clamp8(128 + 0.564 * (b - yy));
	*cr = clamp8(128 + 0.713 * (r - yy));
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
