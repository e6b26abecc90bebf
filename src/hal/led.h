// The LED driver chip tca6507: seven channels switched by two ioctls.
#pragma once

#include <array>
#include <cstdint>

namespace hal {

// _IOW('t', 0, int) and _IOW('t', 1, int): argument a pointer to the
// 32-bit channel.
constexpr unsigned long TCA6507_CHANNEL_ON = 0x40047400;
constexpr unsigned long TCA6507_CHANNEL_OFF = 0x40047401;
constexpr int TCA6507_CHANNELS = 7;
using tca6507_channel = int32_t;
static_assert(sizeof(tca6507_channel) == 4);

// The keypad backlight's channels, in the order they are switched.
constexpr std::array<tca6507_channel, 5> KEYPAD_BL_CHANNELS = {0, 1, 2, 5, 6};

// From a test's LED index to the chip's channel; -1 for no such LED.
int check_led_index(int index);
// on 1 lights the channel, 0 darkens it, other values do nothing.
int led_test(int channel, int on);

// FQC "LED Test": every channel on, then every channel off.
void fqc_led_test();

}  // namespace hal
