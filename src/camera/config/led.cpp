// The camera flash LED, through MSM_CAM_IOCTL_FLASH_LED_CFG.
#include "camera/config/led.h"

#include <cstdio>

#include "camera/msm_camera.h"
#include "platform/platform.h"

namespace cam {

led_ctrl_t *led_ctrl_p = nullptr;

void sensor_led_ctrl_init(led_ctrl_t *led, int camfd)
{
	led->camfd = camfd;
	led->led_state = 0;
	led->led_mode = 0;
	std::fprintf(stderr, "sensor_led_ctrl_init: camfd = %d\n", camfd);
	led_ctrl_p = led;
}

uint32_t get_led_state() { return led_ctrl_p ? led_ctrl_p->led_state : 0; }

uint32_t get_led_mode() { return led_ctrl_p ? led_ctrl_p->led_mode : 0; }

int set_led_state(uint32_t state)
{
	if (!led_ctrl_p)
		return -1;
	std::fprintf(stderr, "set_led_state: %d -> %d\n", static_cast<int>(led_ctrl_p->led_state),
		     static_cast<int>(state));
	if (state == led_ctrl_p->led_state)
		return 1;
	int rc = plat::ioctl(led_ctrl_p->camfd, MSM_CAM_IOCTL_FLASH_LED_CFG, &state);
	std::fprintf(stderr, "set_led_state return %d\n", rc);
	if (rc >= 0)
		led_ctrl_p->led_state = state;
	return rc;
}

int set_led_mode(uint32_t mode)
{
	if (!led_ctrl_p)
		return 0;
	std::fprintf(stderr, "set_led_mode = %d, led_ctrl_p->led_mode = %d\n", static_cast<int>(mode),
		     static_cast<int>(led_ctrl_p->led_mode));
	if (mode == led_ctrl_p->led_mode)
		return 1;
	int rc = 0;
	if (mode == 0 || mode == 1)
		rc = set_led_state(0);
	else if (mode == 2)
		rc = set_led_state(1);
	led_ctrl_p->led_mode = mode;  // stored even when refused
	std::fprintf(stderr, "led_ctrl_p->led_mode = %d\n", static_cast<int>(mode));
	return rc;
}

}  // namespace cam
