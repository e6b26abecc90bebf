// The H4 transport and the HCI helpers against a socket pair standing in
// for the UART.
#include <array>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

#include "ftm/tapp.h"
#include "hal/bluetooth.h"
#include "hal/bt_h4.h"
#include "hal/bt_hci.h"
#include "hal/bt_soc.h"
#include "platform/platform.h"
#include "unit_board.h"

namespace {

using Bytes = std::vector<uint8_t>;

class H4 : public ::testing::Test {
protected:
	void SetUp() override
	{
		bt_test::unit_board();
		bt::reset_bt_globals();
		ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sv_), 0);
		bt::bt_state.fd_ttyHS0 = sv_[0];
	}
	void TearDown() override
	{
		::close(sv_[0]);
		::close(sv_[1]);
		bt::reset_bt_globals();
	}
	// What the SoC says, queued before the daemon asks.
	void soc_says(const Bytes &b) { ASSERT_EQ(::write(sv_[1], b.data(), b.size()), static_cast<ssize_t>(b.size())); }
	// What the daemon sent so far.
	Bytes soc_heard()
	{
		Bytes out(1024);
		ssize_t n = ::recv(sv_[1], out.data(), out.size(), MSG_DONTWAIT);
		out.resize(n > 0 ? static_cast<size_t>(n) : 0);
		return out;
	}

	int sv_[2] = {-1, -1};
};

TEST(ConvertBaud, KnownRatesAndTheOddRow)
{
	EXPECT_EQ(bt::convert_baud(50), 1u);
	EXPECT_EQ(bt::convert_baud(38400), 15u);
	EXPECT_EQ(bt::convert_baud(57600), 4097u);
	EXPECT_EQ(bt::convert_baud(115200), 4098u);
	EXPECT_EQ(bt::convert_baud(4000000), 4111u);
	EXPECT_EQ(bt::convert_baud(3200000), 6u);  // the code of 200 bit/s, as the phone has it
	EXPECT_EQ(bt::convert_baud(7), 0u);
	EXPECT_EQ(bt::convert_baud(0), 0u);
}

TEST(HciCommandPacket, IndicatorOpcodeLowByteFirstLengthParams)
{
	std::array<uint8_t, bt::BT_PACKET_SIZE> out{};
	const uint8_t params[] = {0x01, 0x63, 0x01, 0x0D};
	ASSERT_EQ(bt::hci_command_packet(0xFC0B, params, out), 8);
	EXPECT_EQ(Bytes(out.begin(), out.begin() + 8), (Bytes{0x01, 0x0B, 0xFC, 0x04, 0x01, 0x63, 0x01, 0x0D}));

	std::vector<uint8_t> too_many(256);
	EXPECT_EQ(bt::hci_command_packet(0xFC0B, too_many, out), 0);
	std::array<uint8_t, 6> small{};
	EXPECT_EQ(bt::hci_command_packet(0xFC0B, params, small), 0);
	EXPECT_EQ(bt::hci_command_packet(0x0C03, {}, out), 4);
}

TEST_F(H4, WholeEventIsRead)
{
	soc_says({0x04, 0x0E, 0x04, 0x01, 0x03, 0x0C, 0x00});
	std::array<uint8_t, bt::BT_PACKET_SIZE> ev{};
	EXPECT_EQ(bt::bt_hci_soc_get_event(ev.data()), 1);
	EXPECT_EQ(Bytes(ev.begin(), ev.begin() + 7), (Bytes{0x04, 0x0E, 0x04, 0x01, 0x03, 0x0C, 0x00}));
}

TEST_F(H4, EventWithNoParametersCounts)
{
	soc_says({0x04, 0x10, 0x00});
	std::array<uint8_t, bt::BT_PACKET_SIZE> ev{};
	EXPECT_EQ(bt::bt_hci_soc_get_event(ev.data()), 1);
}

