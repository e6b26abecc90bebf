// Key and touch events as the phone's input devices deliver them.
#pragma once

#include <cstdint>

#include "ftm/tapp.h"

namespace hal {

constexpr int INPUT_EVENT_SIZE = 16;
constexpr int INPUT_READ_SIZE = 256;  // one read: at most 16 events

// The phone's 16-byte input event, little-endian on the wire.
struct input_event16 {
	uint32_t sec;
	uint32_t usec;
	uint16_t type;
	uint16_t code;
	int32_t value;
};
static_assert(sizeof(input_event16) == INPUT_EVENT_SIZE);

constexpr uint16_t EV_SYN_TYPE = 0;
constexpr uint16_t EV_KEY_TYPE = 1;
constexpr uint16_t EV_REL_TYPE = 2;
constexpr uint16_t EV_ABS_TYPE = 3;
constexpr uint16_t ABS_X_CODE = 0;
constexpr uint16_t ABS_Y_CODE = 1;
constexpr uint16_t BTN_TOUCH_CODE = 330;

// Event index of a read, copied out (the buffer has no alignment).
input_event16 event_at(const uint8_t *events, int index);

// The code of the first event if its value is not 0, else 0.
int get_keycode(const uint8_t *events);
// Replaces a raw key code by the station's test key number, if it has one.
void keycode_remap(uint16_t *code);
// The code as two or more hex digits, the text of one key report.
void keypad_response(char *slot, uint16_t code);

// Turn count events into report texts, one per slot; *used says how many.
int keypad_handler(const uint8_t *events, int count, char (*slots)[ftm::SLOT_SIZE], int *used);
int touchpad_handler(const uint8_t *events, int count, char (*slots)[ftm::SLOT_SIZE], int *used);

}  // namespace hal
