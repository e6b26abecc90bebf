#include "hal/adc.h"

#include <array>
#include <cstdio>
#include <strings.h>

#include "ftm/debug.h"
#include "ftm/handlers.h"
#include "ftm/tapp_param.h"
#include "hal/battery.h"

namespace hal {

namespace {

// Channels the protocol names but this board does not have.
constexpr std::array<const char *, ADC_TYPE_COUNT> adc_names = {
	"BATTERY_VOLTAGE", "CHARGER_VOLTAGE", "CHARGER_CURRENT", "BACK_BATTERY_VOLTAGE",
	"ADIN1",           "ADIN2",           "ADIN3",           "ADIN4",
};

}  // namespace

int adc_test(int type)
{
	if (type == 0) {
		DBG("BATTERY_VOLTAGE\n");
		return battery_test(BATTERY_VOLTAGE);
	}
	if (type < 0 || type >= ADC_TYPE_COUNT) {
		std::printf("error\n");
		std::fflush(stdout);
		return -1;
	}
	std::printf("%s\n", adc_names[static_cast<size_t>(type)]);
	std::fflush(stdout);
	return type + 1;
}

}  // namespace hal

namespace ftm {

int tapp_adc_test(tapp_record *r)
{
	int mask = tapp_param_byte(r, 0);
	for (int type = 0; type < hal::ADC_TYPE_COUNT; ++type) {
		if (!(mask & (1 << type)))
			continue;
		int v = hal::adc_test(type);
		if (v < 0)
			return 1;
		DBG("ADC test type = %02x, result=%04x\n", type, v);
		int used = r->result_len * 2;
		std::snprintf(r->result + used, sizeof r->result - static_cast<size_t>(used), "%02x%02x", v & 0xFF,
		              (v >> 8) & 0xFF);
		r->result_len += 2;
	}
	return 0;
}

int at_adc_test(tapp_record *r)
{
	if (strncasecmp(r->params, "=BATTERY", 8) != 0)
		return 0;
	int v = hal::adc_test(0);
	DBG("Get value: 0x%04x\n", v);
	return v == 1 ? 1 : 0;
}

}  // namespace ftm
