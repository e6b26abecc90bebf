// The daemon as a station sees it: ftmd-sim on a fresh board, over ptys.
#include <algorithm>
#include <gtest/gtest.h>
#include <string>

#include "station/tapp_frame.h"
#include "support/sim_phone.h"

namespace {

using testing_support::SimPhone;

TEST(Spine, ReadyMessageAndTraceMovedIntoTheLog)
{
	SimPhone phone;
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
	std::string log = phone.file("/data/ftm.log");
	EXPECT_NE(log.find("U [ftm.cpp:"), std::string::npos) << log;
	EXPECT_NE(log.find("start_up() - FTMModeReady\n"), std::string::npos) << log;
	// What is traced after the answer waits in the kernel log for the next command.
	ASSERT_TRUE(phone.wait_trace("command_step() - exitpwrkey_thread", 1));
	EXPECT_EQ(log.find("command_step() - exitpwrkey_thread"), std::string::npos) << log;
	std::string kmsg = phone.file("/dev/kmsg");
	EXPECT_TRUE(kmsg.starts_with("<4>U [ftm.cpp:")) << kmsg;
	EXPECT_TRUE(kmsg.ends_with("] command_step() - exitpwrkey_thread=1,ftm_test_mode=0!\n")) << kmsg;
	EXPECT_EQ(std::count(kmsg.begin(), kmsg.end(), '\n'), 1) << kmsg;
}

TEST(Spine, PlainAnswers)
{
	SimPhone phone;
	EXPECT_EQ(phone.ask("at\n"), "OK\n");
	EXPECT_EQ(phone.ask("ATE0\r\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT\r\n"), "NOTSUPPORTED\n");
	EXPECT_EQ(phone.ask("AT+NOSUCH\n"), "NOTSUPPORTED\n");
	// One read is one command, however many lines it holds.
	EXPECT_EQ(phone.ask("AT+NOSUCH\nAT\n"), "NOTSUPPORTED\n");
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
}

TEST(Spine, FramesAndSilenceOnBadFrames)
{
	SimPhone phone;
	EXPECT_EQ(phone.ask("AT*TAPP=0900400177770000000048\n"), "*TAPP=05004001000044\nOK\n");
	EXPECT_EQ(phone.ask(station::wifi_frame(0x55, {})), "*TAPP=ACK\n*TAPP=0800b0010155010000ec\nOK\n");

	// Nothing comes back for these, and the daemon goes on.
	EXPECT_EQ(phone.command("AT*TAPP=0A004001040001000000014E\n"), "");  // bad checksum
	EXPECT_EQ(phone.command(station::bb_frame(1, 0x1A, {})), "");    // row with no framed handler
	EXPECT_EQ(phone.command(station::bb_frame(1, 0x9011, {})), "");
	EXPECT_EQ(phone.command(station::bb_frame(1, 4, {}).replace(8, 4, "8D00")), "");  // frame_len 141
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
	EXPECT_TRUE(phone.running());
	EXPECT_NE(phone.file("/ftmd.out").find("CRC error\n"), std::string::npos);
}

TEST(Spine, OverlongInputIsServedInReadsAndTheDaemonStaysUp)
{
	SimPhone phone;
	// At most 4096 bytes a read: at least two commands, each answered.
	phone.send(std::string(6000, 'A'));
	std::string got = phone.sync();
	EXPECT_TRUE(got.starts_with("NOTSUPPORTED\nNOTSUPPORTED\n")) << got;
	EXPECT_EQ(got.find_first_not_of("NOTSUPPORTED\n"), std::string::npos) << got;
	EXPECT_EQ(phone.command("AT*TAPP=FFFF" + std::string(400, 'F') + "\n"), "");
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
	EXPECT_TRUE(phone.running());
}

TEST(Spine, AnswersGoToThePortOfTheLastCommand)
{
	SimPhone phone;
	EXPECT_EQ(phone.ask_usb("AT\n"), "OK\n");
	EXPECT_EQ(phone.ask_usb("AT+NOSUCH\n"), "NOTSUPPORTED\n");
	EXPECT_EQ(phone.ask("AT*TAPP=0900400177770000000048\n"), "*TAPP=05004001000044\nOK\n");
	EXPECT_EQ(phone.ask_usb("AT\n"), "OK\n");
	// The wired port heard only its own answer.
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
}

TEST(Spine, UsbPortPluggedInAfterStartUp)
{
	SimPhone::Setup setup;
	setup.usb_at_start = false;
	SimPhone phone(setup);
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
	ASSERT_TRUE(phone.attach_usb());
	EXPECT_EQ(phone.ask_usb("AT\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
}

TEST(Spine, KeysInNormalModeSayNothingAndAreCounted)
{
	SimPhone phone;
	// Each key step traces its code; one read is one step, so wait for each.
	phone.press_key(100);
	ASSERT_TRUE(phone.wait_trace("keycode= ", 1));
	phone.press_key(229);
	ASSERT_TRUE(phone.wait_trace("keycode= ", 2));
	phone.input_event(0, 1, 100, 0);  // a release reads as key 0
	ASSERT_TRUE(phone.wait_trace("keycode= ", 3));
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
	std::string log = phone.file("/data/ftm.log");
	EXPECT_NE(log.find("keycode= 100\n"), std::string::npos) << log;
	EXPECT_NE(log.find("keycode= 229\n"), std::string::npos) << log;
	EXPECT_NE(log.find("keycode= 0\n"), std::string::npos) << log;
}

TEST(Spine, JogBallAndTouchEventsInNormalModeAreDropped)
{
	SimPhone phone;
	phone.input_event(3, 2, 0, 1);
	phone.touch(10, 20);
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
	EXPECT_TRUE(phone.running());
}

}  // namespace
