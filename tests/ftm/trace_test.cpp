// The trace a line engineer reads back with AT+DUMPLOG: for each handler,
// the lines it must leave in the log when it runs, text for text.
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "station/tapp_frame.h"
#include "support/sim_phone.h"

namespace {

using testing_support::SimPhone;

struct traced {
	std::string command;
	std::vector<std::string> lines;  // each found once more after the command
};

const std::string kZeros41 = std::string(82, '0'), kZeros65 = std::string(130, '0');

const traced kTraces[] = {
    {"AT+DEBUG=OFF\n", {"at_debug_switcher() - OFF\n"}},
    {"AT+GPIO\n", {"at_gpio_test!\n"}},
    {"AT+WPID=" + kZeros41 + "\n", {"\n*********at_wpid_test=OK\n", "Write successfully\n"}},
    {"AT+WTF=" + kZeros65 + "\n", {"\n*********at_wtsflag_test=OK\n", "Write successfully\n"}},
    {"AT+RPID\n", {"at read at_rpid_test CRC=0\n"}},
    {"AT+RTF\n", {"at read at_rtsflag_test CRC=0\n"}},
    {"AT+BAUD=1\n", {"\n*********at_UART3_BAUDR_460800=OK\n", "at_UART3_BAUDR_460800 successfully\n"}},
    {"AT+BAUD=0\n", {"\n*********at_UART3_BAUDR_460800 clean.\n", "at_UART3_BAUDR_460800 successfully\n"}},
    {"AT+NV=80290255\n", {"at_Write_NV_num_val, nv=8029, val=255.\n", "at_Write_NV_8029 successfully\n"}},
    {"AT+WFUSE\n", {"at read FUSE test\n"}},
    {"AT+RFUSE\n", {"at read FUSE test\n"}},
    {"AT+ADC=BATTERY\n", {"BATTERY_VOLTAGE\n", "Get value: 0x"}},
    {"AT+CHARGE=7\n", {"Unknown command\n"}},
    {"AT+BIC\n", {"ret = ", "data = ", "BID = "}},
    {"AT+LED=F1\n", {"Wrong led index:15\n"}},
    {"AT*DEEPSLEEP\n", {"Start sleep test \n", "put_modem_to_LPM\n"}},
    {"AT+KEYPAD=0\n", {"exitpwrkey_thread=1,ftm_test_mode=0!\n"}},
    // A frame names its row and its header, whatever the class.
    {station::bb_frame(1, 4, {0x00}), {"cmd = 4, tapp.id = 4\n", "access = 01, func_index = 0004, length = 0001, rev = 0000\n"}},
    {station::bb_frame(0, 0x1D, {0x01, 0x10}), {"cmd = 1d, tapp.id = 1d\n", "access = 00, func_index = 001d, length = 0002"}},
    {"AT*TAPP=0A004001040001000000014E\n", {"CRC = 01\n"}},
};

TEST(Trace, EachHandlerLeavesItsLinesInTheLog)
{
	SimPhone phone(SimPhone::Setup{.board = {{"time.scale", "0.01"}}});
	for (const traced &t : kTraces) {
		SCOPED_TRACE(t.command);
		std::vector<int> before;
		for (const std::string &line : t.lines)
			before.push_back(phone.trace_count(line));
		phone.command(t.command);
		for (size_t i = 0; i < t.lines.size(); ++i)
			EXPECT_TRUE(phone.wait_trace(t.lines[i], before[i] + 1, 3000)) << "no trace \"" << t.lines[i] << "\"";
	}
}

}  // namespace
