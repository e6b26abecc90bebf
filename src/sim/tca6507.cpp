// /dev/tca6507_miscdev: the LED driver of the keypad backlight and the
// indicator LEDs. Two ioctls switch one of seven channels on or off; the
// board keeps the channels in var/tca6507 as seven '0'/'1', channel 0 first,
// and each switch in var/tca6507.log ("on 3").
#include <cstdint>
#include <string>

#include "sim/board.h"
#include "sim/models.h"
#include "sim/record.h"

namespace sim {

namespace {

constexpr unsigned long kChannelOn = 0x40047400;   // _IOW('t', 0, int)
constexpr unsigned long kChannelOff = 0x40047401;  // _IOW('t', 1, int)
constexpr int kChannels = 7;

class Tca6507 : public Device {
public:
	explicit Tca6507(Board &board) : board_(board) {}

	int ioctl(unsigned long request, uintptr_t arg) override
	{
		if (request != kChannelOn && request != kChannelOff) {
			errno = ENOTTY;
			return -1;
		}
		int32_t channel = *reinterpret_cast<const int32_t *>(arg);
		if (channel < 0 || channel >= kChannels) {
			errno = EINVAL;
			return -1;
		}
		if (board_.num("tca6507.fail", 0) || board_.num("tca6507.fail_channel", -1) == channel) {
			errno = EIO;
			return -1;
		}
		std::string state = board_.load_state("tca6507");
		if (state.size() < kChannels)
			state = std::string(kChannels, '0');
		state.resize(kChannels);
		state[static_cast<size_t>(channel)] = request == kChannelOn ? '1' : '0';
		board_.save_state("tca6507", state + "\n");
		append_record(board_, "tca6507.log", (request == kChannelOn ? "on " : "off ") + std::to_string(channel) + "\n");
		return 0;
	}

private:
	Board &board_;
};

}  // namespace

std::unique_ptr<Device> open_tca6507(Board &board, int /*flags*/)
{
	if (!board.num("tca6507.present", 1)) {
		errno = ENODEV;
		return nullptr;
	}
	return std::make_unique<Tca6507>(board);
}

}  // namespace sim
