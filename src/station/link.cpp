#include "station/link.h"

#include <cerrno>
#include <chrono>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace station {

namespace {

using clock = std::chrono::steady_clock;

int ms_left(clock::time_point end)
{
	auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - clock::now()).count();
	return left < 0 ? 0 : static_cast<int>(left);
}

enum class Got { data, quiet, closed };

// One read of what is there within wait_ms.
Got read_once(int fd, std::string &out, int wait_ms)
{
	pollfd p{fd, POLLIN, 0};
	int r = ::poll(&p, 1, wait_ms);
	if (r < 0)
		return errno == EINTR ? Got::quiet : Got::closed;
	if (r == 0)
		return Got::quiet;
	char buf[4096];
	ssize_t n = ::read(fd, buf, sizeof buf);
	if (n > 0) {
		out.append(buf, static_cast<size_t>(n));
		return Got::data;
	}
	if (n < 0 && (errno == EINTR || errno == EAGAIN))
		return Got::quiet;
	return Got::closed;  // end of file, EIO of a pty whose far end left
}


}  // namespace

bool write_all(int fd, std::string_view bytes)
{
	size_t off = 0;
	int stalls = 0;
	while (off < bytes.size()) {
		ssize_t n = ::write(fd, bytes.data() + off, bytes.size() - off);
		if (n > 0) {
			off += static_cast<size_t>(n);
			continue;
		}
		if (n < 0 && (errno == EINTR || errno == EAGAIN) && ++stalls < 1000) {
			::usleep(1000);
			continue;
		}
		return false;
	}
	return true;
}

std::string read_for(int fd, int ms, int quiet_ms)
{
	std::string out;
	auto end = clock::now() + std::chrono::milliseconds(ms);
	while (ms_left(end) > 0) {
		int wait = ms_left(end);
		if (quiet_ms > 0 && !out.empty() && quiet_ms < wait)
			wait = quiet_ms;
		Got got = read_once(fd, out, wait);
		if (got == Got::closed || (got == Got::quiet && quiet_ms > 0 && !out.empty()))
			break;
	}
	return out;
}

std::string read_until(int fd, const std::function<bool(const std::string &)> &done, int timeout_ms)
{
	std::string out;
	read_into(fd, out, done, timeout_ms);
	return out;
}

ReadEnd read_into(int fd, std::string &out, const std::function<bool(const std::string &)> &done, int timeout_ms)
{
	auto end = clock::now() + std::chrono::milliseconds(timeout_ms);
	while (!done(out)) {
		int left = ms_left(end);
		if (left <= 0)
			return ReadEnd::timeout;
		if (read_once(fd, out, left) == Got::closed)
			return done(out) ? ReadEnd::done : ReadEnd::closed;
	}
	return ReadEnd::done;
}

std::string drain(int fd)
{
	std::string out;
	for (int i = 0; i < 1024 && read_once(fd, out, 0) == Got::data; ++i) {
	}
	return out;
}

std::string read_until_suffix(int fd, std::string_view tail, int timeout_ms)
{
	return read_until(
	    fd, [tail](const std::string &s) { return s.size() >= tail.size() && s.ends_with(tail); }, timeout_ms);
}

bool make_raw(int fd)
{
	termios t{};
	if (::tcgetattr(fd, &t) != 0)
		return false;
	::cfmakeraw(&t);
	return ::tcsetattr(fd, TCSANOW, &t) == 0;
}

}  // namespace station
