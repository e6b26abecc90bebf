// Charge current selection through three factory GPIO pins.
#pragma once

namespace hal {

constexpr int CHARGE_PIN_A = 33;
constexpr int CHARGE_PIN_B = 26;
constexpr int CHARGE_PIN_C = 123;

int charge_gpio_init();
// 1000, 500 or 100 mA; other values set nothing. 1 if the pins failed.
int charge_test(int milliamps);
int nocharge_test();

}  // namespace hal
