// LCD backlight (max7302) and keypad backlight (channels of the tca6507).
#pragma once

#include <cstdint>

namespace hal {

// _IOW('m', 2, int): argument a pointer to the 32-bit level.
constexpr unsigned long MAX7302_SET_LEVEL = 0x40046D02;
constexpr int32_t BACKLIGHT_LEVEL_ON = 100;
constexpr int32_t BACKLIGHT_LEVEL_OFF = 0;

int backlight_test(int on);
int keypad_backlight_test(int on);

// FQC "Backlight Test": LCD and keypad backlights off and on in turn.
void fqc_backlight_test();

}  // namespace hal
