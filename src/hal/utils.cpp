#include "hal/utils.h"

#include <linux/fb.h>

#include "ftm/debug.h"
#include "hal/hal.h"
#include "platform/platform.h"

namespace hal {

namespace {

// The driver is asked once; each look-up keeps its own answer.
struct screen_query {
	int flag = -1;
	fb_var_screeninfo info{};
};
screen_query size_query, bpp_query;

// Traces under the caller's name, as each look-up asks for itself.
int ask_driver(screen_query &q, const char *caller)
{
	if (q.flag != -1)
		return 0;
	int fd = -1;
	if (get_lcd_fd(&fd) != 0) {
		DBG_AS(caller, "Error: cannot open framebuffer device.\n");
		return 1;
	}
	if (plat::ioctl(fd, FBIOGET_VSCREENINFO, &q.info) != 0) {
		DBG_AS(caller, "Error reading variable information.\n");
		return 1;
	}
	q.flag = 1;
	return 0;
}

}  // namespace

int get_lcd_size(int *width, int *height)
{
	if (ask_driver(size_query, __func__) != 0)
		return 1;
	*width = static_cast<int>(size_query.info.xres);
	*height = static_cast<int>(size_query.info.yres);
	return 0;
}

int get_lcd_bpp(int *bpp)
{
	if (ask_driver(bpp_query, __func__) != 0)
		return 1;
	*bpp = static_cast<int>(bpp_query.info.bits_per_pixel);
	return 0;
}

int get_camera_preview_size(int *width, int *height)
{
	*width = 320;
	*height = 240;
	return 0;
}

int get_camera_capture_size(int *width, int *height)
{
	*width = 2592;
	*height = 1944;
	return 0;
}

void utils_reset_cache()
{
	size_query = {};
	bpp_query = {};
}

}  // namespace hal
