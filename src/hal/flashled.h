// The camera flash LED: a sysfs brightness file.
#pragma once

namespace hal {

int flashled_test(int on);

}  // namespace hal
