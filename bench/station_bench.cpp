// What a station spends: building a frame, one command's round trip to the
// simulated phone, and reading a picture-sized streamed answer.
#include <benchmark/benchmark.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "station/commands.h"
#include "station/exchange.h"
#include "station/link.h"
#include "support/sim_phone.h"

namespace {

void BM_BuildFrame(benchmark::State &state)
{
	for (auto _ : state)
		benchmark::DoNotOptimize(station::build_request("wifi channel 01 06 00"));
}
BENCHMARK(BM_BuildFrame);

void BM_RoundTripSimPhone(benchmark::State &state)
{
	testing_support::SimPhone phone;
	const char *text = state.range(0) ? "AT*TAPP=090040017700000000003F\n" : "AT\n";
	for (auto _ : state) {
		auto x = station::exchange(phone.phone().wired(), text, station::Reply::final_line, 5000);
		if (x.outcome != station::Outcome::answered)
			state.SkipWithError("no answer");
	}
}
BENCHMARK(BM_RoundTripSimPhone)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// A 2592x1944 YUV422 picture as AT+DSCR sends it, over a socket pair.
void BM_StreamedPicture(benchmark::State &state)
{
	const size_t size = 2592 * 1944 * 2;
	std::string head = "FORMAT= YUV422\nRESOLUTION= 2592, 1944\nSIZE= " + std::to_string(size) + "\n\nOK\n";
	std::string body(size, 'y');
	for (auto _ : state) {
		int fds[2];
		if (::socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0)
			state.SkipWithError("socketpair");
		std::thread phone([&] {
			station::write_all(fds[1], head);
			station::write_all(fds[1], body);
			station::write_all(fds[1], "OK\n");
		});
		auto x = station::await_answer(fds[0], station::Reply::stream, 60000);
		phone.join();
		::close(fds[0]);
		::close(fds[1]);
		if (x.outcome != station::Outcome::answered)
			state.SkipWithError("incomplete");
	}
	state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
}
BENCHMARK(BM_StreamedPicture)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
