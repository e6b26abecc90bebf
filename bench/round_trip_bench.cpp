// What the daemon adds to a command's round trip over the pty, against the
// pty's own round trip (an echo through a pty pair) as the floor, and the
// start-up from exec to "FTMModeReady". Each case reports its median.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <pty.h>
#include <signal.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "station/board.h"
#include "station/link.h"
#include "station/phone.h"
#include "support/sim_phone.h"

namespace {

using clock_type = std::chrono::steady_clock;

// FTMD=build/bin/ftmd-sim-shell-log measures the log step by the shell.
std::string daemon_path()
{
	const char *p = std::getenv("FTMD");
	return p && *p ? p : FTMD_SIM_PATH;
}

double micros(clock_type::duration d) { return std::chrono::duration<double, std::micro>(d).count(); }

// Times each iteration and reports the median, in microseconds. A step
// gives back "" or, when the answer is wrong, the answer; prepare runs
// before each step, outside the time.
template <typename Step, typename Prepare>
void run_median(benchmark::State &state, Step step, Prepare prepare)
{
	std::vector<double> times;
	for (auto _ : state) {
		prepare();
		auto t0 = clock_type::now();
		if (std::string why = step(); !why.empty()) {
			state.SkipWithError(why.c_str());
			return;
		}
		times.push_back(micros(clock_type::now() - t0));
	}
	std::nth_element(times.begin(), times.begin() + static_cast<long>(times.size() / 2), times.end());
	state.counters["median_us"] = times[times.size() / 2];
}

template <typename Step>
void run_median(benchmark::State &state, Step step)
{
	run_median(state, step, [] {});
}

// The floor: a process that echoes what a pty brings, as the daemon's
// loop would with no work at all.
void BM_PtyEcho(benchmark::State &state)
{
	int master = -1, slave = -1;
	if (::openpty(&master, &slave, nullptr, nullptr, nullptr) != 0) {
		state.SkipWithError("openpty");
		return;
	}
	station::make_raw(slave);
	pid_t pid = ::fork();
	if (pid == 0) {
		::close(master);
		char buf[4096];
		for (;;) {
			fd_set set;
			FD_ZERO(&set);
			FD_SET(slave, &set);
			::select(slave + 1, &set, nullptr, nullptr, nullptr);
			ssize_t n = ::read(slave, buf, sizeof buf);
			if (n <= 0 || ::write(slave, buf, static_cast<size_t>(n)) != n)
				::_exit(0);
		}
	}
	::close(slave);
	run_median(state, [&] {
		station::write_all(master, "OK\n");
		std::string got = station::read_until_suffix(master, "OK\n", 3000);
		return got == "OK\n" ? std::string() : got;
	});
	::kill(pid, SIGKILL);
	::waitpid(pid, nullptr, 0);
	::close(master);
}
BENCHMARK(BM_PtyEcho)->Iterations(300)->Unit(benchmark::kMicrosecond)->UseRealTime();

void ask_case(benchmark::State &state, const std::string &command, const std::string &answer)
{
	testing_support::SimPhone phone(testing_support::SimPhone::Setup{.ftmd = daemon_path()});
	run_median(state, [&] {
		std::string got = phone.ask(command, answer);
		return got == answer ? std::string() : got;
	});
}

void BM_At(benchmark::State &state) { ask_case(state, "AT\n", "OK\n"); }
BENCHMARK(BM_At)->Iterations(300)->Unit(benchmark::kMicrosecond)->UseRealTime();

// A frame to an id no row has: decoded, searched, answered, no device.
void BM_FrameNoDevice(benchmark::State &state)
{
	ask_case(state, "AT*TAPP=0900400177770000000048\n", "*TAPP=05004001000044\nOK\n");
}
BENCHMARK(BM_FrameNoDevice)->Iterations(300)->Unit(benchmark::kMicrosecond)->UseRealTime();

// The dump of a log of a few commands' trace, the same each time.
void BM_DumpLogSmall(benchmark::State &state)
{
	testing_support::SimPhone phone(testing_support::SimPhone::Setup{.ftmd = daemon_path()});
	std::string log;
	for (int i = 0; i < 8; ++i)
		log += "<4>U [ftm.cpp:114] command_step() - exitpwrkey_thread=1,ftm_test_mode=0!\n";
	const std::string path = phone.path("/data/ftm.log");
	run_median(
	    state,
	    [&] {
		    std::string got = phone.ask("AT+DUMPLOG\n", ".OK.\nOK\n");
		    return got.find(log) != std::string::npos ? std::string() : got;
	    },
	    [&] { std::ofstream(path, std::ios::trunc) << log; });
}
BENCHMARK(BM_DumpLogSmall)->Iterations(300)->Unit(benchmark::kMicrosecond)->UseRealTime();

// From exec to "FTMModeReady" on the wired port, on a fresh board each time.
void BM_StartUp(benchmark::State &state)
{
	std::vector<double> times;
	for (auto _ : state) {
		state.PauseTiming();
		char templ[] = "/tmp/ftm-bench-XXXXXX";
		std::string dir = ::mkdtemp(templ) ? templ : "";
		if (dir.empty() || !station::init_board(dir)) {
			state.SkipWithError("no board");
			return;
		}
		station::Phone phone;
		station::Phone::Options o;
		o.board_dir = dir;
		o.ftmd_path = daemon_path();
		state.ResumeTiming();
		auto t0 = clock_type::now();
		if (!phone.start(o)) {
			state.SkipWithError("no start");
			return;
		}
		std::string ready = station::read_until_suffix(phone.wired(), "FTMModeReady\n", 5000);
		times.push_back(micros(clock_type::now() - t0) / 1000.0);
		state.PauseTiming();
		phone.stop();
		std::string rm = "rm -rf '" + dir + "'";
		if (std::system(rm.c_str()) != 0 || ready != "FTMModeReady\n") {
			state.SkipWithError("not ready");
			return;
		}
		state.ResumeTiming();
	}
	std::nth_element(times.begin(), times.begin() + static_cast<long>(times.size() / 2), times.end());
	state.counters["median_ms"] = times[times.size() / 2];
}
BENCHMARK(BM_StartUp)->Iterations(20)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
