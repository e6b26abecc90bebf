// A simulated phone: ftmd-sim running on a board, its two ports on ptys.
#pragma once

#include <string>
#include <sys/types.h>

namespace station {

class Phone {
public:
	struct Options {
		std::string board_dir;  // an initialised board
		std::string ftmd_path;  // the ftmd-sim binary
		std::string emulator;   // runs ftmd_path when it is no program of this machine (qemu-arm); empty: none
		bool usb_at_start = true;  // else attach_usb() plugs it in later
		std::string output_log;    // daemon's stdout/stderr; default board_dir/ftmd.out
	};

	Phone() = default;
	~Phone();
	Phone(const Phone &) = delete;
	Phone &operator=(const Phone &) = delete;

	bool start(const Options &options, std::string *error = nullptr);
	// Ends the daemon (and what it forked): SIGTERM, then SIGKILL.
	void stop();
	bool running();

	// Makes dev/ttyHSUSB1 appear: the cable is plugged in.
	bool attach_usb();
	// The station's end of a port goes away: the daemon's end is hung up.
	void hang_up_wired();
	void hang_up_usb();
	// A new USB port in place of the old one: the cable plugged in again.
	bool replug_usb();

	int wired() const { return wired_master_; }  // the station's end of each port
	int usb() const { return usb_master_; }
	pid_t pid() const { return pid_; }
	const std::string &board_dir() const { return options_.board_dir; }

private:
	Options options_;
	pid_t pid_ = -1;
	int wired_master_ = -1, wired_slave_ = -1;
	int usb_master_ = -1, usb_slave_ = -1;
	std::string usb_slave_name_;
};

// The path of a program installed beside the running one (ftmd-sim beside
// the launcher and the station tool).
std::string beside_self(const std::string &name, const char *argv0);

}  // namespace station
