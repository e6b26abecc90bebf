// The station's Wi-Fi rows. Each serves the plain and the framed form: its
// parameters are hex digits in params, 16-bit values low byte first, and its
// answer is hex digits with a length in bytes. Station bytes become numbers
// here and reach a command line only as the daemon formats them.
#include <cstdio>

#include "ftm/handlers.h"
#include "ftm/tapp_param.h"
#include "hal/wifi.h"
#include "platform/platform.h"

namespace ftm {

namespace {

constexpr int WIFI_MIN_CHANNEL = 1;
constexpr int WIFI_MAX_CHANNEL = 13;
constexpr int WIFI_POWER_ROUNDS = 6;

void answer16(tapp_record *r, int16_t value)
{
	auto v = static_cast<uint16_t>(value);
	std::snprintf(r->result, sizeof r->result, "%02x%02x", v & 0xFF, v >> 8);
	r->result_len = 2;
}

void answer32(tapp_record *r, int32_t value)
{
	auto v = static_cast<uint32_t>(value);
	std::snprintf(r->result, sizeof r->result, "%02x%02x%02x%02x", v & 0xFF, (v >> 8) & 0xFF, (v >> 16) & 0xFF,
	              v >> 24);
	r->result_len = 4;
}

// op 1 stores the 16-bit value that follows; any other op reads it back.
void set_or_read(tapp_record *r, int16_t *field)
{
	const char *cursor = r->params;
	uint8_t op = 0;
	tapp_param_take(r, &cursor, &op, 1);
	if (op == 1)
		tapp_param_take(r, &cursor, field, 2);
}

}  // namespace

int tapp_wifi_power(tapp_record *r)
{
	const char *cursor = r->params;
	uint8_t unused = 0;
	tapp_param_take(r, &cursor, &unused, 1);
	hal::wifi_power_test(1);
	plat::sleep(1);
	// The verdict is the rfkill state right after power-on; the retries
	// below only give the driver its chance to come up.
	int state = hal::check_wifi_power();
	for (int round = 0; round < WIFI_POWER_ROUNDS && !hal::check_wifi_ready(); ++round) {
		hal::wifi_power_test(0);
		plat::sleep(1);
		hal::wifi_power_test(1);
		plat::sleep(1);
	}
	// The verdict is text, not a number: its one is the last byte.
	std::snprintf(r->result, sizeof r->result, "%s", state == 0 ? "00000001" : "00000000");
	r->result_len = 4;
	return 0;
}

int tapp_wifi_mac(tapp_record *r)
{
	if (!hal::check_wifi_ready()) {
		hal::wifi_power_test(0);
		plat::sleep(1);
		hal::wifi_power_test(1);
		plat::sleep(2);
	}
	char text[hal::WIFI_MAC_TEXT] = {};
	// A failed read has already told the station on its port; the frame
	// then carries no result rather than a length its text lacks.
	if (hal::wifi_read_mac(text) != 0)
		return 0;
	static constexpr int pairs[] = {12, 18, 24, 30, 36, 42};
	char *out = r->result;
	for (int at : pairs) {
		*out++ = text[at];
		*out++ = text[at + 1];
	}
	r->result_len = 6;
	return 0;
}

int tapp_wifi_channel(tapp_record *r)
{
	set_or_read(r, &hal::wifi_data.channel);
	if (hal::wifi_data.channel < WIFI_MIN_CHANNEL || hal::wifi_data.channel > WIFI_MAX_CHANNEL) {
		hal::wifi_data.channel = WIFI_MIN_CHANNEL;
		return 1;
	}
	answer16(r, hal::wifi_data.channel);
	return 0;
}

int tapp_wifi_datarate(tapp_record *r)
{
	set_or_read(r, &hal::wifi_data.datarate);
	answer16(r, hal::wifi_data.datarate);
	return 0;
}

int tapp_wifi_txpower(tapp_record *r)
{
	set_or_read(r, &hal::wifi_data.txpower);
	answer16(r, hal::wifi_data.txpower);
	return 0;
}

int tapp_wifi_txmode(tapp_record *r)
{
	const char *cursor = r->params;
	uint8_t on = 0;
	tapp_param_take(r, &cursor, &on, 1);
	tapp_param_take(r, &cursor, &hal::wifi_data.txmode, 2);
	hal::wifi_txmode(on, hal::wifi_data);
	answer16(r, hal::wifi_data.txmode);
	return 0;
}

int tapp_wifi_fer(tapp_record *r)
{
	const char *cursor = r->params;
	uint8_t mode = 0;
	tapp_param_take(r, &cursor, &mode, 1);
	if (mode == 0) {
		hal::wifi_fer(0, hal::wifi_data);
		answer32(r, 0);
	} else if (mode == 1) {
		hal::wifi_fer(1, hal::wifi_data);
		answer32(r, hal::wifi_data.packet);
	}
	return 0;
}

}  // namespace ftm
