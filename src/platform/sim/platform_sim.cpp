// The platform on the simulated board: paths map under $FTM_BOARD, device
// nodes with a model in src/sim/ are served by it, the rest are real files,
// FIFOs and ptys.
#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/platform.h"
#include "platform/shell_on.h"
#include "sim/board.h"
#include "sim/device.h"
#include "sim/framebuffer.h"
#include "sim/models.h"
#include "sim/sdcard.h"
#include "sim/shell.h"

namespace plat {

namespace {

struct OpenDevices {
	std::mutex mutex;
	std::map<int, std::shared_ptr<sim::Device>> by_fd;

	std::shared_ptr<sim::Device> find(int fd)
	{
		std::lock_guard lock(mutex);
		auto it = by_fd.find(fd);
		return it == by_fd.end() ? nullptr : it->second;
	}
};

OpenDevices &devices()
{
	static OpenDevices d;
	return d;
}

sim::Board &board() { return sim::Board::get(); }

bool is_kmsg(const char *path) { return std::strcmp(path, "/dev/kmsg") == 0; }

// Descriptors of the kernel log device: writes land in the board's log.
std::mutex kmsg_mutex;
std::map<int, bool> kmsg_fds;

bool fd_is_kmsg(int fd)
{
	std::lock_guard lock(kmsg_mutex);
	return kmsg_fds.count(fd) != 0;
}

useconds_t scaled_us(double us)
{
	double v = us * board().time_scale();
	return v < 0 ? 0 : static_cast<useconds_t>(std::min(v, 4.0e9));
}

}  // namespace

void init()
{
	sim::Board &b = board();
	// The board's stand-in tools (dmesg, mount, ...) come before the host's.
	std::string path = b.root() + "/bin";
	if (const char *old = std::getenv("PATH"))
		path += std::string(":") + old;
	::setenv("PATH", path.c_str(), 1);
	::setenv("FTM_BOARD", b.root().c_str(), 1);
	// Saves cut short by a kill leave their temporary files behind.
	b.remove_stale_temporaries();
}

int open(const char *path, int flags, unsigned mode)
{
	if (is_kmsg(path)) {
		int fd = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
		if (fd >= 0) {
			std::lock_guard lock(kmsg_mutex);
			kmsg_fds[fd] = true;
		}
		return fd;
	}
	if (const sim::DeviceEntry *entry = sim::find_device(path)) {
		std::unique_ptr<sim::Device> dev = entry->open(board(), flags);
		if (!dev)
			return -1;
		int stream = dev->stream_fd();
		int fd = stream >= 0 ? ::fcntl(stream, F_DUPFD_CLOEXEC, 3) : ::open("/dev/null", O_RDWR | O_CLOEXEC);
		if (fd < 0)
			return -1;
		if (stream >= 0 && (flags & O_NONBLOCK))
			::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
		std::lock_guard lock(devices().mutex);
		devices().by_fd[fd] = std::move(dev);
		return fd;
	}
	std::unique_ptr<sim::Device> card_file;
	if (sim::card_open(board(), path, flags, mode, &card_file)) {
		if (!card_file)
			return -1;
		int fd = ::open("/dev/null", O_RDWR | O_CLOEXEC);
		if (fd >= 0) {
			std::lock_guard lock(devices().mutex);
			devices().by_fd[fd] = std::move(card_file);
		}
		return fd;
	}
	return ::open(board().map(path).c_str(), flags, mode);
}

int close(int fd)
{
	{
		std::lock_guard lock(devices().mutex);
		devices().by_fd.erase(fd);
	}
	{
		std::lock_guard lock(kmsg_mutex);
		kmsg_fds.erase(fd);
	}
	return ::close(fd);
}

ssize_t read(int fd, void *buf, size_t n)
{
	if (auto dev = devices().find(fd); dev && dev->stream_fd() < 0)
		return dev->read(buf, n);
	return ::read(fd, buf, n);
}

ssize_t write(int fd, const void *buf, size_t n)
{
	if (fd_is_kmsg(fd)) {
		board().kmsg_write(std::string_view(static_cast<const char *>(buf), n));
		return static_cast<ssize_t>(n);
	}
	if (auto dev = devices().find(fd))
		return dev->stream_fd() < 0 ? dev->write(buf, n) : dev->stream_write(fd, buf, n);
	return ::write(fd, buf, n);
}

int ioctl(int fd, unsigned long request, uintptr_t arg)
{
	if (auto dev = devices().find(fd))
		return dev->ioctl(request, arg);
	return ::ioctl(fd, request, arg);
}

int select(int nfds, fd_set *rd, fd_set *wr, fd_set *ex, timeval *timeout)
{
	if (!timeout)
		return ::select(nfds, rd, wr, ex, nullptr);
	// The board's clock may run fast; the caller sees its own time units,
	// and like Linux, select leaves the time not slept in *timeout.
	double scale = board().time_scale();
	double us = (static_cast<double>(timeout->tv_sec) * 1e6 + static_cast<double>(timeout->tv_usec)) * scale;
	timeval tv{static_cast<time_t>(us / 1e6), static_cast<suseconds_t>(std::fmod(us, 1e6))};
	int r = ::select(nfds, rd, wr, ex, &tv);
	double left = (static_cast<double>(tv.tv_sec) * 1e6 + static_cast<double>(tv.tv_usec)) / scale;
	timeout->tv_sec = static_cast<time_t>(left / 1e6);
	timeout->tv_usec = static_cast<suseconds_t>(std::fmod(left, 1e6));
	return r;
}

int poll(pollfd *fds, nfds_t n, int timeout_ms)
{
	if (timeout_ms <= 0)
		return ::poll(fds, n, timeout_ms);
	double ms = std::ceil(static_cast<double>(timeout_ms) * board().time_scale());
	return ::poll(fds, n, static_cast<int>(std::min(ms, 2e9)));
}

int poll_left(pollfd *fds, nfds_t n, int64_t *left_ms)
{
	// The board's clock may run fast: the caller's time is the board's.
	double scale = board().time_scale();
	int64_t start = now_ms();
	int r = plat::poll(fds, n, static_cast<int>(std::clamp<int64_t>(*left_ms, 0, INT32_MAX)));
	auto slept = static_cast<int64_t>(static_cast<double>(now_ms() - start) / scale);
	*left_ms = std::max<int64_t>(0, *left_ms - slept);
	return r;
}

void *mmap(void *addr, size_t len, int prot, int flags, int fd, off_t off)
{
	if (auto dev = devices().find(fd))
		return dev->mmap(len, prot, flags, off);
	return ::mmap(addr, len, prot, flags, fd, off);
}

int munmap(void *addr, size_t len)
{
	sim::framebuffer_unmapped(addr);
	return ::munmap(addr, len);
}

int socket(int domain, int type, int protocol)
{
	int fd = ::socket(domain, type | SOCK_CLOEXEC, protocol);
	// The Wi-Fi driver's private ioctls arrive on a datagram socket: the
	// board's radio model answers them.
	if (fd >= 0 && domain == AF_INET && type == SOCK_DGRAM) {
		std::lock_guard lock(devices().mutex);
		devices().by_fd[fd] = sim::open_wifi_socket(board());
	}
	return fd;
}

FILE *fopen(const char *path, const char *mode) { return ::fopen(board().map(path).c_str(), mode); }

int stat(const char *path, struct stat *st)
{
	if (int r = 0; sim::card_stat(board(), path, st, &r))
		return r;
	return ::stat(board().map(path).c_str(), st);
}

int statfs(const char *path, struct statfs *st)
{
	if (int r = 0; sim::card_statfs(board(), path, st, &r))
		return r;
	return ::statfs(board().map(path).c_str(), st);
}

int unlink(const char *path) { return ::unlink(board().map(path).c_str()); }

int mkdir(const char *path, mode_t mode) { return ::mkdir(board().map(path).c_str(), mode); }

int chdir(const char *path) { return ::chdir(board().map(path).c_str()); }

int system(const char *command)
{
	std::string line = sim::map_command_line(board(), command ? command : "");
	return ::system(line.c_str());
}

FILE *popen(const char *command, const char *mode)
{
	std::string line = sim::map_command_line(board(), command ? command : "");
	return ::popen(line.c_str(), mode);
}

int pclose(FILE *stream) { return ::pclose(stream); }

int shell_on(int fd)
{
	return detail::run_shell_on(fd, "/bin/sh", board().root().c_str());
}

int klogctl(int type, char *buf, int len)
{
	constexpr int kReadClear = 4, kClear = 5, kSizeBuffer = 10;
	if (type == kClear) {
		board().kmsg_read(true);
		return 0;
	}
	if (type == kSizeBuffer)
		return static_cast<int>(sim::Board::kKmsgRing);
	if (!buf || len < 0) {
		errno = EINVAL;
		return -1;
	}
	std::string log = board().kmsg_read(type == kReadClear);
	// Like the kernel, hand back the newest bytes when the buffer is short.
	size_t n = std::min(log.size(), static_cast<size_t>(len));
	std::memcpy(buf, log.data() + (log.size() - n), n);
	return static_cast<int>(n);
}

pid_t fork() { return ::fork(); }
pid_t setsid() { return ::setsid(); }
mode_t umask(mode_t mask) { return ::umask(mask); }

int signal(int sig, void (*handler)(int), bool restart)
{
	struct sigaction sa{};
	sa.sa_handler = handler;
	sa.sa_flags = restart ? SA_RESTART : 0;
	sigemptyset(&sa.sa_mask);
	return ::sigaction(sig, &sa, nullptr);
}

int kill(pid_t pid, int sig) { return ::kill(pid, sig); }

void exit_process(int status) { ::_exit(status); }

int usleep(unsigned usec) { return ::usleep(scaled_us(usec)); }

unsigned sleep(unsigned sec)
{
	::usleep(scaled_us(static_cast<double>(sec) * 1e6));
	return 0;
}

time_t time(time_t *t)
{
	// A pinned clock makes screens and seeds repeatable.
	long pinned = board().num("time.pin", 0);
	time_t now = pinned ? static_cast<time_t>(pinned) : ::time(nullptr);
	if (t)
		*t = now;
	return now;
}

int64_t now_ms()
{
	timespec ts{};
	::clock_gettime(CLOCK_MONOTONIC, &ts);
	return static_cast<int64_t>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

void *mem_alloc(size_t n)
{
	// mem.fail_sizes: comma-separated block sizes the board refuses.
	std::string list = "," + board().text("mem.fail_sizes", "") + ",";
	if (list.find("," + std::to_string(n) + ",") != std::string::npos) {
		errno = ENOMEM;
		return nullptr;
	}
	return std::calloc(1, n);
}

void mem_free(void *p) { std::free(p); }

}  // namespace plat
