// A sysfs attribute that holds one decimal number: a write stores it (the
// board keeps it in var/<name>), a read gives it back with a newline.
// "<name>.present = 0" makes the file missing, "<name>.fail = 1" makes
// every write fail with EIO.
#pragma once

#include <memory>
#include <string>

#include "sim/board.h"
#include "sim/device.h"

namespace sim {

class SysfsAttribute : public Device {
public:
	SysfsAttribute(Board &board, std::string name) : board_(board), name_(std::move(name)) {}

	ssize_t write(const void *buf, size_t n) override;
	ssize_t read(void *buf, size_t n) override;

	// The factory's half: null (errno ENOENT) when the board has no such file.
	static std::unique_ptr<Device> open(Board &board, const std::string &name);

private:
	Board &board_;
	std::string name_;
	size_t read_offset_ = 0;
};

}  // namespace sim
