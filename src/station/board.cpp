#include "station/board.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "station/board_template.h"

namespace station {

namespace {

bool fail(std::string *error, const std::string &what)
{
	if (error)
		*error = what + ": " + std::strerror(errno);
	return false;
}

bool make_dirs(const std::string &path)
{
	std::string cur;
	std::stringstream ss(path);
	std::string part;
	if (!path.empty() && path[0] == '/')
		cur = "/";
	while (std::getline(ss, part, '/')) {
		if (part.empty())
			continue;
		cur += part + "/";
		if (::mkdir(cur.c_str(), 0755) != 0 && errno != EEXIST)
			return false;
	}
	return true;
}

std::string parent(const std::string &path)
{
	size_t slash = path.rfind('/');
	return slash == std::string::npos ? "." : path.substr(0, slash);
}

const char *const kDirs[] = {"data", "sdcard", "dev/input", "dev/graphics", "dev/block", "var", "sys/power",
                             "system/bin", "proc/driver", "tmp"};
const char *const kFifos[] = {"dev/input/event0", "dev/input/event1", "dev/input/event3"};

}  // namespace

bool init_board(const std::string &dir, std::string *error)
{
	if (!make_dirs(dir))
		return fail(error, "mkdir " + dir);
	for (const char *d : kDirs)
		if (!make_dirs(dir + "/" + d))
			return fail(error, std::string("mkdir ") + d);
	for (size_t i = 0; i < board_template_count; ++i) {
		const TemplateFile &f = board_template[i];
		std::string path = dir + "/" + f.path;
		if (!make_dirs(parent(path)))
			return fail(error, "mkdir " + parent(path));
		::unlink(path.c_str());
		int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, f.mode);
		if (fd < 0)
			return fail(error, "write " + path);
		bool ok = ::write(fd, f.data, f.size) == static_cast<ssize_t>(f.size);
		::close(fd);
		if (!ok)
			return fail(error, "write " + path);
	}
	for (const char *fifo : kFifos) {
		std::string path = dir + "/" + fifo;
		struct stat st{};
		if (::stat(path.c_str(), &st) == 0 && S_ISFIFO(st.st_mode))
			continue;
		::unlink(path.c_str());
		if (::mkfifo(path.c_str(), 0666) != 0)
			return fail(error, "mkfifo " + path);
	}
	std::ofstream(dir + "/dev/kmsg", std::ios::trunc);
	std::string sh = dir + "/system/bin/sh";
	::unlink(sh.c_str());
	if (::symlink("/bin/sh", sh.c_str()) != 0)
		return fail(error, "symlink " + sh);
	return true;
}

namespace {

std::string strip(std::string s)
{
	size_t a = s.find_first_not_of(" \t\r");
	size_t b = s.find_last_not_of(" \t\r");
	return a == std::string::npos ? std::string() : s.substr(a, b - a + 1);
}

}  // namespace

std::string board_value(const std::string &dir, const std::string &key)
{
	std::ifstream in(dir + "/board.conf");
	std::string line, value;
	while (std::getline(in, line)) {
		line = line.substr(0, line.find('#'));
		size_t eq = line.find('=');
		if (eq != std::string::npos && strip(line.substr(0, eq)) == key)
			value = strip(line.substr(eq + 1));  // the last one counts
	}
	return value;
}

long board_number(const std::string &dir, const std::string &key, long fallback)
{
	std::string v = board_value(dir, key);
	errno = 0;
	char *end = nullptr;
	long n = std::strtol(v.c_str(), &end, 0);
	return v.empty() || errno || end == v.c_str() ? fallback : n;
}

bool set_board_value(const std::string &dir, const std::string &key, const std::string &value)
{
	std::string path = dir + "/board.conf";
	std::ifstream in(path);
	std::vector<std::string> lines;
	std::string line;
	bool replaced = false;
	while (std::getline(in, line)) {
		std::string head = line.substr(0, line.find('='));
		while (!head.empty() && (head.back() == ' ' || head.back() == '\t'))
			head.pop_back();
		if (head == key) {
			if (replaced)
				continue;
			line = key + " = " + value;
			replaced = true;
		}
		lines.push_back(line);
	}
	if (!replaced)
		lines.push_back(key + " = " + value);
	// Written whole and renamed, so the daemon never reads half a file.
	std::string tmp = path + ".tmp";
	{
		std::ofstream out(tmp, std::ios::trunc);
		for (const std::string &l : lines)
			out << l << '\n';
		if (!out)
			return false;
	}
	return ::rename(tmp.c_str(), path.c_str()) == 0;
}

bool give_product_id(const std::string &dir, const std::string &hex_id)
{
	// The factory GPIO device keeps what it is told in var/ftmgpio, one
	// "key=value" a line; keys it is not given keep their defaults.
	std::string path = dir + "/var/ftmgpio";
	struct stat st{};
	if (::stat(path.c_str(), &st) == 0)
		return true;
	std::ofstream out(path, std::ios::trunc);
	out << "pid=" << hex_id << "\n";
	return static_cast<bool>(out);
}

}  // namespace station
