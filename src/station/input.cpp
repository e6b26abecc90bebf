#include "station/input.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace station {

namespace {
constexpr uint16_t EV_SYN_ = 0, EV_KEY_ = 1, EV_ABS_ = 3;
constexpr uint16_t ABS_X_ = 0, ABS_Y_ = 1, BTN_TOUCH_ = 330;
}  // namespace

bool write_events(const std::string &board_dir, int device, std::span<const InputEvent> events, std::string *error)
{
	std::string fifo = board_dir + "/dev/input/event" + std::to_string(device);
	// Non-blocking: with no reader the open fails instead of waiting for one.
	int fd = ::open(fifo.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
	if (fd < 0) {
		if (error)
			*error = fifo + ": " + (errno == ENXIO ? "the phone is not reading it" : std::strerror(errno));
		return false;
	}
	size_t bytes = events.size_bytes();
	ssize_t n = ::write(fd, events.data(), bytes);
	int saved = errno;
	::close(fd);
	if (n != static_cast<ssize_t>(bytes)) {
		if (error)
			*error = fifo + ": short write: " + std::strerror(saved);
		return false;
	}
	return true;
}

bool press_key(const std::string &board_dir, int code, int device, std::string *error)
{
	const InputEvent ev{0, 0, EV_KEY_, static_cast<uint16_t>(code), 1};
	return write_events(board_dir, device, std::span(&ev, 1), error);
}

bool touch(const std::string &board_dir, int x, int y, std::string *error)
{
	const std::array<InputEvent, 4> evs{{
	    {0, 0, EV_ABS_, ABS_X_, x},
	    {0, 0, EV_ABS_, ABS_Y_, y},
	    {0, 0, EV_KEY_, BTN_TOUCH_, 1},
	    {0, 0, EV_SYN_, 0, 0},
	}};
	return write_events(board_dir, kTouchDevice, evs, error);
}

}  // namespace station
