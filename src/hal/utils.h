// Screen and camera size look-ups.
#pragma once

namespace hal {

int get_lcd_size(int *width, int *height);
int get_lcd_bpp(int *bpp);
int get_camera_preview_size(int *width, int *height);
int get_camera_capture_size(int *width, int *height);

// Forgets what the framebuffer driver said (for tests).
void utils_reset_cache();

}  // namespace hal
