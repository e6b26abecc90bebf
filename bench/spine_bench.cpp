// The command path: one plain command and one frame through the dispatcher
// in process, and a round trip to the simulated phone over its pty.
#include <benchmark/benchmark.h>
#include <cstring>
#include <string>
#include <vector>

#include "ftm/command.h"
#include "station/link.h"
#include "support/sim_phone.h"
#include "support/temp_board.h"

namespace {

void run(benchmark::State &state, const std::string &text)
{
	testing_support::use_temp_board();
	std::vector<char> buffer(ftm::COMMAND_SIZE + ftm::COMMAND_SLACK, '\0');
	char answer[ftm::ANSWER_SIZE];
	for (auto _ : state) {
		std::memcpy(buffer.data(), text.data(), text.size());
		answer[0] = '\0';
		ftm::check_tapp_command(buffer.data(), text.size(), answer, sizeof answer);
		benchmark::DoNotOptimize(answer);
	}
}

// A keyword near the end of the table, so the search walks all rows.
void BM_PlainCommand(benchmark::State &state) { run(state, "AT+NOSUCH\n"); }
BENCHMARK(BM_PlainCommand);

// A frame to an id no row has: decode, checksum, search, answer. The trace
// of each frame goes to the board's kernel log, as on the phone.
void BM_Frame(benchmark::State &state) { run(state, "AT*TAPP=0900400177770000000048\n"); }
BENCHMARK(BM_Frame);

void BM_PtyRoundTrip(benchmark::State &state)
{
	testing_support::SimPhone phone;
	for (auto _ : state) {
		std::string answer = phone.ask("AT\n");
		if (answer != "OK\n")
			state.SkipWithError("unexpected answer");
	}
}
BENCHMARK(BM_PtyRoundTrip)->Unit(benchmark::kMicrosecond);

// From the daemon's start to its "FTMModeReady" on the wired port: the
// version screen, the input devices, the first kernel log copy.
void BM_StartToReady(benchmark::State &state)
{
	testing_support::SimPhone phone({.start = false});
	for (auto _ : state) {
		if (phone.boot() != "FTMModeReady\n")
			state.SkipWithError("no FTMModeReady");
		state.PauseTiming();
		phone.stop();
		state.ResumeTiming();
	}
}
BENCHMARK(BM_StartToReady)->Unit(benchmark::kMillisecond)->Iterations(10);

}  // namespace

BENCHMARK_MAIN();
