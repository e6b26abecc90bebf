#include "hal/wifi.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <net/if.h>
#include <sys/socket.h>

#include "ftm/debug.h"
#include "ftm/ftm.h"
#include "platform/platform.h"

namespace hal {

wifi_settings wifi_data{};

void wifi_reset() { wifi_data = {}; }

namespace {

// The private test-command ioctl: a 256-byte buffer whose first word names
// the sub-command, handed over behind an interface request on any
// datagram socket. 0 with the MAC in the buffer's first 6 bytes.
int wifi_testcmd(std::array<uint8_t, WIFI_TESTCMD_BUF> &buf)
{
	buf.fill(0);
	const int32_t cmd = WIFI_TESTCMD_READ_MAC;
	std::memcpy(buf.data(), &cmd, sizeof cmd);
	ifreq ifr{};
	std::strncpy(ifr.ifr_name, WIFI_IFNAME, IFNAMSIZ - 1);
	ifr.ifr_data = reinterpret_cast<char *>(buf.data());

	int sock = plat::socket(AF_INET, SOCK_DGRAM, 0);
	if (sock < 0) {
		std::printf("Create socke error!");
		std::fflush(stdout);
		return -1;
	}
	int rc = plat::ioctl(sock, WIFI_IOCTL_TESTCMD, &ifr);
	int err = errno;
	plat::close(sock);  // one socket per query would otherwise run the process out of descriptors
	if (rc < 0) {
		DBG("TESTMODE_EXT - ioctl fail ifr_name: %s!Error number=%d\n", ifr.ifr_name, err);
		return -1;
	}
	return 0;
}

}  // namespace

int wifi_power_test(int on)
{
	if (on == 1) {
		plat::system("echo 1 > /sys/module/ar6000/parameters/work_mode");
		plat::system("bttest wifienable");
	} else if (on == 0) {
		plat::system("bttest wifidisable");
	}
	return 0;
}

int check_wifi_power()
{
	int fd = plat::open(WIFI_RFKILL_STATE, O_RDONLY);
	if (fd < 0) {
		int err = errno;
		std::printf("open(%s) failed: %s (%d)", WIFI_RFKILL_STATE, std::strerror(err), err);
		std::fflush(stdout);
		return -1;
	}
	char state = 0;
	ssize_t n = plat::read(fd, &state, 1);
	int err = errno;
	plat::close(fd);
	if (n < 0) {
		std::printf("read(%s) failed: %s (%d)", WIFI_RFKILL_STATE, std::strerror(err), err);
		std::fflush(stdout);
		return -1;
	}
	if (n == 1 && (state == '0' || state == '1'))
		return state - '0';
	return -1;
}

int check_wifi_ready()
{
	std::array<uint8_t, WIFI_TESTCMD_BUF> buf;
	if (wifi_testcmd(buf) != 0) {
		DBG("WIFI turn on failed.\n");
		return 0;
	}
	return 1;
}

int wifi_read_mac(char *text)
{
	std::array<uint8_t, WIFI_TESTCMD_BUF> buf;
	if (wifi_testcmd(buf) != 0) {
		static constexpr char failed[] = "Read MAC Address via IOCTL failed.\n";
		static_assert(sizeof failed - 1 == 35);
		plat::write(ftm::loop.act_fd, failed, sizeof failed - 1);
		return -1;
	}
	std::snprintf(text, WIFI_MAC_TEXT, "tcmd: mac 0x%02x, 0x%02x, 0x%02x, 0x%02x, 0x%02x, 0x%02x\n", buf[0], buf[1],
	              buf[2], buf[3], buf[4], buf[5]);
	return 0;
}

int wifi_freq(const wifi_settings &data) { return (data.channel - 1) * 5 + 2412; }

// The tool's rate index skips one step above the station's 4.
int wifi_rate(const wifi_settings &data) { return data.datarate <= 4 ? data.datarate - 1 : data.datarate - 2; }

bool wifi_txmode_line(int on, const wifi_settings &data, char *out)
{
	static constexpr std::array<const char *, 4> tx_forms = {
		" cd /system/bin/;./athtestcmd -i wlan0 --tx tx99 --txfreq %d --txrate %d --txpwr %d --txantenna 1",
		" cd /system/bin/;./athtestcmd -i wlan0 --tx tx100 --txfreq %d --txrate %d --txpwr %d --txantenna 1",
		" cd /system/bin/;./athtestcmd -i wlan0 --tx sine --txfreq %d --txrate %d --txpwr %d --txantenna 1",
		" cd /system/bin/;./athtestcmd -i wlan0 --tx tx100 --txfreq %d --txrate %d --txpwr %d --txpattern 2 "
		"--scrambleroff \t--txantenna 1",
	};
	static constexpr const char *tx_off =
		" cd /system/bin/;./athtestcmd -i wlan0 --tx off --txfreq %d --txrate %d --txpwr %d --txantenna 1";
	const char *form = nullptr;
	if (on == 0)
		form = tx_off;
	else if (on == 1 && data.txmode >= 0 && data.txmode < static_cast<int>(tx_forms.size()))
		form = tx_forms[static_cast<size_t>(data.txmode)];
	if (!form)
		return false;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
	std::snprintf(out, WIFI_CMD_LINE, form, wifi_freq(data), wifi_rate(data), static_cast<int>(data.txpower));
#pragma GCC diagnostic pop
	return true;
}

int wifi_txmode(int on, const wifi_settings &data)
{
	char line[WIFI_CMD_LINE] = {};
	if (!wifi_txmode_line(on, data, line))
		return 0;
	plat::system(line);
	return 0;
}

int wifi_fer(int mode, wifi_settings &data)
{
	char line[WIFI_CMD_LINE] = {};
	if (mode == 0) {
		std::snprintf(line, sizeof line, "cd /system/bin/; ./athtestcmd --rx promis --rxfreq %d --rxantenna 1",
		              wifi_freq(data));
		plat::system(line);
		return 0;
	}
	std::snprintf(line, sizeof line, "cd /system/bin/; ./athtestcmd --rx report --rxfreq %d --rxantenna 1",
	              wifi_freq(data));
	FILE *report = plat::popen(line, "r");
	if (!report) {
		DBG("popen failed\n");
		return 1;
	}
	char text[WIFI_REPORT_MAX] = {};
	size_t got = std::fread(text, 1, sizeof text, report);
	plat::pclose(report);  // left open, each report would cost a descriptor and a zombie
	// The count stands at offset 36, at most 6 digits, ended by ';'.
	char count[10] = {};
	for (size_t i = 36, n = 0; i <= 41 && i < got && text[i] != ';'; ++i)
		count[n++] = text[i];
	data.packet = static_cast<int16_t>(std::atoi(count));
	return 0;
}

}  // namespace hal
