// The shell on a port, for both platforms: a child with its standard
// streams on fd, waited for.
#pragma once

#include <cerrno>
#include <sys/wait.h>
#include <unistd.h>

namespace plat::detail {

inline int run_shell_on(int fd, const char *shell, const char *dir)
{
	pid_t pid = ::fork();
	if (pid < 0)
		return -1;
	if (pid == 0) {
		::dup2(fd, 0);
		::dup2(fd, 1);
		::dup2(fd, 2);
		if (dir && ::chdir(dir) != 0)
			::_exit(127);
		::execl(shell, "sh", static_cast<char *>(nullptr));
		::_exit(127);
	}
	int status = 0;
	while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
	}
	return status;
}

}  // namespace plat::detail
