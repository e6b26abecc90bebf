// What a device model did, in order, for tests to read: lines appended to
// var/<name> of the board.
#pragma once

#include <string_view>

namespace sim {

class Board;

void append_record(Board &board, std::string_view name, std::string_view text);

}  // namespace sim
