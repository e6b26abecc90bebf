// The compass chip on /dev/compass (I2C address 46): its id and its
// temperature sensor.
#include <cstdio>
#include <cstring>

#include "ftm/debug.h"
#include "ftm/handlers.h"
#include "hal/hal.h"
#include "hal/sensors.h"
#include "platform/platform.h"

namespace hal {

namespace {

constexpr uint8_t ECOMPASS_CMD_READ_ID = 0xD0;
constexpr uint8_t ECOMPASS_CMD_MEASURE = 0xC0;
constexpr uint8_t ECOMPASS_MEASURE_TEMP = 0x02;
constexpr uint8_t ECOMPASS_ID = 0x40;
constexpr int ECOMPASS_POLLS = 20;
constexpr size_t ECOMPASS_DATA_SIZE = 8;

int ecompass_fd = -1;

int select_chip()
{
	if (ecompass_fd < 0)
		get_ecompass_fd(&ecompass_fd);
	if (plat::ioctl(ecompass_fd, I2C_SLAVE, ECOMPASS_I2C_ADDR) < 0) {
		DBG("ecompass I2C_SLAVE failed\n");
		return 1;
	}
	return 0;
}

bool send(uint8_t byte)
{
	if (plat::write(ecompass_fd, &byte, 1) == 1)
		return true;
	DBG("ecompass write failed\n");
	return false;
}

// 1 with the chip's id byte in *id, 0 when the bus failed.
bool read_id(uint8_t *id)
{
	uint8_t data[2] = {};
	if (select_chip() != 0 || !send(ECOMPASS_CMD_READ_ID))
		return false;
	plat::read(ecompass_fd, data, sizeof data);
	*id = data[1];
	return true;
}

// The temperature, or -1 when the bus failed or the chip stayed busy.
int read_temp(const char *caller)
{
	if (select_chip() != 0 || !send(ECOMPASS_CMD_MEASURE) || !send(ECOMPASS_MEASURE_TEMP))
		return -1;
	uint8_t data[ECOMPASS_DATA_SIZE] = {};
	for (int left = ECOMPASS_POLLS;;) {
		std::memset(data, 0, sizeof data);
		// A short or failed transfer carries no valid flag: poll again.
		bool whole = plat::read(ecompass_fd, data, sizeof data) == static_cast<ssize_t>(sizeof data);
		if (--left == 0) {
			DBG_AS(caller, "read data timeout\n");
			return -1;
		}
		if (whole && !(data[0] & 0x80))
			break;
	}
	return ((data[6] & 7) << 8) | data[7];
}

}  // namespace

void ecompass_reset() { ecompass_fd = -1; }

void itoa(int value, char *text, int width)
{
	auto v = static_cast<unsigned>(value);
	for (int i = width - 1; i >= 0; --i, v /= 10)
		text[i] = static_cast<char>('0' + v % 10);
}

int ecompass_read_id(char *result, int32_t *result_len)
{
	uint8_t id = 0;
	if (!read_id(&id))
		return 1;
	if (id == ECOMPASS_ID) {
		DBG("device id = %d\n", id);
		std::memcpy(result, "01", 2);
	} else {
		std::memcpy(result, "00", 2);
	}
	*result_len = 1;
	return 0;
}

int at_ecompass_read_id(int *value)
{
	uint8_t id = 0;
	if (!read_id(&id))
		return 1;
	if (id != ECOMPASS_ID) {
		DBG("device id not match\n");
		return 1;
	}
	DBG("device id = %d\n", id);
	*value = id;
	return 0;
}

int ecompass_read_temp(char *result, int32_t *result_len)
{
	int temp = read_temp(__func__);
	if (temp < 0)
		return 1;
	itoa(temp, result, 4);
	*result_len = 2;
	return 0;
}

int at_ecompass_read_temp(int *value)
{
	int temp = read_temp(__func__);
	if (temp < 0)
		return 1;
	*value = temp;
	return 0;
}

}  // namespace hal

namespace ftm {

int tapp_ecompass_test(tapp_record *r)
{
	if (r->hdr.bb.access == 0)
		return 1;
	if (std::strncmp(r->params, "00", 2) == 0)
		return hal::ecompass_read_id(r->result, &r->result_len);
	if (std::strncmp(r->params, "01", 2) == 0)
		return hal::ecompass_read_temp(r->result, &r->result_len);
	return 1;
}

int at_ecompass_test(tapp_record *r)
{
	int value = 0;
	int status = 0;
	if (std::strncmp(r->params, "=1", 2) == 0)
		status = hal::at_ecompass_read_id(&value);
	else if (std::strncmp(r->params, "=2", 2) == 0)
		status = hal::at_ecompass_read_temp(&value);
	else
		return 0;
	if (status == 0) {
		std::printf("val = %d\n", value);
		std::fflush(stdout);
	}
	return status;
}

}  // namespace ftm
