#include "hal/rtc.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <strings.h>

#include "ftm/debug.h"
#include "ftm/handlers.h"

namespace hal {

int rtc_set_test(const int *, int, int)
{
	std::puts("NOTSUPPORT");
	std::fflush(stdout);
	return 1;
}

int rtc_get_test(int *, int, int)
{
	std::puts("NOTSUPPORT");
	std::fflush(stdout);
	return 1;
}

}  // namespace hal

namespace ftm {

namespace {

using rtc_values = std::array<int, hal::RTC_VALUE_COUNT>;

// Six BCD bytes from the hex text at *cursor; 0xFF means not given. The
// group is valid unless all six are 0xFF.
int decode_group(const char **cursor, int *values)
{
	int absent = 0;
	for (int i = 0; i < 6; ++i) {
		uint8_t b = 0;
		extract_bin_data_from_str(cursor, &b, 1);
		if (b == 0xFF)
			++absent;
		else
			values[i] = (b >> 4) * 10 + (b & 0x0F);
	}
	return absent == 6 ? 0 : 1;
}

// The read values as "%02d" each, one result byte apiece.
void append_values(tapp_record *record, const int *values)
{
	for (int i = 0; i < 6; ++i) {
		size_t used = strnlen(record->result, RESULT_SIZE);
		std::snprintf(record->result + used, RESULT_SIZE - used, "%02d", values[i]);
		++record->result_len;
	}
}

}  // namespace

int tapp_rtc_test(tapp_record *record)
{
	if (record->hdr.bb.length != hal::RTC_VALUE_COUNT) {
		DBG("tapp paramater lenght is wrong\n");
		record->result_len = 0;
		return 1;
	}
	rtc_values values{};
	const char *cursor = record->params;
	int time_valid = decode_group(&cursor, values.data());
	int alarm_valid = decode_group(&cursor, values.data() + 6);
	record->result_len = 0;
	int r = 0;
	if (record->hdr.bb.access == 1) {
		r = hal::rtc_set_test(values.data(), time_valid, alarm_valid);
		std::snprintf(record->result, RESULT_SIZE, "%s", r == 0 ? "00" : "FF");
		record->result_len = 1;
	} else if (record->hdr.bb.access == 0) {
		r = hal::rtc_get_test(values.data(), time_valid, alarm_valid);
		if (time_valid)
			append_values(record, values.data());
		if (alarm_valid)
			append_values(record, values.data() + 6);
	}
	return r;
}

int at_rtc_test(tapp_record *record)
{
	const char *p = record->params;
	bool write = false;
	if (strncasecmp(p, "=1", 2) == 0)
		write = true;
	else if (strncasecmp(p, "=0", 2) != 0) {
		std::printf("[%s:%d]Unknow parameters\n", __func__, __LINE__);
		std::fflush(stdout);
	}
	rtc_values values{};
	const char *cursor = p + 3;  // behind "=1,"
	int time_valid = decode_group(&cursor, values.data());
	int alarm_valid = decode_group(&cursor, values.data() + 6);
	int r;
	if (write) {
		r = hal::rtc_set_test(values.data(), time_valid, alarm_valid);
	} else {
		r = hal::rtc_get_test(values.data(), time_valid, alarm_valid);
		const int *t = values.data(), *a = values.data() + 6;
		if (time_valid)
			DBG("time_value=%02d%02d%02d%02d%02d%02d\n", t[0], t[1], t[2], t[3], t[4], t[5]);
		if (alarm_valid)
			DBG("alarm_value=%02d%02d%02d%02d%02d%02d\n", a[0], a[1], a[2], a[3], a[4], a[5]);
	}
	DBG(r != 0 ? "rtc test failed\n" : "rtc test done\n");
	return r;
}

}  // namespace ftm
