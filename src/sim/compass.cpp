// /dev/compass: a raw I2C bus with two chips on it. I2C_SLAVE picks the
// chip; a write sets its register pointer (and, with more bytes, writes
// registers); a read returns bytes from the pointer on.
//
// 0x2E, compass: command 0xD0 reads the id (2 bytes, id in the second);
// commands 0xC0 then 0x02 start a measurement, read as 8 bytes whose first
// has bit 7 set while busy and whose last two hold an 11-bit temperature.
// 0x38, BMA020/SMB380: registers 2..7 hold x, y, z as 10-bit values (two
// low bits in bits 7:6 of the first byte), register 20 bandwidth and range.
#include <algorithm>
#include <array>
#include <cstring>

#include "sim/board.h"
#include "sim/models.h"

namespace sim {

namespace {

constexpr unsigned long kI2cSlave = 0x706;
constexpr unsigned kCompassAddr = 0x2E;
constexpr unsigned kAccelAddr = 0x38;

class CompassBus : public Device {
public:
	explicit CompassBus(Board &board) : board_(board) {}

	int ioctl(unsigned long request, uintptr_t arg) override
	{
		if (request != kI2cSlave) {
			errno = ENOTTY;
			return -1;
		}
		if (arg > 0x7F) {
			errno = EINVAL;
			return -1;
		}
		addr_ = static_cast<unsigned>(arg);
		return 0;
	}

	ssize_t write(const void *buf, size_t n) override
	{
		if (!chip_answers() || n == 0) {
			errno = EREMOTEIO;
			return -1;
		}
		const auto *in = static_cast<const uint8_t *>(buf);
		if (addr_ == kCompassAddr) {
			if (last_command_ == 0xC0 && in[0] == 0x02)
				busy_left_ = board_.num("compass.busy_reads", 0);
			last_command_ = in[0];
		} else {
			pointer_ = in[0];
			for (size_t i = 1; i < n; ++i)
				accel_regs_[(pointer_ + i - 1) % accel_regs_.size()] = in[i];
		}
		return static_cast<ssize_t>(n);
	}

	ssize_t read(void *buf, size_t n) override
	{
		if (!chip_answers()) {
			errno = EREMOTEIO;
			return -1;
		}
		std::array<uint8_t, 8> data{};
		size_t avail = addr_ == kCompassAddr ? compass_data(data) : accel_data(data);
		size_t count = std::min(n, avail);
		// A flaky bus: the transfer stops a byte short.
		if (board_.num("i2c.short_read", 0) && count > 0)
			--count;
		std::memcpy(buf, data.data(), count);
		return static_cast<ssize_t>(count);
	}

private:
	bool chip_answers()
	{
		if (addr_ == kCompassAddr)
			return board_.num("compass.chip", 1) != 0;
		if (addr_ == kAccelAddr)
			return board_.num("gsensor.chip", 1) != 0;
		return false;
	}

	size_t compass_data(std::array<uint8_t, 8> &out)
	{
		if (last_command_ == 0xD0) {
			out[0] = 0x00;
			out[1] = static_cast<uint8_t>(board_.num("compass.id", 0x40));
			return 2;
		}
		long temp = board_.num("compass.temp", 0x2A5);
		out[0] = busy_left_ > 0 ? 0x80 : 0x00;
		if (busy_left_ > 0)
			--busy_left_;
		out[6] = static_cast<uint8_t>((temp >> 8) & 7);
		out[7] = static_cast<uint8_t>(temp & 0xFF);
		return 8;
	}

	size_t accel_data(std::array<uint8_t, 8> &out)
	{
		const long axes[3] = {board_.num("gsensor.x", 0), board_.num("gsensor.y", 0),
		                      board_.num("gsensor.z", 128)};
		for (size_t i = 0; i < 3; ++i) {
			auto v = static_cast<unsigned>(axes[i]) & 0x3FF;
			accel_regs_[2 + 2 * i] = static_cast<uint8_t>(((v & 3) << 6) | 1);  // bit 0: new data
			accel_regs_[3 + 2 * i] = static_cast<uint8_t>(v >> 2);
		}
		for (size_t i = 0; i < out.size(); ++i)
			out[i] = accel_regs_[(pointer_ + i) % accel_regs_.size()];
		return out.size();
	}

	Board &board_;
	unsigned addr_ = 0;
	uint8_t last_command_ = 0;
	long busy_left_ = 0;
	uint8_t pointer_ = 0;
	std::array<uint8_t, 32> accel_regs_{};
};

}  // namespace

std::unique_ptr<Device> open_compass(Board &board, int /*flags*/)
{
	if (!board.num("compass.present", 1)) {
		errno = ENODEV;
		return nullptr;
	}
	return std::make_unique<CompassBus>(board);
}

}  // namespace sim
