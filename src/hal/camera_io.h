// Small helpers of the camera client: heap blocks the board can refuse, and
// a bounded write of a long stream to the station's port.
#pragma once

#include <cstddef>

#include "platform/platform.h"

namespace hal {

template <typename T>
T *heap_alloc(size_t bytes)
{
	return static_cast<T *>(plat::mem_alloc(bytes));
}

template <typename T>
void heap_free(T *&p)
{
	plat::mem_free(p);
	p = nullptr;
}

// Writes all n bytes to fd. A port that takes nothing for STALL_LIMIT_MS
// (a station that stopped reading) ends the stream: false.
constexpr int STALL_LIMIT_MS = 5000;
bool send_data(int fd, const void *data, size_t n);

}  // namespace hal
