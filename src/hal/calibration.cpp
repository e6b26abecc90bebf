#include "hal/calibration.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <pthread.h>
#include <sys/ioctl.h>
#include <termios.h>

#include "ftm/debug.h"
#include "ftm/ftm.h"
#include "hal/hal.h"
#include "platform/platform.h"

namespace hal {

calibration_globals cali;

void calibration_reset()
{
	cali.ftm_smd_fd = -1;
	cali.exit_thread = 0;
	cali.original_settings = {};
}

namespace {

constexpr uint8_t PACKET_FLAG = '~';
constexpr char CLOSE_UPPER[] = "~AT+FTM~";
constexpr char CLOSE_LOWER[] = "~at+ftm~";
constexpr size_t CLOSE_SIZE = sizeof CLOSE_UPPER - 1;
constexpr char BRIDGE_READY[] = "OK\r\n";

// Bounded waits: the modem thread must see exit_thread in time without
// spinning, and a port that fails is retried without burning the CPU.
constexpr long POLL_US = 20000;
constexpr unsigned RETRY_US = 1000;

bool wait_ready(int fd, bool for_write)
{
	if (fd < 0) {
		plat::usleep(POLL_US);
		return false;
	}
	int r = plat::wait_fd(fd, for_write ? POLLOUT : POLLIN, POLL_US / 1000);
	if (r < 0)
		plat::usleep(POLL_US);
	return r > 0;
}

void trace_packet(const char *what, const uint8_t *bytes, ssize_t n)
{
	DBG("%s: len=%d\n", what, static_cast<int>(n));
	constexpr int per_line = 16;
	for (ssize_t at = 0; at < n; at += per_line) {
		char line[per_line * 3 + 1] = {};
		int count = static_cast<int>(std::min<ssize_t>(per_line, n - at));
		for (int i = 0; i < count; ++i)
			std::snprintf(line + 3 * i, 4, "%02x ", bytes[at + i]);
		DBG("%s\n", line);
	}
}

bool is_close_packet(const uint8_t *buffer)
{
	return std::memcmp(buffer, CLOSE_UPPER, CLOSE_SIZE) == 0 || std::memcmp(buffer, CLOSE_LOWER, CLOSE_SIZE) == 0;
}

// One packet from the station to the modem. Packets of head 0x00 longer
// than 4 bytes are the station's own and never reach the modem.
void forward_packet(uint8_t *buffer, ssize_t n)
{
	if (n <= 0 || buffer[n - 1] != PACKET_FLAG)
		return;
	if (buffer[0] == 0x00 && n > 4) {
		trace_packet("head is 0x00", buffer, n);
		return;
	}
	if (buffer[0] == 0x26)
		trace_packet("head is 0x26", buffer, n);
	ssize_t w = plat::write(cali.ftm_smd_fd, buffer, static_cast<size_t>(n));
	if (w < 0)
		DBG("modem write failed: %d bytes dropped\n", static_cast<int>(n));
	else if (w > 0)
		buffer[w - 1] = 0;
}

}  // namespace

int connect_port_init(int fd)
{
	if (plat::ioctl(fd, TCGETS, &cali.original_settings) != 0) {
		DBG("tcgetattr failed!\n");
		return 1;
	}
	kernel_termios raw = cali.original_settings;
	raw.c_cflag = (raw.c_cflag & ~static_cast<uint32_t>(CBAUD)) | B115200;
	raw.c_cflag |= CLOCAL | CREAD;
	raw.c_cflag &= ~static_cast<uint32_t>(PARENB | CSTOPB | CSIZE | CRTSCTS);
	raw.c_cflag |= CS8;
	raw.c_iflag &= ~static_cast<uint32_t>(ICRNL | IXON | IXANY | IXOFF);
	raw.c_lflag &= ~static_cast<uint32_t>(ISIG | ICANON | ECHO | ECHOE);
	raw.c_oflag &= ~static_cast<uint32_t>(OPOST);
	plat::ioctl(fd, TCFLSH, uintptr_t{TCIOFLUSH});
	if (plat::ioctl(fd, TCSETS, &raw) != 0) {
		DBG("tcsetattr failed!\n");
		return 1;
	}
	return 0;
}

int connect_port_setting_restore(int fd)
{
	if (plat::ioctl(fd, TCSETS, &cali.original_settings) != 0) {
		DBG("tcsetattr failed!\n");
		return 1;
	}
	return 0;
}

ssize_t send_data(int fd, const uint8_t *bytes, size_t count)
{
	size_t done = 0;
	while (done < count) {
		// A station that stops reading must not keep the bridge from closing.
		if (!wait_ready(fd, true)) {
			if (cali.exit_thread == 1)
				return static_cast<ssize_t>(done);
			continue;
		}
		ssize_t w = plat::write(fd, bytes + done, count - done);
		if (w == 0)
			return 0;
		if (w < 0) {
			if (cali.exit_thread == 1)
				return -1;
			plat::usleep(RETRY_US);
			continue;
		}
		done += static_cast<size_t>(w);
	}
	return static_cast<ssize_t>(count);
}

ssize_t receive_data(int fd, uint8_t *buffer, size_t capacity)
{
	size_t total = 0;
	bool overflow = false;
	for (;;) {
		if (total == capacity) {
			// Reading on would ask for 0 bytes for ever: drop the packet
			// instead, up to its closing flag.
			overflow = true;
			total = 0;
		}
		ssize_t n = plat::read(fd, buffer + total, capacity - total);
		if (n < 1) {
			if (plat::is_hung_up(fd))
				return -1;
			plat::usleep(RETRY_US);
			continue;
		}
		total += static_cast<size_t>(n);
		uint8_t last = buffer[total - 1];
		size_t end = 0;
		if (last == PACKET_FLAG && total > 1)
			end = total;
		else if (last == '\r' && total > 1 && buffer[total - 2] == PACKET_FLAG)
			end = total - 1;
		if (end == 0)
			continue;
		if (!overflow)
			return static_cast<ssize_t>(end);
		DBG("packet longer than %d bytes dropped\n", static_cast<int>(capacity));
		return 0;
	}
}

int is2chars(const char *a, const char *b)
{
	size_t n = std::min<size_t>(std::max(std::strlen(a), std::strlen(b)), 10);
	return std::strncmp(a, b, n) == 0 ? 0 : 1;
}

void *thread_respond_fun(void *)
{
	uint8_t buffer[CALI_PACKET_SIZE] = {};
	while (cali.exit_thread != 1) {
		if (!wait_ready(cali.ftm_smd_fd, false))
			continue;
		ssize_t n = plat::read(cali.ftm_smd_fd, buffer, sizeof buffer);
		if (n > 0) {
			send_data(ftm::loop.act_fd, buffer, static_cast<size_t>(n));
			buffer[n - 1] = 0;
		}
	}
	DBG("exit_thread is 1!\n");
	return nullptr;
}

int cali_mode()
{
	uint8_t buffer[CALI_PACKET_SIZE] = {};
	// The registry answers 0 or -1, never 1: a modem that cannot be opened
	// goes unnoticed and the bridge runs without it.
	if (cali.ftm_smd_fd == -1 && get_ftm_smd_fd(&cali.ftm_smd_fd) == 1)
		return 1;
	if (cali.ftm_smd_fd < 0)
		DBG("no modem channel: packets are dropped\n");
	const int port = ftm::loop.act_fd;
	connect_port_init(port);

	cali.exit_thread = 0;
	pthread_t thread;
	if (pthread_create(&thread, nullptr, thread_respond_fun, nullptr) != 0) {
		DBG("CALI MODE: Thread creation failed!\n");
		connect_port_setting_restore(port);
		return 1;
	}
	plat::write(port, BRIDGE_READY, sizeof BRIDGE_READY - 1);

	for (;;) {
		ssize_t n = receive_data(port, buffer, sizeof buffer);
		// No closing packet can come from a station that has hung up.
		if (n < 0) {
			DBG("the station hung up: bridge closed\n");
			break;
		}
		if (is_close_packet(buffer))
			break;
		forward_packet(buffer, n);
	}

	DBG("exit_thread = 1 \n");
	cali.exit_thread = 1;
	if (pthread_join(thread, nullptr) != 0) {
		DBG("CALI MODE: Thread join failed!\n");
		connect_port_setting_restore(port);
		return 1;
	}
	DBG("pthread_join ok \n");
	connect_port_setting_restore(port);
	return 0;
}

}  // namespace hal
