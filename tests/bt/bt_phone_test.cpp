// The Bluetooth tests as a station runs them, against the simulated SoC.
// The SoC's answers take real time (the daemon waits 500 ms per read), so
// these boards keep time.scale at 1.
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

#include "station/tapp_frame.h"
#include "support/sim_phone.h"

namespace {

using testing_support::SimPhone;

constexpr const char *kActiveOk = "\n*TAPP=ACK\n*TAPP=0800a0010101000100a8\nOK\n";

std::string bt_active_frame() { return station::bt_frame(1, {}); }

// The answer of bt_active: "00" success, "01" failure.
std::string active_result(SimPhone &phone)
{
	auto answer = station::decode_answer(phone.ask(bt_active_frame()));
	if (!answer || !answer->checksum_ok || answer->result.size() != 1)
		return "bad answer";
	return answer->result[0] == 0 ? "00" : answer->result[0] == 1 ? "01" : "??";
}

std::vector<std::string> lines(const std::string &text)
{
	std::vector<std::string> out;
	std::istringstream in(text);
	for (std::string line; std::getline(in, line);)
		out.push_back(line);
	return out;
}

// The tag numbers the SoC was sent, in order (second byte of each record).
std::vector<int> tag_numbers(SimPhone &phone)
{
	std::vector<int> out;
	for (const std::string &line : lines(phone.file("var/bt_tags")))
		out.push_back(std::stoi(line.substr(3, 2), nullptr, 16));
	return out;
}

// The record of one tag as the SoC got it, "" if it never came.
std::string tag_record(SimPhone &phone, int number)
{
	char key[8];
	std::snprintf(key, sizeof key, "01 %02X ", number);
	for (const std::string &line : lines(phone.file("var/bt_tags")))
		if (line.rfind(key, 0) == 0)
			return line;
	return "";
}

SimPhone::Setup firmware(const std::string &text, std::map<std::string, std::string> more = {})
{
	more["bt.firmware"] = text;
	return SimPhone::Setup{.board = more};
}

const std::vector<int> kB1Fixed = {2, 4, 5, 17, 27, 39, 44, 45, 46, 53, 55, 57, 70, 71};
const std::vector<int> kB1Custom = {6, 32, 37, 38, 97};
const std::vector<int> kB1Text = {28, 36, 40, 41, 95, 99, 111, 112, 113, 114, 115, 116, 119, 120, 121, 123, 126};

std::vector<int> concat(std::initializer_list<std::vector<int>> parts)
{
	std::vector<int> out;
	for (const auto &p : parts)
		out.insert(out.end(), p.begin(), p.end());
	return out;
}

TEST(BtActive, BringsUpThe4025B1WithEveryTagInOrder)
{
	SimPhone phone;
	EXPECT_EQ(phone.ask(bt_active_frame()), kActiveOk);

	EXPECT_EQ(tag_numbers(phone), concat({kB1Fixed, kB1Custom, kB1Text}));
	// Compiled tags, byte for byte: the default address, the 32 MHz 2.1 clock
	// tag, the 4025 form of tag 37 without clock sharing.
	EXPECT_EQ(tag_record(phone, 2), "01 02 06 34 12 78 56 BC 9A");
	EXPECT_EQ(tag_record(phone, 32), "01 20 02 05 0D");
	EXPECT_EQ(tag_record(phone, 37), "01 25 16 00 00 02 01 01 12 1D 00 00 12 1D 00 00 00 00 00 34 32 30 00 00 00");
	EXPECT_EQ(tag_record(phone, 17), "01 11 07 0A 01 00 00 00 00 00");
	// Tags parsed from the text NVM.
	EXPECT_EQ(tag_record(phone, 28), "01 1C 0F 00 10 00 00 2C 01 01 00 00 F0 00 00 FF FF 00");
	EXPECT_EQ(tag_record(phone, 99), "01 63 01 0D");
	EXPECT_EQ(tag_record(phone, 95), "01 5F 0B 00 03 01 0D 00 00 00 02 00 02 02");
	EXPECT_EQ(lines(tag_record(phone, 119) + "\n")[0].size(), (3u + 248u) * 3u - 1u);

	// The port was set raw, 8N1, hardware flow control, 115200 (code 0x1002).
	std::string termios = phone.file("var/bt_termios");
	unsigned iflag = 0, oflag = 0, cflag = 0, lflag = 0;
	ASSERT_EQ(std::sscanf(termios.c_str(), "iflag=%x oflag=%x cflag=%x lflag=%x", &iflag, &oflag, &cflag, &lflag), 4);
	EXPECT_EQ(iflag & 0x5EBu, 0u);
	EXPECT_EQ(oflag & 0x1u, 0u);
	EXPECT_EQ(lflag & 0x804Bu, 0u);
	EXPECT_EQ(cflag & 0x80000800u, 0x80000800u);
	EXPECT_EQ(cflag & 0x130u, 0x30u);  // CS8, no parity
	EXPECT_EQ(cflag & 0x100Fu, 0x1002u);

	std::string log = phone.file("data/ftm.log");
	EXPECT_NE(log.find("bt_soc_type : BT_SOC_4025_B1"), std::string::npos);
	EXPECT_NE(log.find("bt_hci_soc_init - Successful"), std::string::npos);
}

TEST(BtActive, RunTwiceOpensAgainAndStillWorks)
{
	SimPhone phone;
	EXPECT_EQ(phone.ask(bt_active_frame()), kActiveOk);
	EXPECT_EQ(phone.ask(bt_active_frame()), kActiveOk);
	EXPECT_EQ(tag_numbers(phone).size(), 36u);
	EXPECT_EQ(phone.ask("AT+BT\n"), "OK\n");
}

TEST(BtActive, UnpoweredSocFailsAndTheDaemonStaysUp)
{
	SimPhone phone;
	std::remove(phone.path("sys/class/rfkill/rfkill0/state").c_str());
	EXPECT_EQ(active_result(phone), "01");
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
	EXPECT_NE(phone.file("data/ftm.log").find("Can't open /sys/class/rfkill/rfkill1/state"), std::string::npos);
}

struct Silicon {
	const char *firmware;
	long hw_version;
	const char *result;
	const char *type_trace;
	size_t tags;  // tags sent, fixed and custom stages (and text tags if any)
	const char *name;
};

void PrintTo(const Silicon &s, std::ostream *os) { *os << s.name; }

class BtSilicon : public ::testing::TestWithParam<Silicon> {};

// Every type but the 4025 B1 and the unknown one fails at the dynamic stage,
// as only the 4025 B1 has a text NVM; the oldest are refused outright.
TEST_P(BtSilicon, ChoosesItsTablesAndEndsAsItsKindDoes)
{
	const Silicon &s = GetParam();
	SimPhone phone(firmware(s.firmware, {{"bt.hw_version", std::to_string(s.hw_version)}}));
	EXPECT_EQ(active_result(phone), s.result);
	EXPECT_EQ(tag_numbers(phone).size(), s.tags);
	std::string log = phone.file("data/ftm.log");
	EXPECT_NE(log.find(s.type_trace), std::string::npos) << log;
	if (std::string_view(s.name) == "Unknown") {  // only a hit names its type
		EXPECT_EQ(log.find("bt_soc_type"), std::string::npos) << log;
	}
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
}

INSTANTIATE_TEST_SUITE_P(
    Types, BtSilicon,
    ::testing::Values(
        Silicon{"ROM Release 3.03.0", 5, "01", "bt_hci_soc_init Failed R2B Not supported", 0, "R2B"},
        Silicon{"ROM Release 3.03.1", 5, "01", "bt_hci_soc_init Failed R2C Not supported", 0, "R2C"},
        Silicon{"ROM Release 3.03.2", 5, "01", "bt_hci_soc_init - Failed bt_soc_read_nvm_tags_from_header", 19, "R3"},
        Silicon{"ROM Release 3.03.3", 5, "01", "Not supported BT SOC, please update your BT hardware.", 0, "R3BD"},
        Silicon{"ROM Release 3.03.5", 5, "01", "bt_soc_type : BT_SOC_4020BD_B0 (hw_ver=0x5)", 24, "B4020BD_B0"},
        Silicon{"ROM Release 3.03.5", 7, "01", "bt_soc_type : BT_SOC_4020BD_B1 (hw_ver=0x7)", 23, "B4020BD_B1"},
        Silicon{"ROM Release 3.03.4", 5, "01", "Not supported BT SOC, please update your BT hardware.", 0, "R4"},
        Silicon{"ROM Release 3.03.5 Release 3.03.4", 5, "01", "BT_SOC_4020BD_B0 (hw_ver=0x5)", 24, "B4020BD_B0_over_R4"},
        Silicon{"ROM Release 4.03.0", 5, "01", "bt_soc_type : BT_SOC_4021_B1", 20, "B4021_B1"},
        Silicon{"ROM Release 4.00.0", 5, "01", "bt_soc_type : BT_SOC_4025_A0", 34, "B4025_A0"},
        Silicon{"ROM Release 4.00.1", 5, "01", "bt_soc_type : BT_SOC_4025_B0", 25, "B4025_B0"},
        Silicon{"ROM Release 4.00.2", 5, "00", "bt_soc_type : BT_SOC_4025_B1", 36, "B4025_B1"},
        Silicon{"ROM Release 9.99.9", 5, "00", "ApplicationVersion: ROM Release 9.99.9", 23, "Unknown"}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(BtActive, R3GetsItsPokeTableFirst)
{
	SimPhone phone(firmware("Release 3.03.2"));
	EXPECT_EQ(active_result(phone), "01");
	EXPECT_EQ(phone.file("var/bt_pokes"),
	          "01 40 D4 7A 00 00 1F 70 03 70 81 71 03 70 00 00 00 00 ED 6B 03 70 00 00 00 00 0B 72 03 70 8F 72 03 70 "
	          "01 7B 00 00 00 00 00 00 00 00 00 00 1D 73 03 70 01 49 88 70 01 49 08 47 DC 6C 00 00 D1 72 03 70\n");
}

TEST(BtActive, The4020BdB1TakesItsOwnPatches)
{
	SimPhone b0(firmware("Release 3.03.5", {{"bt.hw_version", "5"}}));
	SimPhone b1(firmware("Release 3.03.5", {{"bt.hw_version", "0x105"}}));  // low byte 5: still B0
	SimPhone b1real(firmware("Release 3.03.5", {{"bt.hw_version", "6"}}));
	active_result(b0);
	active_result(b1);
	active_result(b1real);
	// Tag 106 is 56 bytes on the B0 and 71 on the B1, tag 108 94 and 19.
	auto size = [](const std::string &record) { return (record.size() + 1) / 3 + 1; };
	EXPECT_EQ(size(tag_record(b0, 106)), 56u);
	EXPECT_EQ(size(tag_record(b1, 106)), 56u);
	EXPECT_EQ(size(tag_record(b1real, 106)), 71u);
	EXPECT_EQ(size(tag_record(b1real, 108)), 19u);
}

// Version events of the wrong form leave the type at 255: the unknown tables
// go out, and the dynamic stage fails because 255 is not the 4025 B1.
TEST(BtActive, VersionAnswerNotUnderstoodUsesTheUnknownTablesAndFails)
{
	SimPhone phone(SimPhone::Setup{.board = {{"bt.fault", "wrong"}, {"bt.fault_count", "1"}}});
	EXPECT_EQ(active_result(phone), "01");
	EXPECT_EQ(tag_numbers(phone).size(), 23u);
	EXPECT_NE(phone.file("data/ftm.log").find("Failed bt_soc_read_nvm_tags_from_header"), std::string::npos);
}

struct Fault {
	const char *fault;
	int from;            // command number the fault starts at
	const char *trace;   // what the daemon says about it
};

void PrintTo(const Fault &f, std::ostream *os) { *os << f.fault << " from command " << f.from; }

class BtFault : public ::testing::TestWithParam<Fault> {};

// Commands of the 4025 B1 bring-up: 1 version, 2-15 fixed, 16-20 custom,
// 21-37 text tags, 38 HCI Reset.
TEST_P(BtFault, FailsTheBringUpWithoutHangingTheDaemon)
{
	const Fault &f = GetParam();
	SimPhone phone(SimPhone::Setup{.board = {{"bt.fault", f.fault}, {"bt.fault_from", std::to_string(f.from)}}});
	EXPECT_EQ(active_result(phone), "01");
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
	EXPECT_NE(phone.file("data/ftm.log").find(f.trace), std::string::npos) << phone.file("data/ftm.log");
}

INSTANTIATE_TEST_SUITE_P(
    Faults, BtFault,
    ::testing::Values(Fault{"silent", 1, "bt_hci_soc_get_event: VERY SHORT READ!-0"},
                      Fault{"late", 1, "bt_hci_soc_nread: read BT SoC timed out."},
                      Fault{"truncated", 2, "bt_hci_soc_init - Failed to send fixed VSCmd"},
                      Fault{"overlong", 16, "bt_hci_soc_get_event: SHORT READ!-"},
                      Fault{"overlong", 16, "bt_hci_soc_init - Failed to send custom VSCmd"},
                      Fault{"single", 21, "Failed to receive cmd cmplt event"},
                      Fault{"single", 21, "bt_hci_soc_init - Failed to send dynamic VSCmd"},
                      Fault{"silent", 38, "bt_hci_soc_init - Failed"}),
    [](const auto &info) { return std::string(info.param.fault) + "_at_" + std::to_string(info.param.from) + "_" +
                                  std::to_string(info.index); });

// A SoC slower than a read's wait on each event, but never silent for the
// whole wait, is never cut off: the wait is per read.
TEST(BtActive, SlowButSteadySocSucceeds)
{
	SimPhone phone(SimPhone::Setup{.board = {{"bt.fault", "late"}, {"bt.late_ms", "50"}}});
	EXPECT_EQ(phone.ask(bt_active_frame()), kActiveOk);
}

TEST(BtHci, ReadBdAddrAfterBringUpGivesTheDownloadedAddress)
{
	SimPhone phone;
	ASSERT_EQ(phone.ask(bt_active_frame()), kActiveOk);
	auto answer = station::decode_answer(phone.ask(station::bt_frame(0, {0x01, 0x09, 0x10, 0x00})));
	ASSERT_TRUE(answer);
	EXPECT_TRUE(answer->checksum_ok);
	EXPECT_EQ(answer->cmd, 0);
	EXPECT_EQ(answer->result, (std::vector<uint8_t>{0x04, 0x0E, 0x0A, 0x01, 0x09, 0x10, 0x00, 0x34, 0x12, 0x78, 0x56,
	                                                0xBC, 0x9A}));
}

TEST(BtHci, ResetAnswersWithTheWholeEventInLowerCase)
{
	SimPhone phone;
	ASSERT_EQ(phone.ask(bt_active_frame()), kActiveOk);
	// 04 0E 04 01 03 0C 00: result_len 7, resp_len 14.
	EXPECT_EQ(phone.ask(station::bt_frame(0, {0x01, 0x03, 0x0C, 0x00})),
	          "\n*TAPP=ACK\n*TAPP=0e00a00101070000040e0401030c00a9\nOK\n");
}

TEST(BtHci, BeforeBtActiveThePortIsNotOpenAndTheAnswerIs00)
{
	SimPhone phone;
	auto answer = station::decode_answer(phone.ask(station::bt_frame(0, {0x01, 0x03, 0x0C, 0x00})));
	ASSERT_TRUE(answer);
	EXPECT_EQ(answer->result, std::vector<uint8_t>{0x00});
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
}

TEST(BtHci, SilentOrGarbledSocAnswers00AndTheNextCommandIsServed)
{
	for (const char *fault : {"silent", "truncated", "overlong"}) {
		SimPhone phone;
		ASSERT_EQ(phone.ask(bt_active_frame()), kActiveOk);
		phone.set_board("bt.fault", fault);
		auto answer = station::decode_answer(phone.ask(station::bt_frame(0, {0x01, 0x09, 0x10, 0x00})));
		ASSERT_TRUE(answer) << fault;
		EXPECT_EQ(answer->result, std::vector<uint8_t>{0x00}) << fault;
		EXPECT_EQ(phone.ask("AT\n"), "OK\n") << fault;
	}
}

// A frame whose length field claims far more than it carries: the daemon
// sends no more than its packet buffer and the text hold, and answers with
// the event of the real packet at the front.
TEST(BtHci, LyingLengthIsBoundedAndAnswered)
{
	SimPhone phone;
	ASSERT_EQ(phone.ask(bt_active_frame()), kActiveOk);
	std::vector<uint8_t> frame = {0x0B, 0x00, 0xA0, 0x01, 0x01, 0xFF, 0x7F, 0x00, 0x01, 0x03, 0x0C, 0x00};
	uint8_t x = 0;
	for (uint8_t b : frame)
		x ^= b;
	frame.push_back(x);
	auto answer = station::decode_answer(phone.ask("AT*TAPP=" + station::to_hex(frame) + "\n"));
	ASSERT_TRUE(answer);
	EXPECT_EQ(answer->result, (std::vector<uint8_t>{0x04, 0x0E, 0x04, 0x01, 0x03, 0x0C, 0x00}));
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
}

TEST(AtBt, OnlyTracesAndAnswersOk)
{
	SimPhone phone;
	EXPECT_EQ(phone.ask("AT+BT\n"), "OK\n");
	EXPECT_NE(phone.file("data/ftm.log").find("at_bt_test!"), std::string::npos);
	EXPECT_EQ(phone.file("var/bt_tags"), "");
}

}  // namespace
