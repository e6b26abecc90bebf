// Parameter bytes of a baseband frame, for handlers that take a byte or two.
#pragma once

#include <cstdint>
#include <cstdio>

#include "ftm/tapp.h"

namespace ftm {

// The index-th parameter byte of a baseband frame, or -1 when the frame
// claims fewer bytes than that: a short frame then reads as a bad value,
// never as whatever the cleared record happens to decode to.
inline int tapp_param_byte(const tapp_record *r, int index)
{
	if (index < 0 || index >= tapp_param_count(r, r->hdr.bb.length))
		return -1;
	const char *cursor = r->params + 2 * index;
	uint8_t byte = 0;
	extract_bin_data_from_str(&cursor, &byte, 1);
	return byte;
}

// A framed answer of one byte, written as two lower-case digits.
inline void tapp_result_byte(tapp_record *r, int value)
{
	std::snprintf(r->result, sizeof r->result, "%02x", value & 0xFF);
	r->result_len = 1;
}

}  // namespace ftm
