#include "hal/charger.h"

#include <array>
#include <cstdio>
#include <cstring>

#include "ftm/debug.h"
#include "ftm/handlers.h"
#include "hal/gpio.h"

namespace hal {

namespace {

// Levels of pins 33, 26 and 123 for each charge current.
struct charge_row {
	int milliamps;
	std::array<int, 3> level;
};

constexpr std::array<int, 3> charge_pins = {CHARGE_PIN_A, CHARGE_PIN_B, CHARGE_PIN_C};
constexpr std::array<charge_row, 3> charge_table = {{
	{1000, {0, 1, 1}},
	{500, {0, 0, 1}},
	{100, {0, 0, 0}},
}};
constexpr std::array<int, 3> charge_off = {1, 0, 0};

void set_charge_pins(const std::array<int, 3> &level)
{
	for (size_t i = 0; i < charge_pins.size(); ++i)
		gpio_set_output(charge_pins[i], level[i]);
}

}  // namespace

int charge_gpio_init()
{
	for (int pin : charge_pins)
		if (gpio_pin_init(pin, 1) != 0)
			return 1;
	return 0;
}

int charge_test(int milliamps)
{
	if (charge_gpio_init() != 0) {
		DBG("GPIO init fail\n");
		return 1;
	}
	for (const charge_row &row : charge_table)
		if (row.milliamps == milliamps)
			set_charge_pins(row.level);
	return 0;
}

int nocharge_test()
{
	if (charge_gpio_init() != 0) {
		DBG("GPIO init fail\n");
		return 1;
	}
	set_charge_pins(charge_off);
	return 0;
}

}  // namespace hal

namespace ftm {

int at_charge_test(tapp_record *r)
{
	// "=1000" before "=100": the shorter one is a prefix of the longer.
	for (int milliamps : {1000, 500, 100}) {
		char want[8];
		std::snprintf(want, sizeof want, "=%d", milliamps);
		if (std::strncmp(r->params, want, std::strlen(want)) == 0)
			return hal::charge_test(milliamps);
	}
	DBG("Unknown command\n");
	return 1;
}

int at_nocharge_test(tapp_record *) { return hal::nocharge_test(); }

}  // namespace ftm
