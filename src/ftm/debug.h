// The one trace call of the command channel and the hardware tests. Each
// line goes to the kernel log; AT+DEBUG can also put it on the ports.
#pragma once

#include <atomic>

namespace ftm {

constexpr int DEBUG_OFF = 0;
constexpr int DEBUG_ON = 1;
constexpr int DEBUG_FON = 2;

struct debug_globals {
	std::atomic<int> debug_switch{DEBUG_OFF};
	std::atomic<int> log_on{0};  // gate of FON output; nothing sets it
};
extern debug_globals dbg;

// Longer lines are cut to 254 bytes, the last of them a newline.
constexpr int TRACE_LINE_MAX = 255;

// Puts the trace mode back to its start values (for tests).
void reset_debug_globals();

void _dbg_print(const char *file, int line, const char *function, const char *format, ...)
    __attribute__((format(printf, 4, 5)));

}  // namespace ftm

#define DBG(...) ::ftm::_dbg_print(__FILE__, __LINE__, __func__, __VA_ARGS__)
// For a helper that traces under the name of the command that called it.
#define DBG_AS(caller, ...) ::ftm::_dbg_print(__FILE__, __LINE__, caller, __VA_ARGS__)
