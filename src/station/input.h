// The phone's input devices as the station feeds them: 16-byte events into
// the board's FIFOs.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace station {

struct InputEvent {
	uint16_t type;
	uint16_t code;
	int32_t value;
};

constexpr uint16_t EV_SYN_TYPE = 0, EV_KEY_TYPE = 1, EV_REL_TYPE = 2, EV_ABS_TYPE = 3;
constexpr uint16_t BTN_TOUCH_CODE = 330;

// One event as the phone's 16-byte little-endian record (time left 0).
std::array<unsigned char, 16> encode_event(const InputEvent &ev);

// Writes the events in one write to dev/input/event<device> of the board, so
// the daemon reads them together. False if nobody reads the device.
bool send_events(const std::string &board_dir, int device, const std::vector<InputEvent> &events);

// Waits, up to timeout_ms, until the reader of dev/input/event<device> has
// taken all that was written to it. False on timeout or if nobody reads it.
bool wait_events_read(const std::string &board_dir, int device, int timeout_ms);

// A touch: x, y, the touch key down, then the sync.
std::vector<InputEvent> touch_events(int x, int y);

}  // namespace station
