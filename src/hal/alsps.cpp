// Light and proximity sensor: one chip, /dev/cm3602_alsps, opened once per
// role. Switching is one ioctl each; a reading is the ioctl's result.
#include <cstdio>
#include <cstring>

#include "ftm/debug.h"
#include "ftm/handlers.h"
#include "hal/hal.h"
#include "hal/sensors.h"
#include "platform/platform.h"

namespace hal {

namespace {

constexpr unsigned SENSOR_SETTLE_US = 300000;
constexpr unsigned INTERRUPT_SETTLE_US = 200000;
constexpr int DARK_LIMIT = 0x1F;  // brighter than this fails the darkness test

int fail(ftm::tapp_record *r, const char *caller, const char *why)
{
	set_verdict(r, "01");
	DBG_AS(caller, "%s", why);
	return 1;
}

}  // namespace

int bb_proximity_sensor_test(ftm::tapp_record *r)
{
	r->result_len = 1;
	int fd = -1;
	if (get_proximity_fd(&fd) != 0)
		return fail(r, __func__, "operation failed\n");
	if (plat::ioctl(fd, ALSPS_PROXIMITY_ON, uintptr_t{0}) < 0)
		return fail(r, __func__, "proximity turn on failed\n");
	plat::usleep(SENSOR_SETTLE_US);
	int value = plat::ioctl(fd, ALSPS_PROXIMITY_READ, uintptr_t{0});
	set_verdict(r, value != 0 ? "00" : "01");
	if (plat::ioctl(fd, ALSPS_PROXIMITY_OFF, uintptr_t{0}) < 0)
		return fail(r, __func__, "proximity turn off failed\n");
	return 0;
}

int bb_light_sensor_test(ftm::tapp_record *r)
{
	r->result_len = 1;
	int fd = -1;
	if (get_lightsensor_fd(&fd) != 0)
		return fail(r, __func__, "operation failed\n");
	if (plat::ioctl(fd, ALSPS_LIGHT_ON, uintptr_t{0}) < 0)
		return fail(r, __func__, "light sensor turn on failed\n");
	plat::usleep(SENSOR_SETTLE_US);
	int value = plat::ioctl(fd, ALSPS_LIGHT_READ, uintptr_t{0});
	if (plat::ioctl(fd, ALSPS_LIGHT_OFF, uintptr_t{0}) < 0)
		return fail(r, __func__, "light sensor turn off failed\n");
	// The whole value, as wide as it prints: a reading above 255 or a failed
	// one (-1) gives more digits than the declared length of 1, as on the phone.
	std::snprintf(r->result, sizeof r->result, "%02x", static_cast<unsigned>(value));
	return 0;
}

int light_sensor_test(int mode)
{
	int fd = -1;
	if (get_lightsensor_fd(&fd) != 0) {
		DBG("operation failed\n");
		return 1;
	}
	if (mode == 1 || mode == 0)
		return plat::ioctl(fd, mode == 1 ? ALSPS_LIGHT_ON : ALSPS_LIGHT_OFF, uintptr_t{0}) < 0 ? 1 : 0;
	if (mode != 2)
		return 0;
	int value = plat::ioctl(fd, ALSPS_LIGHT_READ, uintptr_t{0});
	if (value > DARK_LIMIT) {
		DBG("light sensor test failed, value(>=0x20) = %d\n", value);
		return 1;
	}
	DBG("light sensor test ok, value(<0x20) = %d\n", value);
	return 0;
}

int proximity_sensor_test(int mode)
{
	int fd = -1;
	if (get_proximity_fd(&fd) != 0) {
		DBG("operation failed\n");
		return 1;
	}
	if (mode == 1 || mode == 2)
		return plat::ioctl(fd, mode == 2 ? ALSPS_PROXIMITY_ON : ALSPS_PROXIMITY_OFF, uintptr_t{0}) < 0 ? 1 : 0;
	if (mode != 0)
		return 0;
	if (plat::ioctl(fd, ALSPS_PROXIMITY_ON, uintptr_t{0}) < 0)
		return 1;
	plat::usleep(INTERRUPT_SETTLE_US);
	// The sensor is left on; only a clear reading of 0 passes.
	return plat::ioctl(fd, ALSPS_PROXIMITY_READ, uintptr_t{0}) == 0 ? 0 : 1;
}

}  // namespace hal

namespace ftm {

namespace {

// The plain forms take "=0" or "=1"; -1 for anything else.
int on_off(const tapp_record *r)
{
	if (std::strncmp(r->params, "=0", 2) == 0)
		return 0;
	if (std::strncmp(r->params, "=1", 2) == 0)
		return 1;
	return -1;
}

}  // namespace

int tapp_proximity_test(tapp_record *r)
{
	if (r->hdr.bb.access == 0)
		return 1;
	if (std::strncmp(r->params, "00", 2) == 0)
		return hal::bb_proximity_sensor_test(r);
	return 1;
}

int at_light_sensor_test(tapp_record *r)
{
	int on = on_off(r);
	return on < 0 ? 1 : hal::light_sensor_test(on);
}

int at_proximity_test(tapp_record *r)
{
	int on = on_off(r);
	return on < 0 ? 1 : hal::proximity_sensor_test(on == 1 ? 2 : 1);
}

int at_rec_interrupt_test(tapp_record *r)
{
	switch (on_off(r)) {
	case 0: return hal::light_sensor_test(2);
	case 1: return hal::proximity_sensor_test(0);
	default: return 1;
	}
}

}  // namespace ftm