TEST_F(H4, TruncatedOrOverlongEventFails)
{
	std::array<uint8_t, bt::BT_PACKET_SIZE> ev{};
	soc_says({0x04, 0x0E});
	EXPECT_EQ(bt::bt_hci_soc_get_event(ev.data()), 0);
	// The length byte promises 255 and 2 follow: never a read past the buffer.
	soc_says({0x04, 0x0E, 0xFF, 0x01, 0x02});
	EXPECT_EQ(bt::bt_hci_soc_get_event(ev.data()), 0);
}

TEST_F(H4, UnopenedPortFailsAtOnce)
{
	bt::bt_state.fd_ttyHS0 = -1;
	std::array<uint8_t, bt::BT_PACKET_SIZE> ev{};
	EXPECT_LT(bt::bt_hci_soc_nwrite(bt::hci_reset_cmd.data(), 4), 0);
	EXPECT_EQ(bt::bt_hci_soc_get_event(ev.data()), 0);
	EXPECT_EQ(bt::bt_hci_soc_pfal_sendresetcmd(), 0);
}

TEST_F(H4, ResetSendsItsFourBytesAndTakesOneEvent)
{
	soc_says({0x04, 0x0E, 0x04, 0x01, 0x03, 0x0C, 0x00});
	EXPECT_EQ(bt::bt_hci_soc_pfal_sendresetcmd(), 1);
	EXPECT_EQ(soc_heard(), (Bytes{0x01, 0x03, 0x0C, 0x00}));
}

TEST_F(H4, VendorCommandNeedsTwoEventsAndReadsTheVersion)
{
	Bytes version = {0x04, 0xFF, 0x00, 0x00, 0x02, 0x06};
	for (char c : std::string("BTS Release 4.00.2"))
		version.push_back(static_cast<uint8_t>(c));
	version.push_back(0);
	version[2] = static_cast<uint8_t>(version.size() - 3);
	soc_says(version);
	soc_says({0x04, 0x0E, 0x04, 0x01, 0x00, 0xFC, 0x00});
	const uint8_t request[] = {0x06};
	EXPECT_EQ(bt::bt_hci_soc_pfal_vs_sendcmd(0xFC00, request, 1), 1);
	EXPECT_EQ(soc_heard(), (Bytes{0x01, 0x00, 0xFC, 0x01, 0x06}));
	EXPECT_EQ(bt::bt_state.bt_soc, bt::BT_SOC_4025_B1);

	// One event only: the second read times out and the command fails.
	soc_says(version);
	EXPECT_EQ(bt::bt_hci_soc_pfal_vs_sendcmd(0xFC00, request, 1), 0);
}

// The longest event, 258 bytes, takes 516 digits: the answer keeps the 255
// whole bytes that fit its text, and says so in its length.
TEST_F(H4, BtHciAnswerOfTheLongestEventStaysInTheRecord)
{
	Bytes ev = {0x04, 0xFF, 0xFF};
	ev.resize(258, 0xAB);
	soc_says(ev);
	ftm::tapp_record r{};
	r.hdr.bt.length = 4;
	std::snprintf(r.params, sizeof r.params, "01030C00");
	bt::bt_hci(&r);
	EXPECT_EQ(soc_heard(), (Bytes{0x01, 0x03, 0x0C, 0x00}));
	EXPECT_EQ(r.result_len, 255);
	EXPECT_EQ(std::string(r.result).size(), 510u);
	EXPECT_EQ(std::string(r.result).substr(0, 8), "04ffffab");
}

// A length field far beyond the frame sends what the parameter text can
// hold, never more than a packet buffer.
TEST_F(H4, BtHciLyingLengthSendsAtMostThePacketBuffer)
{
	soc_says({0x04, 0x0E, 0x04, 0x01, 0x03, 0x0C, 0x00});
	ftm::tapp_record r{};
	r.hdr.bt.length = 0x7FFF;
	std::snprintf(r.params, sizeof r.params, "01030C00");
	bt::bt_hci(&r);
	Bytes sent = soc_heard();
	EXPECT_LE(sent.size(), bt::BT_PACKET_SIZE);
	EXPECT_GE(sent.size(), 4u);
	EXPECT_EQ(std::string(r.result), "040e0401030c00");
	EXPECT_EQ(r.result_len, 7);
}

