// The simulated DSP's Bayer path: what the sensor was last told (exposure
// lines and gain, lens position) and the records the VFE was last sent,
// applied to the board's scene and illuminant to make the statistics 3A
// reads and the pictures the client gets.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

#include "sim/bayer_scene.h"
#include "sim/vfe_decode.h"

namespace sim::camera {

struct bayer_path_t {
	uint32_t gain_q8 = 256;  // sensor gain, Q8
	uint32_t lines = 1;      // exposure lines
	int lens = 0;            // actuator position, 0 (near stop) to the far stop
	vfe_enables_t enables;
	std::array<uint32_t, 2> black{};               // subtracted from R and Gr, Gb and B
	std::array<uint32_t, 3> wb_q7{128, 128, 128};  // red, green, blue
	vfe_colour_t colour;
	vfe_gamma_t rgb_gamma, y_gamma;
	vfe_roll_off_t roll_off;
	vfe_clamp_t clamp;
};

// Sensor array and the preview's input to the statistics.
constexpr uint32_t BAYER_FULL_W = 2592, BAYER_FULL_H = 1944;
constexpr uint32_t BAYER_PREVIEW_W = 1296, BAYER_PREVIEW_H = 972;
// The sensor's black pedestal on its 10-bit pixel.
constexpr uint32_t BAYER_PEDESTAL = 16;

// The board's scene: camera.scene_light, the illuminant's grey
// (camera.illuminant_rg, camera.illuminant_bg) and the lens's focus curve
// (camera.focus_peak, camera.focus_width).
bayer_scene_t bayer_board_scene(uint32_t regions);
// The actuator's far end stop, camera.lens_far_end.
int bayer_lens_far_end();
// A record of the VFE (queue, number) taken into the path; false if the
// path does not read that record.
bool bayer_take_record(bayer_path_t &path, uint16_t queue, uint32_t number, std::span<const uint8_t> record);
// The sensor's focus commands: to the default (far) stop, or by steps
// towards the far (direction 1) or near end, stopping at either.
void bayer_lens_default(bayer_path_t &path);
void bayer_lens_move(bayer_path_t &path, int32_t direction, int32_t steps);

// The VFE's stages on one 10-bit R, G, B pixel at x, y of a w x h picture
// of the whole array: black level, roll-off, white balance, colour
// correction, gamma, conversion to YCbCr, clamp. Luma takes its own path
// from the corrected colour: the conversion's weights, then the Y gamma.
void bayer_process(const bayer_path_t &p, std::array<double, 3> rgb10, uint32_t x, uint32_t y, uint32_t w, uint32_t h,
		   uint8_t *luma, uint8_t *cb, uint8_t *cr);
// The lens's light on the array at x, y of a w x h picture of it, for R,
// G, B: 1 at the centre, darker towards the corners, red the most and
// blue the least.
// The statistics are taken after the roll-off stage, which undoes this.
std::array<double, 3> bayer_lens_shading(uint32_t x, uint32_t y, uint32_t w, uint32_t h);
// The sensor's raw 10-bit R, G, B of a reflectance (R, G, B) at x, y of a
// w x h picture of the array: under the illuminant, through the lens, at
// the exposure, on the pedestal, clipped.
std::array<double, 3> bayer_sense(const bayer_scene_t &s, const bayer_path_t &p, std::array<double, 3> refl, uint32_t x,
				  uint32_t y, uint32_t w, uint32_t h);
// One pixel of the picture (x, y of a w x h picture of the whole array):
// the scene's colour as a reflectance, under the illuminant, through the
// lens, exposed onto the 10-bit pixel and clipped, then through the VFE's
// stages.
void bayer_pixel(const bayer_scene_t &s, const bayer_path_t &p, uint32_t x, uint32_t y, uint32_t w, uint32_t h,
		 uint8_t *luma, uint8_t *cb, uint8_t *cr);
// With camera.frame_log = 1, one line per statistics frame appended to
// the board's frame log (bayer_frame_log.h): frame, scene light,
// illuminant r/g and b/g, gain (Q8), lines, lens position, focus value,
// the mid-grey patch's raw green (8 bits), white balance gains (Q7) and
// the patch's Y, Cb, Cr in the picture.
void bayer_log_frame(const bayer_scene_t &s, const bayer_path_t &p, uint64_t frame);
void bayer_render_ycbcr420(const bayer_scene_t &s, const bayer_path_t &p, uint8_t *y_plane, uint8_t *cbcr, uint32_t w,
			   uint32_t h);
void bayer_render_uyvy(const bayer_scene_t &s, const bayer_path_t &p, uint8_t *out, uint32_t w, uint32_t h);

}  // namespace sim::camera
