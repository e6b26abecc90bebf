// Shared helpers of the sensor and Wi-Fi black-box tests.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "station/tapp_frame.h"
#include "support/sim_phone.h"

namespace sensors_test {

// The exact baseband answer text for a status and result bytes, built from
// the frame layout independently of the daemon's codec.
inline std::string bb_answer(uint8_t status, const std::vector<uint8_t> &result)
{
	int r = static_cast<int>(result.size());
	std::vector<uint8_t> body = {static_cast<uint8_t>(r + 5), 0, 0x40, status, static_cast<uint8_t>(r), 0};
	body.insert(body.end(), result.begin(), result.end());
	uint8_t x = 0;
	for (uint8_t b : body)
		x ^= b;
	std::string text = "*TAPP=";
	char hex[3];
	for (uint8_t b : body) {
		std::snprintf(hex, sizeof hex, "%02x", b);
		text += hex;
	}
	std::snprintf(hex, sizeof hex, "%02x", x);
	return text + hex + "\nOK\n";
}

// Result bytes of a framed answer, after checking the frame is whole.
inline std::vector<uint8_t> result_of(const std::string &answer)
{
	auto a = station::decode_answer(answer);
	if (!a || !a->checksum_ok)
		return {0xEE, 0xEE, 0xEE};  // never a real result: fails any comparison
	return a->result;
}

// The daemon answers AT with OK: it is up and not stuck in a handler.
inline bool alive(testing_support::SimPhone &phone) { return phone.ask("AT\n") == "OK\n"; }

}  // namespace sensors_test
