// The console key handler of the capture.
//
// On the phone the capture makes standard input raise SIGIO and reads the
// operator's keys in the handler, where byte 3 or 24 ends the process. Here
// standard input is the station's wired port: every byte on it belongs to a
// command of the main loop, and the daemon never ends by itself. So the
// handler is installed for SIGIO but reads nothing and ends nothing: it only
// counts the signals it sees, and the port is not switched to raise them.
// The console settings are saved, set as the capture wants them (no line
// editing, no echo, one byte a read) without flushing the station's input,
// and put back at close or after a failed capture.
#include <atomic>
#include <csignal>
#include <sys/ioctl.h>
#include <termios.h>

#include "hal/camera.h"
#include "platform/platform.h"

namespace hal {

namespace {

volatile std::sig_atomic_t signals_seen = 0;

void sig_handler(int) { signals_seen = signals_seen + 1; }

constexpr int CONSOLE_FD = 0;

}  // namespace

int console_signals() { return signals_seen; }

void install_sighandler()
{
	plat::signal(SIGIO, sig_handler);
	if (plat::ioctl(CONSOLE_FD, TCGETS, &camera.oldtio) != 0)
		return;  // not a terminal: nothing to set or put back
	camera.console_saved = true;
	camera.newtio = camera.oldtio;
	camera.newtio.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
	// Positions 0, 5, 6 (VINTR, VTIME, VMIN) as the phone sets them; VINTR
	// has no effect since the port keeps ISIG off, and the main loop reads
	// only after select, so a read that returns at once loses nothing.
	camera.newtio.c_cc[VINTR] = 1;
	camera.newtio.c_cc[VTIME] = 0;
	camera.newtio.c_cc[VMIN] = 0;
	// No flush: the input queue holds the station's next command.
	plat::ioctl(CONSOLE_FD, TCSETS, &camera.newtio);
}

void restore_console()
{
	if (camera.console_saved)
		plat::ioctl(CONSOLE_FD, TCSETS, &camera.oldtio);
}

void remove_sighandler()
{
	restore_console();
	camera.console_saved = false;
	plat::signal(SIGIO, SIG_IGN);
}

}  // namespace hal
