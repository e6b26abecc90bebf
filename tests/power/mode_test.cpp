// Mode and housekeeping commands: board test, alive, version, quit to a
// shell, power off and deep sleep.
#include <csignal>
#include <dirent.h>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <unistd.h>

#include "ftm/ftm.h"
#include "ftm/handlers.h"
#include "ftm/mode.h"
#include "station/link.h"
#include "support/sim_phone.h"

namespace {

using testing_support::SimPhone;

void write_file(const std::string &path, const std::string &text) { std::ofstream(path, std::ios::binary) << text; }

TEST(Housekeeping, BoardTestAndAlive)
{
	SimPhone phone;
	EXPECT_EQ(phone.ask("ATBT\n"), "BTOK\n");
	EXPECT_EQ(phone.ask("AT+ALIVE\n"), "OK\n");
	// Alive does not ask the modem.
	EXPECT_EQ(phone.file("/var/ftm_smd.rx"), "");
	// Outside calibration the closing keyword is a plain command.
	EXPECT_EQ(phone.ask("~AT+FTM~\n"), "OK\n");
}

TEST(Version, ThreeLinesWithTheBoardsHardwareVersion)
{
	SimPhone phone({.board = {{"gpio.hw_version", "B2C"}}});
	EXPECT_EQ(phone.ask("AT%V\n"), "SW:FTM-1.0.3\nMODEL:ARM11-PHONE\nHWVER:B2C\nOK\n");
}

TEST(Version, FailingHardwareVersionShowsXX)
{
	SimPhone phone({.board = {{"gpio.fail.hw_ver", "1"}}});
	EXPECT_EQ(phone.ask("AT%V\n"), "SW:FTM-1.0.3\nMODEL:ARM11-PHONE\nHWVER:XX\nOK\n");
	// A read of 0 bytes is a failure too.
	phone.set_board("gpio.fail.hw_ver", "2");
	EXPECT_EQ(phone.ask("AT%V\n"), "SW:FTM-1.0.3\nMODEL:ARM11-PHONE\nHWVER:XX\nOK\n");
}

TEST(Version, MissingShortAndOversizeFiles)
{
	SimPhone phone;
	std::string file = phone.path("/ftm/version.ftm");
	::unlink(file.c_str());
	EXPECT_EQ(phone.ask("AT%V\n"), "NOTSUPPORTED\n");
	// A short file comes back as it is, without the hardware version.
	write_file(file, "SW:ONLY~");
	EXPECT_EQ(phone.ask("AT%V\n"), "SW:ONLY\nOK\n");
	write_file(file, "A~B~");
	EXPECT_EQ(phone.ask("AT%V\n"), "A\nB\nOK\n");
	// A file that fills the buffer is cut to what the answer can hold.
	write_file(file, std::string(700, 'v'));
	EXPECT_EQ(phone.ask("AT%V\n"), std::string(511, 'v') + "OK\n");
	// The version is spliced over the text behind the label, which ends there.
	write_file(file, "A~B~" + std::string(505, 'w') + "~");
	EXPECT_EQ(phone.ask("AT%V\n"), "A\nB\nwwwwww100\nOK\n");
	// A second '~' at the very end puts the version beyond the file's 512
	// bytes: it stays in bounds and out of the answer.
	write_file(file, std::string(508, 'x') + "~~ab");
	EXPECT_EQ(phone.ask("AT%V\n"), std::string(508, 'x') + "\n\naOK\n");
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
}

// Whether the daemon has a child process now.
bool has_child(pid_t daemon)
{
	std::string parent = std::to_string(daemon);
	bool found = false;
	if (DIR *d = ::opendir("/proc")) {
		while (dirent *e = ::readdir(d)) {
			if (found || e->d_name[0] < '0' || e->d_name[0] > '9')
				continue;
			std::ifstream stat(std::string("/proc/") + e->d_name + "/stat");
			std::string line;
			std::getline(stat, line);
			// pid (comm) state ppid ...: the command name may hold blanks.
			size_t close = line.rfind(')');
			std::istringstream rest(close == std::string::npos ? "" : line.substr(close + 1));
			std::string state, ppid;
			rest >> state >> ppid;
			found = ppid == parent;
		}
		::closedir(d);
	}
	return found;
}

bool wait_child(pid_t daemon, bool present)
{
	for (int i = 0; i < 1000; ++i) {
		if (has_child(daemon) == present)
			return true;
		::usleep(10000);
	}
	return false;
}

// Sends the quit and waits until its shell runs. Lines sent before the
// daemon has taken the command would be read with it; once the handler has
// forked the shell the daemon reads its ports no more until the shell ends,
// so the next line is the shell's. The log step forks too, but a command's
// answer comes after its log step: once an AT is answered, the next child
// is the quit's.
bool quit_to_shell(SimPhone &phone, bool usb)
{
	pid_t daemon = phone.phone().pid();
	if (phone.ask("AT\n") != "OK\n" || !wait_child(daemon, false))
		return false;
	if (usb)
		phone.send_usb("AT+QUIT\n");
	else
		phone.send("AT+QUIT\n");
	return wait_child(daemon, true);
}

TEST(Quit, ShellOnTheWiredPortHoldsTheLoopUntilItEnds)
{
	SimPhone phone;
	ASSERT_TRUE(quit_to_shell(phone, false));
	phone.send("echo marker-$((6*7))\n");
	// An interactive shell may put its prompt right behind the output.
	std::string out = station::read_until(
	    phone.phone().wired(), [](const std::string &s) { return s.find("marker-42\n") != std::string::npos; }, 10000);
	EXPECT_NE(out.find("marker-42\n"), std::string::npos);
	// The loop stands still: a command on the other port waits.
	phone.send_usb("AT\n");
	EXPECT_EQ(phone.read_usb(300), "");
	phone.send("exit\n");
	EXPECT_TRUE(phone.read_until("OK\n").ends_with("OK\n"));
	EXPECT_EQ(phone.read_usb(5000, 200), "OK\n");
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
}

TEST(Quit, ShellOnTheUsbPort)
{
	SimPhone phone;
	ASSERT_TRUE(quit_to_shell(phone, true));
	phone.send_usb("echo usb-$((7*6))\n");
	EXPECT_NE(phone.read_usb(5000, 500).find("usb-42\n"), std::string::npos);
	phone.send_usb("exit\n");
	EXPECT_EQ(phone.read_usb(5000, 500), "OK\n");
	EXPECT_EQ(phone.ask_usb("ATBT\n"), "BTOK\n");
}

// The board goes down after three seconds (time.scale 0.01 makes it 30 ms):
// the GPIO device counts the power-off, and the simulated board stays up.
TEST(PowerCycle, TellsTheGpioDeviceAndAnswers)
{
	SimPhone phone({.board = {{"time.scale", "0.01"}}});
	EXPECT_EQ(phone.ask("AT*POWERCYCLE\n"), "OK\n");
	EXPECT_NE(phone.file("/var/ftmgpio").find("power_off=1\n"), std::string::npos);
	EXPECT_EQ(phone.ask("AT*POWERCYCLE\n"), "OK\n");
	EXPECT_NE(phone.file("/var/ftmgpio").find("power_off=2\n"), std::string::npos);
}

TEST(PowerCycle, MissingGpioDeviceGoesUnnoticed)
{
	SimPhone phone({.board = {{"time.scale", "0.01"}, {"gpio.absent", "1"}}});
	EXPECT_EQ(phone.ask("AT*POWERCYCLE\n"), "OK\n");
	EXPECT_EQ(phone.file("/var/ftmgpio").find("power_off=1"), std::string::npos);
}

// Four seconds of sleeps before the suspend, scaled to 40 ms.
TEST(DeepSleep, ModemLowPowerBacklightOffSuspendThenAnswer)
{
	SimPhone phone({.board = {{"time.scale", "0.01"}}});
	EXPECT_EQ(phone.ask("AT+BL=ON\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT*DEEPSLEEP\n"), "OK\n");
	EXPECT_EQ(phone.file("/sys/power/state"), "mem\n");
	EXPECT_EQ(phone.file("/var/max7302"), "level 0\n");
	EXPECT_NE(phone.file("/var/ftmgpio").find("modem_lpm=1\n"), std::string::npos);
	std::string log = phone.file("/data/ftm.log");
	EXPECT_NE(log.find("Start sleep test"), std::string::npos);
	EXPECT_NE(log.find("put_modem_to_LPM"), std::string::npos);
}

TEST(DeepSleep, FailingBacklightStillSleepsAndAnswers)
{
	SimPhone phone({.board = {{"time.scale", "0.01"}, {"max7302.fail", "1"}}});
	EXPECT_EQ(phone.ask("AT*DEEPSLEEP\n"), "OK\n");
	EXPECT_EQ(phone.file("/sys/power/state"), "mem\n");
	EXPECT_NE(phone.file("/data/ftm.log").find("max7302 lcd backlight error"), std::string::npos);
}

TEST(DeepSleep, HangUpNoLongerEndsTheDaemon)
{
	SimPhone phone({.board = {{"time.scale", "0.01"}}});
	EXPECT_EQ(phone.ask("AT*DEEPSLEEP\n"), "OK\n");
	ASSERT_EQ(::kill(phone.phone().pid(), SIGHUP), 0);
	// The loop traces the hang-up with the next command, whatever it is.
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
	EXPECT_TRUE(phone.running());
	EXPECT_NE(phone.file("/data/ftm.log").find(" SIGHUP sighup received "), std::string::npos);
}

TEST(Mode, ClosingKeywordLeavesFqcForTheStation)
{
	ftm::reset_loop_globals();
	ftm::loop.ftm_state = ftm::FTM_STATE_FQC;
	ftm::diag_mode = 1;
	ftm::tapp_record record{};
	EXPECT_EQ(ftm::at_ftm_no_diag(&record), 0);
	EXPECT_EQ(ftm::loop.ftm_state, ftm::FTM_STATE_NORMAL);
	EXPECT_EQ(ftm::diag_mode, 0);
	EXPECT_STREQ(record.result, "");
}

}  // namespace
