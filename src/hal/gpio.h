// /dev/ftmgpio: raw pins, product data, NV items, fuses and the power key.
// Each operation is an ioctl that selects it, then a read or write of its data.
#pragma once

#include <atomic>

namespace hal {

constexpr unsigned long FTMGPIO_POWER_KEY = 20;

// Shared by the loop and the power-key thread; below 1 means not open yet.
extern std::atomic<int> fd_gpio;

}  // namespace hal
