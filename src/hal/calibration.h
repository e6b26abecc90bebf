// The calibration pass-through: while a station calibrates the radio, the
// active port and the modem channel /dev/ftm_smd are bridged byte for byte.
// Packets are the station's and modem's own, each closed by a '~'.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <sys/types.h>

namespace hal {

// The termios record as TCGETS and TCSETS carry it.
struct kernel_termios {
	uint32_t c_iflag;
	uint32_t c_oflag;
	uint32_t c_cflag;
	uint32_t c_lflag;
	uint8_t c_line;
	uint8_t c_cc[19];
};
static_assert(sizeof(kernel_termios) == 36);

constexpr size_t CALI_PACKET_SIZE = 4096;

struct calibration_globals {
	int ftm_smd_fd = -1;              // opened once, kept after the mode ends
	std::atomic<int> exit_thread{0};  // 1 tells the modem-to-port thread to leave
	kernel_termios original_settings{};
};
extern calibration_globals cali;
// Back to the start state (for tests; closes nothing).
void calibration_reset();

// Runs the bridge until the station sends "~AT+FTM~": 0, or 1 on failure.
int cali_mode();

// The port raw, 115200 8N1, no flow control; the old settings are kept.
int connect_port_init(int fd);
int connect_port_setting_restore(int fd);

// Writes all bytes: the count, or 0 if write gave 0. Errors are retried
// until the bridge is told to stop.
ssize_t send_data(int fd, const uint8_t *bytes, size_t count);
// One packet: bytes up to a read that ends in '~' (or "~\r", which counts
// without its '\r'). Waits for the station as long as it takes; -1 once the
// station has hung up.
ssize_t receive_data(int fd, uint8_t *buffer, size_t capacity);
// 0 when a and b agree over the longer one's length, at most 10 characters.
int is2chars(const char *a, const char *b);

void *thread_respond_fun(void *unused);

}  // namespace hal
