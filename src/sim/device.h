// A simulated device node: what the board does for open, read, write, ioctl
// and mmap on one of the phone's character devices.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <sys/mman.h>
#include <sys/types.h>
#include <unistd.h>

namespace sim {

class Board;

// One open instance of a device. The default answers are those of a driver
// that does not know the operation.
class Device {
public:
	virtual ~Device() = default;

	virtual int ioctl(unsigned long /*request*/, uintptr_t /*arg*/)
	{
		errno = ENOTTY;
		return -1;
	}
	virtual ssize_t read(void * /*buf*/, size_t /*n*/)
	{
		errno = EINVAL;
		return -1;
	}
	virtual ssize_t write(const void * /*buf*/, size_t /*n*/)
	{
		errno = EINVAL;
		return -1;
	}
	virtual void *mmap(size_t /*len*/, int /*prot*/, int /*flags*/, off_t /*off*/)
	{
		errno = ENODEV;
		return MAP_FAILED;
	}
	// A device that streams (a UART, a modem channel) hands out a real
	// descriptor so the daemon can select on it; the model serves the far end.
	// Such a device sees no read or write calls. -1 means intercept them.
	virtual int stream_fd() { return -1; }
	// The daemon's write to a streaming device's descriptor. A model that
	// must see each write as it came (a capture of the line) takes it here.
	virtual ssize_t stream_write(int fd, const void *buf, size_t n) { return ::write(fd, buf, n); }
};

using DeviceFactory = std::unique_ptr<Device> (*)(Board &board, int flags);

struct DeviceEntry {
	std::string_view path;  // the phone's path
	DeviceFactory open;     // null result: the open fails with errno set
};

// The board's devices, in src/sim/devices.cpp.
const DeviceEntry *find_device(std::string_view phone_path);

}  // namespace sim
