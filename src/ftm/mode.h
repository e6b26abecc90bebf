// The daemon's mode switches and housekeeping commands.
#pragma once

namespace ftm {

// 1 while calibration runs, else 0. Nothing reads it.
extern int diag_mode;
void reset_mode_globals();

constexpr char VERSION_FILE[] = "/ftm/version.ftm";
constexpr int VERSION_FILE_MAX = 512;
constexpr int VERSION_LABEL_SIZE = 6;  // label of the third field, before the hardware version

// Splices the hardware version into version text of n bytes in text
// (room for n + 16 bytes): the first two '~' become newlines, and six
// characters behind the second come the board's three version characters,
// or "XX" when they cannot be read. end is the position behind them; with
// fewer than two '~' before the last byte nothing is spliced and end is
// where the scan stopped. Shared by AT%V and the version screen.
struct version_splice {
	int end;
	bool spliced;
};
version_splice splice_hardware_version(char *text, int n);

// SIGHUP handler of the board-down commands: a hang-up no longer ends the process.
void exithandle(int signal);
// Traces the hang-ups counted since the last call.
void report_hangups();

}  // namespace ftm
