// The kernel's input event as the phone's 16-byte record. On the phone
// (32-bit time and long) the two are the same bytes; on a 64-bit host the
// kernel's record is 24 bytes and is translated field by field.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <linux/input.h>

namespace plat {

constexpr size_t PHONE_INPUT_EVENT_SIZE = 16;

constexpr bool kernel_input_event_is_phone_record =
	sizeof(input_event) == PHONE_INPUT_EVENT_SIZE && offsetof(input_event, type) == 8 &&
	offsetof(input_event, code) == 10 && offsetof(input_event, value) == 12;
static_assert(sizeof(void *) != 4 || kernel_input_event_is_phone_record,
              "on a 32-bit build the kernel's input event is the phone's record");

// Little-endian: seconds, microseconds (32 bits each), type, code (16), value (32).
inline void to_phone_input_event(const input_event &e, unsigned char out[PHONE_INPUT_EVENT_SIZE])
{
	uint32_t sec = static_cast<uint32_t>(e.input_event_sec);
	uint32_t usec = static_cast<uint32_t>(e.input_event_usec);
	int32_t value = e.value;
	std::memcpy(out + 0, &sec, 4);
	std::memcpy(out + 4, &usec, 4);
	std::memcpy(out + 8, &e.type, 2);
	std::memcpy(out + 10, &e.code, 2);
	std::memcpy(out + 12, &value, 4);
}

}  // namespace plat
