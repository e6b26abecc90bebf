#include "yield_report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <map>

namespace ftm_station {

namespace {

std::string format(const char *fmt, double v)
{
	char buf[64];
	std::snprintf(buf, sizeof buf, fmt, v);
	return buf;
}

std::string percent(double share)
{
	return format("%.1f %%", share * 100);
}

// The slices of the yield plot: the shortest of these that gives at most 48.
constexpr int kBucketSeconds[] = {60, 300, 900, 3600, 4 * 3600, 24 * 3600, 7 * 24 * 3600};

std::string time_text(long long ms)
{
	std::time_t secs = static_cast<std::time_t>(ms / 1000);
	std::tm tm{};
	::gmtime_r(&secs, &tm);
	char buf[32];
	std::strftime(buf, sizeof buf, "%Y-%m-%dT%H:%M:%SZ", &tm);
	return buf;
}

}  // namespace

long long parse_results_time(const std::string &text)
{
	std::tm tm{};
	int ms = 0, used = 0;
	if (std::sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d%n", &tm.tm_year, &tm.tm_mon, &tm.tm_mday, &tm.tm_hour,
	                &tm.tm_min, &tm.tm_sec, &used) != 6)
		return -1;
	std::string rest = text.substr(static_cast<size_t>(used));
	if (rest.size() == 5 && rest[0] == '.' && rest[4] == 'Z')
		ms = std::atoi(rest.c_str() + 1);
	else if (rest != "Z")
		return -1;
	tm.tm_year -= 1900;
	tm.tm_mon -= 1;
	return static_cast<long long>(::timegm(&tm)) * 1000 + ms;
}

double quantile(const std::vector<double> &sorted, double p)
{
	if (sorted.empty())
		return 0;
	double h = (static_cast<double>(sorted.size()) - 1) * p;
	size_t lo = static_cast<size_t>(std::floor(h));
	size_t hi = std::min(lo + 1, sorted.size() - 1);
	return sorted[lo] + (h - static_cast<double>(lo)) * (sorted[hi] - sorted[lo]);
}

YieldReport compute_yield(const std::vector<station::PhoneResult> &phones)
{
	YieldReport r;
	// Each phone's tests in order of start; an unidentified test is a phone of its own.
	std::map<std::string, std::vector<const station::PhoneResult *>> by_phone;
	std::vector<const station::PhoneResult *> finished;
	for (const auto &p : phones) {
		if (p.verdict.empty()) {
			++r.interrupted;
			continue;
		}
		finished.push_back(&p);
		bool known = !p.product_id.empty() && p.product_id != "unidentified";
		by_phone[known ? p.product_id : "#" + std::to_string(p.id)].push_back(&p);
	}
	std::stable_sort(finished.begin(), finished.end(),
	                 [](auto *a, auto *b) { return a->started < b->started; });
	r.tests = static_cast<int>(finished.size());
	r.phones = static_cast<int>(by_phone.size());
	if (finished.empty())
		return r;
	r.first_start = finished.front()->started;
	r.last_start = finished.back()->started;

	std::map<const station::PhoneResult *, bool> first_of_phone;
	for (auto &[id, tests] : by_phone) {
		std::stable_sort(tests.begin(), tests.end(), [](auto *a, auto *b) { return a->started < b->started; });
		r.first_passed += tests.front()->verdict == "PASS";
		r.final_passed += tests.back()->verdict == "PASS";
		first_of_phone[tests.front()] = true;
		size_t k = tests.size() - 1;
		if (r.phones_by_tests.size() <= k)
			r.phones_by_tests.resize(k + 1);
		++r.phones_by_tests[k];
		if (k > 0) {
			++r.retested_phones;
			r.retests += static_cast<int>(k);
		}
	}
	r.first_pass_yield = static_cast<double>(r.first_passed) / r.phones;
	r.final_yield = static_cast<double>(r.final_passed) / r.phones;

	std::map<std::string, int> failures;
	int failed = 0;
	long long first_ms = parse_results_time(r.first_start), last_end_ms = first_ms;
	for (auto *p : finished) {
		if (p->verdict != "PASS") {
			++failed;
			++failures[!p->failed_step.empty() ? p->failed_step
			           : p->verdict == "REFUSED" ? "(refused)"
			                                     : "(no failed step)"];
		}
		if (p->verdict != "REFUSED" && p->seconds)
			r.cycle_seconds.push_back(*p->seconds);
		long long start = parse_results_time(p->started);
		if (start >= 0)
			last_end_ms = std::max(last_end_ms, start + static_cast<long long>(p->seconds.value_or(0) * 1000));
	}
	for (const auto &[step, count] : failures)
		r.pareto.push_back({step, count, 0, 0});
	std::stable_sort(r.pareto.begin(), r.pareto.end(), [](auto &a, auto &b) { return a.count > b.count; });
	int running = 0;
	for (auto &row : r.pareto) {
		running += row.count;
		row.share = static_cast<double>(row.count) / failed;
		row.cumulative = static_cast<double>(running) / failed;
	}

	std::sort(r.cycle_seconds.begin(), r.cycle_seconds.end());
	r.cycle_median = quantile(r.cycle_seconds, 0.5);
	r.cycle_p90 = quantile(r.cycle_seconds, 0.9);
	if (first_ms >= 0 && last_end_ms > first_ms)
		r.phones_per_hour = r.tests * 3600000.0 / static_cast<double>(last_end_ms - first_ms);

	if (first_ms < 0)
		return r;
	long long span = last_end_ms - first_ms;
	r.bucket_seconds = kBucketSeconds[std::size(kBucketSeconds) - 1];
	for (int s : kBucketSeconds)
		if (span / (s * 1000LL) < 48) {
			r.bucket_seconds = s;
			break;
		}
	long long width = r.bucket_seconds * 1000LL, origin = first_ms / width * width;
	for (auto *p : finished) {
		long long start = parse_results_time(p->started);
		if (start < 0)
			continue;
		size_t k = static_cast<size_t>((start - origin) / width);
		while (r.over_time.size() <= k)
			r.over_time.push_back({time_text(origin + static_cast<long long>(r.over_time.size()) * width)});
		TimeBucket &b = r.over_time[k];
		++b.tests;
		b.passed += p->verdict == "PASS";
		if (first_of_phone.count(p)) {
			++b.first_tests;
			b.first_passed += p->verdict == "PASS";
		}
	}
	return r;
}

