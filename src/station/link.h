// Bytes to and from a port (pty or serial line), with bounded waits.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace station {

bool write_all(int fd, std::string_view bytes);

// Reads what arrives within ms milliseconds of quiet (a pause of quiet_ms
// ends it early once something arrived; 0 waits the whole time).
std::string read_for(int fd, int ms, int quiet_ms = 0);

// Reads until done(bytes so far) is true or timeout_ms has passed.
std::string read_until(int fd, const std::function<bool(const std::string &)> &done, int timeout_ms);

// Why a bounded read ended.
enum class ReadEnd { done, timeout, closed };

// Appends to out until done(out) is true, timeout_ms has passed, or the
// port is gone (the far end hung up or the device was unplugged).
ReadEnd read_into(int fd, std::string &out, const std::function<bool(const std::string &)> &done, int timeout_ms);

// Takes whatever is waiting on the port now, without waiting.
std::string drain(int fd);

// Reads until the text ends with tail, or the timeout.
std::string read_until_suffix(int fd, std::string_view tail, int timeout_ms);

// Puts a terminal descriptor in raw mode (no echo, no line editing).
bool make_raw(int fd);

}  // namespace station
