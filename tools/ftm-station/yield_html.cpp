// The yield report as one page: tables, and plots drawn as inline SVG, so it
// opens anywhere without the network.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "yield_report.h"

namespace ftm_station {

namespace {

constexpr int kWidth = 640, kHeight = 240, kLeft = 48, kRight = 16, kTop = 16, kBottom = 48;
constexpr int kPlotW = kWidth - kLeft - kRight, kPlotH = kHeight - kTop - kBottom;

std::string esc(const std::string &s)
{
	std::string out;
	for (char c : s)
		out += c == '<' ? "&lt;" : c == '>' ? "&gt;" : c == '&' ? "&amp;" : c == '"' ? "&quot;" : std::string(1, c);
	return out;
}

std::string num(double v)
{
	char buf[32];
	std::snprintf(buf, sizeof buf, "%.1f", v);
	return buf;
}

std::string pct(double share)
{
	return num(share * 100) + " %";
}

std::string svg_open(const std::string &id, const std::string &label)
{
	return "<svg id=\"" + id + "\" xmlns=\"http://www.w3.org/2000/svg\" width=\"" + std::to_string(kWidth) +
	       "\" height=\"" + std::to_string(kHeight) + "\" role=\"img\" aria-label=\"" + esc(label) + "\">\n" +
	       "<line x1=\"" + std::to_string(kLeft) + "\" y1=\"" + std::to_string(kTop + kPlotH) + "\" x2=\"" +
	       std::to_string(kLeft + kPlotW) + "\" y2=\"" + std::to_string(kTop + kPlotH) + "\" stroke=\"#444\"/>\n" +
	       "<line x1=\"" + std::to_string(kLeft) + "\" y1=\"" + std::to_string(kTop) + "\" x2=\"" +
	       std::to_string(kLeft) + "\" y2=\"" + std::to_string(kTop + kPlotH) + "\" stroke=\"#444\"/>\n";
}

std::string text(double x, double y, const std::string &s, const char *anchor = "middle")
{
	return "<text x=\"" + num(x) + "\" y=\"" + num(y) + "\" font-size=\"11\" text-anchor=\"" + anchor + "\">" +
	       esc(s) + "</text>\n";
}

std::string rect(double x, double y, double w, double h, const char *fill, const std::string &title)
{
	return "<rect x=\"" + num(x) + "\" y=\"" + num(y) + "\" width=\"" + num(std::max(w, 1.0)) + "\" height=\"" +
	       num(std::max(h, 0.0)) + "\" fill=\"" + fill + "\"><title>" + esc(title) + "</title></rect>\n";
}

// Y axis labels of a 0..100 % scale.
std::string percent_axis()
{
	std::string out;
	for (int p = 0; p <= 100; p += 25)
		out += text(kLeft - 4, kTop + kPlotH - kPlotH * p / 100.0 + 4, std::to_string(p) + "%", "end");
	return out;
}

// First-pass yield and pass rate of each slice of time.
std::string yield_plot(const YieldReport &r)
{
	std::string out = svg_open("yield-over-time", "yield over time") + percent_axis();
	size_t n = r.over_time.size();
	if (n == 0)
		return out + text(kLeft + kPlotW / 2.0, kTop + kPlotH / 2.0, "no data") + "</svg>\n";
	double step = kPlotW / static_cast<double>(n);
	std::string first, all;
	for (size_t i = 0; i < n; ++i) {
		const TimeBucket &b = r.over_time[i];
		double x = kLeft + step * (static_cast<double>(i) + 0.5);
		auto y = [](double share) { return kTop + kPlotH - kPlotH * share; };
		if (b.tests)
			all += num(x) + "," + num(y(static_cast<double>(b.passed) / b.tests)) + " ";
		if (b.first_tests) {
			double share = static_cast<double>(b.first_passed) / b.first_tests;
			first += num(x) + "," + num(y(share)) + " ";
			out += "<circle cx=\"" + num(x) + "\" cy=\"" + num(y(share)) + "\" r=\"3\" fill=\"#1f6fb4\"><title>" +
			       esc(b.start) + ": first pass " + pct(share) + " of " + std::to_string(b.first_tests) +
			       "</title></circle>\n";
		}
		if (i == 0 || i + 1 == n || n <= 8)
			out += text(x, kTop + kPlotH + 14, b.start.substr(11, 5));
	}
	out += "<polyline points=\"" + all + "\" fill=\"none\" stroke=\"#999\" stroke-dasharray=\"4 3\"/>\n";
	out += "<polyline points=\"" + first + "\" fill=\"none\" stroke=\"#1f6fb4\" stroke-width=\"2\"/>\n";
	out += text(kLeft + kPlotW / 2.0, kHeight - 8,
	            "first-pass yield (solid) and all tests passed (dashed), per " + std::to_string(r.bucket_seconds / 60) +
	                " min from " + r.over_time.front().start);
	return out + "</svg>\n";
}

// Failed tests by step, largest first, with the cumulative share as a line.
std::string pareto_plot(const YieldReport &r)
{
	std::string out = svg_open("pareto", "failures by step") + percent_axis();
	size_t n = r.pareto.size();
	if (n == 0)
		return out + text(kLeft + kPlotW / 2.0, kTop + kPlotH / 2.0, "no failures") + "</svg>\n";
	double step = kPlotW / static_cast<double>(n);
	std::string line;
	for (size_t i = 0; i < n; ++i) {
		const ParetoRow &row = r.pareto[i];
		double x = kLeft + step * static_cast<double>(i), h = kPlotH * row.share;
		out += rect(x + step * 0.1, kTop + kPlotH - h, step * 0.8, h, "#c0392b",
		            row.step + ": " + std::to_string(row.count) + " (" + pct(row.share) + ")");
		line += num(x + step / 2) + "," + num(kTop + kPlotH - kPlotH * row.cumulative) + " ";
		out += text(x + step / 2, kTop + kPlotH + 14, row.step.size() > 14 ? row.step.substr(0, 13) + "…" : row.step);
	}
	out += "<polyline points=\"" + line + "\" fill=\"none\" stroke=\"#333\" stroke-width=\"1.5\"/>\n";
	out += text(kLeft + kPlotW / 2.0, kHeight - 8, "share of failed tests by first failed step, and cumulative");
	return out + "</svg>\n";
}

// How many tests took how long.
std::string cycle_plot(const YieldReport &r)
{
	std::string out = svg_open("cycle-time", "cycle time histogram");
	const auto &v = r.cycle_seconds;
	if (v.empty())
		return out + text(kLeft + kPlotW / 2.0, kTop + kPlotH / 2.0, "no data") + "</svg>\n";
	constexpr int kBins = 20;
	double lo = v.front(), hi = std::max(v.back(), lo + 1e-3), width = (hi - lo) / kBins;
	int counts[kBins] = {};
	for (double s : v)
		++counts[std::min(kBins - 1, static_cast<int>((s - lo) / width))];
	int most = *std::max_element(std::begin(counts), std::end(counts));
	double bar = kPlotW / static_cast<double>(kBins);
	for (int i = 0; i < kBins; ++i) {
		double h = kPlotH * counts[i] / static_cast<double>(most);
		out += rect(kLeft + bar * i + 1, kTop + kPlotH - h, bar - 2, h, "#27ae60",
		            num(lo + width * i) + " to " + num(lo + width * (i + 1)) + " s: " + std::to_string(counts[i]));
	}
	out += text(kLeft - 4, kTop + 4, std::to_string(most), "end") + text(kLeft - 4, kTop + kPlotH + 4, "0", "end");
	out += text(kLeft, kTop + kPlotH + 14, num(lo) + " s") + text(kLeft + kPlotW, kTop + kPlotH + 14, num(hi) + " s");
	for (auto [value, name] : {std::pair{r.cycle_median, "median"}, std::pair{r.cycle_p90, "p90"}}) {
		double x = kLeft + kPlotW * (value - lo) / (hi - lo);
		out += "<line x1=\"" + num(x) + "\" y1=\"" + std::to_string(kTop) + "\" x2=\"" + num(x) + "\" y2=\"" +
		       std::to_string(kTop + kPlotH) + "\" stroke=\"#333\" stroke-dasharray=\"3 2\"/>\n" +
		       text(x, kTop + 10, name);
	}
	out += text(kLeft + kPlotW / 2.0, kHeight - 8, "cycle time of the tests (seconds)");
	return out + "</svg>\n";
}

std::string row(std::initializer_list<std::string> cells, const char *tag = "td")
{
	std::string out = "<tr>";
	for (const auto &c : cells)
		out += std::string("<") + tag + ">" + esc(c) + "</" + tag + ">";
	return out + "</tr>\n";
}

}  // namespace

std::string yield_html(const YieldReport &r, const std::string &title)
{
	std::string out = "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\"><title>" + esc(title) +
	                  "</title>\n<style>body{font-family:sans-serif;margin:2em}table{border-collapse:collapse;"
	                  "margin-bottom:1.5em}td,th{border:1px solid #bbb;padding:2px 8px;text-align:right}"
	                  "td:first-child,th:first-child{text-align:left}svg{display:block;margin-bottom:1.5em}"
	                  "</style></head><body>\n<h1>" +
	                  esc(title) + "</h1>\n";
	out += "<table id=\"summary\">\n";
	out += row({"first test", r.first_start}) + row({"last test", r.last_start});
	out += row({"phones tested", std::to_string(r.phones)}) + row({"tests", std::to_string(r.tests)});
	out += row({"interrupted (not counted)", std::to_string(r.interrupted)});
	out += row({"first-pass yield", pct(r.first_pass_yield)}) + row({"final yield", pct(r.final_yield)});
	out += row({"retested phones", std::to_string(r.retested_phones)}) + row({"retests", std::to_string(r.retests)});
	out += row({"cycle time, median", num(r.cycle_median) + " s"}) + row({"cycle time, 90th percentile", num(r.cycle_p90) + " s"});
	out += row({"phones per hour", num(r.phones_per_hour)}) + "</table>\n";
	out += "<h2>Yield over time</h2>\n" + yield_plot(r);
	out += "<h2>Failures by step</h2>\n" + pareto_plot(r) + "<table id=\"pareto-table\">\n" +
	       row({"step", "count", "share", "cumulative"}, "th");
	for (const auto &p : r.pareto)
		out += row({p.step, std::to_string(p.count), pct(p.share), pct(p.cumulative)});
	out += "</table>\n<h2>Tests per phone</h2>\n<table id=\"retests\">\n" + row({"tests", "phones"}, "th");
	for (size_t k = 0; k < r.phones_by_tests.size(); ++k)
		out += row({std::to_string(k + 1), std::to_string(r.phones_by_tests[k])});
	out += "</table>\n<h2>Cycle time</h2>\n" + cycle_plot(r);
	return out + "</body></html>\n";
}

}  // namespace ftm_station
