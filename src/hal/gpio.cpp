#include "hal/gpio.h"

namespace hal {

std::atomic<int> fd_gpio{0};

}  // namespace hal
