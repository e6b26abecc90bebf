// The device nodes of the simulated board. A path not listed here is a plain
// file, FIFO or pty under the board root.
#include <array>

#include "sim/device.h"
#include "sim/models.h"

namespace sim {

namespace {

constexpr std::array device_table = {
	DeviceEntry{"/dev/ftmgpio", open_ftmgpio},
	DeviceEntry{"/dev/cm3602_alsps", open_cm3602_alsps},
	DeviceEntry{"/dev/bma020", open_bma020},
	DeviceEntry{"/dev/compass", open_compass},
	DeviceEntry{"/dev/ttyHS0", open_bt_soc},
	DeviceEntry{"/dev/graphics/fb0", open_framebuffer},
	DeviceEntry{"/dev/input/event1", open_touchpanel},
	DeviceEntry{"/dev/ftmbattery", open_ftmbattery},
	DeviceEntry{"/dev/max7302", open_max7302},
	DeviceEntry{"/dev/tca6507_miscdev", open_tca6507},
	DeviceEntry{"/sys/devices/virtual/timed_output/vibrator/enable", open_vibrator},
	DeviceEntry{"/sys/devices/platform/i2c-adapter/i2c-0/0-0037/brightness", open_flashled},
	DeviceEntry{"/dev/ftm_smd", open_ftm_smd},
	DeviceEntry{"/dev/msm_camera0", open_msm_camera},
	DeviceEntry{"/dev/pmem_adsp", open_pmem_adsp},
	DeviceEntry{"/dev/msm_camera0", open_msm_camera},
	DeviceEntry{"/dev/pmem_adsp", open_pmem_adsp},
	DeviceEntry{"/dev/adsp/JPEGTASK", open_jpeg_task},
};

}  // namespace

const DeviceEntry *find_device(std::string_view phone_path)
{
	for (const DeviceEntry &entry : device_table)
		if (entry.path == phone_path)
			return &entry;
	return nullptr;
}

}  // namespace sim
