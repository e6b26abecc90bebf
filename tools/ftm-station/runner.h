// Running a test list against a phone: one verdict a step.
#pragma once

#include <atomic>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "station/exchange.h"
#include "testlist.h"

namespace ftm_station {

// The product id of a phone whose id could not be read.
inline constexpr const char *kUnidentified = "unidentified";

struct StepResult {
	const Step *step = nullptr;
	bool pass = false;
	std::string reason;   // why it failed, empty on PASS
	std::string started;  // UTC, of the last try
	double seconds = 0;   // of the last try
	int attempts = 0;
	std::string answer;   // what the phone sent on the last try, a streamed payload left out
	size_t payload = 0;   // bytes of that payload
	station::Outcome outcome = station::Outcome::answered;
};

enum class Verdict { pass, fail, refused };
const char *verdict_name(Verdict v);

struct RunResult {
	std::string list;
	std::string port;                      // where the phone is: a device or simN
	std::string product_id = kUnidentified;
	std::string station;                   // the list's station, or empty
	std::string started;                   // UTC, ISO 8601 with milliseconds
	std::vector<StepResult> steps;         // the steps that ran, in list order
	size_t not_run = 0;                    // steps left out after the phone was gone
	bool gone = false;                     // its port closed, or it went silent
	int failed = 0;
	double seconds = 0;
	Verdict verdict = Verdict::fail;
	std::string reason;                    // of a FAIL or REFUSED: the first thing that went wrong
	std::string flags_before, flags_after; // the test flag area (hex) around the run
	bool passed() const { return verdict == Verdict::pass; }
};

// The phone's ports as the station holds them; board_dir only when the phone
// is simulated (board settings and the live view need it).
struct Ports {
	int wired = -1, usb = -1;
	std::string board_dir;
};

// What a run tells as it goes; every hook is optional.
struct RunOptions {
	std::function<void(size_t index, const Step &step)> started;
	std::function<void(size_t got, size_t total)> progress;  // bytes of a long answer
	std::function<void(size_t index, const StepResult &result)> done;
	const std::atomic<bool> *stop = nullptr;  // set: run no further step
};

// Runs the steps in order. A phone that is gone (its port closed, or silent
// even to a probe after a step timed out) ends the list: the steps after it
// are counted in not_run. Fills verdict and reason from the steps.
RunResult run_list(const TestList &list, const Ports &ports, const RunOptions &options);

// The verdict on one answer. Fills reason when it is a FAIL.
bool judge(const Step &step, const station::Exchange &x, std::string *reason);

// Text safe for a terminal and for reports: control and non-ASCII bytes as
// \xNN, line ends as \n, cut after limit bytes of input.
std::string printable(std::string_view text, size_t limit = 200);

// Now in UTC, "YYYY-MM-DDTHH:MM:SS.mmmZ".
std::string utc_now();

}  // namespace ftm_station
