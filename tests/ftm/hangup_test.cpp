// A station that hangs up: its port reads end-of-file on every pass. The
// loop must go on serving the other port and the keys, inside AT+FTM too,
// and serve a station that comes back.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "station/link.h"
#include "support/sim_phone.h"

namespace {

using testing_support::SimPhone;

constexpr const char *kHungUp = "hung up; looked at again every 1000 ms";

TEST(HangUp, WiredPortHungUpLeavesUsbAndKeysServed)
{
	SimPhone phone;
	ASSERT_EQ(phone.ask("AT\n"), "OK\n");
	phone.phone().hang_up_wired();
	EXPECT_EQ(phone.ask_usb("AT\n"), "OK\n");
	EXPECT_EQ(phone.ask_usb("AT+NOSUCH\n"), "NOTSUPPORTED\n");
	phone.press_key(100);
	EXPECT_TRUE(phone.wait_trace("keycode= 100", 1));
	// Seen once, however often it is looked at again.
	EXPECT_TRUE(phone.wait_trace(kHungUp, 1));
	EXPECT_EQ(phone.ask_usb("AT\n"), "OK\n");
	EXPECT_EQ(phone.trace_count(kHungUp), 1);
	EXPECT_TRUE(phone.running());
}

TEST(HangUp, UsbPortHungUpLeavesKeysServedAndANewStationIsServed)
{
	SimPhone phone;
	ASSERT_EQ(phone.ask_usb("AT\n"), "OK\n");
	phone.phone().hang_up_usb();
	phone.press_key(100);
	EXPECT_TRUE(phone.wait_trace("keycode= 100", 1));
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
	// The cable plugged in again: a new port, opened on the slow look.
	ASSERT_TRUE(phone.phone().replug_usb());
	EXPECT_EQ(phone.ask_usb("AT\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
	EXPECT_EQ(phone.trace_count(kHungUp), 1);
}

TEST(HangUp, UsbHangUpInsideCalibrationEndsTheBridge)
{
	SimPhone phone;
	ASSERT_EQ(phone.ask_usb("AT+FTM\n", "OK\r\n"), "OK\r\n");
	ASSERT_TRUE(phone.wait_trace("CALI_MODE!", 1));
	phone.phone().hang_up_usb();
	EXPECT_TRUE(phone.wait_trace("the station hung up: bridge closed", 1));
	EXPECT_TRUE(phone.wait_trace("exit CALI_MODE!", 1));
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
	phone.press_key(100);
	EXPECT_TRUE(phone.wait_trace("keycode= 100", 1));
}

TEST(HangUp, UsbHangUpDuringALogDumpCutsItShort)
{
	SimPhone phone;
	ASSERT_EQ(phone.ask_usb("AT\n"), "OK\n");
	std::ofstream(phone.path("data/ftm.log"), std::ios::app) << std::string(2 << 20, 'x');
	phone.send_usb("AT+DUMPLOG\n");
	// The header has come: the dump is under way. Read no further than the
	// header, or a fast pty takes the whole dump before the hang-up.
	std::string seen = station::read_until(
	    phone.phone().usb(), [](const std::string &t) { return t.find("\nOK\n") != std::string::npos; }, 10000);
	ASSERT_NE(seen.find("SIZE= "), std::string::npos) << seen.substr(0, 80);
	phone.phone().hang_up_usb();
	EXPECT_TRUE(phone.wait_trace("at_dumpLog: the port takes nothing; dump cut short", 1));
	EXPECT_EQ(phone.ask("AT\n", {}, 5000), "OK\n");
}

}  // namespace
