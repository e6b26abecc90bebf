#include "sim/camera_scene.h"

#include <array>

namespace sim::camera {

namespace {

// 75 % colour bars in BT.601: white, yellow, cyan, green, magenta, red, blue, black.
constexpr std::array<yuv, 8> bars = {{{180, 128, 128}, {162, 44, 142}, {131, 156, 44}, {112, 72, 58},
				      {84, 184, 198}, {65, 100, 212}, {35, 212, 114}, {16, 128, 128}}};

}  // namespace

yuv scene_at(uint32_t x, uint32_t y, uint32_t w, uint32_t h)
{
	if (w == 0 || h == 0)
		return {16, 128, 128};
	if (y < h * 3 / 4)
		return bars[x * 8 / w];
	return {static_cast<uint8_t>(16 + x * 219 / w), 128, 128};
}

void render_ycbcr420(uint8_t *y_plane, uint8_t *cbcr_plane, uint32_t w, uint32_t h)
{
	for (uint32_t y = 0; y < h; ++y)
		for (uint32_t x = 0; x < w; ++x)
			y_plane[size_t{y} * w + x] = scene_at(x, y, w, h).y;
	for (uint32_t y = 0; y < h / 2; ++y)
		for (uint32_t x = 0; x < w / 2; ++x) {
			yuv c = scene_at(x * 2, y * 2, w, h);
			cbcr_plane[size_t{y} * w + x * 2] = c.cb;
			cbcr_plane[size_t{y} * w + x * 2 + 1] = c.cr;
		}
}

void render_uyvy(uint8_t *out, uint32_t w, uint32_t h)
{
	for (uint32_t y = 0; y < h; ++y)
		for (uint32_t x = 0; x + 1 < w; x += 2) {
			yuv a = scene_at(x, y, w, h), b = scene_at(x + 1, y, w, h);
			uint8_t *p = out + (size_t{y} * w + x) * 2;
			p[0] = a.cb;
			p[1] = a.y;
			p[2] = a.cr;
			p[3] = b.y;
		}
}

}  // namespace sim::camera
