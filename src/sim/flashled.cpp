// /sys/devices/platform/i2c-adapter/i2c-0/0-0037/brightness: the camera
// flash LED, 1 on and 0 off. The last value written is in var/flashled.
#include "sim/models.h"
#include "sim/sysfs_attr.h"

namespace sim {

std::unique_ptr<Device> open_flashled(Board &board, int /*flags*/) { return SysfsAttribute::open(board, "flashled"); }

}  // namespace sim
