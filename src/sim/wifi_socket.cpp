// A datagram socket as the AR6000 driver sees it: the private test-command
// ioctl on "wlan0" answers with the chip's MAC once the chip is powered
// (rfkill state 1) in test mode (driver parameter work_mode 1).
#include <cstdio>
#include <cstring>
#include <net/if.h>
#include <string>

#include "sim/board.h"
#include "sim/models.h"

namespace sim {

namespace {

constexpr unsigned long kTestCmd = 0x8BFF;
constexpr int32_t kReadMac = 120;

static_assert(offsetof(ifreq, ifr_data) == IFNAMSIZ, "the name comes first in an interface request");

class WifiSocket : public Device {
public:
	explicit WifiSocket(Board &board) : board_(board) {}

	int ioctl(unsigned long request, uintptr_t arg) override
	{
		if (request != kTestCmd) {
			errno = ENOTTY;
			return -1;
		}
		auto *ifr = reinterpret_cast<ifreq *>(arg);
		if (std::strncmp(ifr->ifr_name, "wlan0", IFNAMSIZ) != 0 || !chip_up()) {
			errno = ENODEV;
			return -1;
		}
		auto *buf = reinterpret_cast<uint8_t *>(ifr->ifr_data);
		int32_t cmd = 0;
		std::memcpy(&cmd, buf, sizeof cmd);
		if (cmd != kReadMac) {
			errno = EINVAL;
			return -1;
		}
		unsigned mac[6] = {};
		std::string text = board_.text("wifi.mac", "00:03:7f:12:34:56");
		if (std::sscanf(text.c_str(), "%x:%x:%x:%x:%x:%x", &mac[0], &mac[1], &mac[2], &mac[3], &mac[4],
		                &mac[5]) != 6) {
			errno = EIO;
			return -1;
		}
		for (int i = 0; i < 6; ++i)
			buf[i] = static_cast<uint8_t>(mac[i]);
		return 0;
	}

private:
	char first_char(const char *phone_path)
	{
		FILE *f = std::fopen(board_.map(phone_path).c_str(), "r");
		if (!f)
			return 0;
		int c = std::fgetc(f);
		std::fclose(f);
		return c == EOF ? 0 : static_cast<char>(c);
	}

	bool chip_up()
	{
		return board_.num("wifi.ready", 1) && first_char("/sys/class/rfkill/rfkill1/state") == '1' &&
		       first_char("/sys/module/ar6000/parameters/work_mode") == '1';
	}

	Board &board_;
};

}  // namespace

std::unique_ptr<Device> open_wifi_socket(Board &board) { return std::make_unique<WifiSocket>(board); }

}  // namespace sim
