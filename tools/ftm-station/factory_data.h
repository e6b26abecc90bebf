// What a station reads and writes of a phone's factory data: its product id
// (AT+RPID) and the test flag area the stations of a line mark (AT+RTF,
// AT+WTF=).
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ftm_station {

inline constexpr size_t kProductIdBytes = 40;
inline constexpr size_t kTestFlagBytes = 64;
inline constexpr int kFactoryDataTimeoutMs = 5000;

struct ProductId {
	enum class State { read, unreadable, garbled } state = State::unreadable;
	std::string id;      // 80 lower-case hex digits when read
	std::string answer;  // what the phone sent
};

// Asks the phone on fd for its product id. The phone answers the digits and
// "OK" on one line; a failed read is "Read Product ID Failed." and
// NOTSUPPORTED. An OK that does not carry 80 hex digits is garbled.
ProductId read_product_id(int fd);

using TestFlags = std::array<uint8_t, kTestFlagBytes>;

// The test flag area, or empty with the reason.
std::optional<TestFlags> read_test_flags(int fd, std::string *error);

// The line that writes the area: the data and its XOR checksum, in hex.
std::string test_flag_request(const TestFlags &flags);

// Reads the area, sets byte to value, writes it back and reads it again.
// Empty on success, else what went wrong. before and after (hex) are what
// the two reads gave, empty when a read failed.
std::string mark_test_flag(int fd, size_t byte, uint8_t value, std::string *before, std::string *after);

// The flag convention of the line: a station that finished a phone writes
// 'P' (0x50) into its byte when the phone passed and 'F' (0x46) when it
// failed. Any other value (0x00 of a fresh area, 0xFF of erased flash) is
// "not tested".
inline constexpr uint8_t kFlagPass = 'P', kFlagFail = 'F';

// Why the phone may not be tested here: the required stations whose byte
// is not the pass mark, with what each holds. Empty when all passed.
std::string unmet_stations(const TestFlags &flags, const std::vector<int> &required);

std::string flags_hex(const TestFlags &flags);

}  // namespace ftm_station
