// Station round trips of the sensor and Wi-Fi rows on the simulated phone:
// pure handlers against those that run the board's shell tools. Sleeps on
// the phone are scaled by 0.001, so the figures are the daemon's own work.
#include <benchmark/benchmark.h>

#include "station/tapp_frame.h"
#include "support/sim_phone.h"

namespace {

testing_support::SimPhone &phone()
{
	static testing_support::SimPhone p(testing_support::SimPhone::Setup{.board = {{"time.scale", "0.001"}}});
	return p;
}

void round_trip(benchmark::State &state, const std::string &command)
{
	for (auto _ : state)
		benchmark::DoNotOptimize(phone().ask(command));
}

void BM_WifiChannelFrame(benchmark::State &s) { round_trip(s, station::wifi_frame(0x01, {0x01, 0x06, 0x00})); }
void BM_LightSensorFrame(benchmark::State &s) { round_trip(s, station::bb_frame(1, 0x15, {0x02})); }
void BM_CompassTempFrame(benchmark::State &s) { round_trip(s, station::bb_frame(1, 0x23, {0x01})); }
void BM_WifiTxModeFrame(benchmark::State &s) { round_trip(s, station::wifi_frame(0x04, {0x00, 0x00, 0x00})); }
void BM_WifiFerReportFrame(benchmark::State &s) { round_trip(s, station::wifi_frame(0x10, {0x01})); }
void BM_WifiPowerFrame(benchmark::State &s) { round_trip(s, station::wifi_frame(0x00, {0x00})); }

}  // namespace

BENCHMARK(BM_WifiChannelFrame)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LightSensorFrame)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CompassTempFrame)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WifiTxModeFrame)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WifiFerReportFrame)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WifiPowerFrame)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
