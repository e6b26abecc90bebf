// Accessory pins on the factory GPIO device (hall sensor, audio jack, hook
// switch) and the accessory frame that selects among all edge tests.
#include <cstdio>
#include <cstring>

#include "ftm/debug.h"
#include "ftm/handlers.h"
#include "ftm/tapp_param.h"
#include "hal/gpio.h"
#include "hal/sensors.h"
#include "platform/platform.h"

namespace hal {

namespace {

// One pin read into a verdict; the preset stays when the pin can't be read.
struct pin_verdict {
	int pin;
	const char *preset;
	const char *high;
	const char *low;
};

constexpr pin_verdict hall = {GPIO_PIN_HALL, "01", "01", "00"};
constexpr pin_verdict audio_jack = {GPIO_PIN_AUDIO_JACK, "00", "00", "01"};
constexpr pin_verdict hook = {GPIO_PIN_HOOK, "01", "00", "01"};

int pin_test(ftm::tapp_record *r, const pin_verdict &p, const char *caller)
{
	set_verdict(r, p.preset);
	if (gpio_pin_init(p.pin, 0) != 0) {
		DBG_AS(caller, "gpio_pin_init(%d) failed\n", p.pin);
		return 1;
	}
	int level = gpio_get_input(p.pin);
	if (level == -1)
		return 1;
	set_verdict(r, level ? p.high : p.low);
	return 0;
}

bool param_is(const ftm::tapp_record *r, const char *two)
{
	return std::strncmp(r->params, two, 2) == 0;
}

}  // namespace

void set_verdict(ftm::tapp_record *r, const char *code)
{
	std::snprintf(r->result, sizeof r->result, "%s", code);
	r->result_len = 1;
}

int bb_hall_sensor_test(ftm::tapp_record *r) { return pin_test(r, hall, __func__); }

int bb_audio_jack_test(ftm::tapp_record *r) { return pin_test(r, audio_jack, __func__); }

int bb_hookswitch_test(ftm::tapp_record *r)
{
	MIC_Bias_set(1);
	plat::sleep(1);
	set_verdict(r, hook.preset);
	if (gpio_pin_init(hook.pin, 0) != 0) {
		DBG("gpio_pin_init(%d) failed\n", hook.pin);
		return 1;  // the bias stays on
	}
	int level = gpio_get_input(hook.pin);
	MIC_Bias_set(0);
	if (level == -1)
		return 1;
	set_verdict(r, level ? hook.high : hook.low);
	return 0;
}

int hookswitch_test()
{
	if (gpio_pin_init(GPIO_PIN_HOOK, 0) != 0)
		return 1;
	return gpio_get_input(GPIO_PIN_HOOK) == 0 ? 1 : 0;
}

// Flex cable and card tests have nothing to check on this board.
int bb_fpc_test(ftm::tapp_record *) { return 0; }
int bb_tflash_test(ftm::tapp_record *) { return 0; }

}  // namespace hal

namespace ftm {

namespace {

using bb_test = int (*)(tapp_record *);

struct accessory_row {
	const char *param;
	bb_test run;
};

constexpr accessory_row accessory_table[] = {
	{"00", hal::bb_hall_sensor_test}, {"01", hal::bb_audio_jack_test}, {"02", hal::bb_light_sensor_test},
	{"03", hal::bb_fpc_test},         {"04", hal::bb_tflash_test},     {"05", hal::bb_g_sensor_test},
	{"06", hal::bb_hookswitch_test},
};

}  // namespace

int tapp_accessory_test(tapp_record *r)
{
	if (r->hdr.bb.access == 0)
		return 1;
	for (const accessory_row &row : accessory_table)
		if (hal::param_is(r, row.param))
			return row.run(r);
	return 1;  // unknown test: empty result
}

int at_accessory_test(tapp_record *r)
{
	if (hal::param_is(r, "=0") || hal::param_is(r, "=1"))
		return 0;
	if (hal::param_is(r, "=6"))
		return hal::hookswitch_test();
	return 1;
}

int tapp_hookswitch_test(tapp_record *r)
{
	DBG("Vibrator test\n");  // sic: the station's logs have always said so
	const char *cursor = r->params;
	uint8_t unused = 0;
	tapp_param_take(r, &cursor, &unused, 1);
	hal::bb_hookswitch_test(r);
	return 0;
}

int at_hookswitch_test(tapp_record *)
{
	DBG("Hook Switch test\n");
	int status = hal::hookswitch_test();
	DBG("Hook Switch status = %d\n", status);
	return status;
}

}  // namespace ftm
