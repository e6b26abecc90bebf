// Yield figures of a line from the phones in its results store: what a test
// engineer reads every hour, as text, CSV or a page with plots.
#pragma once

#include <string>
#include <vector>

#include "station/results_store.h"

namespace ftm_station {

struct ParetoRow {
	std::string step;  // the first step a failed test failed, "(refused)" or "(no failed step)"
	int count = 0;
	double share = 0, cumulative = 0;  // of all failed tests, 0..1
};

// One slice of time: the tests that started in it.
struct TimeBucket {
	std::string start;
	int tests = 0, passed = 0;
	int first_tests = 0, first_passed = 0;  // each phone's first test
};

struct YieldReport {
	std::string first_start, last_start;  // of the tests counted
	int tests = 0;                        // finished tests (a retest is a test)
	int interrupted = 0;                  // started but never finished: not counted
	int phones = 0;                       // distinct product ids; each unidentified test is its own phone
	int first_passed = 0;                 // phones whose first test passed
	int final_passed = 0;                 // phones whose last test passed
	double first_pass_yield = 0, final_yield = 0;
	int retested_phones = 0, retests = 0;
	std::vector<int> phones_by_tests;  // [k]: phones tested k + 1 times
	std::vector<ParetoRow> pareto;
	std::vector<double> cycle_seconds;  // each finished test's, sorted (refusals left out)
	double cycle_median = 0, cycle_p90 = 0;
	double phones_per_hour = 0;  // finished tests per hour from the first start to the last end
	int bucket_seconds = 0;
	std::vector<TimeBucket> over_time;
};

// Phones as the store reads them, in order of start.
YieldReport compute_yield(const std::vector<station::PhoneResult> &phones);

// The p-quantile (0..1) of sorted values, interpolating between ranks.
double quantile(const std::vector<double> &sorted, double p);

// "YYYY-MM-DDTHH:MM:SS[.mmm]Z" to milliseconds since 1970; -1 if not a time.
long long parse_results_time(const std::string &text);

std::string yield_text(const YieldReport &r, const std::string &title);
std::string yield_csv(const YieldReport &r);
// A page with no outside resources: the tables and the plots as inline SVG.
std::string yield_html(const YieldReport &r, const std::string &title);

}  // namespace ftm_station
