#include "ftm/mode.h"

#include <atomic>
#include <csignal>
#include <cstring>
#include <fcntl.h>

#include "ftm/debug.h"
#include "ftm/ftm.h"
#include "ftm/handlers.h"
#include "hal/backlight.h"
#include "hal/calibration.h"
#include "hal/gpio.h"
#include "hal/quit.h"
#include "platform/platform.h"

namespace ftm {

int diag_mode = 0;

namespace {

// A signal handler may not trace (tracing takes locks and allocates): it
// counts, and the loop traces after each command.
std::atomic<int> hangups{0};
static_assert(std::atomic<int>::is_always_lock_free);

// Calls a hang-up interrupts carry on, as they did before the handler.
void catch_hangups() { (void)plat::signal(SIGHUP, exithandle, true); }

}  // namespace

void report_hangups()
{
	for (int n = hangups.exchange(0); n > 0; --n)
		DBG(" SIGHUP sighup received ");
}

void reset_mode_globals()
{
	diag_mode = 0;
	hangups = 0;
}

void exithandle(int) { hangups.fetch_add(1); }

version_splice splice_hardware_version(char *text, int n)
{
	int i = 0, found = 0;
	while (i < n && found != 2 && found != 3) {
		if (text[i] == '~') {
			text[i] = '\n';
			++found;
		}
		++i;
	}
	if (i >= n || found == 3)
		return {i, false};
	i += VERSION_LABEL_SIZE;
	unsigned char version[4] = {};
	if (hal::Get_Hardware_Ver(version) != 0) {
		text[i++] = 'X';
		text[i] = 'X';
	} else {
		text[i++] = static_cast<char>(version[1]);
		text[i++] = static_cast<char>(version[2]);
		text[i] = static_cast<char>(version[3]);
	}
	return {i + 1, true};
}

int at_ftm_diag(tapp_record *)
{
	diag_mode = 1;
	loop.ftm_state = FTM_STATE_CALIBRATION;
	DBG("CALI_MODE!\n");
	int r = hal::cali_mode();
	diag_mode = 0;
	loop.ftm_state = FTM_STATE_NORMAL;
	DBG("exit CALI_MODE!\n");
	return r;
}

int at_ftm_no_diag(tapp_record *)
{
	diag_mode = 0;
	loop.ftm_state = FTM_STATE_NORMAL;
	return 0;
}

int at_ftm_quit(tapp_record *)
{
	hal::ftm_quit(loop.act_fd != loop.usb_fd ? 1 : 0);
	return 0;
}

int at_board_test(tapp_record *r)
{
	std::memcpy(r->result, "BT", 2);
	return 0;
}

int at_alive(tapp_record *) { return 0; }

int at_version(tapp_record *r)
{
	int fd = plat::open(VERSION_FILE, O_RDONLY);
	if (fd < 0)
		return fd;
	// Room behind the file for the spliced version, so that a full file
	// cannot push it out of the buffer; the answer keeps what result holds.
	char text[VERSION_FILE_MAX + 16] = {};
	ssize_t n = plat::read(fd, text, VERSION_FILE_MAX);
	plat::close(fd);
	version_splice v = splice_hardware_version(text, n > 0 ? static_cast<int>(n) : 0);
	if (v.spliced)
		text[v.end++] = '\n';
	text[v.end] = '\0';
	size_t len = strnlen(text, sizeof r->result - 1);
	std::memcpy(r->result, text, len);
	r->result[len] = '\0';
	return 0;
}

int at_power_off_test(tapp_record *)
{
	catch_hangups();
	plat::sleep(3);
	hal::power_off_test();
	return 0;
}

int at_deepsleep_test(tapp_record *)
{
	catch_hangups();
	DBG("Start sleep test \n");
	DBG("put_modem_to_LPM\n");
	hal::put_modem_to_LPM();
	hal::backlight_test(0);
	plat::sleep(2);
	plat::sleep(2);
	plat::system("echo mem > /sys/power/state");
	return 0;
}

}  // namespace ftm
