// A btsnoop capture (H4 data link) of what crossed the Bluetooth UART, in
// the form Wireshark and tshark read.
#pragma once

#include <cstdint>
#include <fstream>
#include <span>
#include <string>

namespace sim {

class BtSnoop {
public:
	// An empty path captures nothing.
	explicit BtSnoop(const std::string &path);
	// One record. received: the SoC sent it (an event); else the host wrote
	// it, one write as it came (a command, or noise and half packets).
	void record(std::span<const uint8_t> packet, bool received);

private:
	std::ofstream out_;
};

}  // namespace sim
