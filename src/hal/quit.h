// Leaving the test daemon for a shell on the station's port.
#pragma once

namespace hal {

// A shell on the wired port (non-zero) or the USB port (0); returns when
// the station ends it.
int ftm_quit(int wired);

}  // namespace hal
