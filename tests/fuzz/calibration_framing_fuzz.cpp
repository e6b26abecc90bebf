// The calibration bridge's packet framing: the station's bytes, as the reads
// the port hands over, cut into packets at a closing '~' (or "~\r"), and each
// packet checked for the station's "~AT+FTM~" that ends the bridge.
//
// The first byte sets how many bytes each read returns (1 to 128): a seqpacket
// socket keeps those reads apart, as the port's do. Its top bit shrinks the
// packet buffer to 64 bytes, so that inputs of a few KiB reach the dropping of
// a packet too long for it. A final "~~" closes any open packet, since
// receive_data waits for a station for ever.
#include <algorithm>
#include <cstdint>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

#include "hal/calibration.h"
#include "support/temp_board.h"

namespace {

bool bytes_waiting(int fd)
{
	int n = 0;
	return ::ioctl(fd, FIONREAD, &n) == 0 && n > 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	testing_support::use_temp_board();
	if (size < 1 || size > 3 * hal::CALI_PACKET_SIZE)
		return -1;
	int fds[2];
	if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, fds) != 0)
		return 0;
	int sndbuf = 1 << 20;
	::setsockopt(fds[1], SOL_SOCKET, SO_SNDBUF, &sndbuf, sizeof sndbuf);
	size_t chunk = 1 + (data[0] & 0x7F);
	size_t capacity = data[0] & 0x80 ? 64 : hal::CALI_PACKET_SIZE;
	bool sent = true;
	for (size_t at = 1; at < size && sent; at += chunk) {
		size_t n = std::min(chunk, size - at);
		sent = ::send(fds[1], data + at, n, MSG_DONTWAIT) == static_cast<ssize_t>(n);
	}
	sent = sent && ::send(fds[1], "~~", 2, MSG_DONTWAIT) == 2;
	::close(fds[1]);

	hal::calibration_reset();
	std::vector<uint8_t> packet(hal::CALI_PACKET_SIZE + 1);
	while (sent && bytes_waiting(fds[0])) {
		ssize_t n = hal::receive_data(fds[0], packet.data(), capacity);
		if (n < 0 || n > static_cast<ssize_t>(capacity))
			__builtin_trap();
		packet[static_cast<size_t>(n)] = 0;
		hal::is2chars(reinterpret_cast<const char *>(packet.data()), "~AT+FTM~");
	}
	::close(fds[0]);
	return 0;
}
