#include "hal/camera_io.h"

#include <cerrno>
#include <sys/ioctl.h>

namespace hal {

namespace {

// The port is blocking for the main loop; for the stream it is not, so a
// full port shows as a wait that can end.
struct nonblocking {
	int fd;
	explicit nonblocking(int f) : fd(f)
	{
		int on = 1;
		plat::ioctl(fd, FIONBIO, &on);
	}
	~nonblocking()
	{
		int off = 0;
		plat::ioctl(fd, FIONBIO, &off);
	}
	nonblocking(const nonblocking &) = delete;
	nonblocking &operator=(const nonblocking &) = delete;
};

bool wait_writable(int fd, int64_t deadline_ms)
{
	while (plat::now_ms() < deadline_ms) {
		int r = plat::wait_fd(fd, POLLOUT, 100);
		if (r > 0)
			return true;
		if (r < 0 && errno != EINTR)
			return false;
	}
	return false;
}

}  // namespace

bool send_data(int fd, const void *data, size_t n)
{
	if (fd < 0)
		return false;
	nonblocking mode(fd);
	const auto *p = static_cast<const uint8_t *>(data);
	int64_t deadline = plat::now_ms() + STALL_LIMIT_MS;
	while (n > 0) {
		ssize_t w = plat::write(fd, p, n);
		if (w > 0) {
			p += w;
			n -= static_cast<size_t>(w);
			deadline = plat::now_ms() + STALL_LIMIT_MS;
			continue;
		}
		if (w < 0 && errno != EAGAIN && errno != EINTR)
			return false;
		if (!wait_writable(fd, deadline))
			return false;
	}
	return true;
}

}  // namespace hal
