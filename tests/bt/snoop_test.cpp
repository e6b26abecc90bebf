// An independent reading of the wire: tshark dissects the simulated SoC's
// btsnoop capture of a whole bring-up, and every packet must come out as a
// well-formed HCI command or event with the opcode we meant to send.
#include <cstdio>
#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <string>
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

}  // namespace
