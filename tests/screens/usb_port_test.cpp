// Everything that goes to "the port of the last command", driven over the
// USB port: the answer and every byte written ahead of it or after it (key
// and touch reports, the held power key, handlers' own output) must reach
// USB, and the wired port must hear nothing of it.
#include <map>
#include <string>

#include "screen_support.h"
#include "station/link.h"

namespace screens_test {
namespace {

// The wired port heard nothing meanwhile: its answer to AT comes alone.
void wired_heard_nothing(SimPhone &phone) { EXPECT_EQ(phone.ask("AT\n"), "OK\n"); }

// What USB says up to the answer of an AT sent behind reports that each
// end in "OK\n" too.
std::string usb_heard(SimPhone &phone, int reports)
{
	phone.send_usb("AT\n");
	return station::read_until(
	    phone.phone().usb(),
	    [reports](const std::string &t) {
		    int oks = 0;
		    for (size_t at = t.find("OK\n"); at != std::string::npos; at = t.find("OK\n", at + 1))
			    ++oks;
		    return oks > reports;
	    },
	    10000);
}

std::string without(std::string text, const std::string &frame)
{
	for (size_t at; (at = text.find(frame)) != std::string::npos;)
		text.erase(at, frame.size());
	return text;
}

struct direct_write {
	const char *name;
	std::map<std::string, std::string> board;
	const char *command;
	std::string answer;  // all the port says, the handler's own bytes first
	const char *end = "";
};

const direct_write kDirectWrites[] = {
    {"ReadPid", {}, "AT+RPID\n", std::string(80, '0') + "OK\n"},
    {"ReadTestFlag", {}, "AT+RTF\n", std::string(128, '0') + "OK\n"},
    {"WifiMacFailure", {{"wifi.ready", "0"}, {"time.scale", "0.01"}}, "AT+MAC\n",
     "Read MAC Address via IOCTL failed.\nOK\n"},
    {"CameraError", {{"camera.missing", "1"}}, "AT+DSCC\n", "FTM CAM ERR:01\nERROR\n"},
    {"CardNodeMissing", {{"mmc.card", "absent"}, {"gpio.pin.18", "0"}, {"time.scale", "0.01"}}, "AT+MMCEX\n",
     "SD GPIO 18 is detected  but /dev/block/mmcblk0 was not established.\n02OK\n"},
};

TEST(UsbPort, HandlersOwnOutputGoesToTheUsbPort)
{
	for (const direct_write &c : kDirectWrites) {
		SCOPED_TRACE(c.name);
		SimPhone phone(SimPhone::Setup{.board = c.board});
		EXPECT_EQ(phone.ask_usb(c.command, c.end), c.answer);
		wired_heard_nothing(phone);
	}
}

TEST(UsbPort, LogDumpGoesToTheUsbPort)
{
	SimPhone phone;
	std::string dump = phone.ask_usb("AT+DUMPLOG\n", ".OK.\nOK\n");
	EXPECT_TRUE(dump.starts_with("FORMAT= LOG\nSIZE= ")) << dump.substr(0, 80);
	EXPECT_TRUE(dump.ends_with(".OK.\nOK\n"));
	wired_heard_nothing(phone);
}

TEST(UsbPort, KeyAndTouchReportsGoToThePortThatStartedTheTest)
{
	SimPhone phone;
	ASSERT_EQ(phone.ask_usb("AT+KEYPAD=1\n"), "OK\n");
	phone.press_key(30);
	wait_taken(phone, 0);
	// Key 30 is the station's key 35 (0x23).
	EXPECT_EQ(usb_heard(phone, 1), "*TAPP=0600400001002364\nOK\nOK\n");
	ASSERT_EQ(phone.ask_usb("AT+KEYPAD=0\n"), "OK\n");

	ASSERT_EQ(phone.ask_usb("AT%TPNTEST=1,2\n"), "OK\n");
	phone.touch(100, 200);
	wait_taken(phone, 1);
	EXPECT_EQ(phone.ask_usb("AT\n"), "%TPN:(100,200)~\nOK\n");
	ASSERT_EQ(phone.ask_usb("AT%TPNTEST=1,0\n"), "OK\n");
	wired_heard_nothing(phone);
}

// The power-key thread polls every 300 ms; time.scale 0.1 makes it 30 ms.
TEST(UsbPort, HeldPowerKeyFramesGoToTheUsbPort)
{
	SimPhone phone(SimPhone::Setup{.board = {{"time.scale", "0.1"}, {"gpio.power_key", "1"}}});
	const std::string held = "*TAPP=0600400001000146\nOK\n";
	phone.send_usb("AT+KEYPAD=1\n");
	// The first frame may come ahead of the answer: the thread is started
	// by the handler.
	auto frames = [&held](const std::string &t) { return (t.size() - without(t, held).size()) / held.size(); };
	std::string got = station::read_until(
	    phone.phone().usb(), [&](const std::string &t) { return frames(t) >= 3 && without(t, held) == "OK\n"; },
	    10000);
	EXPECT_GE(frames(got), 3u);
	EXPECT_EQ(without(got, held), "OK\n");
	// End the test on the same port; frames may come until the thread is
	// joined, which is before the next command is read.
	phone.send_usb("AT+KEYPAD=0\n");
	std::string rest = station::read_until(
	    phone.phone().usb(), [&](const std::string &t) { return without(t, held) == "OK\n"; }, 10000);
	EXPECT_EQ(without(rest, held), "OK\n");
	wired_heard_nothing(phone);
}

}  // namespace
}  // namespace screens_test
