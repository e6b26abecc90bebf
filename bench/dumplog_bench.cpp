// AT+DUMPLOG of a 1 MiB log over the pty, and the cost of one trace line.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "ftm/debug.h"
#include "ftm/ftm.h"
#include "sim/board.h"
#include "station/board.h"
#include "support/sim_phone.h"

namespace {

std::string kernel_text(size_t size)
{
	std::string log;
	for (int i = 0; log.size() < size; ++i)
		log += "<4>U [ftm.cpp:" + std::to_string(i) + "] command_step() - exitpwrkey_thread=1,ftm_test_mode=0!\n";
	log.resize(size);
	return log;
}

void BM_DumpLog1MiB(benchmark::State &state)
{
	testing_support::SimPhone phone;
	const std::string log = kernel_text(1 << 20);
	size_t bytes = 0;
	for (auto _ : state) {
		state.PauseTiming();
		{
			std::ofstream out(phone.path("/data/ftm.log"), std::ios::binary | std::ios::trunc);
			out << log;
		}
		state.ResumeTiming();
		std::string answer = phone.ask("AT+DUMPLOG\n", ".OK.\nOK\n", 60000);
		if (answer.size() < log.size())
			state.SkipWithError("short dump");
		bytes += answer.size();
	}
	state.SetBytesProcessed(static_cast<int64_t>(bytes));
}
BENCHMARK(BM_DumpLog1MiB)->Unit(benchmark::kMillisecond)->UseRealTime();

// One trace line into the board's kernel log, in this process.
void BM_DbgPrint(benchmark::State &state)
{
	static const std::string root = [] {
		std::string templ = "/tmp/ftm-bench-XXXXXX";
		std::vector<char> buf(templ.begin(), templ.end());
		buf.push_back('\0');
		std::string dir = ::mkdtemp(buf.data()) ? buf.data() : "";
		station::init_board(dir);
		::setenv("FTM_BOARD", dir.c_str(), 1);
		return dir;
	}();
	ftm::reset_debug_globals();
	int n = 0;
	for (auto _ : state) {
		DBG("exitpwrkey_thread=%d,ftm_test_mode=%d!\n", 1, n);
		if (++n % 4096 == 0) {
			// Keep the log the size a command leaves behind.
			state.PauseTiming();
			sim::Board::get().kmsg_read(true);
			state.ResumeTiming();
		}
	}
	sim::Board::get().kmsg_read(true);
}
BENCHMARK(BM_DbgPrint);

}  // namespace

BENCHMARK_MAIN();
