// The boundary between the daemon and the operating system or board.
//
// Every system call the daemon makes goes through here. Two implementations
// exist and one is chosen at link time: platform_linux (the phone) and
// platform_sim (the simulated board, see src/sim/).
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <poll.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/types.h>

namespace plat {

// Called once by main before anything else.
void init();

int open(const char *path, int flags, unsigned mode = 0);
int close(int fd);
ssize_t read(int fd, void *buf, size_t n);
ssize_t write(int fd, const void *buf, size_t n);
int ioctl(int fd, unsigned long request, uintptr_t arg);
template <typename T>
int ioctl(int fd, unsigned long request, T *arg)
{
	return ioctl(fd, request, reinterpret_cast<uintptr_t>(arg));
}
int select(int nfds, fd_set *rd, fd_set *wr, fd_set *ex, timeval *timeout);
// The wait for any descriptor number (select's set ends at FD_SETSIZE).
// timeout_ms < 0 waits for ever.
int poll(pollfd *fds, nfds_t n, int timeout_ms);
// poll for at most *left_ms, leaving the time not slept in *left_ms as
// Linux's select does with its timeout.
int poll_left(pollfd *fds, nfds_t n, int64_t *left_ms);
// One descriptor, answered as select would: 1 ready (or hung up), 0 timed
// out, -1 failed (a closed descriptor gives EBADF).
inline int wait_fd(int fd, short events, int timeout_ms)
{
	pollfd p{fd, events, 0};
	int r = plat::poll(&p, 1, timeout_ms);
	if (r > 0 && (p.revents & POLLNVAL)) {
		errno = EBADF;
		return -1;
	}
	return r;
}
// The far end of a port has gone (a pty's master closed, a serial line or
// USB host hung up): what a read of 0 or EIO then means.
inline bool is_hung_up(int fd)
{
	pollfd p{fd, POLLIN, 0};
	return plat::poll(&p, 1, 0) > 0 && (p.revents & (POLLHUP | POLLERR)) != 0;
}
void *mmap(void *addr, size_t len, int prot, int flags, int fd, off_t off);
int munmap(void *addr, size_t len);
int socket(int domain, int type, int protocol);

FILE *fopen(const char *path, const char *mode);
int stat(const char *path, struct stat *st);
int statfs(const char *path, struct statfs *st);
int unlink(const char *path);
int mkdir(const char *path, mode_t mode);

// The shell: absolute paths in the command line name the board's files.
int system(const char *command);
// Runs an interactive shell with its standard streams on fd; returns when it ends.
int shell_on(int fd);
// A command line whose output the caller reads; paths as for system().
FILE *popen(const char *command, const char *mode);
int pclose(FILE *stream);

// The kernel log ring (klogctl actions as the kernel defines them).
int klogctl(int type, char *buf, int len);

pid_t fork();
int kill(pid_t pid, int sig);
[[noreturn]] void exit_process(int status);
int chdir(const char *path);
// What a forked daemon needs to leave its parent's session behind.
pid_t setsid();
mode_t umask(mode_t mask);
// Installs handler for sig; interrupted calls fail with EINTR unless
// restart is set. 0 or -1.
int signal(int sig, void (*handler)(int), bool restart = false);

int usleep(unsigned usec);
unsigned sleep(unsigned sec);
time_t time(time_t *t);
// Monotonic milliseconds, for bounded waits on hardware.
int64_t now_ms();

// Zeroed heap blocks; the board may refuse some (sim: mem.fail_sizes), so a
// test reaches the out-of-memory paths. Free with mem_free.
void *mem_alloc(size_t n);
void mem_free(void *p);

}  // namespace plat
