// Phones per hour on the simulated line: ftm-station runs lists/full.yaml on
// 1, 4 and 8 simulated phones at once, each with its own board, the results
// going into an SQLite file as on a line. Wall time of the whole run, from
// start to the last verdict; CPU is the machine's, shared by every phone.
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdlib>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

void BM_PhonesPerHour(benchmark::State &state)
{
	const int phones = static_cast<int>(state.range(0));
	char templ[] = "/tmp/ftm-line-bench-XXXXXX";
	std::string dir = ::mkdtemp(templ) ? templ : "/tmp";
	std::string cmd = std::string(FTM_BIN_DIR) + "/ftm-station --sim " + std::to_string(phones) + " run " +
	                  FTM_SOURCE_DIR + "/lists/full.yaml --db " + dir + "/results.db >" + dir + "/out 2>&1";
	for (auto _ : state) {
		auto start = std::chrono::steady_clock::now();
		int status = std::system(cmd.c_str());
		double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
		if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
			state.SkipWithError(("the line did not pass; see " + dir + "/out").c_str());
		state.SetIterationTime(s);
		state.counters["phones_per_hour"] = phones * 3600.0 / s;
		state.counters["seconds_per_phone"] = s / phones;
	}
	rusage ru{};
	::getrusage(RUSAGE_CHILDREN, &ru);
	state.counters["cpu_s_children"] = static_cast<double>(ru.ru_utime.tv_sec + ru.ru_stime.tv_sec);
	if (dir != "/tmp")
		(void)std::system(("rm -rf '" + dir + "'").c_str());
}
BENCHMARK(BM_PhonesPerHour)->Arg(1)->Arg(4)->Arg(8)->Iterations(1)->UseManualTime()->Unit(benchmark::kSecond);

}  // namespace

BENCHMARK_MAIN();
