// The BMA020/SMB380 acceleration sensor, reached as a raw I2C chip on the
// compass bus (/dev/compass), not through its own driver node.
#include <cerrno>
#include <cstring>

#include "ftm/debug.h"
#include "hal/hal.h"
#include "hal/sensors.h"
#include "platform/platform.h"

namespace hal {

namespace {

constexpr uint8_t SMB380_REG_DATA = 2;      // x, y, z: two bytes each
constexpr uint8_t SMB380_REG_CONTROL = 20;  // bandwidth bits 0-2, range bits 3-4
// A resting phone reads about 1 g: 128 counts at the +-4 g range.
constexpr long GRAVITY_SUM_MIN = 4956;
constexpr long GRAVITY_SUM_MAX = 47350;

int bus_write(int fd, const uint8_t *bytes, size_t n, const char *caller)
{
	if (plat::write(fd, bytes, n) != static_cast<ssize_t>(n)) {
		int err = errno;
		DBG_AS(caller, "write error(%d): %s\n", err, std::strerror(err));
		return -1;
	}
	return 0;
}

// Read-modify-write of the control register's field under keep_mask.
int smb380_update_control(int fd, uint8_t keep_mask, uint8_t bits, const char *caller)
{
	const uint8_t reg = SMB380_REG_CONTROL;
	if (bus_write(fd, &reg, 1, caller) != 0)
		return -1;
	uint8_t value = 0;  // a failed read modifies a cleared byte
	plat::read(fd, &value, 1);
	const uint8_t out[2] = {reg, static_cast<uint8_t>((value & keep_mask) | bits)};
	return bus_write(fd, out, sizeof out, caller);
}

int16_t axis(uint8_t low, uint8_t high)
{
	int v = (low >> 6) | (high << 2);
	return static_cast<int16_t>(v & 0x200 ? v - 0x400 : v);
}

}  // namespace

int smb380_set_bandwidth(int fd, int value)
{
	if (value < 0 || value >= 8)
		return 0;
	return smb380_update_control(fd, 0xF8, static_cast<uint8_t>(value), __func__);
}

int smb380_set_range(int fd, int value)
{
	if (value < 0 || value >= 3)
		return 0;
	return smb380_update_control(fd, 0xE7, static_cast<uint8_t>(value << 3), __func__);
}

int smb380_read_accel_xyz(int fd, int16_t *xyz)
{
	const uint8_t reg = SMB380_REG_DATA;
	if (bus_write(fd, &reg, 1, __func__) != 0)
		return -1;
	uint8_t data[6] = {};  // a short read leaves zeros, never stale bytes
	plat::read(fd, data, sizeof data);
	for (int i = 0; i < 3; ++i)
		xyz[i] = axis(data[2 * i], data[2 * i + 1]);
	return 0;
}

int bb_g_sensor_test(ftm::tapp_record *r)
{
	r->result_len = 1;
	int fd = -1;
	if (get_ecompass_fd(&fd) != 0) {
		set_verdict(r, "01");
		DBG("get gsensor fd FAILED\n");
		return 1;
	}
	plat::sleep(1);
	if (plat::ioctl(fd, I2C_SLAVE, SMB380_I2C_ADDR) < 0)
		return 1;
	if (smb380_set_bandwidth(fd, 0) != 0 || smb380_set_range(fd, 1) != 0)
		return 1;
	plat::usleep(50000);
	int16_t xyz[3] = {};
	if (smb380_read_accel_xyz(fd, xyz) != 0)
		return 1;
	long sum = 0;
	for (int16_t v : xyz)
		sum += static_cast<long>(v) * v;
	bool level = GRAVITY_SUM_MIN < sum && sum < GRAVITY_SUM_MAX;
	set_verdict(r, level ? "00" : "01");
	return level ? 0 : 1;
}

}  // namespace hal
