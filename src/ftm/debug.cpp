#include "ftm/debug.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>

#include "ftm/ftm.h"
#include "ftm/handlers.h"
#include "platform/platform.h"

namespace ftm {

debug_globals dbg;

namespace {

const char *base_name(const char *path)
{
	const char *slash = std::strrchr(path, '/');
	return slash ? slash + 1 : path;
}

// A format cut by its buffer may end inside a conversion ("%l"); that tail
// is dropped so vsnprintf never sees half a conversion.
void drop_partial_conversion(char *format)
{
	size_t len = std::strlen(format);
	for (size_t i = 0; i < len;) {
		if (format[i] != '%') {
			++i;
			continue;
		}
		size_t j = i + 1;
		while (j < len && std::strchr("0123456789.-+ #'*hlLqjzt", format[j]))
			++j;
		if (j >= len) {
			format[i] = '\0';
			return;
		}
		i = j + 1;  // past the conversion character, "%%" included
	}
}

void put(int fd, const char *text, size_t n)
{
	ssize_t r = plat::write(fd, text, n);
	(void)r;  // a trace never fails its caller
}

}  // namespace

void _dbg_print(const char *file, int line, const char *function, const char *format, ...)
{
	// Both stages are cut at the buffer's size, never overflowed; a cut
	// line still ends in a newline so the next one starts a line of its own.
	char real_format[TRACE_LINE_MAX];
	char text[TRACE_LINE_MAX];
	int flen = std::snprintf(real_format, sizeof real_format, "U [%s:%d] %s() - %s", base_name(file), line,
	                         function, format);
	bool cut = flen >= TRACE_LINE_MAX;
	if (cut)
		drop_partial_conversion(real_format);
	va_list ap;
	va_start(ap, format);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
	int tlen = std::vsnprintf(text, sizeof text, real_format, ap);
#pragma GCC diagnostic pop
	va_end(ap);
	cut = cut || tlen >= TRACE_LINE_MAX;
	size_t n = std::strlen(text);
	if (cut) {
		n = std::min(n, static_cast<size_t>(TRACE_LINE_MAX - 2));
		text[n++] = '\n';
		text[n] = '\0';
	}

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

void reset_debug_globals()
{
	dbg.debug_switch = DEBUG_OFF;
	dbg.log_on = 0;
}

int at_debug_switcher(tapp_record *record)
{
	const char *p = record->params;
	const char *word;
	if (std::strncmp(p, "=ON", 3) == 0) {
		dbg.debug_switch = DEBUG_ON;
		word = "ON\n";
	} else if (std::strncmp(p, "=FON", 4) == 0) {
		dbg.debug_switch = DEBUG_FON;
		word = "FON\n";
	} else if (std::strncmp(p, "=OFF", 4) == 0) {
		dbg.debug_switch = DEBUG_OFF;
		word = "OFF\n";
	} else {
		std::printf("Unknown parameter: %.*s\n", static_cast<int>(strnlen(p, PARAMS_SIZE)), p);
		std::fflush(stdout);
		return 2;
	}
	DBG("debug mode = ");
	DBG("%s", word);
	return 0;
}

}  // namespace ftm
