// /dev/max7302: the LCD backlight driver. One ioctl sets the level; the
// board keeps the last level in var/max7302 as "level N", and every level
// set in var/max7302.log.
#include <cstdint>
#include <string>

#include "sim/board.h"
#include "sim/models.h"
#include "sim/record.h"

namespace sim {

namespace {

constexpr unsigned long kSetLevel = 0x40046D02;  // _IOW('m', 2, int)

class Max7302 : public Device {
public:
	explicit Max7302(Board &board) : board_(board) {}

	int ioctl(unsigned long request, uintptr_t arg) override
	{
		if (request != kSetLevel) {
			errno = ENOTTY;
			return -1;
		}
		if (board_.num("max7302.fail", 0)) {
			errno = EIO;  // the chip does not acknowledge on the bus
			return -1;
		}
		int32_t level = *reinterpret_cast<const int32_t *>(arg);
		board_.save_state("max7302", "level " + std::to_string(level) + "\n");
		append_record(board_, "max7302.log", "level " + std::to_string(level) + "\n");
		return 0;
	}

private:
	Board &board_;
};

}  // namespace

std::unique_ptr<Device> open_max7302(Board &board, int /*flags*/)
{
	if (!board.num("max7302.present", 1)) {
		errno = ENODEV;
		return nullptr;
	}
	return std::make_unique<Max7302>(board);
}

}  // namespace sim
