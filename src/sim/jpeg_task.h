// The DSP's JPEG task behind /dev/adsp/JPEGTASK, for tests.
#pragma once

#include <cstdint>

namespace sim {

// Pictures the task has encoded since the process started.
uint64_t jpeg_task_jobs();

}  // namespace sim
