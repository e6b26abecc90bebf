#include "hal/hal.h"

#include <array>
#include <fcntl.h>

#include "platform/platform.h"

namespace hal {

namespace {

struct hal_device {
	const char *path;
	int flags;
};

constexpr std::array<hal_device, HAL_DEVICE_COUNT> hal_device_table = {{
	{"/dev/stdin", O_RDWR},
	{"/dev/ttyHSUSB1", O_RDWR},
	{"/dev/input/event0", O_RDWR | O_NONBLOCK},
	{"/dev/input/event1", O_RDWR | O_NONBLOCK},
	{"/dev/graphics/fb0", O_RDWR},
	{"/dev/msm_camera", O_RDWR},
	{"/dev/graphics/fb0", O_RDWR},
	{"/dev/cm3602_alsps", O_RDWR},
	{"/dev/cm3602_alsps", O_RDWR},
	{"/dev/max7302", O_RDWR},
	{"/dev/tca6507_miscdev", O_RDWR},
	{"/dev/tca6507_miscdev", O_RDWR},
	{"/dev/ftmbattery", O_RDWR},
	{"/dev/bma020", O_RDWR},
	{"/dev/ftm_smd", O_RDWR | O_NONBLOCK},
	{"/dev/compass", O_RDWR},
	{"/sys/devices/platform/i2c-adapter/i2c-0/0-0037/brightness", O_RDWR},
	{"/dev/input/event3", O_RDWR | O_NONBLOCK},
}};

// One cache per role, even where two roles share a path.
std::array<int, HAL_DEVICE_COUNT> cache = [] {
	std::array<int, HAL_DEVICE_COUNT> c{};
	c.fill(-1);
	return c;
}();

int get_fd(int index, int *out)
{
	int &fd = cache[static_cast<size_t>(index)];
	if (fd < 0)
		fd = plat::open(hal_device_table[static_cast<size_t>(index)].path,
		                hal_device_table[static_cast<size_t>(index)].flags);
	*out = fd;
	return fd < 0 ? -1 : 0;
}

}  // namespace

const char *hal_get_name(int index)
{
	if (index < 0 || index >= HAL_DEVICE_COUNT)
		return nullptr;
	return hal_device_table[static_cast<size_t>(index)].path;
}

void hal_reset_cache() { cache.fill(-1); }

void close_usb_fd()
{
	int &fd = cache[1];
	if (fd >= 0)
		plat::close(fd);
	fd = -1;
}

int get_uart_fd(int *out) { return get_fd(0, out); }
int get_usb_fd(int *out) { return get_fd(1, out); }
int get_keypad_fd(int *out) { return get_fd(2, out); }
int get_touchpad_fd(int *out) { return get_fd(3, out); }
int get_lcd_fd(int *out) { return get_fd(4, out); }
int get_camera_fd(int *out) { return get_fd(5, out); }
int get_overlay_fd(int *out) { return get_fd(6, out); }
int get_lightsensor_fd(int *out) { return get_fd(7, out); }
int get_proximity_fd(int *out) { return get_fd(8, out); }
int get_backlight_fd(int *out) { return get_fd(9, out); }
int get_kbacklight_fd(int *out) { return get_fd(10, out); }
int get_led_fd(int *out) { return get_fd(11, out); }
int get_battery_fd(int *out) { return get_fd(12, out); }
int get_gsensor_fd(int *out) { return get_fd(13, out); }
int get_ftm_smd_fd(int *out) { return get_fd(14, out); }
int get_ecompass_fd(int *out) { return get_fd(15, out); }
int get_flashled_fd(int *out) { return get_fd(16, out); }
int get_jogball_fd(int *out) { return get_fd(17, out); }

}  // namespace hal
