#include "ftm/log_step.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <vector>

#include "platform/platform.h"

namespace ftm {

namespace {

constexpr char kLogFile[] = "/data/ftm.log";

}  // namespace

#ifdef FTM_LOG_STEP_SHELL

void log_step()
{
	char command[64];
	std::snprintf(command, sizeof command, "dmesg -c >> %s", kLogFile);
	plat::system(command);
}

#else

namespace {

// klogctl actions, as the kernel numbers them.
constexpr int kReadClear = 4;
constexpr int kSizeBuffer = 10;
// The phone kernel's ring (a shift of 17), if the kernel will not say.
constexpr int kDefaultRing = 1 << 17;

}  // namespace

void log_step()
{
	// ">>" opens the file before dmesg starts: if it cannot, the ring keeps
	// its lines for a later step.
	int fd = plat::open(kLogFile, O_WRONLY | O_CREAT | O_APPEND, 0666);
	if (fd < 0)
		return;
	// One read of the whole ring, as dmesg makes: a shorter read would
	// clear lines it never saw.
	static std::vector<char> ring;
	int size = plat::klogctl(kSizeBuffer, nullptr, 0);
	if (size <= 0)
		size = kDefaultRing;
	if (ring.size() < static_cast<size_t>(size))
		ring.resize(static_cast<size_t>(size));
	int n = plat::klogctl(kReadClear, ring.data(), size);
	// dmesg writes until done and gives up at the first error (a full
	// disk): the ring is cleared by then, and what did not fit is lost.
	const char *p = ring.data();
	size_t left = n > 0 ? static_cast<size_t>(n) : 0;
	while (left > 0) {
		ssize_t w = plat::write(fd, p, left);
		if (w < 0 && errno == EINTR)
			continue;
		if (w <= 0)
			break;
		p += w;
		left -= static_cast<size_t>(w);
	}
	plat::close(fd);
}

#endif

}  // namespace ftm
