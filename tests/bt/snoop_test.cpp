// An independent reading of the wire: tshark dissects the simulated SoC's
// btsnoop capture of a whole bring-up, and every packet must come out as a
// well-formed HCI command or event with the opcode we meant to send.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "station/tapp_frame.h"
#include "support/sim_phone.h"

namespace {

std::string run(const std::string &command)
{
	std::string out;
	std::unique_ptr<FILE, int (*)(FILE *)> pipe(::popen(command.c_str(), "r"), ::pclose);
	if (!pipe)
		return out;
	char buf[4096];
	size_t n;
	while ((n = std::fread(buf, 1, sizeof buf, pipe.get())) > 0)
		out.append(buf, n);
	return out;
}

bool have_tshark() { return std::system("tshark -v >/dev/null 2>&1") == 0; }

TEST(BtSnoop, TsharkReadsEveryPacketOfABringUpAsWellFormedHci)
{
	if (!have_tshark())
		GTEST_SKIP() << "tshark is not installed (scripts/setup.sh installs it)";
	testing_support::SimPhone phone;
	ASSERT_EQ(phone.ask(station::bt_frame(1, {})), "\n*TAPP=ACK\n*TAPP=0800a0010101000100a8\nOK\n");

	// One line per frame: H4 type, command opcode, event code, the opcode and
	// status a Command Complete reports, and a mark for anything the
	// dissectors found malformed.
	std::string fields = run("tshark -r '" + phone.path("var/bt_snoop.log") +
	                         "' -T fields -E separator=, -e hci_h4.type -e bthci_cmd.opcode -e bthci_evt.code"
	                         " -e bthci_evt.opcode -e bthci_evt.status -e _ws.malformed 2>/dev/null");
	std::vector<std::string> got;
	std::istringstream in(fields);
	for (std::string line; std::getline(in, line);)
		got.push_back(line);

	// The version request, 36 tags and the reset; two events per vendor
	// command, Command Complete after the reset.
	std::vector<std::string> want;
	auto vendor = [&](const std::string &opcode) {
		want.push_back("0x01," + opcode + ",,,,");
		want.push_back("0x04,,0xff,,,");
		want.push_back("0x04,,0x0e," + opcode + ",,");  // vendor return parameters stay opaque
	};
	vendor("0xfc00");
	for (int i = 0; i < 36; ++i)
		vendor("0xfc0b");
	want.push_back("0x01,0x0c03,,,,");
	want.push_back("0x04,,0x0e,0x0c03,0x00,");
	EXPECT_EQ(got, want) << fields;
}

// The capture's records, read by the file format alone: a 16-byte file
// header, then per record original and included length, flags, drops and
// a 64-bit time, all big-endian, and the bytes.
struct SnoopRecord {
	bool received;
	std::vector<uint8_t> bytes;
};

uint32_t be32(const std::string &s, size_t at)
{
	uint32_t v = 0;
	for (size_t i = 0; i < 4; ++i)
		v = v << 8 | static_cast<uint8_t>(s[at + i]);
	return v;
}

std::vector<SnoopRecord> snoop_records(const std::string &file)
{
	std::vector<SnoopRecord> records;
	if (file.size() < 16 || file.compare(0, 8, std::string("btsnoop\0", 8)) != 0 || be32(file, 12) != 1002)
		return records;
	size_t at = 16;
	while (at + 24 <= file.size()) {
		uint32_t length = be32(file, at), included = be32(file, at + 4), flags = be32(file, at + 8);
		if (length != included || at + 24 + length > file.size())
			break;
		const auto *p = reinterpret_cast<const uint8_t *>(file.data()) + at + 24;
		records.push_back({(flags & 1) != 0, std::vector<uint8_t>(p, p + length)});
		at += 24 + length;
	}
	return records;
}

TEST(BtSnoop, EveryWriteOfTheDaemonIsCapturedExactlyAsWritten)
{
	testing_support::SimPhone phone({.board = {{"time.scale", "0.01"}}});
	ASSERT_EQ(phone.ask(station::bt_frame(1, {})), "\n*TAPP=ACK\n*TAPP=0800a0010101000100a8\nOK\n");
	// The SoC records an event just after it goes out, so the bring-up's
	// last one (the reset's completion) may land after the answer: wait for it.
	const std::vector<uint8_t> reset_done = {0x04, 0x0E, 0x04, 0x01, 0x03, 0x0C, 0x00};
	std::vector<SnoopRecord> settled;
	for (auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
	     std::chrono::steady_clock::now() < end; std::this_thread::sleep_for(std::chrono::milliseconds(10))) {
		settled = snoop_records(phone.file("var/bt_snoop.log"));
		if (!settled.empty() && settled.back().received && settled.back().bytes == reset_done)
			break;
	}
	ASSERT_FALSE(settled.empty());
	ASSERT_EQ(settled.back().bytes, reset_done);
	size_t before = settled.size();

	// Noise, a packet of an unknown type, a command cut after its opcode:
	// the SoC serves none of them, the capture shows each as it went out.
	const std::vector<std::vector<uint8_t>> writes = {
		{0xFF, 0x00, 0x42},
		{0x07, 0x55, 0x66, 0x77},
		{0x01, 0x03},
	};
	for (const auto &bytes : writes)
		EXPECT_TRUE(station::decode_answer(phone.ask(station::bt_frame(0, bytes))));

	std::vector<SnoopRecord> records = snoop_records(phone.file("var/bt_snoop.log"));
	std::vector<std::vector<uint8_t>> host;
	for (size_t i = before; i < records.size(); ++i) {
		EXPECT_FALSE(records[i].received) << "no event answers these writes";
		host.push_back(records[i].bytes);
	}
	EXPECT_EQ(host, writes);

	// The file stays one that tshark reads through: a frame per record.
	if (have_tshark()) {
		std::string frames = run("tshark -r '" + phone.path("var/bt_snoop.log") +
		                         "' -T fields -e frame.number 2>/dev/null");
		EXPECT_EQ(std::count(frames.begin(), frames.end(), '\n'), static_cast<long>(records.size()));
	}
}

}  // namespace
