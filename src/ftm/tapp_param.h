// Parameter bytes as handlers read them from a record's params text.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "ftm/tapp.h"

namespace ftm {

// Decodes n bytes at *cursor in params, whatever the frame or line
// carried: bytes the station did not send decode from the record's cleared
// text (two NULs read 0x59, a line end before a NUL 0xF9), as the station
// has always seen. Never reads past params; the cursor stops at its end.
inline void tapp_param_take(const tapp_record *r, const char **cursor, void *out, int n)
{
	char digits[8] = {};  // n of 5 or more decodes nothing
	auto at = static_cast<size_t>(std::clamp<ptrdiff_t>(*cursor - r->params, 0, static_cast<ptrdiff_t>(PARAMS_SIZE)));
	size_t wanted = std::min(sizeof digits, 2 * static_cast<size_t>(static_cast<uint8_t>(n)));
	for (size_t i = 0; i < wanted && at + i < PARAMS_SIZE; ++i)
		digits[i] = r->params[at + i];
	const char *p = digits;
	extract_bin_data_from_str(&p, out, n);
	*cursor = r->params + std::min(at + static_cast<size_t>(p - digits), PARAMS_SIZE);
}

// The index-th parameter byte, decoded as tapp_param_take does.
inline int tapp_param_byte(const tapp_record *r, int index)
{
	const char *cursor = r->params + std::clamp(2 * index, 0, static_cast<int>(PARAMS_SIZE));
	uint8_t byte = 0;
	tapp_param_take(r, &cursor, &byte, 1);
	return byte;
}

// A framed answer of one byte, written as two lower-case digits.
inline void tapp_result_byte(tapp_record *r, int value)
{
	std::snprintf(r->result, sizeof r->result, "%02x", value & 0xFF);
	r->result_len = 1;
}

}  // namespace ftm
