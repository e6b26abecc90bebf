// A station test list as YAML, read and checked before anything is sent.
#include <cstdint>
#include <string>
#include <string_view>

#include "testlist.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	std::string_view yaml(reinterpret_cast<const char *>(data), size);
	std::string error;
	auto list = ftm_station::parse_test_list(yaml, "fuzz.yaml", &error);
	if (!list && error.empty())
		__builtin_trap();  // a refused list always says why
	return 0;
}
