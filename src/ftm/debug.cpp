#include "ftm/debug.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>

#include "ftm/ftm.h"
#include "platform/platform.h"

namespace ftm {

debug_globals dbg;

namespace {

const char *base_name(const char *path)
{
	const char *slash = std::strrchr(path, '/');
	return slash ? slash + 1 : path;
}

void put(int fd, const char *text, size_t n)
{
	ssize_t r = plat::write(fd, text, n);
	(void)r;  // a trace never fails its caller
}

}  // namespace

void _dbg_print(const char *file, int line, const char *function, const char *format, ...)
{
	// Both stages are cut at the buffer's size, never overflowed.
	char real_format[TRACE_LINE_MAX];
	char text[TRACE_LINE_MAX];
	std::snprintf(real_format, sizeof real_format, "U [%s:%d] %s() - %s", base_name(file), line, function, format);
	va_list ap;
	va_start(ap, format);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
	std::vsnprintf(text, sizeof text, real_format, ap);
#pragma GCC diagnostic pop
	va_end(ap);
	size_t n = std::strlen(text);

	int kmsg = plat::open("/dev/kmsg", O_WRONLY);
	if (kmsg >= 0) {
		put(kmsg, text, n);
		plat::close(kmsg);
	}
	int mode = dbg.debug_switch.load();
	if (mode == DEBUG_ON)
		put(loop.act_fd.load(), text, n);
	if (dbg.log_on.load() != 0 && mode == DEBUG_FON)
		put(loop.log_fd.load(), text, n);
}

}  // namespace ftm
