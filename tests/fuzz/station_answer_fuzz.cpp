// The station's reading of what a phone sent: the answer frame found in the
// text and decoded, and hex text as typed by a person.
#include <cstdint>
#include <string_view>

#include "station/tapp_frame.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	std::string_view text(reinterpret_cast<const char *>(data), size);
	auto answer = station::decode_answer(text);
	if (answer && answer->result.size() > size)
		__builtin_trap();  // a result cannot hold more bytes than the text had
	station::from_hex(text);
	return 0;
}
