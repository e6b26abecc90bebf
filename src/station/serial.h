// Opening a station's serial line to the phone.
#pragma once

#include <string>

namespace station {

// Opens a serial device as a test station sets it: the given rate, 8 data
// bits, no parity, one stop bit, no flow control, raw bytes, modem lines
// ignored. Returns the descriptor (close-on-exec), or -1 with a reason.
int open_serial(const std::string &path, unsigned baud, std::string *error = nullptr);

// The termios speed code of a rate in bit/s, 0 if the line cannot run it.
unsigned serial_speed(unsigned baud);

}  // namespace station
