#include "station/serial.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace station {

namespace {

constexpr std::array<std::pair<unsigned, speed_t>, 12> kSpeeds{{
    {1200, B1200}, {2400, B2400}, {4800, B4800}, {9600, B9600}, {19200, B19200}, {38400, B38400},
    {57600, B57600}, {115200, B115200}, {230400, B230400}, {460800, B460800}, {921600, B921600},
    {3000000, B3000000},
}};

int fail(int fd, std::string *error, const std::string &what)
{
	if (error)
		*error = what + ": " + std::strerror(errno);
	if (fd >= 0)
		::close(fd);
	return -1;
}

}  // namespace

unsigned serial_speed(unsigned baud)
{
	for (const auto &[rate, code] : kSpeeds)
		if (rate == baud)
			return code;
	return 0;
}

int open_serial(const std::string &path, unsigned baud, std::string *error)
{
	speed_t speed = serial_speed(baud);
	if (speed == 0) {
		if (error)
			*error = "unsupported rate " + std::to_string(baud);
		return -1;
	}
	// Non-blocking open so a line without carrier does not stall us.
	int fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
	if (fd < 0)
		return fail(fd, error, "open " + path);
	termios t{};
	if (::tcgetattr(fd, &t) != 0)
		return fail(fd, error, "tcgetattr " + path);
	::cfmakeraw(&t);
	t.c_cflag &= ~static_cast<tcflag_t>(CSIZE | PARENB | CSTOPB | CRTSCTS);
	t.c_cflag |= CS8 | CLOCAL | CREAD;
	t.c_iflag &= ~static_cast<tcflag_t>(IXON | IXOFF | IXANY);
	t.c_cc[VMIN] = 0;  // reads are paced by poll, never by the driver
	t.c_cc[VTIME] = 0;
	if (::cfsetispeed(&t, speed) != 0 || ::cfsetospeed(&t, speed) != 0)
		return fail(fd, error, "cfsetspeed " + path);
	if (::tcsetattr(fd, TCSANOW, &t) != 0)
		return fail(fd, error, "tcsetattr " + path);
	::tcflush(fd, TCIOFLUSH);  // nothing stale from before we came
	int flags = ::fcntl(fd, F_GETFL);
	::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
	return fd;
}

}  // namespace station
