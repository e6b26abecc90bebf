#include "hal/vibrator.h"

#include <cstdio>
#include <cstring>
#include <fcntl.h>

#include "ftm/debug.h"
#include "ftm/handlers.h"
#include "ftm/tapp_param.h"
#include "platform/platform.h"

namespace hal {

int vibrator_test(int on)
{
	if (on != 0 && on != 1) {
		std::printf("undefined vibrator status\n");
		std::fflush(stdout);
		return 1;
	}
	int fd = plat::open(VIBRATOR_ENABLE, O_RDWR);
	if (fd < 0)
		return 1;
	char text[16];
	int n = std::snprintf(text, sizeof text, "%d\n", on == 1 ? VIBRATOR_RUN_MS : 0);
	ssize_t written = plat::write(fd, text, static_cast<size_t>(n));
	plat::close(fd);
	return written == n ? 0 : 1;
}

}  // namespace hal

namespace ftm {

int tapp_vibrator_test(tapp_record *r)
{
	tapp_result_byte(r, hal::vibrator_test(tapp_param_byte(r, 0)) == 0 ? 1 : 0);
	return 0;
}

int at_vibrator_test(tapp_record *r)
{
	int on = 0;
	if (std::strncmp(r->params, "=1", 2) == 0) {
		on = 1;
	} else if (std::strncmp(r->params, "=0", 2) != 0) {
		// params is always terminated; the trace cuts what does not fit.
		DBG("unknown option %s, turn off now\n", r->params);
	}
	hal::vibrator_test(on);
	return 0;
}

}  // namespace ftm
