#include "ftm/log.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>

#include "ftm/debug.h"
#include "ftm/ftm.h"
#include "ftm/handlers.h"
#include "platform/platform.h"

namespace ftm {

log_globals logs;

namespace {

constexpr char kLogFile[] = "/data/ftm.log";
constexpr char kCardLog[] = "/sdcard/kernel.log";
constexpr size_t kDumpBlock = 1024;
constexpr size_t kKlogBuffer = 4096;  // the most buffsize may ask for
// A port that keeps failing is given up on after this many tries, so a
// dump never hangs the loop.
constexpr int kSendRetries = 100;

ssize_t send_text(int fd, const char *text) { return send_data(fd, text, std::strlen(text)); }

// The copier, in the child: kernel log to the card and to the port that is
// not in use, until SIGUSR1. It never returns into the dispatcher.
[[noreturn]] void run_log_daemon()
{
	plat::setsid();
	plat::chdir("/");
	plat::umask(0);
	if (plat::signal(SIGUSR1, klog_handler) != 0) {
		DBG("signal(SIGUSR1) register failed\n");
		plat::exit_process(1);
	}
	static std::array<char, kKlogBuffer> buffer;
	int size = std::min(logs.buffsize, static_cast<int>(buffer.size()));
	int file = plat::open(kCardLog, O_RDWR | O_CREAT | O_APPEND, 0777);
	int port = loop.act_fd != loop.usb_fd ? loop.usb_fd : loop.uart_fd;
	while (logs.stop_daemon == 0) {
		int n = plat::klogctl(logs.cmd, buffer.data(), size);
		strip_log_levels(buffer.data(), n > 0 ? static_cast<size_t>(n) : 0, [&](char c) {
			(void)plat::write(file, &c, 1);
			(void)plat::write(port, &c, 1);
		});
		plat::sleep(static_cast<unsigned>(logs.sleeptime));
	}
	// Traced here rather than in the handler: formatting and writing are
	// not safe inside a signal handler.
	DBG("try to stop log daemon ...\n");
	plat::close(file);
	DBG("log daemon terminated ...\n");
	plat::exit_process(0);
}

int delete_log()
{
	struct stat st{};
	if (plat::stat(kLogFile, &st) != 0) {
		DBG("%s is not exist.\n", kLogFile);
		return 1;
	}
	char command[64];
	std::snprintf(command, sizeof command, "rm %s", kLogFile);
	plat::system(command);
	if (plat::stat(kLogFile, &st) != 0) {
		DBG("remove %s successfully.\n", kLogFile);
		return 0;
	}
	DBG("remove %s failed.\n", kLogFile);
	return 1;
}

// Header, raw file, closing line; the dispatcher adds "OK\n" or "ERROR\n".
int dump_log()
{
	struct stat st{};
	(void)plat::stat(kLogFile, &st);
	int size = static_cast<int>(st.st_size);
	FILE *file = plat::fopen(kLogFile, "r");
	if (!file) {
		// No file to send: no header either, the station reads "ERROR\n".
		DBG("at_dumpLog cannot open %s.\n", kLogFile);
		return 1;
	}
	int fd = loop.act_fd;
	char line[160];
	send_text(fd, "FORMAT= LOG\n");
	std::snprintf(line, sizeof line, "SIZE= %d\n", size);
	send_text(fd, line);
	send_text(fd, "\nOK\n");

	// Each block is sent at the top of the next pass; the extra byte keeps
	// a full block terminated.
	std::array<char, kDumpBlock + 1> block{};
	long total = 0;
	size_t n;
	do {
		// A port that took nothing over a block's retries is gone: the rest
		// is not tried block by block, so the whole dump stays bounded.
		size_t length = strnlen(block.data(), kDumpBlock);
		if (length != 0 && send_data(fd, block.data(), length) <= 0) {
			std::fclose(file);
			DBG("at_dumpLog: the port takes nothing; dump cut short\n");
			return 1;
		}
		block.fill(0);
		n = std::fread(block.data(), 1, kDumpBlock, file);
		total += static_cast<long>(kDumpBlock);
	} while (n != 0 && (2L * size > total || total < 8192));
	std::fclose(file);

	if (2L * size < total && total >= 8193) {
		std::snprintf(line, sizeof line, "at_dumpLog read file fail, reading length=%d, file size=%d.\n",
		              static_cast<int>(total), size);
		send_text(fd, line);
		DBG("%s", line);
		return 1;
	}
	std::snprintf(line, sizeof line, "at_dumpLog file name:%s, size=%d.OK.\n", kLogFile, size);
	send_text(fd, line);
	return 0;
}

}  // namespace

void reset_log_globals()
{
	logs.log_pid = -1;
	logs.buffsize = 4096;
	logs.cmd = 4;
	logs.sleeptime = 3;
	logs.stop_daemon = 0;
}

ssize_t send_data(int fd, const char *buffer, size_t length)
{
	size_t sent = 0;
	int failures = 0;
	while (sent < length) {
		ssize_t n = plat::write(fd, buffer + sent, length - sent);
		if (n == 0)
			return 0;
		if (n < 0) {
			if (++failures > kSendRetries)
				return -1;
			plat::usleep(1000);
			continue;
		}
		failures = 0;
		sent += static_cast<size_t>(n);
	}
	return static_cast<ssize_t>(length);
}

pid_t klog_daemon()
{
	pid_t pid = plat::fork();
	if (pid < 0) {
		DBG("error code(%d): %s\n", errno, std::strerror(errno));
		return 1;
	}
	if (pid == 0)
		run_log_daemon();
	DBG("log daemon id: %d\n", pid);
	return pid;
}

void klog_handler(int signal)
{
	if (signal == SIGUSR1)
		logs.stop_daemon = 1;
}

// The first =ON answers with the daemon's pid, which the search takes for
// "go on": the station reads "NOTSUPPORTED\n" although the daemon runs.
int at_log(tapp_record *record)
{
	const char *p = record->params;
	if (strncasecmp(p, "=ON", 3) == 0) {
		if (logs.log_pid < 0) {
			logs.log_pid = klog_daemon();
			return logs.log_pid;
		}
		return 0;
	}
	if (strncasecmp(p, "=OFF", 4) == 0) {
		// log_pid stays, so a later =ON starts nothing. A failed fork left
		// 1 in it: init is never signalled.
		if (logs.log_pid > 1)
			return plat::kill(logs.log_pid, SIGUSR1);
		return 0;
	}
	std::puts("invalid option");
	std::fflush(stdout);
	return 1;
}

int at_dumpLog(tapp_record *record)
{
	if (record->params[0] == '=')
		return delete_log();
	return dump_log();
}

}  // namespace ftm
