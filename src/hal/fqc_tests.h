// The tests the FQC menu runs on the phone itself, one screen each. They
// take nothing and answer nothing: the screen is the answer.
#pragma once

namespace hal {

// The LCD's patterns, each held for 2 seconds (lcd.cpp).
void fqc_lcd_test();
// The indicator LEDs, one channel at a time, on and then off.
void fqc_led_test();
// The backlights.
void fqc_backlight_test();
// The battery's one-wire bridge: its ID and voltage.
void fqc_battery_test();
// The memory card; no menu row runs it.
void fqc_mmc_test();
// Starts the touch test under FQC (input.cpp); no menu row runs it.
void fqc_touchpanel_switch();

}  // namespace hal
