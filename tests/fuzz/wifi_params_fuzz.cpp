// The station's Wi-Fi parameters: one row's parameter text decoded into the
// settings, then the transmitter's command line, frequency and rate formed
// from them. The first byte picks the row. Rows that run athtestcmd or power
// the chip (transmit, receive, power, MAC) are left to the dispatcher target:
// here only the decoding and the line they would run.
#include <cstdint>
#include <cstring>

#include "ftm/command.h"
#include "ftm/handlers.h"
#include "hal/wifi.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	using namespace ftm;
	if (size < 1 || size > PARAMS_SIZE)
		return -1;
	static constexpr cmd_handler rows[] = {tapp_wifi_channel, tapp_wifi_datarate, tapp_wifi_txpower};
	tapp_record record{};
	record.req = TAPP_REQ_WIFI;
	std::memcpy(record.params, data + 1, size - 1);
	record.params[PARAMS_SIZE - 1] = '\0';
	rows[data[0] % 3](&record);

	// The transmit row's own parameters: on, then the mode.
	hal::wifi_settings settings = hal::wifi_data;
	settings.txmode = static_cast<int16_t>(data[0] >> 2);
	char line[hal::WIFI_CMD_LINE + 1] = {};
	hal::wifi_txmode_line(data[0] & 3, settings, line);
	if (std::strlen(line) >= hal::WIFI_CMD_LINE)
		__builtin_trap();  // lines are cut to the buffer
	hal::wifi_freq(settings);
	hal::wifi_rate(settings);
	hal::wifi_reset();
	return 0;
}
