// Yield figures on a sample where the usual mistakes give other numbers:
// first-pass and final yield differ (and differ from "passed at any time"),
// median and 90th percentile differ, ids are retested, a refusal and an
// interrupted test are in it.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "station/results_store.h"
#include "yield_report.h"

namespace {

using namespace ftm_station;
using station::PhoneResult;

PhoneResult test(int64_t id, std::string product, std::string hhmmss, std::optional<double> seconds,
                 std::string verdict, std::string failed_step = "")
{
	PhoneResult p;
	p.id = id;
	p.station = "RF";
	p.list = "full";
	p.product_id = std::move(product);
	p.started = "2026-11-23T" + hhmmss + ".000Z";
	p.seconds = seconds;
	p.verdict = std::move(verdict);
	p.failed_step = std::move(failed_step);
	return p;
}

// Given out of order: the report sorts by start.
std::vector<PhoneResult> sample()
{
	return {
		test(10, "A", "10:09:00", 100, "FAIL", "audio"),  // A passed first, fails its retest
		test(1, "A", "10:00:00", 40, "PASS"),
		test(2, "B", "10:01:00", 50, "FAIL", "camera"),
		test(3, "B", "10:05:00", 45, "PASS"),
		test(4, "C", "10:02:00", 60, "FAIL", "camera"),
		test(5, "C", "10:06:00", 62, "FAIL", "lcd"),
		test(6, "unidentified", "10:03:00", 30, "FAIL"),  // unplugged: no step failed
		test(7, "unidentified", "10:04:00", 42, "PASS"),
		test(8, "D", "10:07:00", 0.5, "REFUSED"),
		test(9, "E", "10:08:00", std::nullopt, ""),  // interrupted
		test(11, "F", "10:10:00", 55, "FAIL", "camera"),
		test(12, "F", "10:11:00", 48, "PASS"),
	};
}

TEST(YieldReport, FiguresOfASample)
{
	YieldReport r = compute_yield(sample());
	EXPECT_EQ(r.tests, 11);
	EXPECT_EQ(r.interrupted, 1);
	EXPECT_EQ(r.phones, 7);  // A B C D F and two unidentified tests
	EXPECT_EQ(r.first_passed, 2);  // A, the second unidentified
	EXPECT_EQ(r.final_passed, 3);  // B, F, the second unidentified
	EXPECT_NEAR(r.first_pass_yield, 2.0 / 7, 1e-12);
	EXPECT_NEAR(r.final_yield, 3.0 / 7, 1e-12);
	EXPECT_EQ(r.retested_phones, 4);
	EXPECT_EQ(r.retests, 4);
	EXPECT_EQ(r.phones_by_tests, (std::vector<int>{3, 4}));
	EXPECT_EQ(r.first_start, "2026-11-23T10:00:00.000Z");
	EXPECT_EQ(r.last_start, "2026-11-23T10:11:00.000Z");

	struct Row {
		const char *step;
		int count;
		double cumulative;
	} want[] = {{"camera", 3, 3 / 7.0}, {"(no failed step)", 1, 4 / 7.0}, {"(refused)", 1, 5 / 7.0},
	            {"audio", 1, 6 / 7.0},  {"lcd", 1, 7 / 7.0}};
	ASSERT_EQ(r.pareto.size(), std::size(want));
	for (size_t i = 0; i < std::size(want); ++i) {
		EXPECT_EQ(r.pareto[i].step, want[i].step) << i;
		EXPECT_EQ(r.pareto[i].count, want[i].count) << i;
		EXPECT_NEAR(r.pareto[i].share, want[i].count / 7.0, 1e-12) << i;
		EXPECT_NEAR(r.pareto[i].cumulative, want[i].cumulative, 1e-12) << i;
	}

	// Ten cycle times (the refusal and the interrupted test left out).
	EXPECT_EQ(r.cycle_seconds.size(), 10u);
	EXPECT_DOUBLE_EQ(r.cycle_median, 49);   // (48 + 50) / 2
	EXPECT_DOUBLE_EQ(r.cycle_p90, 65.8);    // 62 + 0.1 * (100 - 62)
	// 11 tests from 10:00:00 to the end of the last, 10:11:48.
	EXPECT_NEAR(r.phones_per_hour, 11 * 3600.0 / 708, 1e-9);

	ASSERT_EQ(r.bucket_seconds, 60);
	ASSERT_EQ(r.over_time.size(), 12u);
	EXPECT_EQ(r.over_time[0].start, "2026-11-23T10:00:00Z");
	const int first_tests[12] = {1, 1, 1, 1, 1, 0, 0, 1, 0, 0, 1, 0};
	const int first_passed[12] = {1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0};
	const int passed[12] = {1, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0, 1};
	for (size_t i = 0; i < 12; ++i) {
		EXPECT_EQ(r.over_time[i].first_tests, first_tests[i]) << i;
		EXPECT_EQ(r.over_time[i].first_passed, first_passed[i]) << i;
		EXPECT_EQ(r.over_time[i].passed, passed[i]) << i;
		EXPECT_EQ(r.over_time[i].tests, i == 8 ? 0 : 1) << i;  // 10:08 is the interrupted one
	}
}

TEST(YieldReport, QuantilesAndTimes)
{
	const struct {
		std::vector<double> sorted;
		double p, want;
	} q[] = {{{}, 0.5, 0}, {{7}, 0.9, 7}, {{1, 2}, 0.5, 1.5}, {{1, 2, 3}, 0.5, 2}, {{0, 10}, 0.9, 9},
	         {{1, 2, 3, 4, 5}, 1.0, 5}, {{1, 2, 3, 4, 5}, 0.0, 1}};
	for (const auto &c : q)
		EXPECT_DOUBLE_EQ(quantile(c.sorted, c.p), c.want) << c.p;
	const struct {
		const char *text;
		long long ms;
	} t[] = {{"1970-01-01T00:00:00.000Z", 0},       {"1970-01-01T00:00:01.250Z", 1250},
	         {"2026-11-23T10:00:00Z", 1795428000000}, {"2026-11-23T10:00:00.123Z", 1795428000123},
	         {"2026-11-23", -1},                     {"2026-11-23T10:00:00.12Z", -1},
	         {"garbage", -1}};
	for (const auto &c : t)
		EXPECT_EQ(parse_results_time(c.text), c.ms) << c.text;
}

TEST(YieldReport, CsvAndTextSayTheFigures)
{
	auto phones = sample();
	phones[2].failed_step = "camera, \"rear\"";  // B's first failure
	YieldReport r = compute_yield(phones);
	std::string csv = yield_csv(r);
	for (const char *line : {"phones,7\n", "tests,11\n", "interrupted,1\n", "first_pass_yield,0.2857\n",
	                         "final_yield,0.4286\n", "retests,4\n", "cycle_median_s,49.000\n", "cycle_p90_s,65.800\n",
	                         "phones_per_hour,55.93\n", "\nstep,count,share,cumulative\ncamera,2,0.2857,0.2857\n",
	                         "\"camera, \"\"rear\"\"\",1,0.1429,", "tests_per_phone,phones\n1,3\n2,4\n",
	                         "2026-11-23T10:00:00Z,1,1,1,1\n"})
		EXPECT_NE(csv.find(line), std::string::npos) << line << "\nin\n" << csv;

	std::string text = yield_text(r, "Yield");
	for (const char *part : {"first-pass yield     28.6 % (2 of 7)", "final yield          42.9 % (3 of 7)",
	                         "median 49.0 s, 90th percentile 65.8 s", "phones per hour      55.9",
	                         "retested phones      4 (4 retests)", "2 tests: 4 phones"})
		EXPECT_NE(text.find(part), std::string::npos) << part << "\nin\n" << text;

	EXPECT_NE(yield_text(compute_yield({}), "Yield").find("no finished tests"), std::string::npos);
}

TEST(YieldReport, HtmlHasTheTablesAndPlotsAndNoOutsideResources)
{
	auto phones = sample();
	phones[2].failed_step = "<script>alert(1)</script>";
	std::string html = yield_html(compute_yield(phones), "Yield & more");
	for (const char *part : {"<svg id=\"yield-over-time\"", "<svg id=\"pareto\"", "<svg id=\"cycle-time\"",
	                         "&lt;script&gt;alert(1)&lt;/script&gt;", "Yield &amp; more", "<td>28.6 %</td>",
	                         "<td>42.9 %</td>"})
		EXPECT_NE(html.find(part), std::string::npos) << part;
	for (const char *absent : {"<script", "src=", "href=", "@import", "url("})
		EXPECT_EQ(html.find(absent), std::string::npos) << absent;
	// Six Pareto bars (B's first failure is its own step here) and twenty histogram bins.
	size_t rects = 0;
	for (size_t at = 0; (at = html.find("<rect", at)) != std::string::npos; ++at)
		++rects;
	EXPECT_EQ(rects, 26u);
}

// The verb end to end: a store written as a station writes it, read back by
// the tool.
TEST(YieldReport, ReportVerbReadsTheStore)
{
	namespace fs = std::filesystem;
	std::string dir = (fs::temp_directory_path() / "ftm-yield-XXXXXX").string();
	ASSERT_TRUE(::mkdtemp(dir.data()));
	std::string db = dir + "/results.db";
	{
		std::string error;
		auto store = station::open_results_store(db, &error);
		ASSERT_TRUE(store) << error;
		for (const auto &p : sample()) {
			int64_t run = 0, phone = 0;
			ASSERT_EQ(store->begin_run({p.id % 2 ? "RF" : "AUDIO", "full", "pc", p.started}, &run), "");
			ASSERT_EQ(store->begin_phone(run, {"sim", p.product_id, p.started}, &phone), "");
			if (!p.failed_step.empty()) {
				ASSERT_EQ(store->add_step(phone, {0, p.failed_step, "AT\n", "ERROR\n", "FAIL", "x", p.started, 1, 0}), "");
			}
			if (!p.verdict.empty()) {
				ASSERT_EQ(store->end_phone(phone, p.verdict, "", *p.seconds), "");
			}
		}
	}
	auto run = [&](const std::string &args, int *status) {
		std::string out;
		FILE *f = ::popen((std::string(FTM_BIN_DIR) + "/ftm-station report " + args + " 2>&1").c_str(), "r");
		char buf[4096];
		for (size_t n; f && (n = std::fread(buf, 1, sizeof buf, f)) > 0;)
			out.append(buf, n);
		*status = f ? ::pclose(f) : -1;
		return out;
	};
	int status = 0;
	std::string out = run("--db " + db + " --csv", &status);
	EXPECT_EQ(WEXITSTATUS(status), 0) << out;
	EXPECT_NE(out.find("first_pass_yield,0.2857\n"), std::string::npos) << out;
	EXPECT_NE(out.find("camera,3,"), std::string::npos) << out;
	// Odd ids ran on RF; from 10:01 to before 10:10 that is 3, 5, 7 and the interrupted 9.
	out = run("--db " + db + " --csv --station RF --from 2026-11-23T10:01 --to 2026-11-23T10:10", &status);
	EXPECT_EQ(WEXITSTATUS(status), 0) << out;
	EXPECT_NE(out.find("tests,3\ninterrupted,1\n"), std::string::npos) << out;
	std::string page = dir + "/yield.html";
	out = run("--db " + db + " --html " + page, &status);
	EXPECT_EQ(WEXITSTATUS(status), 0) << out;
	EXPECT_NE(out.find("first-pass yield     28.6 %"), std::string::npos) << out;
	EXPECT_TRUE(fs::file_size(page) > 1000);

	const struct {
		std::string args, says;
		int status;
	} bad[] = {{"--db " + dir + "/nowhere/x.db", "unable to open", 1},
	           {"--db " + db + " --from yesterday", "not a UTC time", 2},
	           {"--csv", "usage", 2},
	           {"--db " + db + " --html " + dir + "/nowhere/y.html", "nowhere", 1}};
	for (const auto &b : bad) {
		out = run(b.args, &status);
		EXPECT_EQ(WEXITSTATUS(status), b.status) << b.args;
		EXPECT_NE(out.find(b.says), std::string::npos) << b.args << ": " << out;
	}
	fs::remove_all(dir);
}

}  // namespace
