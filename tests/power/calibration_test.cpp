// The calibration bridge between the station's port and the simulated
// modem on /dev/ftm_smd, byte for byte, and how it ends.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "hal/calibration.h"
#include "station/link.h"
#include "support/sim_phone.h"

namespace {

using testing_support::SimPhone;
using namespace std::string_literals;

// Starts the bridge and checks its one reply.
void enter(SimPhone &phone)
{
	ASSERT_EQ(phone.ask("AT+FTM\n", "OK\r\n"), "OK\r\n");
}

// Waits until the daemon has traced text: the one way to know that it has
// taken a packet that has no answer.
bool wait_for(SimPhone &phone, const std::string &file, const std::string &text)
{
	for (int i = 0; i < 1000; ++i) {
		if (phone.file(file).find(text) != std::string::npos)
			return true;
		::usleep(10000);
	}
	return false;
}

bool wait_for_trace(SimPhone &phone, const std::string &text) { return wait_for(phone, "/dev/kmsg", text); }
// Packets that have no answer must be taken before the next is sent: two
// packets in one read are one packet.
bool wait_for_modem(SimPhone &phone, const std::string &bytes) { return wait_for(phone, "/var/ftm_smd.rx", bytes); }

// Sends a packet and reads the modem's echo of it.
std::string round_trip(SimPhone &phone, const std::string &packet)
{
	return phone.ask(packet, packet);
}

TEST(Calibration, SessionCarriesPacketsBothWaysAndEnds)
{
	SimPhone phone;
	enter(phone);
	// Binary packets: carriage returns, NULs and 0xFF inside, as the
	// modem's own framing has them.
	const std::string packets[] = {
		"\x4b\x0f\x00\x00\x7d\x5e\x11~"s,
		"\x26\x01\x0d\x0a\xff~"s,
		"\x00\x12\x34~"s,  // head 0x00 but only 4 bytes: forwarded
		"~\x4b\x05\x00~"s,
	};
	std::string sent;
	for (const std::string &p : packets) {
		EXPECT_EQ(round_trip(phone, p), p);
		sent += p;
	}
	// The closing packet is not forwarded; the answer of AT+FTM follows.
	EXPECT_EQ(phone.ask("~AT+FTM~"), "OK\n");
	EXPECT_EQ(phone.file("/var/ftm_smd.rx"), sent);
	std::string log = phone.file("/data/ftm.log");
	EXPECT_NE(log.find("CALI_MODE!"), std::string::npos);
	EXPECT_NE(log.find("head is 0x26: len=6"), std::string::npos);
	EXPECT_NE(log.find("pthread_join ok"), std::string::npos);
	EXPECT_NE(log.find("exit CALI_MODE!"), std::string::npos);
	// The port is the station's again, with its old settings.
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
	EXPECT_EQ(phone.ask("ATBT\n"), "BTOK\n");
	// And the bridge can be entered again on the same modem channel.
	enter(phone);
	EXPECT_EQ(round_trip(phone, "\x4b\x06~"), "\x4b\x06~");
	EXPECT_EQ(phone.ask("~at+ftm~"), "OK\n");
}

TEST(Calibration, StationPacketsOfHeadZeroNeverReachTheModem)
{
	SimPhone phone;
	enter(phone);
	phone.send("\x00\x01\x02\x03~"s);
	ASSERT_TRUE(wait_for_trace(phone, "head is 0x00: len=5"));
	EXPECT_EQ(round_trip(phone, "\x4b\x07~"), "\x4b\x07~");
	EXPECT_EQ(phone.ask("~AT+FTM~"), "OK\n");
	EXPECT_EQ(phone.file("/var/ftm_smd.rx"), "\x4b\x07~");
}

TEST(Calibration, ClosingPacketWithCarriageReturnAndMixedCase)
{
	SimPhone phone;
	enter(phone);
	// Mixed case is no closing packet: it goes to the modem like any other.
	EXPECT_EQ(round_trip(phone, "~At+Ftm~"), "~At+Ftm~");
	EXPECT_EQ(phone.ask("~AT+FTM~\r"), "OK\n");
	EXPECT_EQ(phone.file("/var/ftm_smd.rx"), "~At+Ftm~");
}

TEST(Calibration, PacketWithoutItsFlagWaitsForTheNextFlag)
{
	SimPhone phone;
	enter(phone);
	phone.send("\x4b\x08");
	EXPECT_EQ(phone.read(200, 0), "");
	EXPECT_EQ(round_trip(phone, "\x4b\x09~"), "\x4b\x08\x4b\x09~");
	EXPECT_EQ(phone.ask("~AT+FTM~"), "OK\n");
}

TEST(Calibration, OversizePacketIsDroppedAndTheBridgeGoesOn)
{
	SimPhone phone;
	enter(phone);
	phone.send(std::string(5000, 'A') + "~");
	ASSERT_TRUE(wait_for_trace(phone, "packet longer than 4096 bytes dropped"));
	EXPECT_EQ(round_trip(phone, "\x4b\x0a~"), "\x4b\x0a~");
	EXPECT_EQ(phone.ask("~AT+FTM~"), "OK\n");
	EXPECT_EQ(phone.file("/var/ftm_smd.rx"), "\x4b\x0a~");
}

TEST(Calibration, SilentModemStillEnds)
{
	SimPhone phone({.board = {{"modem.reply", "silent"}}});
	enter(phone);
	phone.send("\x4b\x0b~");
	ASSERT_TRUE(wait_for_modem(phone, "\x4b\x0b~"));
	EXPECT_EQ(phone.ask("~AT+FTM~"), "OK\n");
	EXPECT_EQ(phone.file("/var/ftm_smd.rx"), "\x4b\x0b~");
}

TEST(Calibration, MissingModemDropsPacketsAndStillEnds)
{
	SimPhone phone({.board = {{"modem.present", "0"}}});
	enter(phone);
	EXPECT_TRUE(wait_for_trace(phone, "no modem channel"));
	phone.send("\x4b\x0c~");
	ASSERT_TRUE(wait_for_trace(phone, "modem write failed: 3 bytes dropped"));
	EXPECT_EQ(phone.ask("~AT+FTM~"), "OK\n");
	EXPECT_EQ(phone.file("/var/ftm_smd.rx"), "");
	// Once the modem is there, the next session opens it.
	phone.set_board("modem.present", "1");
	enter(phone);
	EXPECT_EQ(round_trip(phone, "\x4b\x0d~"), "\x4b\x0d~");
	EXPECT_EQ(phone.ask("~AT+FTM~"), "OK\n");
}

TEST(Calibration, FloodingModemIsPassedOnAndCannotHoldTheBridge)
{
	constexpr int kFlood = 300000;
	SimPhone phone({.board = {{"modem.reply", "flood"}, {"modem.flood_bytes", std::to_string(kFlood)}}});
	enter(phone);
	// Read it all: every byte arrives.
	phone.send("\x4b\x0e~");
	std::string got = station::read_until(
	    phone.phone().wired(), [](const std::string &s) { return s.size() >= kFlood; }, 20000);
	EXPECT_EQ(got.size(), static_cast<size_t>(kFlood));
	// Now a station that does not read: the port fills, yet the bridge
	// closes, and the answer waits behind the flood.
	phone.send("\x4b\x0f~");
	ASSERT_TRUE(wait_for_modem(phone, "\x4b\x0e~\x4b\x0f~"));
	phone.send("~AT+FTM~");
	std::string rest = phone.read_until("OK\n", 20000);
	EXPECT_TRUE(rest.ends_with("OK\n"));
	EXPECT_LE(rest.size(), static_cast<size_t>(kFlood) + 3);
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
}

TEST(Calibration, WorksOnTheUsbPort)
{
	SimPhone phone;
	ASSERT_EQ(phone.ask_usb("AT+FTM\n", "OK\r\n"), "OK\r\n");
	EXPECT_EQ(phone.ask_usb("\x4b\x10~", "\x4b\x10~"), "\x4b\x10~");
	EXPECT_EQ(phone.ask_usb("~AT+FTM~"), "OK\n");
	EXPECT_EQ(phone.read(100), "");
}

// receive_data on its own, over a socket pair standing for the port.
class ReceiveData : public ::testing::Test {
protected:
	void SetUp() override { ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, fds_), 0); }
	void TearDown() override
	{
		::close(fds_[0]);
		::close(fds_[1]);
	}
	void put(const std::string &bytes) { ASSERT_EQ(::write(fds_[1], bytes.data(), bytes.size()), (ssize_t)bytes.size()); }
	std::string take(size_t capacity = hal::CALI_PACKET_SIZE)
	{
		buf_.assign(capacity, 0);
		ssize_t n = hal::receive_data(fds_[0], buf_.data(), capacity);
		return n < 0 ? "<error>" : std::string(buf_.begin(), buf_.begin() + n);
	}
	int fds_[2] = {-1, -1};
	std::vector<uint8_t> buf_;
};

