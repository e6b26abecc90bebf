// Factories of the board's device models, one per device file in src/sim/.
#pragma once

#include "sim/device.h"

namespace sim {

std::unique_ptr<Device> open_ftmgpio(Board &board, int flags);
std::unique_ptr<Device> open_msm_camera(Board &board, int flags);
std::unique_ptr<Device> open_pmem_adsp(Board &board, int flags);

}  // namespace sim
