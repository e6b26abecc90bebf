// Factories of the board's device models, one per device file in src/sim/.
#pragma once

#include "sim/device.h"

namespace sim {

std::unique_ptr<Device> open_ftmgpio(Board &board, int flags);
std::unique_ptr<Device> open_cm3602_alsps(Board &board, int flags);
std::unique_ptr<Device> open_bma020(Board &board, int flags);
std::unique_ptr<Device> open_compass(Board &board, int flags);
// Not a device node: the model behind each AF_INET datagram socket.
std::unique_ptr<Device> open_wifi_socket(Board &board);
std::unique_ptr<Device> open_bt_soc(Board &board, int flags);
std::unique_ptr<Device> open_framebuffer(Board &board, int flags);
std::unique_ptr<Device> open_touchpanel(Board &board, int flags);
std::unique_ptr<Device> open_ftmbattery(Board &board, int flags);
std::unique_ptr<Device> open_max7302(Board &board, int flags);
std::unique_ptr<Device> open_tca6507(Board &board, int flags);
std::unique_ptr<Device> open_vibrator(Board &board, int flags);
std::unique_ptr<Device> open_flashled(Board &board, int flags);
std::unique_ptr<Device> open_ftm_smd(Board &board, int flags);
std::unique_ptr<Device> open_msm_camera(Board &board, int flags);
std::unique_ptr<Device> open_pmem_adsp(Board &board, int flags);
std::unique_ptr<Device> open_msm_camera(Board &board, int flags);
std::unique_ptr<Device> open_pmem_adsp(Board &board, int flags);
std::unique_ptr<Device> open_jpeg_task(Board &board, int flags);

}  // namespace sim