TEST_F(ReceiveData, LoneFlagFirstIsNoEnd)
{
	put("~");
	std::thread later([this] {
		::usleep(50000);
		put("ab~");
	});
	EXPECT_EQ(take(), "~ab~");
	later.join();
}

TEST_F(ReceiveData, FlagThenCarriageReturnEndsWithoutIt)
{
	put("xy~\r");
	EXPECT_EQ(take(), "xy~");
}

TEST_F(ReceiveData, OnlyTheLastByteOfARead)
{
	// Two packets in one read are one packet.
	put("a~b~");
	EXPECT_EQ(take(), "a~b~");
}

TEST_F(ReceiveData, OverflowDropsThePacketAndResynchronises)
{
	put(std::string(20, 'z'));
	put("~");
	EXPECT_EQ(take(16), "");
	put("ok~");
	EXPECT_EQ(take(16), "ok~");
}

TEST(Is2chars, ComparesOverTheLongerAtMostTen)
{
	EXPECT_EQ(hal::is2chars("abc", "abc"), 0);
	EXPECT_EQ(hal::is2chars("abc", "abcd"), 1);
	EXPECT_EQ(hal::is2chars("0123456789X", "0123456789Y"), 0);
	EXPECT_EQ(hal::is2chars("", ""), 0);
}

}  // namespace
