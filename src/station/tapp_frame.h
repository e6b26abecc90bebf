// The station's side of the TAPP protocol: building request frames and
// reading answer frames.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace station {

// Request frames, as the text line a station sends (with its "\n").
std::string bb_frame(uint8_t access, uint16_t func_index, const std::vector<uint8_t> &params, int16_t rev = 0);
std::string bt_frame(uint8_t cmd, const std::vector<uint8_t> &params, uint8_t total_blk = 1, uint8_t blk_index = 1);
std::string wifi_frame(uint8_t cmd, const std::vector<uint8_t> &params, uint8_t total_blk = 1,
                       uint8_t blk_index = 1);

// The value of one hex digit, either case; -1 if it is none.
int hex_digit(char c);
// Hex text of bytes, upper case, no separators.
std::string to_hex(const std::vector<uint8_t> &bytes);
// Bytes from hex text; separators (space, ':', '-') are skipped. Empty on a bad digit.
std::optional<std::vector<uint8_t>> from_hex(std::string_view text);

// One decoded answer frame (the "*TAPP=..." line of an answer).
struct Answer {
	uint8_t req = 0;
	uint8_t status = 0;  // not present in class 0xA0 answers
	uint8_t cmd = 0;     // 0xA0 and 0xB0
	uint8_t total_blk = 0, blk_index = 0;
	std::vector<uint8_t> result;
	bool checksum_ok = false;
};

// Finds the answer frame in the bytes a phone sent and decodes it.
std::optional<Answer> decode_answer(std::string_view text);

}  // namespace station
