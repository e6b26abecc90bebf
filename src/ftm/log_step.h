// The log step: after every command and at start-up the kernel log moves
// into /data/ftm.log, where AT+DUMPLOG finds it.
#pragma once

namespace ftm {

// What "dmesg -c >> /data/ftm.log" does, byte for byte. The daemon does it
// in process (a shell and two program starts cost more than the command);
// the test build ftmd-sim-shell-log runs the shell line, so a test can
// hold the two side by side.
void log_step();

}  // namespace ftm
