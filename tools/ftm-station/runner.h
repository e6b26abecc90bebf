// Running a test list against a phone: one verdict a step.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "station/exchange.h"
#include "testlist.h"

namespace ftm_station {

struct StepResult {
	const Step *step = nullptr;
	bool pass = false;
	std::string reason;  // why it failed, empty on PASS
	double seconds = 0;  // of the last try
	int attempts = 0;
	std::string answer;  // what the phone sent on the last try
};

struct RunResult {
	std::string list;
	std::string started;  // UTC, ISO 8601
	std::vector<StepResult> steps;
	int failed = 0;
	double seconds = 0;
	bool passed() const { return failed == 0 && !steps.empty(); }
};

// The phone's ports as the station holds them; board_dir only when the phone
// is simulated (board settings and the live view need it).
struct Ports {
	int wired = -1, usb = -1;
	std::string board_dir;
};

struct RunOptions {
	std::FILE *out = stdout;
	bool color = false;     // ANSI colours on out
	bool progress = false;  // byte counts of long answers on stderr
};

RunResult run_list(const TestList &list, const Ports &ports, const RunOptions &options);

// The verdict on one answer. Fills reason when it is a FAIL.
bool judge(const Step &step, const station::Exchange &x, std::string *reason);

// Text safe for a terminal and for reports: control and non-ASCII bytes as
// \xNN, line ends as \n, cut after limit bytes of input.
std::string printable(std::string_view text, size_t limit = 200);

}  // namespace ftm_station
