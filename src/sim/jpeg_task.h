// The DSP's JPEG task behind /dev/adsp/JPEGTASK, for tests.
#pragma once

#include <array>
#include <cstdint>

namespace sim {

// Pictures the task has encoded since the process started.
uint64_t jpeg_task_jobs();
// The configuration message of the last start, as the encoder sent it.
std::array<uint8_t, 624> jpeg_task_last_config();

}  // namespace sim
