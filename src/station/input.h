// Pressing the simulated phone's keys and touching its panel: input events
// written into the board's input FIFOs.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace station {

// The phone's input event record, as it travels on the FIFOs.
struct InputEvent {
	uint32_t sec = 0, usec = 0;
	uint16_t type = 0, code = 0;
	int32_t value = 0;
};
static_assert(sizeof(InputEvent) == 16, "the phone's input event is 16 bytes");

constexpr int kKeypadDevice = 0, kTouchDevice = 1, kJogDevice = 3;

// Writes the events to $board/dev/input/event<device> in one write, so the
// daemon reads them together. Fails if the daemon is not reading it.
bool write_events(const std::string &board_dir, int device, std::span<const InputEvent> events,
                  std::string *error = nullptr);

// A key press (EV_KEY, code, value 1) on a device.
bool press_key(const std::string &board_dir, int code, int device = kKeypadDevice, std::string *error = nullptr);

// A touch: absolute x and y, BTN_TOUCH down, then the sync.
bool touch(const std::string &board_dir, int x, int y, std::string *error = nullptr);

}  // namespace station
