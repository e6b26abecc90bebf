#include "sim/sysfs_attr.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace sim {

ssize_t SysfsAttribute::write(const void *buf, size_t n)
{
	if (board_.num(name_ + ".fail", 0)) {
		errno = EIO;
		return -1;
	}
	std::string text(static_cast<const char *>(buf), std::min<size_t>(n, 32));
	char *end = nullptr;
	errno = 0;
	long value = std::strtol(text.c_str(), &end, 10);
	bool rest_blank = end && std::strspn(end, "\n") == std::strlen(end);
	if (errno != 0 || end == text.c_str() || !rest_blank) {
		errno = EINVAL;  // as a kernel store function rejects text
		return -1;
	}
	board_.save_state(name_, std::to_string(value) + "\n");
	return static_cast<ssize_t>(n);
}

ssize_t SysfsAttribute::read(void *buf, size_t n)
{
	std::string value = board_.load_state(name_);
	if (value.empty())
		value = "0\n";
	if (read_offset_ >= value.size())
		return 0;
	size_t count = std::min(n, value.size() - read_offset_);
	std::memcpy(buf, value.data() + read_offset_, count);
	read_offset_ += count;
	return static_cast<ssize_t>(count);
}

std::unique_ptr<Device> SysfsAttribute::open(Board &board, const std::string &name)
{
	if (!board.num(name + ".present", 1)) {
		errno = ENOENT;
		return nullptr;
	}
	return std::make_unique<SysfsAttribute>(board, name);
}

}  // namespace sim
