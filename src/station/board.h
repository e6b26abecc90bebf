// Making a fresh simulated board on disk.
#pragma once

#include <string>

namespace station {

// Writes a fresh default board at dir: folders, input FIFOs, the kernel log,
// the version file, the board file and the board's stand-in tools. Existing
// files of the template are overwritten. Returns false with a reason.
bool init_board(const std::string &dir, std::string *error = nullptr);

// Sets key = value in the board file, replacing an earlier line for key.
bool set_board_value(const std::string &dir, const std::string &key, const std::string &value);

// The value of key in the board file, as written there; empty if absent.
std::string board_value(const std::string &dir, const std::string &key);

// The value of key as a number, read as the simulated board reads it
// (decimal, 0x hexadecimal or 0 octal); fallback if absent or not a number.
long board_number(const std::string &dir, const std::string &key, long fallback);

// Gives a board that has never run a phone its product id (hex digits), as
// the phone's factory would have; a board whose device state exists keeps
// the id it holds. False if the state file cannot be written.
bool give_product_id(const std::string &dir, const std::string &hex_id);

}  // namespace station
