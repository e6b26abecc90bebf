// /dev/ftmbattery: battery readings through one ioctl per quantity.
#pragma once

#include <cstdint>

namespace hal {

// ioctl BATTERY_IOCTL_BASE + n, argument a pointer to a 32-bit value that
// the driver fills in.
constexpr unsigned long BATTERY_IOCTL_BASE = 0x6600;
constexpr int BATTERY_VOLTAGE = 1;  // millivolts
constexpr int BATTERY_ID = 6;
constexpr int BATTERY_IOCTL_COUNT = 7;
using battery_value = int32_t;
static_assert(sizeof(battery_value) == 4);

// The driver's own error results.
constexpr int BATTERY_ERR_COPY = -998;
constexpr int BATTERY_ERR_COMMAND = -999;
constexpr int BATTERY_ERR_READ = -1000;

// The value of quantity n; 1 on a failed ioctl (so the value 1 cannot be
// told from failure), the registry's result if the device cannot be opened.
int battery_test(int n);

// FQC "One-Wire Bridge Test": battery id and voltage on the screen.
void fqc_battery_test();

}  // namespace hal
