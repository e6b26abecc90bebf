// Wi-Fi test control: the AR6000 chip is powered by shell command, asked for
// its MAC through the driver's private ioctl, and driven by the platform's
// athtestcmd tool. The station's settings wait in wifi_data until a transmit
// or receive command runs.
#pragma once

#include <cstddef>
#include <cstdint>

namespace hal {

struct wifi_settings {
	int16_t txpower;
	int16_t datarate;  // the station's rate index
	int16_t channel;   // 2.4 GHz, 1 to 13
	int16_t txmode;    // 0 tx99, 1 tx100, 2 sine, 3 tx100 with pattern
	int16_t packet;    // frame count of the last receive report
};
static_assert(sizeof(wifi_settings) == 10, "five signed 16-bit fields");
extern wifi_settings wifi_data;
void wifi_reset();  // all fields 0 (for tests)

constexpr const char *WIFI_IFNAME = "wlan0";
constexpr const char *WIFI_RFKILL_STATE = "/sys/class/rfkill/rfkill1/state";
constexpr const char *WIFI_WORK_MODE = "/sys/module/ar6000/parameters/work_mode";
constexpr unsigned long WIFI_IOCTL_TESTCMD = 0x8BFF;
constexpr int32_t WIFI_TESTCMD_READ_MAC = 120;
constexpr size_t WIFI_TESTCMD_BUF = 256;
constexpr size_t WIFI_MAC_TEXT = 50;     // wifi_read_mac's text
constexpr size_t WIFI_CMD_LINE = 150;    // athtestcmd lines are cut here
constexpr size_t WIFI_REPORT_MAX = 150;  // bytes read of the receive report

int wifi_power_test(int on);
int check_wifi_power();  // 0, 1, or -1 when the state can't be read
int check_wifi_ready();  // 1 when the driver answers the private ioctl
int wifi_read_mac(char *text);  // WIFI_MAC_TEXT bytes; 0 or -1
int wifi_txmode(int on, const wifi_settings &data);
int wifi_fer(int mode, wifi_settings &data);

// The athtestcmd line of a transmit command into out (WIFI_CMD_LINE bytes);
// false when no line applies (on above 1, or txmode above 3 with on 1).
bool wifi_txmode_line(int on, const wifi_settings &data, char *out);
int wifi_freq(const wifi_settings &data);
int wifi_rate(const wifi_settings &data);

}  // namespace hal
