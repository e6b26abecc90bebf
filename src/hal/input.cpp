#include "hal/input.h"

#include <cstring>

namespace hal {

int get_keycode(const uint8_t *events)
{
	input_event16 ev;
	std::memcpy(&ev, events, sizeof ev);
	return ev.value != 0 ? ev.code : 0;
}

}  // namespace hal
