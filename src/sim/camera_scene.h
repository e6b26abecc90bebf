// The synthetic scene in front of the simulated sensor: colour bars over
// the top three quarters and a luma ramp below, at any size.
#pragma once

#include <cstddef>
#include <cstdint>

namespace sim::camera {

struct yuv {
	uint8_t y, cb, cr;
};

// The scene's colour at (x, y) of a w x h picture.
yuv scene_at(uint32_t x, uint32_t y, uint32_t w, uint32_t h);

// Y plane then interleaved CbCr at half size (the VFE's 4:2:0 output).
void render_ycbcr420(uint8_t *y_plane, uint8_t *cbcr_plane, uint32_t w, uint32_t h);
// Interleaved U Y V Y, the sensor's raw output.
void render_uyvy(uint8_t *out, uint32_t w, uint32_t h);

}  // namespace sim::camera
