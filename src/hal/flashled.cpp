#include "hal/flashled.h"

#include <cstdio>
#include <cstring>
#include <strings.h>

#include "ftm/debug.h"
#include "ftm/handlers.h"
#include "hal/hal.h"
#include "platform/platform.h"

namespace hal {

int flashled_test(int on)
{
	// A file that does not open leaves -1, and the write below fails on it.
	int fd = -1;
	(void)get_flashled_fd(&fd);
	char text[4];
	int n = std::snprintf(text, sizeof text, "%d", on == 1 ? 1 : 0);
	if (plat::write(fd, text, static_cast<size_t>(n)) != n) {
		DBG("flash led test error\n");
		return 1;
	}
	return 0;
}

}  // namespace hal

namespace ftm {

int at_flashled_test(tapp_record *r)
{
	int on = 0;
	if (strncasecmp(r->params, "=1", 2) == 0) {
		on = 1;
	} else if (strncasecmp(r->params, "=0", 2) != 0) {
		std::printf("[%s:%d]Unknow parameters\n", __func__, __LINE__);
		std::fflush(stdout);
	}
	return hal::flashled_test(on);
}

}  // namespace ftm
