#include "station/input.h"

#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace station {

std::array<unsigned char, 16> encode_event(const InputEvent &ev)
{
	std::array<unsigned char, 16> out{};
	std::memcpy(out.data() + 8, &ev.type, 2);
	std::memcpy(out.data() + 10, &ev.code, 2);
	std::memcpy(out.data() + 12, &ev.value, 4);
	return out;
}

bool send_events(const std::string &board_dir, int device, const std::vector<InputEvent> &events)
{
	std::string fifo = board_dir + "/dev/input/event" + std::to_string(device);
	int fd = ::open(fifo.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
	if (fd < 0)
		return false;
	std::vector<unsigned char> bytes;
	for (const InputEvent &ev : events) {
		auto one = encode_event(ev);
		bytes.insert(bytes.end(), one.begin(), one.end());
	}
	bool ok = ::write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
	::close(fd);
	return ok;
}

bool wait_events_read(const std::string &board_dir, int device, int timeout_ms)
{
	std::string fifo = board_dir + "/dev/input/event" + std::to_string(device);
	int fd = ::open(fifo.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
	if (fd < 0)
		return false;
	int pending = 1;
	for (int waited = 0; waited <= timeout_ms; ++waited) {
		if (::ioctl(fd, FIONREAD, &pending) != 0 || pending == 0)
			break;
		::poll(nullptr, 0, 1);
	}
	::close(fd);
	return pending == 0;
}

std::vector<InputEvent> touch_events(int x, int y)
{
	return {{EV_ABS_TYPE, 0, x}, {EV_ABS_TYPE, 1, y}, {EV_KEY_TYPE, BTN_TOUCH_CODE, 1}, {EV_SYN_TYPE, 0, 0}};
}

}  // namespace station
