// Received buffers through the whole dispatcher on a simulated board: plain
// lines and frames, every row's handler against the board's device models.
// An input is up to eight reads of the port, separated by NUL bytes, so that
// one command can find the state an earlier one left. The loop's, trace's,
// log's and Wi-Fi's state start clean for each input; the port is /dev/null,
// so what a handler writes on it goes nowhere.
//
// Rows left out, and why:
//   AT+FTM     hands the port to the calibration bridge until the station
//              sends "~AT+FTM~" (calibration_framing_fuzz covers its framing)
//   AT+QUIT    runs a shell on the port
//   AT+LOG     forks a log daemon that outlives the input
//   AT+DSC*    camera: starts frame threads whose state outlives the input
//   frame A0 01 (Bluetooth active test): every run leaves the SoC's
//              descriptors open as the phone does, so a long run ends at the
//              descriptor limit, not at a fault of the input
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <vector>

#include "ftm/command.h"
#include "ftm/debug.h"
#include "ftm/ftm.h"
#include "ftm/log.h"
#include "ftm/mode.h"
#include "hal/wifi.h"
#include "sim/board.h"
#include "support/dispatch.h"
#include "support/temp_board.h"

namespace {

constexpr std::array<std::string_view, 4> kExcludedKeywords = {"AT+FTM", "AT+QUIT", "AT+LOG", "AT+DSC"};
constexpr uint32_t kBtActiveId = 0x101;

std::string upper(std::string_view text)
{
	std::string s(text);
	for (char &c : s)
		c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
	return s;
}

// The row id a frame names, decoded as the dispatcher decodes it.
uint32_t frame_id(const std::string &text)
{
	std::string padded = text;
	padded.resize(ftm::COMMAND_SIZE + ftm::COMMAND_SLACK, '\0');
	ftm::tapp_record r{};
	const char *cursor = padded.c_str() + 8;
	ftm::extract_bin_data_from_str(&cursor, &r.frame_len, 2);
	ftm::get_tapp_param(cursor, &r);
	if (r.req == ftm::TAPP_REQ_BT)
		return 0x100u + r.hdr.bt.cmd;
	return 0;
}

bool excluded(std::string_view received)
{
	std::string text = upper(received.substr(0, ftm::COMMAND_SIZE));
	if (text.starts_with("AT*TAPP="))
		return frame_id(text) == kBtActiveId;
	for (std::string_view k : kExcludedKeywords)
		if (text.starts_with(k))
			return true;
	return false;
}

void start_clean(int port)
{
	ftm::reset_loop_globals();
	ftm::reset_debug_globals();
	ftm::reset_log_globals();
	ftm::reset_mode_globals();
	hal::wifi_reset();
	ftm::loop.act_fd = ftm::loop.uart_fd = port;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	// Sleeps and waits run a thousand times faster than on the phone.
	testing_support::use_temp_board({{"time.scale", "0.001"}});
	static const int port = ::open("/dev/null", O_RDWR | O_CLOEXEC);
	static unsigned runs = 0;
	constexpr size_t kMaxReads = 8;

	std::vector<std::string_view> reads;
	std::string_view rest(reinterpret_cast<const char *>(data), size);
	while (!rest.empty() && reads.size() < kMaxReads) {
		size_t end = std::min(rest.find('\0'), rest.size());
		std::string_view read = rest.substr(0, end);
		if (read.size() > ftm::COMMAND_SIZE || excluded(read))
			return -1;
		reads.push_back(read);
		rest.remove_prefix(std::min(end + 1, rest.size()));
	}
	start_clean(port);
	for (std::string_view read : reads)
		if (testing_support::dispatch(read).size() >= ftm::ANSWER_SIZE)
			__builtin_trap();
	start_clean(port);
	// The trace goes to the board's kernel log: keep the file small.
	if (++runs % 1000 == 0)
		sim::Board::get().kmsg_read(true);
	return 0;
}