std::string yield_text(const YieldReport &r, const std::string &title)
{
	std::string out = title + "\n\n";
	auto line = [&](const std::string &what, const std::string &value) {
		char buf[256];
		std::snprintf(buf, sizeof buf, "%-20s %s\n", what.c_str(), value.c_str());
		out += buf;
	};
	if (r.tests == 0) {
		out += "no finished tests in this window";
		if (r.interrupted)
			out += " (" + std::to_string(r.interrupted) + " interrupted)";
		return out + "\n";
	}
	line("first test", r.first_start);
	line("last test", r.last_start);
	line("phones tested", std::to_string(r.phones));
	line("tests", std::to_string(r.tests) +
	                  (r.interrupted ? " (and " + std::to_string(r.interrupted) + " interrupted, not counted)" : ""));
	line("first-pass yield", percent(r.first_pass_yield) + " (" + std::to_string(r.first_passed) + " of " +
	                             std::to_string(r.phones) + ")");
	line("final yield", percent(r.final_yield) + " (" + std::to_string(r.final_passed) + " of " +
	                        std::to_string(r.phones) + ")");
	line("retested phones", std::to_string(r.retested_phones) + " (" + std::to_string(r.retests) + " retests)");
	line("cycle time", format("median %.1f s", r.cycle_median) + format(", 90th percentile %.1f s", r.cycle_p90));
	line("phones per hour", format("%.1f", r.phones_per_hour));

	out += "\nfailures by step\n";
	char buf[512];
	std::snprintf(buf, sizeof buf, "  %-30s %6s %8s %11s\n", "step", "count", "share", "cumulative");
	out += buf;
	for (const auto &row : r.pareto) {
		std::snprintf(buf, sizeof buf, "  %-30s %6d %8s %11s\n", row.step.c_str(), row.count,
		              percent(row.share).c_str(), percent(row.cumulative).c_str());
		out += buf;
	}
	if (r.pareto.empty())
		out += "  (none)\n";

	out += "\ntests per phone\n";
	for (size_t k = 0; k < r.phones_by_tests.size(); ++k)
		if (r.phones_by_tests[k]) {
			std::snprintf(buf, sizeof buf, "  %zu test%s: %d phone%s\n", k + 1, k ? "s" : "", r.phones_by_tests[k],
			              r.phones_by_tests[k] == 1 ? "" : "s");
			out += buf;
		}
	return out;
}

namespace {

// A field as a spreadsheet reads it back.
std::string csv_field(const std::string &s)
{
	if (s.find_first_of(",\"\n\r") == std::string::npos)
		return s;
	std::string out = "\"";
	for (char c : s)
		out += c == '"' ? std::string("\"\"") : std::string(1, c);
	return out + "\"";
}

}  // namespace

std::string yield_csv(const YieldReport &r)
{
	auto fraction = [](double v) { return format("%.4f", v); };
	std::string out = "measure,value\n";
	out += "first_start," + r.first_start + "\nlast_start," + r.last_start + "\n";
	out += "phones," + std::to_string(r.phones) + "\ntests," + std::to_string(r.tests) + "\n";
	out += "interrupted," + std::to_string(r.interrupted) + "\n";
	out += "first_pass_yield," + fraction(r.first_pass_yield) + "\nfinal_yield," + fraction(r.final_yield) + "\n";
	out += "retested_phones," + std::to_string(r.retested_phones) + "\nretests," + std::to_string(r.retests) + "\n";
	out += "cycle_median_s," + format("%.3f", r.cycle_median) + "\ncycle_p90_s," + format("%.3f", r.cycle_p90) + "\n";
	out += "phones_per_hour," + format("%.2f", r.phones_per_hour) + "\n";
	out += "\nstep,count,share,cumulative\n";
	for (const auto &row : r.pareto)
		out += csv_field(row.step) + "," + std::to_string(row.count) + "," + fraction(row.share) + "," +
		       fraction(row.cumulative) + "\n";
	out += "\ntests_per_phone,phones\n";
	for (size_t k = 0; k < r.phones_by_tests.size(); ++k)
		out += std::to_string(k + 1) + "," + std::to_string(r.phones_by_tests[k]) + "\n";
	out += "\nslice_start,tests,passed,first_tests,first_passed\n";
	for (const auto &b : r.over_time)
		out += b.start + "," + std::to_string(b.tests) + "," + std::to_string(b.passed) + "," +
		       std::to_string(b.first_tests) + "," + std::to_string(b.first_passed) + "\n";
	return out;
}

}  // namespace ftm_station
