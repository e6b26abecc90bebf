// The camera flash LED, switched through the camera driver.
#pragma once

#include <cstdint>

namespace cam {

struct led_ctrl_t {
	int camfd;
	uint32_t led_state;
	uint32_t led_mode;
};

// Points at the LED record of the sensor once sensor_led_ctrl_init has run.
extern led_ctrl_t *led_ctrl_p;

void sensor_led_ctrl_init(led_ctrl_t *led, int camfd);
uint32_t get_led_state();
uint32_t get_led_mode();
int set_led_state(uint32_t state);
int set_led_mode(uint32_t mode);

}  // namespace cam
