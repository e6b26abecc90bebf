#include "sim/board.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace sim {

namespace {

std::string trim(std::string_view s)
{
	size_t b = s.find_first_not_of(" \t\r\n");
	if (b == std::string_view::npos)
		return {};
	size_t e = s.find_last_not_of(" \t\r\n");
	return std::string(s.substr(b, e - b + 1));
}

// Holds an flock on the kernel log so that the daemon, its forked log
// daemon and the board's dmesg never see half a line or lose one.
class KmsgLock {
public:
	explicit KmsgLock(const std::string &path, int flags)
	    : fd_(::open(path.c_str(), flags | O_CLOEXEC, 0644))
	{
		if (fd_ >= 0)
			::flock(fd_, LOCK_EX);
	}
	~KmsgLock()
	{
		if (fd_ >= 0)
			::close(fd_);  // also drops the lock
	}
	KmsgLock(const KmsgLock &) = delete;
	KmsgLock &operator=(const KmsgLock &) = delete;
	int fd() const { return fd_; }

private:
	int fd_;
};

}  // namespace

Board &Board::get()
{
	static Board board([] {
		const char *root = std::getenv("FTM_BOARD");
		return std::string(root && *root ? root : ".");
	}());
	return board;
}

Board::Board(std::string root) : root_(std::move(root))
{
	while (root_.size() > 1 && root_.back() == '/')
		root_.pop_back();
	time_scale_ = real("time.scale", 1.0);
	if (!(time_scale_ > 0.0))
		time_scale_ = 1.0;
}

std::string Board::map(std::string_view phone_path) const
{
	if (phone_path.empty() || phone_path.front() != '/')
		return std::string(phone_path);
	// The host's own special files stay where they are.
	if (phone_path == "/dev/null" || phone_path == "/dev/stdin" || phone_path == "/dev/tty")
		return std::string(phone_path);
	return root_ + std::string(phone_path);
}

void Board::refresh_locked()
{
	std::string path = root_ + "/board.conf";
	struct stat st{};
	FileStamp now;
	if (::stat(path.c_str(), &st) == 0) {
		now.mtime_ns = static_cast<long long>(st.st_mtim.tv_sec) * 1000000000LL + st.st_mtim.tv_nsec;
		now.size = st.st_size;
		now.inode = st.st_ino;
	}
	if (now == stamp_)
		return;
	stamp_ = now;
	values_.clear();
	lines_.clear();
	std::ifstream in(path);
	std::string line;
	int number = 0;
	while (std::getline(in, line)) {
		++number;
		size_t hash = line.find('#');
		if (hash != std::string::npos)
			line.resize(hash);
		size_t eq = line.find('=');
		if (eq == std::string::npos)
			continue;
		std::string key = trim(std::string_view(line).substr(0, eq));
		if (!key.empty()) {
			values_[key] = trim(std::string_view(line).substr(eq + 1));
			lines_[key] = number;
		}
	}
}

int Board::line_of(std::string_view key)
{
	std::lock_guard lock(mutex_);
	refresh_locked();
	auto it = lines_.find(std::string(key));
	return it == lines_.end() ? 0 : it->second;
}

std::string Board::text(std::string_view key, std::string_view fallback)
{
	std::lock_guard lock(mutex_);
	refresh_locked();
	auto it = values_.find(std::string(key));
	return it == values_.end() ? std::string(fallback) : it->second;
}

long Board::num(std::string_view key, long fallback)
{
	std::string v = text(key, "");
	if (v.empty())
		return fallback;
	errno = 0;
	char *end = nullptr;
	long n = std::strtol(v.c_str(), &end, 0);
	return (errno || end == v.c_str()) ? fallback : n;
}

double Board::real(std::string_view key, double fallback)
{
	std::string v = text(key, "");
	if (v.empty())
		return fallback;
	char *end = nullptr;
	double d = std::strtod(v.c_str(), &end);
	return end == v.c_str() ? fallback : d;
}

std::string Board::load_state(std::string_view name)
{
	std::ifstream in(root_ + "/var/" + std::string(name), std::ios::binary);
	std::stringstream ss;
	ss << in.rdbuf();
	return ss.str();
}

bool Board::save_state(std::string_view name, std::string_view data)
{
	std::string dir = root_ + "/var";
	::mkdir(dir.c_str(), 0755);
	std::string final_path = dir + "/" + std::string(name);
	std::string tmp = final_path + ".tmp." + std::to_string(::getpid());
	int fd = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
	if (fd < 0)
		return false;
	size_t off = 0;
	while (off < data.size()) {
		ssize_t n = ::write(fd, data.data() + off, data.size() - off);
		if (n <= 0) {
			::close(fd);
			::unlink(tmp.c_str());
			return false;
		}
		off += static_cast<size_t>(n);
	}
	bool ok = ::fsync(fd) == 0;
	ok = (::close(fd) == 0) && ok;
	if (!ok || ::rename(tmp.c_str(), final_path.c_str()) != 0) {
		::unlink(tmp.c_str());
		return false;
	}
	return true;
}

int Board::remove_stale_temporaries()
{
	std::string dir = root_ + "/var";
	DIR *d = ::opendir(dir.c_str());
	if (!d)
		return 0;
	int removed = 0;
	while (dirent *e = ::readdir(d)) {
		// name.tmp.<pid>: only whole numbers after the last ".tmp." count.
		std::string_view name = e->d_name;
		size_t at = name.rfind(".tmp.");
		if (at == std::string_view::npos || at == 0)
			continue;
		std::string_view digits = name.substr(at + 5);
		if (digits.empty() || digits.size() > 9 ||
		    digits.find_first_not_of("0123456789") != std::string_view::npos)
			continue;
		pid_t pid = static_cast<pid_t>(std::stol(std::string(digits)));
		if (pid == ::getpid() || ::kill(pid, 0) == 0 || errno != ESRCH)
			continue;
		if (::unlink((dir + "/" + std::string(name)).c_str()) == 0)
			++removed;
	}
	::closedir(d);
	return removed;
}

void Board::kmsg_write(std::string_view text)
{
	// The kernel gives a user line its default level, as "<4>".
	std::string line = "<4>" + std::string(text);
	KmsgLock lock(root_ + "/dev/kmsg", O_RDWR | O_CREAT | O_APPEND);
	if (lock.fd() < 0)
		return;
	ssize_t n = ::write(lock.fd(), line.data(), line.size());
	(void)n;
	struct stat st{};
	if (::fstat(lock.fd(), &st) != 0 || static_cast<size_t>(st.st_size) <= kKmsgRing)
		return;
	// A full ring: keep the newest bytes, as the kernel's character ring does.
	std::string keep(kKmsgRing, '\0');
	ssize_t got = ::pread(lock.fd(), keep.data(), keep.size(), st.st_size - static_cast<off_t>(kKmsgRing));
	if (got != static_cast<ssize_t>(keep.size()) || ::ftruncate(lock.fd(), 0) != 0)
		return;
	n = ::write(lock.fd(), keep.data(), keep.size());
}

std::string Board::kmsg_read(bool clear)
{
	KmsgLock lock(root_ + "/dev/kmsg", O_RDWR | O_CREAT);
	std::string out;
	if (lock.fd() < 0)
		return out;
	char buf[4096];
	ssize_t n;
	while ((n = ::read(lock.fd(), buf, sizeof buf)) > 0)
		out.append(buf, static_cast<size_t>(n));
	if (clear && ::ftruncate(lock.fd(), 0) != 0)
		return out;
	return out;
}

}  // namespace sim
