#include "hal/quit.h"

#include "ftm/ftm.h"
#include "platform/platform.h"

namespace hal {

int ftm_quit(int wired)
{
	// The wired port is the process's own standard streams.
	if (wired)
		return plat::shell_on(ftm::loop.uart_fd);
	return plat::system("/system/bin/sh /dev/ttyHSUSB1 > /dev/ttyHSUSB1 2>&1");
}

}  // namespace hal
