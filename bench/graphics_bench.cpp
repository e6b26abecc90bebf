// The drawing layer at full screen on the simulated 800 x 480, 16-bit
// panel: every pixel goes through draw, as on the phone.
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <string>
#include <unistd.h>

#include "ftm/graphics.h"
#include "hal/fqc.h"
#include "hal/lcd.h"
#include "station/board.h"

namespace {

// One fresh board for the process, before anything asks for it, removed
// when the process ends.
struct TempBoard {
	std::string dir;
	TempBoard()
	{
		char templ[] = "/tmp/ftm-bench-XXXXXX";
		if (::mkdtemp(templ) && station::init_board(templ)) {
			dir = templ;
			::setenv("FTM_BOARD", templ, 1);
		}
	}
	~TempBoard()
	{
		if (!dir.empty())
			std::system(("rm -rf '" + dir + "'").c_str());
	}
};

bool board_ready()
{
	static TempBoard board;
	static bool ready = !board.dir.empty() && ftm::lcd_init() == 0;
	return ready;
}

void BM_LcdPattern(benchmark::State &state)
{
	if (!board_ready())
		return state.SkipWithError("no board");
	for (auto _ : state)
		benchmark::DoNotOptimize(hal::lcd_test(static_cast<int>(state.range(0))));
	state.SetItemsProcessed(state.iterations() * 800 * 480);
}
BENCHMARK(BM_LcdPattern)->Arg(0)->Arg(2)->Arg(8)->Unit(benchmark::kMillisecond);

void BM_LcdClear(benchmark::State &state)
{
	if (!board_ready())
		return state.SkipWithError("no board");
	for (auto _ : state)
		ftm::lcd_clear();
	state.SetItemsProcessed(state.iterations() * 800 * 480);
}
BENCHMARK(BM_LcdClear)->Unit(benchmark::kMillisecond);

// A full format buffer of text (1023 characters) at scale 1 and 2.
void BM_DrawStrPage(benchmark::State &state)
{
	if (!board_ready())
		return state.SkipWithError("no board");
	std::string page;
	for (int i = 0; page.size() < 1023; ++i)
		page += static_cast<char>('!' + i % 94);
	int scale = static_cast<int>(state.range(0));
	for (auto _ : state)
		benchmark::DoNotOptimize(ftm::draw_str(0, 0, 31, 63, 31, scale, "%s", page.c_str()));
	state.SetItemsProcessed(state.iterations() * 1023);
}
BENCHMARK(BM_DrawStrPage)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);

void BM_ShowFqcMenu(benchmark::State &state)
{
	if (!board_ready())
		return state.SkipWithError("no board");
	for (auto _ : state)
		hal::show_fqc_menu();
}
BENCHMARK(BM_ShowFqcMenu)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
