// Log capture: the forked kernel log copier behind AT+LOG and the dump of
// /data/ftm.log behind AT+DUMPLOG.
#pragma once

#include <atomic>
#include <csignal>
#include <cstddef>
#include <sys/types.h>

namespace ftm {

struct log_globals {
	pid_t log_pid = -1;   // the log daemon, once started
	int buffsize = 4096;  // the daemon's read buffer
	int cmd = 4;          // klogctl: read and clear
	int sleeptime = 3;    // seconds between reads
	volatile std::sig_atomic_t stop_daemon = 0;  // set by SIGUSR1 in the daemon
};
extern log_globals logs;

// Puts the log state back to its start values (for tests).
void reset_log_globals();

// Writes all length bytes; 0 if the port takes nothing, length when done.
ssize_t send_data(int fd, const char *buffer, size_t length);

// Forks the kernel log copier; the parent gets its process id.
pid_t klog_daemon();
void klog_handler(int signal);

// Removes the level prefix ("<6>" and any digits right behind it) at each
// line start of n kernel log bytes, handing every other byte to put.
template <typename Put>
void strip_log_levels(const char *bytes, size_t n, Put put)
{
	for (size_t i = 0; i < n; ++i) {
		if ((i == 0 || bytes[i - 1] == '\n') && bytes[i] == '<') {
			++i;
			while (i < n && ((bytes[i] >= '0' && bytes[i] <= '9') || bytes[i] == '>'))
				++i;
			if (i >= n)
				break;
		}
		put(bytes[i]);
	}
}

}  // namespace ftm
