// The simulated DSP's Bayer path: what the sensor was last told (exposure
// lines and gain) and what the VFE was last sent (white balance gains),
// applied to the board's scene and illuminant to make the statistics 3A
// reads and the pictures the client gets.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "sim/bayer_scene.h"

namespace sim::camera {

struct bayer_path_t {
	uint32_t gain_q8 = 256;  // sensor gain, Q8
	uint32_t lines = 1;      // exposure lines
	std::array<uint32_t, 3> wb_q7{128, 128, 128};  // red, green, blue gains of the white balance record, Q7
};

// Sensor array and the preview's input to the statistics.
constexpr uint32_t BAYER_FULL_W = 2592, BAYER_FULL_H = 1944;
constexpr uint32_t BAYER_PREVIEW_W = 1296, BAYER_PREVIEW_H = 972;

// The board's scene: camera.scene_light and the illuminant's grey
// (camera.illuminant_rg, camera.illuminant_bg).
bayer_scene_t bayer_board_scene(uint32_t regions);
// The white balance record's gains (word 1: green, blue, red, 9 bits each).
void bayer_take_wb_record(bayer_path_t &path, std::span<const uint8_t> record);
// One pixel of the picture: the scene's colour as a reflectance, under the
// illuminant, exposed, white balanced and clamped, in YCbCr.
void bayer_pixel(const bayer_scene_t &s, const bayer_path_t &p, uint32_t x, uint32_t y, uint32_t w, uint32_t h,
		 uint8_t *luma, uint8_t *cb, uint8_t *cr);
void bayer_render_ycbcr420(const bayer_scene_t &s, const bayer_path_t &p, uint8_t *y_plane, uint8_t *cbcr, uint32_t w,
			   uint32_t h);
void bayer_render_uyvy(const bayer_scene_t &s, const bayer_path_t &p, uint8_t *out, uint32_t w, uint32_t h);

}  // namespace sim::camera
