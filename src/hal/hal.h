// The one place that knows the board's device nodes. Each role opens its
// device on first use and keeps the descriptor; a failed open is retried on
// the next call.
#pragma once

namespace hal {

constexpr int HAL_DEVICE_COUNT = 18;

// The path of a role, or null for an index of 18 or more.
const char *hal_get_name(int index);

int get_uart_fd(int *out);
int get_usb_fd(int *out);
int get_keypad_fd(int *out);
int get_touchpad_fd(int *out);
int get_lcd_fd(int *out);
int get_camera_fd(int *out);
int get_overlay_fd(int *out);
int get_lightsensor_fd(int *out);
int get_proximity_fd(int *out);
int get_backlight_fd(int *out);
int get_kbacklight_fd(int *out);
int get_led_fd(int *out);
int get_battery_fd(int *out);
int get_gsensor_fd(int *out);
int get_ftm_smd_fd(int *out);
int get_ecompass_fd(int *out);
int get_flashled_fd(int *out);
int get_jogball_fd(int *out);

// Forgets every cached descriptor (for tests; the daemon never closes them).
void hal_reset_cache();
// Closes the USB port and forgets it, so the next get_usb_fd opens the
// device again: a station that hung up may come back on a new one.
void close_usb_fd();

}  // namespace hal
