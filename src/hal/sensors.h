// Tests of what hangs on the board's edges: hall switch, audio jack, hook
// switch, light and proximity sensor, acceleration sensor and compass.
// Framed tests leave a one-byte verdict in the record's result; what 00 and
// 01 mean differs from test to test.
#pragma once

#include <cstdint>

#include "ftm/tapp.h"

namespace hal {

// /dev/cm3602_alsps: plain ioctl numbers; the readings are the ioctl result.
constexpr unsigned long ALSPS_PROXIMITY_OFF = 0;
constexpr unsigned long ALSPS_PROXIMITY_ON = 1;
constexpr unsigned long ALSPS_LIGHT_ON = 2;
constexpr unsigned long ALSPS_LIGHT_OFF = 3;
constexpr unsigned long ALSPS_LIGHT_READ = 5;
constexpr unsigned long ALSPS_PROXIMITY_READ = 6;

// /dev/compass is a raw I2C bus carrying the compass and the BMA020/SMB380.
constexpr unsigned long I2C_SLAVE = 0x706;
constexpr uintptr_t ECOMPASS_I2C_ADDR = 46;
constexpr uintptr_t SMB380_I2C_ADDR = 56;

// Sets a framed verdict: two hex digits, one result byte.
void set_verdict(ftm::tapp_record *r, const char *code);

// Accessory pins and the rest of the accessory frame's tests.
int bb_hall_sensor_test(ftm::tapp_record *r);
int bb_audio_jack_test(ftm::tapp_record *r);
int bb_hookswitch_test(ftm::tapp_record *r);
int bb_fpc_test(ftm::tapp_record *r);
int bb_tflash_test(ftm::tapp_record *r);
int hookswitch_test();

// Light and proximity sensor.
int bb_light_sensor_test(ftm::tapp_record *r);
int bb_proximity_sensor_test(ftm::tapp_record *r);
int light_sensor_test(int mode);      // 1 on, 0 off, 2 read and judge darkness
int proximity_sensor_test(int mode);  // 1 off, 2 on, 0 on, wait and read

// Acceleration sensor on the compass bus.
int bb_g_sensor_test(ftm::tapp_record *r);
int smb380_set_bandwidth(int fd, int value);
int smb380_set_range(int fd, int value);
int smb380_read_accel_xyz(int fd, int16_t *xyz);  // three axes

// Compass.
int ecompass_read_id(char *result, int32_t *result_len);
int ecompass_read_temp(char *result, int32_t *result_len);
int at_ecompass_read_id(int *value);
int at_ecompass_read_temp(int *value);
// width decimal digits of value, from the right, no terminator.
void itoa(int value, char *text, int width);
// Forgets the compass descriptor (for tests).
void ecompass_reset();

}  // namespace hal

namespace ftm {

// Complete hook-switch handlers that no table row names.
int tapp_hookswitch_test(tapp_record *r);
int at_hookswitch_test(tapp_record *r);

}  // namespace ftm
