// /dev/cm3602_alsps: the light and proximity sensor chip. Each operation is
// a plain ioctl number; the two readings come back as the ioctl's result.
#include <string>

#include "sim/board.h"
#include "sim/models.h"

namespace sim {

namespace {

enum : unsigned long {
	kProximityOff = 0,
	kProximityOn = 1,
	kLightOn = 2,
	kLightOff = 3,
	kLightRead = 5,
	kProximityRead = 6,
};

class Cm3602 : public Device {
public:
	explicit Cm3602(Board &board) : board_(board) {}

	int ioctl(unsigned long request, uintptr_t /*arg*/) override
	{
		if (static_cast<long>(request) == board_.num("alsps.fail_ioctl", -1)) {
			errno = EIO;
			return -1;
		}
		switch (request) {
		case kProximityOff: return power("proximity", "off");
		case kProximityOn: return power("proximity", "on");
		case kLightOn: return power("light", "on");
		case kLightOff: return power("light", "off");
		case kLightRead: return static_cast<int>(board_.num("alsps.light", 10));
		case kProximityRead: return static_cast<int>(board_.num("alsps.proximity", 1));
		default: errno = ENOTTY; return -1;
		}
	}

private:
	// The power state of each half is kept under var/ so a test can see
	// what the daemon left switched on.
	int power(const char *half, const char *state)
	{
		board_.save_state(std::string("alsps.") + half, state);
		return 0;
	}

	Board &board_;
};

}  // namespace

std::unique_ptr<Device> open_cm3602_alsps(Board &board, int /*flags*/)
{
	if (!board.num("alsps.present", 1)) {
		errno = ENODEV;
		return nullptr;
	}
	return std::make_unique<Cm3602>(board);
}

}  // namespace sim
