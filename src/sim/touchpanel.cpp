// /dev/input/event1: the touch panel. Its events are the board's FIFO, as
// for the other input devices; the model adds the driver's axis ranges,
// which the touch test asks for with EVIOCGABS.
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "sim/board.h"
#include "sim/framebuffer.h"
#include "sim/models.h"

namespace sim {

namespace {

// EVIOCGABS of the phone's kernel: a 20-byte record (no resolution field).
constexpr unsigned long kGetAbsX = 0x80144540;
constexpr unsigned long kGetAbsY = 0x80144541;

struct abs_info {
	int32_t value, minimum, maximum, fuzz, flat;
};
static_assert(sizeof(abs_info) == 20);

class TouchPanel : public Device {
public:
	TouchPanel(Board &board, int fd) : board_(board), fd_(fd) {}
	~TouchPanel() override { ::close(fd_); }

	int stream_fd() override { return fd_; }

	int ioctl(unsigned long request, uintptr_t arg) override
	{
		if (request != kGetAbsX && request != kGetAbsY) {
			errno = EINVAL;
			return -1;
		}
		if (arg == 0 || board_.num("touch.abs_fail", 0) != 0) {
			errno = EFAULT;
			return -1;
		}
		// By default the panel's range is the screen's, one count a pixel.
		panel_geometry panel = panel_of(board_);
		abs_info info{};
		if (request == kGetAbsX) {
			info.minimum = static_cast<int32_t>(board_.num("touch.x_min", 0));
			info.maximum = static_cast<int32_t>(board_.num("touch.x_max", panel.width - 1));
		} else {
			info.minimum = static_cast<int32_t>(board_.num("touch.y_min", 0));
			info.maximum = static_cast<int32_t>(board_.num("touch.y_max", panel.height - 1));
		}
		std::memcpy(reinterpret_cast<void *>(arg), &info, sizeof info);
		return 0;
	}

private:
	Board &board_;
	int fd_;
};

}  // namespace

std::unique_ptr<Device> open_touchpanel(Board &board, int flags)
{
	int fd = ::open(board.map("/dev/input/event1").c_str(), flags | O_CLOEXEC);
	if (fd < 0)
		return nullptr;
	return std::make_unique<TouchPanel>(board, fd);
}

}  // namespace sim
