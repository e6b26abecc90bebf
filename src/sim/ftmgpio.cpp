// /dev/ftmgpio: an ioctl selects an operation, the next read or write on the
// same descriptor carries its data.
#include <cstring>

#include "sim/board.h"
#include "sim/models.h"

namespace sim {

namespace {

constexpr unsigned long kOpPowerKey = 20;

class FtmGpio : public Device {
public:
	explicit FtmGpio(Board &board) : board_(board) {}

	int ioctl(unsigned long request, uintptr_t /*arg*/) override
	{
		if (request != kOpPowerKey) {
			errno = EINVAL;
			return -1;
		}
		op_ = request;
		return 0;
	}

	ssize_t read(void *buf, size_t n) override
	{
		if (n == 0)
			return 0;
		if (op_ == kOpPowerKey) {
			auto *out = static_cast<unsigned char *>(buf);
			out[0] = board_.num("gpio.power_key", 0) ? 1 : 0;
			return 1;
		}
		return 0;  // the device reads nothing when no data is pending
	}

private:
	Board &board_;
	unsigned long op_ = 0;
};

}  // namespace

std::unique_ptr<Device> open_ftmgpio(Board &board, int /*flags*/)
{
	return std::make_unique<FtmGpio>(board);
}

}  // namespace sim
