// The simulated panel behind /dev/graphics/fb0: its geometry comes from the
// board file, its pixels live in the board file dev/graphics/fb0.
#pragma once

#include <cstddef>

namespace sim {

class Board;

struct panel_geometry {
	int width;
	int height;
	int bpp;
	// Bytes of one frame, as the driver reports smem_len.
	size_t frame_bytes() const
	{
		return static_cast<size_t>(width) * static_cast<size_t>(height) * static_cast<size_t>(bpp) / 8;
	}
};

// lcd.width, lcd.height, lcd.bpp of the board file, bounded to sane values.
// The default is the 800 by 480 panel the camera preview is laid out for, at
// 16 bits per pixel.
panel_geometry panel_of(Board &board);

// The daemon unmapped addr: a panel mapping that started there no longer
// holds the panel file at its size.
void framebuffer_unmapped(const void *addr);

// Where the pixels of the panel live on the host.
constexpr const char *kFramebufferPath = "/dev/graphics/fb0";

}  // namespace sim
