// What the results store costs a station: one step written and committed,
// in an SQLite file (WAL, synchronous=FULL) and on a PostgreSQL server of
// the bench's own with fsync on, as a line would run it.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>

#include "station/results_store.h"
#include "support/pg_server.h"

namespace {

station::StepRecord typical_step(int idx)
{
	return {idx, "camera snapshot", "AT*TAPP=090040017700000000003F\n", std::string(200, 'a') + "\nOK\n", "PASS",
	        "", "2026-11-23T10:00:00.000Z", 0.25, 0};
}

void write_steps(benchmark::State &state, const std::string &where)
{
	std::string error;
	auto store = station::open_results_store(where, &error);
	int64_t run = 0, phone = 0;
	if (!store || !store->begin_run({"RF", "full", "bench", "2026-11-23T10:00:00.000Z"}, &run).empty() ||
	    !store->begin_phone(run, {"sim0", "unidentified", "2026-11-23T10:00:00.000Z"}, &phone).empty()) {
		state.SkipWithError(error.c_str());
		return;
	}
	int idx = 0;
	for (auto _ : state)
		if (!store->add_step(phone, typical_step(idx++)).empty())
			state.SkipWithError("write failed");
}

void BM_StepSqlite(benchmark::State &state)
{
	namespace fs = std::filesystem;
	// Beside the build, on the disk a station would use (not a tmpfs).
	std::string dir = std::string(FTM_BIN_DIR) + "/results-bench-XXXXXX";
	if (!::mkdtemp(dir.data())) {
		state.SkipWithError("mkdtemp");
		return;
	}
	write_steps(state, dir + "/results.db");
	fs::remove_all(dir);
}
BENCHMARK(BM_StepSqlite)->Unit(benchmark::kMillisecond);

void BM_StepPostgresql(benchmark::State &state)
{
	testing_support::PgServer server({.fsync = true});
	std::string where = server.create_database("bench");
	if (where.empty()) {
		state.SkipWithError(server.error().c_str());
		return;
	}
	write_steps(state, where);
}
BENCHMARK(BM_StepPostgresql)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
