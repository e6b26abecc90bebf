#include "hal/bt_h4.h"

#include <array>
#include <cstdio>
#include <fcntl.h>

#include "ftm/debug.h"
#include "hal/bt_soc.h"
#include "platform/platform.h"

namespace bt {

namespace {

struct baud_code {
	uint32_t rate;
	uint32_t code;
};

// 3200000 gives the code of 200 bit/s: the phone's table says so.
constexpr std::array<baud_code, 32> baud_table = {{
	{50, 1},          {75, 2},          {110, 3},         {134, 4},         {150, 5},
	{200, 6},         {300, 7},         {600, 8},         {1200, 9},        {1800, 10},
	{2400, 11},       {4800, 12},       {9600, 13},       {19200, 14},      {38400, 15},
	{57600, 4097},    {115200, 4098},   {230400, 4099},   {460800, 4100},   {500000, 4101},
	{576000, 4102},   {921600, 4103},   {1000000, 4104},  {1152000, 4105},  {1500000, 4106},
	{2000000, 4107},  {2500000, 4108},  {3000000, 4109},  {3500000, 4110},  {4000000, 4111},
	{3200000, 6},     {0, 0},
}};

int fail_uart(int fd)
{
	plat::close(fd);
	return -1;
}

}  // namespace

uint32_t convert_baud(uint32_t rate)
{
	for (const baud_code &row : baud_table)
		if (row.rate == rate && row.rate != 0)
			return row.code;
	return 0;
}

int bt_hci_pfal_init_uart(const char *path, int /*unused1*/, int /*unused2*/)
{
	int fd = plat::open(path, O_RDWR | O_NOCTTY);
	bt_state.fd_ttyHS0 = fd;
	if (fd == -1) {
		DBG("init_uart: Cannot open \n");
		return -1;
	}
	if (plat::ioctl(fd, BT_TCFLSH, BT_TCIOFLUSH) < 0) {
		DBG("init_uart: Cannot flush %s\n", path);
		return fail_uart(fd);
	}
	kernel_termios ti{};
	if (plat::ioctl(fd, BT_TCGETS, &ti) < 0) {
		DBG("init_uart: Error while getting attributes\n");
		return fail_uart(fd);
	}
	ti.c_iflag &= ~BT_IFLAG_RAW_CLEAR;
	ti.c_oflag &= ~BT_OFLAG_OPOST;
	ti.c_lflag &= ~BT_LFLAG_RAW_CLEAR;
	ti.c_cflag &= ~(BT_CFLAG_CSIZE | BT_CFLAG_PARENB);
	ti.c_cflag |= BT_CFLAG_CS8;
	ti.c_cflag |= BT_CFLAG_CRTSCTS_CLOCAL;
	if (plat::ioctl(fd, BT_TCSETS, &ti) < 0) {
		DBG("init_uart: Error while getting attributes\n");
		return fail_uart(fd);
	}
	bt_hci_soc_pfal_changebaudrate(115200);
	return fd;
}

int bt_hci_soc_pfal_changebaudrate(uint32_t rate)
{
	kernel_termios ti{};
	if (plat::ioctl(bt_state.fd_ttyHS0, BT_TCGETS, &ti) < 0) {
		std::perror("Can't get port settings");
		return 0;
	}
	// One speed field serves both directions on this kernel.
	ti.c_cflag = (ti.c_cflag & ~BT_CFLAG_CBAUD) | (convert_baud(rate) & BT_CFLAG_CBAUD);
	if (plat::ioctl(bt_state.fd_ttyHS0, BT_TCSETS, &ti) < 0)
		std::perror("bt_hci_soc_pfal_changebaudrate: tcsetattr:");
	return 0;
}

// A partial write lowers what is left as well as raising what was sent, so
// it ends the loop with a short count that callers take as a failure.
int bt_hci_soc_nwrite(const uint8_t *buffer, int count)
{
	int sent = 0;
	int left = count;
	while (sent < left) {
		ssize_t n = plat::write(bt_state.fd_ttyHS0, buffer + sent, static_cast<size_t>(left - sent));
		if (n < 0) {
			DBG("Error while writing ->");
			return static_cast<int>(n);
		}
		if (n == 0) {
			DBG("bt_hci_soc_nwrite: zero-length write\n");
			return 0;
		}
		sent += static_cast<int>(n);
		left -= static_cast<int>(n);
	}
	return sent;
}

// The time-out is per wait: a slow but steady SoC is never cut off. Each
// round either times out, fails or reads at least a byte, so the loop ends.
int bt_hci_soc_nread(uint8_t *buffer, int count)
{
	int got = 0;
	for (;;) {
		int fd = bt_state.fd_ttyHS0;
		// A port that never opened fails the wait at once, as select does.
		int ready = -1;
		if (fd >= 0)
			ready = plat::wait_fd(fd, POLLIN, BT_READ_TIMEOUT_US / 1000);
		if (ready < 1) {
			DBG("bt_hci_soc_nread: read BT SoC timed out.\n");
			return got;
		}
		ssize_t n = plat::read(fd, buffer + got, static_cast<size_t>(count - got));
		if (n < 0) {
			DBG("Error while reading ->");
			return static_cast<int>(n);
		}
		got += static_cast<int>(n);
		if (got >= count)
			return got;
		if (n == 0) {
			DBG("bt_hci_soc_nread: read BT SoC timed out.\n");
			return got;  // the far end hung up: nothing more will come
		}
	}
}

int bt_hci_soc_get_event(uint8_t *buffer)
{
	int n = bt_hci_soc_nread(buffer, 3);
	if (n != 3) {
		DBG("bt_hci_soc_get_event: VERY SHORT READ!-%d\n", n);
		return 0;
	}
	// Byte 2 is at most 255: header and parameters fit the 260-byte buffer.
	int length = buffer[2];
	n = bt_hci_soc_nread(buffer + 3, length);
	if (n < length) {
		DBG("bt_hci_soc_get_event: SHORT READ!-%d\n", n);
		return 0;
	}
	DBG("Get Correct EVT Length:%d\n", length + 3);
	return 1;
}

}  // namespace bt
