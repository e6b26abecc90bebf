// /sys/devices/virtual/timed_output/vibrator/enable: the milliseconds to
// run; 0 stops the motor. The last value written is in var/vibrator.
#include "sim/models.h"
#include "sim/sysfs_attr.h"

namespace sim {

std::unique_ptr<Device> open_vibrator(Board &board, int /*flags*/) { return SysfsAttribute::open(board, "vibrator"); }

}  // namespace sim
