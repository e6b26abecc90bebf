// Shell command lines on the simulated board.
#pragma once

#include <string>
#include <string_view>

namespace sim {

class Board;

// Rewrites every absolute path of a command line to its place in the board:
// "dmesg -c >> /data/ftm.log" runs the board's dmesg into its own ftm.log.
std::string map_command_line(const Board &board, std::string_view line);

}  // namespace sim