TEST_F(H4, HardwareVersionEventFillsTheRegister)
{
	const uint8_t e[] = {0xFF, 11, 0x00, 0x01, 0x34, 0x00, 0x00, 0x8C, 0x04, 0x07, 0x01, 0x02, 0x03};
	bt::bt_hci_soc_vs_event(e, sizeof e);
	EXPECT_EQ(bt::bt_state.bt_soc_hw_version, (std::array<uint8_t, 4>{0x07, 0x01, 0x02, 0x03}));

	// Another register, or too short an event, leaves it alone.
	bt::reset_bt_globals();
	uint8_t other[sizeof e];
	std::copy(std::begin(e), std::end(e), other);
	other[4] = 0x35;
	bt::bt_hci_soc_vs_event(other, sizeof other);
	bt::bt_hci_soc_vs_event(e, 3);
	EXPECT_EQ(bt::bt_state.bt_soc_hw_version, (std::array<uint8_t, 4>{0x05, 0x00, 0x00, 0x00}));
}

bt::bt_soc_type type_of(const std::string &text)
{
	bt::bt_hci_soc_vs_handleappversion(text.data(), static_cast<int>(text.size()));
	return static_cast<bt::bt_soc_type>(bt::bt_state.bt_soc);
}

TEST(AppVersion, FirstReleaseInSearchOrderWins)
{
	EXPECT_EQ(type_of("  Release 3.03.0"), bt::BT_SOC_R2B);
	EXPECT_EQ(type_of("x Release 3.03.4 y Release 3.03.5"), bt::BT_SOC_4020BD_B0);
	EXPECT_EQ(type_of("Release 4.00.1"), bt::BT_SOC_4025_B0);
	EXPECT_EQ(type_of("Release 4.00.3"), bt::BT_SOC_UNKNOWN);
	// A text that fills the event with no terminator is read within it.
	std::string full(255, 'R');
	EXPECT_EQ(type_of(full), bt::BT_SOC_UNKNOWN);
	full.replace(240, 14, "Release 4.03.0");
	EXPECT_EQ(type_of(full), bt::BT_SOC_4021_B1);
}

// The simulated SoC's thread ends with its port: many opens and closes
// neither hang nor leave threads behind.
TEST(SimSoc, ThreadStopsWhenThePortCloses)
{
	bt_test::unit_board();
	for (int i = 0; i < 20; ++i) {
		int fd = plat::open("/dev/ttyHS0", O_RDWR | O_NOCTTY);
		ASSERT_GE(fd, 0);
		EXPECT_EQ(plat::close(fd), 0);
	}
}

TEST(InitUart, MissingPortGivesMinusOneAndKeepsIt)
{
	bt_test::unit_board();
	bt::reset_bt_globals();
	EXPECT_EQ(bt::bt_hci_pfal_init_uart("/dev/no_such_tty", 0, 0), -1);
	EXPECT_EQ(bt::bt_state.fd_ttyHS0, -1);
}

TEST(InitUart, SetsTheSimulatedPortRawAt115200)
{
	bt_test::unit_board();
	bt::reset_bt_globals();
	int fd = bt::bt_hci_pfal_init_uart("/dev/ttyHS0", 0, 0);
	ASSERT_GE(fd, 0);
	EXPECT_EQ(bt::bt_state.fd_ttyHS0, fd);
	bt::kernel_termios ti{};
	ASSERT_EQ(plat::ioctl(fd, bt::BT_TCGETS, &ti), 0);
	EXPECT_EQ(ti.c_cflag & bt::BT_CFLAG_CBAUD, 4098u);
	EXPECT_EQ(ti.c_lflag & bt::BT_LFLAG_RAW_CLEAR, 0u);
	EXPECT_EQ(ti.c_iflag & bt::BT_IFLAG_RAW_CLEAR, 0u);
	EXPECT_EQ(ti.c_cflag & bt::BT_CFLAG_CSIZE, bt::BT_CFLAG_CS8);
	plat::close(fd);
	bt::reset_bt_globals();
}

}  // namespace
