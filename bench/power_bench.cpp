// Speed of the calibration bridge and of the memory card test, end to end
// on the simulated board: station pty -> ftmd-sim -> modem model and back.
#include <benchmark/benchmark.h>

#include "station/link.h"
#include "support/sim_phone.h"

namespace {

using testing_support::SimPhone;

// One packet to the modem and its echo back to the station.
void BM_BridgeRoundTrip(benchmark::State &state)
{
	SimPhone phone;
	phone.ask("AT+FTM\n", "OK\r\n");
	const std::string packet = std::string("\x4b\x0f\x00\x00", 4) + std::string(60, 'p') + "~";
	for (auto _ : state) {
		std::string echo = phone.ask(packet, packet);
		if (echo != packet)
			state.SkipWithError("lost echo");
	}
	phone.ask("~AT+FTM~");
	state.SetItemsProcessed(state.iterations());
	state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(2 * packet.size()));
}
BENCHMARK(BM_BridgeRoundTrip)->Unit(benchmark::kMicrosecond)->UseRealTime();

// Modem to station: a flood of 1 MB after each packet.
void BM_BridgeModemToStation(benchmark::State &state)
{
	constexpr size_t kFlood = 1 << 20;
	SimPhone phone({.board = {{"modem.reply", "flood"}, {"modem.flood_bytes", std::to_string(kFlood)}}});
	phone.ask("AT+FTM\n", "OK\r\n");
	for (auto _ : state) {
		phone.send("\x4b\x01~");
		std::string got = station::read_until(
		    phone.phone().wired(), [](const std::string &s) { return s.size() >= kFlood; }, 30000);
		if (got.size() != kFlood)
			state.SkipWithError("short flood");
	}
	state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kFlood));
}
BENCHMARK(BM_BridgeModemToStation)->Unit(benchmark::kMillisecond)->UseRealTime();

// AT+MMCT: presence, mount, statfs, write, read back, umount.
void BM_MemoryCardTransferTest(benchmark::State &state)
{
	SimPhone phone;
	for (auto _ : state) {
		if (phone.ask("AT+MMCT\n") != "01OK\n")
			state.SkipWithError("transfer test failed");
	}
}
BENCHMARK(BM_MemoryCardTransferTest)->Unit(benchmark::kMillisecond)->UseRealTime();

// A plain device command: AT+LED through the tca6507 model.
void BM_LedCommand(benchmark::State &state)
{
	SimPhone phone;
	for (auto _ : state) {
		if (phone.ask("AT+LED=61\n") != "OK\n")
			state.SkipWithError("LED failed");
	}
}
BENCHMARK(BM_LedCommand)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
