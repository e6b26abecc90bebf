// /dev/ftmbattery: ioctl 0x6600 + n fills a 32-bit value. n = 1 is the
// battery voltage in millivolts, n = 6 the battery id; the driver answers
// its own negative codes on failure.
#include <cstdint>
#include <string>

#include "sim/board.h"
#include "sim/models.h"

namespace sim {

namespace {

constexpr unsigned long kBase = 0x6600;
constexpr unsigned long kCount = 7;
constexpr int kUnknownCommand = -999;

class FtmBattery : public Device {
public:
	explicit FtmBattery(Board &board) : board_(board) {}

	int ioctl(unsigned long request, uintptr_t arg) override
	{
		if (request < kBase || request >= kBase + kCount)
			return kUnknownCommand;
		if (long fail = board_.num("battery.ioctl_result", 0); fail != 0)
			return static_cast<int>(fail);
		auto *out = reinterpret_cast<int32_t *>(arg);
		*out = static_cast<int32_t>(value(static_cast<int>(request - kBase)));
		return 0;
	}

private:
	long value(int n)
	{
		switch (n) {
		case 1: return board_.num("battery.voltage_mv", 3800);
		case 6: return board_.num("battery.id", 0x2A);
		default: return board_.num("battery.value_" + std::to_string(n), 0);
		}
	}

	Board &board_;
};

}  // namespace

std::unique_ptr<Device> open_ftmbattery(Board &board, int /*flags*/)
{
	if (!board.num("battery.present", 1)) {
		errno = ENODEV;
		return nullptr;
	}
	return std::make_unique<FtmBattery>(board);
}

}  // namespace sim
