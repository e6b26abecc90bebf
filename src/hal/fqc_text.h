// Where the FQC test screens put their text: lines 13 pixels apart from
// (10, 10), font scale 1, in the menu's green-white.
#pragma once

namespace hal {

constexpr int FQC_TEXT_X = 10;
constexpr int FQC_TEXT_Y = 10;
constexpr int FQC_LINE_PITCH = 13;
constexpr int FQC_TEXT_SCALE = 1;
constexpr int FQC_TEXT_R = 31, FQC_TEXT_G = 63, FQC_TEXT_B = 31;

constexpr int fqc_line_y(int line) { return FQC_TEXT_Y + FQC_LINE_PITCH * line; }

}  // namespace hal
