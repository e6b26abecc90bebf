// Bluetooth on the simulated board: the whole bring-up of the 4025 B1
// (37 vendor commands, 75 events, an HCI Reset) and one raw HCI round trip.
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <fcntl.h>
#include <string>

#include "hal/bt_h4.h"
#include "hal/bt_hci.h"
#include "hal/bt_soc.h"
#include "platform/platform.h"
#include "station/board.h"

namespace {

// A fresh powered board, named before the platform first reads FTM_BOARD.
void powered_board()
{
	static const bool ready = [] {
		char templ[] = "/tmp/ftm-bt-bench-XXXXXX";
		std::string dir = ::mkdtemp(templ) ? templ : "/tmp";
		station::init_board(dir, nullptr);
		station::set_board_value(dir, "bt.snoop", "0");
		::setenv("FTM_BOARD", dir.c_str(), 1);
		std::atexit([] {
			std::string cmd = "rm -rf '" + std::string(std::getenv("FTM_BOARD")) + "'";
			if (cmd.find("/tmp/ftm-bt-bench-") != std::string::npos)
				(void)!std::system(cmd.c_str());
		});
		int fd = plat::open("/sys/class/rfkill/rfkill0/state", O_WRONLY | O_TRUNC);
		(void)!plat::write(fd, "1", 1);
		plat::close(fd);
		return true;
	}();
	(void)ready;
}

void BM_BtSocInit(benchmark::State &state)
{
	powered_board();
	for (auto _ : state) {
		state.PauseTiming();
		bt::reset_bt_globals();
		int fd = bt::bt_hci_pfal_init_uart("/dev/ttyHS0", 0, 0);
		state.ResumeTiming();
		if (bt::bt_hci_soc_init() != 1)
			state.SkipWithError("bring-up failed");
		state.PauseTiming();
		plat::close(fd);  // the daemon keeps it; the bench must not pile up ports
		state.ResumeTiming();
	}
}
BENCHMARK(BM_BtSocInit)->Unit(benchmark::kMillisecond);

void BM_BtHciRoundTrip(benchmark::State &state)
{
	powered_board();
	bt::reset_bt_globals();
	int fd = bt::bt_hci_pfal_init_uart("/dev/ttyHS0", 0, 0);
	uint8_t event[bt::BT_PACKET_SIZE];
	for (auto _ : state) {
		bt::bt_hci_soc_nwrite(bt::hci_read_bd_addr_cmd.data(), 4);
		if (!bt::bt_hci_soc_get_event(event))
			state.SkipWithError("no event");
	}
	plat::close(fd);
}
BENCHMARK(BM_BtHciRoundTrip)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
