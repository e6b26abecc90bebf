// A simulated phone for black-box tests: a fresh board in a temporary
// folder, ftmd-sim on ptys, and a station's view of its ports.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "station/phone.h"

namespace testing_support {

// The shell command that runs one of the build's programs: through the
// emulator when the build is for another processor (the phone's).
std::string program_command(const std::string &name);

// Runs this build's ftmd-sim (under its emulator, if it has one), or the one
// FTM_SIM_DAEMON names under FTM_SIM_EMULATOR (empty or unset: none).
class SimPhone {
public:
	struct Setup {
		std::map<std::string, std::string> board;  // board.conf values
		bool usb_at_start = true;
		bool start = true;  // false: call boot() after preparing the board
		std::string ftmd = FTMD_SIM_PATH;  // the daemon binary
	};

	SimPhone();
	explicit SimPhone(const Setup &setup);
	~SimPhone();
	SimPhone(const SimPhone &) = delete;
	SimPhone &operator=(const SimPhone &) = delete;

	// Starts the daemon and returns what it said before the loop was ready.
	std::string boot();
	// Stops and starts the daemon on the same board.
	std::string restart();
	void stop();

	// Sends a command on a port and reads its answer: up to a final
	// "OK\n", "ERROR\n" or "NOTSUPPORTED\n" (or the given end).
	std::string ask(std::string_view command, std::string_view end = {}, int timeout_ms = 10000);
	std::string ask_usb(std::string_view command, std::string_view end = {}, int timeout_ms = 10000);
	void send(std::string_view bytes);
	void send_usb(std::string_view bytes);
	// Everything that arrives on a port within ms (ending after quiet_ms of silence).
	std::string read(int ms, int quiet_ms = 0);
	std::string read_usb(int ms, int quiet_ms = 0);
	std::string read_until(std::string_view end, int timeout_ms = 10000);

	// Sends bytes and waits until the daemon has served that many commands
	// (seen in its trace, not by the clock); returns what the port said
	// meanwhile. The way to show that something got no answer.
	std::string command(std::string_view bytes, int commands = 1);
	// After input that may reach the daemon in more than one read (a line
	// longer than the pty hands over at once): waits until every answer to it
	// has come, and returns them. A Wi-Fi frame with a command no row has
	// marks the end, as its answer echoes that command.
	std::string sync();
	// Trace lines so far (the log file, then what is still in the kernel log).
	int trace_count(std::string_view needle) const;
	// Waits until the trace holds count lines with needle; false on timeout.
	bool wait_trace(std::string_view needle, int count, int timeout_ms = 10000) const;

	// Input devices: one event each, or a press and release with their sync.
	void input_event(int device, int type, int code, int value);
	void press_key(int code, int device = 0);
	void touch(int x, int y);

	void set_board(const std::string &key, const std::string &value);
	std::string path(std::string_view relative) const;  // a file of the board
	std::string file(std::string_view relative) const;  // its contents, "" if none
	bool attach_usb() { return phone_.attach_usb(); }
	bool running() { return phone_.running(); }
	station::Phone &phone() { return phone_; }

private:
	std::string ask_on(int fd, std::string_view command, std::string_view end, int timeout_ms);

	std::string dir_;
	Setup setup_;
	station::Phone phone_;
};

// The answer ends one of the three ways a command ends.
bool is_complete_answer(const std::string &text);

}  // namespace testing_support
