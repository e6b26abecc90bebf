#include "station/phone.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fstream>
#include <string>
#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>
#include <mutex>
#include <vector>

#include "station/link.h"

namespace station {

namespace {

// openpty cannot set close-on-exec itself: a phone forked by another
// thread between openpty and fcntl would hold this phone's port open for
// its whole life, and this phone's hang-up would never be seen. Opening
// ports and forking take turns.
std::mutex fork_lock;

bool open_pty(int *master, int *slave, std::string *name)
{
	std::lock_guard<std::mutex> lock(fork_lock);
	char path[256] = {};
	if (::openpty(master, slave, path, nullptr, nullptr) != 0)
		return false;
	::fcntl(*master, F_SETFD, FD_CLOEXEC);
	::fcntl(*slave, F_SETFD, FD_CLOEXEC);
	make_raw(*slave);
	if (name)
		*name = path;
	return true;
}

// Children of the daemon that left its process group (the log daemon calls
// setsid): found by parent in /proc, ended by id.
void kill_detached_children(pid_t parent)
{
	DIR *proc = ::opendir("/proc");
	if (!proc)
		return;
	while (dirent *e = ::readdir(proc)) {
		char *end = nullptr;
		long pid = std::strtol(e->d_name, &end, 10);
		if (pid <= 0 || *end != '\0')
			continue;
		std::ifstream in(std::string("/proc/") + e->d_name + "/stat");
		std::string stat;
		std::getline(in, stat);
		// "pid (comm) state ppid ...": comm may hold spaces, so parse after ')'.
		size_t close = stat.rfind(')');
		if (close == std::string::npos)
			continue;
		char state = 0;
		long ppid = 0;
		if (std::sscanf(stat.c_str() + close + 1, " %c %ld", &state, &ppid) != 2 || ppid != parent)
			continue;
		if (::getpgid(static_cast<pid_t>(pid)) != parent)
			::kill(static_cast<pid_t>(pid), SIGKILL);
	}
	::closedir(proc);
}

void close_fd(int &fd)
{
	if (fd >= 0)
		::close(fd);
	fd = -1;
}

}  // namespace

std::string beside_self(const std::string &name, const char *argv0)
{
	char self[4096] = {};
	ssize_t n = ::readlink("/proc/self/exe", self, sizeof self - 1);
	std::string dir = n > 0 ? std::string(self, static_cast<size_t>(n)) : std::string(argv0 ? argv0 : "");
	dir = dir.substr(0, dir.rfind('/') + 1);
	return dir + name;
}

Phone::~Phone() { stop(); }

bool Phone::start(const Options &options, std::string *error)
{
	options_ = options;
	if (options_.output_log.empty())
		options_.output_log = options_.board_dir + "/ftmd.out";
	std::string wired_name;
	if (!open_pty(&wired_master_, &wired_slave_, &wired_name) ||
	    !open_pty(&usb_master_, &usb_slave_, &usb_slave_name_)) {
		if (error)
			*error = std::string("openpty: ") + std::strerror(errno);
		return false;
	}
	std::string usb_link = options_.board_dir + "/dev/ttyHSUSB1";
	::unlink(usb_link.c_str());
	if (options_.usb_at_start)
		attach_usb();

	// Everything the child needs is made before the fork: a station forks
	// phones from several threads, and the child may only make async-signal
	// safe calls until it runs the daemon.
	std::string board_env = "FTM_BOARD=" + options_.board_dir;
	std::vector<char *> env;
	for (char **e = environ; *e; ++e)
		if (std::strncmp(*e, "FTM_BOARD=", 10) != 0)
			env.push_back(*e);
	env.push_back(board_env.data());
	env.push_back(nullptr);
	char name[] = "ftmd-sim";
	char *argv[] = {name, nullptr};

	{
		std::lock_guard<std::mutex> lock(fork_lock);
		pid_ = ::fork();
	}
	if (pid_ < 0) {
		if (error)
			*error = std::string("fork: ") + std::strerror(errno);
		return false;
	}
	if (pid_ == 0) {
		::setpgid(0, 0);  // so stop() reaches whatever the daemon forks
		int out = ::open(options_.output_log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
		::dup2(wired_slave_, 0);
		if (out >= 0) {
			::dup2(out, 1);
			::dup2(out, 2);
		}
		if (options_.emulator.empty()) {
			::execve(options_.ftmd_path.c_str(), argv, env.data());
		} else {
			char *with_emulator[] = {const_cast<char *>(options_.emulator.c_str()),
			                        const_cast<char *>(options_.ftmd_path.c_str()), nullptr};
			// A bare name ("qemu-arm") is looked up on the station's PATH.
			::execvpe(options_.emulator.c_str(), with_emulator, env.data());
		}
		::_exit(127);
	}
	// The daemon holds the wired port now; when it dies the station reads
	// the hang-up, as when a cable comes out.
	close_fd(wired_slave_);
	::setpgid(pid_, pid_);
	return true;
}

bool Phone::attach_usb()
{
	std::string link = options_.board_dir + "/dev/ttyHSUSB1";
	return ::symlink(usb_slave_name_.c_str(), link.c_str()) == 0;
}

void Phone::hang_up_wired() { close_fd(wired_master_); }

void Phone::hang_up_usb() { close_fd(usb_master_); }

bool Phone::replug_usb()
{
	close_fd(usb_master_);
	close_fd(usb_slave_);
	if (!open_pty(&usb_master_, &usb_slave_, &usb_slave_name_))
		return false;
	std::string link = options_.board_dir + "/dev/ttyHSUSB1";
	::unlink(link.c_str());
	return attach_usb();
}

bool Phone::running()
{
	if (pid_ <= 0)
		return false;
	int status = 0;
	return ::waitpid(pid_, &status, WNOHANG) == 0;
}

void Phone::stop()
{
	if (pid_ > 0) {
		kill_detached_children(pid_);
		::kill(-pid_, SIGTERM);
		int status = 0;
		bool gone = false;
		for (int i = 0; i < 200 && !gone; ++i) {
			gone = ::waitpid(pid_, &status, WNOHANG) == pid_;
			if (!gone)
				::usleep(10000);
		}
		if (!gone) {
			::kill(-pid_, SIGKILL);
			::waitpid(pid_, &status, 0);
		}
		::kill(-pid_, SIGKILL);  // anything the daemon left behind
		pid_ = -1;
	}
	close_fd(wired_master_);
	close_fd(wired_slave_);
	close_fd(usb_master_);
	close_fd(usb_slave_);
}

}  // namespace station
