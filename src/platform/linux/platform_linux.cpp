// The platform on the phone: the real system calls.
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <set>
#include <sys/ioctl.h>
#include <sys/klog.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/linux/input_event.h"
#include "platform/platform.h"
#include "platform/shell_on.h"

namespace plat {

namespace {

// The daemon reads input events as the phone's 16-byte records. On a host
// whose struct input_event is larger, descriptors of input devices are
// translated on read.
constexpr bool kTranslateInput = !kernel_input_event_is_phone_record;

std::mutex input_mutex;
std::set<int> input_fds;

bool is_input_fd(int fd)
{
	if (!kTranslateInput)
		return false;
	std::lock_guard lock(input_mutex);
	return input_fds.count(fd) != 0;
}

ssize_t read_input_events(int fd, void *buf, size_t n)
{
	constexpr size_t kMax = 16;
	struct input_event host[kMax];
	size_t want = std::min(n / PHONE_INPUT_EVENT_SIZE, kMax);
	if (want == 0)
		return 0;
	ssize_t got = ::read(fd, host, want * sizeof host[0]);
	if (got <= 0)
		return got;
	size_t count = static_cast<size_t>(got) / sizeof host[0];
	auto *out = static_cast<unsigned char *>(buf);
	for (size_t i = 0; i < count; ++i)
		to_phone_input_event(host[i], out + i * PHONE_INPUT_EVENT_SIZE);
	return static_cast<ssize_t>(count * PHONE_INPUT_EVENT_SIZE);
}

}  // namespace

void init() {}

int open(const char *path, int flags, unsigned mode)
{
	int fd = ::open(path, flags, mode);
	if (fd >= 0 && kTranslateInput && std::strncmp(path, "/dev/input/", 11) == 0) {
		std::lock_guard lock(input_mutex);
		input_fds.insert(fd);
	}
	return fd;
}

int close(int fd)
{
	if (kTranslateInput) {
		std::lock_guard lock(input_mutex);
		input_fds.erase(fd);
	}
	return ::close(fd);
}

ssize_t read(int fd, void *buf, size_t n)
{
	if (is_input_fd(fd))
		return read_input_events(fd, buf, n);
	return ::read(fd, buf, n);
}

ssize_t write(int fd, const void *buf, size_t n) { return ::write(fd, buf, n); }
int ioctl(int fd, unsigned long request, uintptr_t arg) { return ::ioctl(fd, request, arg); }
int select(int nfds, fd_set *rd, fd_set *wr, fd_set *ex, timeval *timeout)
{
	return ::select(nfds, rd, wr, ex, timeout);
}
int poll(pollfd *fds, nfds_t n, int timeout_ms) { return ::poll(fds, n, timeout_ms); }
int poll_left(pollfd *fds, nfds_t n, int64_t *left_ms)
{
	int64_t start = now_ms();
	int r = ::poll(fds, n, static_cast<int>(std::clamp<int64_t>(*left_ms, 0, INT32_MAX)));
	*left_ms = std::max<int64_t>(0, *left_ms - (now_ms() - start));
	return r;
}
void *mmap(void *addr, size_t len, int prot, int flags, int fd, off_t off)
{
	return ::mmap(addr, len, prot, flags, fd, off);
}
int munmap(void *addr, size_t len) { return ::munmap(addr, len); }
int socket(int domain, int type, int protocol) { return ::socket(domain, type, protocol); }
FILE *fopen(const char *path, const char *mode) { return ::fopen(path, mode); }
int stat(const char *path, struct stat *st) { return ::stat(path, st); }
int statfs(const char *path, struct statfs *st) { return ::statfs(path, st); }
int unlink(const char *path) { return ::unlink(path); }
int mkdir(const char *path, mode_t mode) { return ::mkdir(path, mode); }
int chdir(const char *path) { return ::chdir(path); }
int system(const char *command) { return ::system(command); }

FILE *popen(const char *command, const char *mode) { return ::popen(command, mode); }

int pclose(FILE *stream) { return ::pclose(stream); }

int shell_on(int fd)
{
	return detail::run_shell_on(fd, "/system/bin/sh", nullptr);
}

int klogctl(int type, char *buf, int len) { return ::klogctl(type, buf, len); }
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
int usleep(unsigned usec) { return ::usleep(usec); }
unsigned sleep(unsigned sec) { return ::sleep(sec); }
time_t time(time_t *t) { return ::time(t); }

int64_t now_ms()
{
	timespec ts{};
	::clock_gettime(CLOCK_MONOTONIC, &ts);
	return static_cast<int64_t>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

void *mem_alloc(size_t n) { return std::calloc(1, n); }
void mem_free(void *p) { std::free(p); }

}  // namespace plat
