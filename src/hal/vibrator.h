// The vibrator: a timed output in sysfs that runs for the milliseconds written.
#pragma once

namespace hal {

constexpr char VIBRATOR_ENABLE[] = "/sys/devices/virtual/timed_output/vibrator/enable";
constexpr int VIBRATOR_RUN_MS = 15000;

int vibrator_test(int on);

}  // namespace hal
