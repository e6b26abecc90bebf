#include "sim/record.h"

#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "sim/board.h"

namespace sim {

void append_record(Board &board, std::string_view name, std::string_view text)
{
	std::string dir = board.root() + "/var";
	::mkdir(dir.c_str(), 0755);
	std::string path = dir + "/" + std::string(name);
	int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
	if (fd < 0)
		return;
	ssize_t w = ::write(fd, text.data(), text.size());
	(void)w;
	::close(fd);
}

}  // namespace sim
