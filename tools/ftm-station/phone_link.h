// The station's way to one phone: a serial line, or a simulated phone it
// starts on a board of its own.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "runner.h"
#include "station/phone.h"

namespace ftm_station {

struct LinkSpec {
	std::string port;  // where the phone is in reports: the device, or simN
	// A serial line:
	std::string device;
	unsigned baud = 115200;
	// A simulated phone:
	bool sim = false;
	std::string board;     // empty: a temporary folder, removed at the end
	std::string ftmd_path;
	std::vector<std::pair<std::string, std::string>> settings;  // board file values
	std::string product_id;  // hex, given to a board that never ran a phone
	bool usb = false;        // talk on the USB port instead of the wired one
};

class PhoneLink {
public:
	explicit PhoneLink(LinkSpec spec) : spec_(std::move(spec)) {}
	~PhoneLink();
	PhoneLink(const PhoneLink &) = delete;
	PhoneLink &operator=(const PhoneLink &) = delete;

	// Opens the line, or makes the board and starts the phone and waits for
	// it to be ready. False with a reason.
	bool open(std::string *error);
	const Ports &ports() const { return ports_; }
	const LinkSpec &spec() const { return spec_; }

private:
	LinkSpec spec_;
	int fd_ = -1;
	bool temp_board_ = false;
	station::Phone phone_;
	Ports ports_;
};

// A simulated phone's product id, unique to this station, this moment and
// this phone: "ftm-sim <time> <process> <n>" in hex, padded with zero bytes.
std::string sim_product_id(size_t n);

}  // namespace ftm_station
