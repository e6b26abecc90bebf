// The real-time clock test. This board's clock cannot be set or read from
// here: both operations report that.
#pragma once

namespace hal {

constexpr int RTC_VALUE_COUNT = 12;  // six of time, six of alarm

int rtc_set_test(const int *values, int time_valid, int alarm_valid);
int rtc_get_test(int *values, int time_valid, int alarm_valid);

}  // namespace hal
