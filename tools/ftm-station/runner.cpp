#include "runner.h"

#include <chrono>
#include <ctime>
#include <regex>
#include <thread>
#include <unistd.h>

#include "station/board.h"
#include "station/link.h"

namespace ftm_station {

namespace {

using namespace std::chrono_literals;

// Pause between a command that must get no answer and the probe that
// proves it, so the daemon reads them as two commands.
constexpr auto kProbeGap = 100ms;

std::string utc_now()
{
	std::time_t t = std::time(nullptr);
	std::tm tm{};
	::gmtime_r(&t, &tm);
	char buf[32];
	std::strftime(buf, sizeof buf, "%Y-%m-%dT%H:%M:%SZ", &tm);
	return buf;
}

bool fail(std::string *reason, std::string why)
{
	*reason = std::move(why);
	return false;
}

std::string quoted(std::string_view s) { return "'" + printable(s) + "'"; }

station::Exchange probe_silence(int fd, const Step &step)
{
	station::write_all(fd, step.text);
	std::this_thread::sleep_for(kProbeGap);
	return station::exchange(fd, "AT\n", station::Reply::final_line, step.timeout_ms);
}

station::Exchange ask(int fd, const Step &step, const RunOptions &options)
{
	if (step.expect_none)
		return probe_silence(fd, step);
	station::Progress progress;
	if (options.progress)
		progress = [&](size_t got, size_t total) {
			std::fprintf(stderr, "\r  %s: %zu/%zu bytes (%zu%%)\033[K", step.name.c_str(), got, total,
			             total ? got * 100 / total : 100);
			if (got == total)
				std::fprintf(stderr, "\r\033[K");
		};
	if (step.then_send.empty())
		return station::exchange(fd, step.text, step.reply, step.timeout_ms, progress);
	// The command hands the port over (a bridge, a shell): the follow-up ends it.
	if (!station::write_all(fd, step.text))
		return station::Exchange{station::Outcome::write_failed};
	std::this_thread::sleep_for(std::chrono::milliseconds(step.then_after_ms));
	return station::exchange(fd, step.then_send, step.reply, step.timeout_ms, progress);
}

StepResult run_step(const Step &step, const Ports &ports, const RunOptions &options)
{
	StepResult r;
	r.step = &step;
	int fd = step.usb ? ports.usb : ports.wired;
	if (fd < 0) {
		r.reason = step.usb ? "no USB port" : "no wired port";
		r.attempts = 1;
		return r;
	}
	if (!step.board.empty()) {
		if (ports.board_dir.empty()) {
			r.reason = "board settings need a simulated phone";
			r.attempts = 1;
			return r;
		}
		for (const auto &[key, value] : step.board)
			station::set_board_value(ports.board_dir, key, value);
	}
	while (r.attempts <= step.retries) {
		++r.attempts;
		station::drain(fd);  // a late answer of an earlier step is not ours
		auto start = std::chrono::steady_clock::now();
		station::Exchange x = ask(fd, step, options);
		r.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
		if (!step.then_send.empty())
			station::read_for(fd, step.then_after_ms, 50);  // what the handed-over port still says
		r.answer = x.text;
		r.reason.clear();
		r.pass = judge(step, x, &r.reason);
		if (r.pass || x.outcome == station::Outcome::closed)
			break;
	}
	return r;
}

void print_step(const RunOptions &o, size_t index, size_t count, const StepResult &r)
{
	const char *verdict = r.pass ? "PASS" : "FAIL";
	const char *on = o.color ? (r.pass ? "\033[32m" : "\033[1;31m") : "";
	const char *off = o.color ? "\033[0m" : "";
	std::fprintf(o.out, "[%3zu/%zu] %s%s%s %8.3f s  %s", index, count, on, verdict, off, r.seconds,
	             r.step->name.c_str());
	if (r.attempts > 1)
		std::fprintf(o.out, " (%d tries)", r.attempts);
	if (!r.pass)
		std::fprintf(o.out, "  line %d: %s", r.step->line, r.reason.c_str());
	std::fputc('\n', o.out);
	std::fflush(o.out);
}

}  // namespace

std::string printable(std::string_view text, size_t limit)
{
	std::string out;
	for (size_t i = 0; i < text.size() && i < limit; ++i) {
		unsigned char c = static_cast<unsigned char>(text[i]);
		if (c == '\n') {
			out += "\\n";
		} else if (c == '\r') {
			out += "\\r";
		} else if (c == '\\') {
			out += "\\\\";
		} else if (c < 0x20 || c >= 0x7F) {
			char hex[8];
			std::snprintf(hex, sizeof hex, "\\x%02X", c);
			out += hex;
		} else {
			out += static_cast<char>(c);
		}
	}
	if (text.size() > limit)
		out += "... (" + std::to_string(text.size()) + " bytes)";
	return out;
}

bool judge(const Step &step, const station::Exchange &x, std::string *reason)
{
	using station::Outcome;
	switch (x.outcome) {
	case Outcome::answered:
		break;
	case Outcome::timeout:
		return fail(reason, "no whole answer within " + std::to_string(step.timeout_ms) + " ms" +
		                        (x.text.empty() ? std::string() : ", got " + quoted(x.text)));
	case Outcome::closed:
		return fail(reason, "port closed: the phone is gone" +
		                        (x.text.empty() ? std::string() : " after " + quoted(x.text)));
	case Outcome::write_failed:
		return fail(reason, "cannot write to the port");
	}
	if (step.expect_none)
		return x.text == "OK\n" ? true : fail(reason, "expected no answer, got " + quoted(x.text));
	if (step.expect && x.text != *step.expect)
		return fail(reason, "expected " + quoted(*step.expect) + ", got " + quoted(x.text));
	if (step.expect_final && x.final != *step.expect_final)
		return fail(reason, "expected " + *step.expect_final + ", got " + quoted(x.text));
	if (step.expect_result || step.expect_status) {
		if (!x.frame)
			return fail(reason, "no answer frame in " + quoted(x.text));
		if (!x.frame->checksum_ok)
			return fail(reason, "answer frame checksum wrong in " + quoted(x.text));
		std::string got = station::to_hex(x.frame->result);
		if (step.expect_result && got != *step.expect_result)
			return fail(reason, "expected result " + *step.expect_result + ", got " + (got.empty() ? "none" : got));
		if (step.expect_status) {
			if (x.frame->req == 0xA0)
				return fail(reason, "Bluetooth answers carry no status");
			if (x.frame->status != *step.expect_status)
				return fail(reason, "expected status " + std::to_string(*step.expect_status) + ", got " +
				                        std::to_string(x.frame->status));
		}
	}
	if (step.expect_match) {
		// A payload (a log, a picture) is no text to search: only what frames it.
		std::string text = x.without_payload();
		if (!std::regex_search(text, std::regex(*step.expect_match)))
			return fail(reason, "no match for /" + *step.expect_match + "/ in " + quoted(text));
	}
	return true;
}

RunResult run_list(const TestList &list, const Ports &ports, const RunOptions &options)
{
	RunResult run;
	run.list = list.name;
	run.started = utc_now();
	auto start = std::chrono::steady_clock::now();
	for (size_t i = 0; i < list.steps.size(); ++i) {
		run.steps.push_back(run_step(list.steps[i], ports, options));
		if (!run.steps.back().pass)
			++run.failed;
		print_step(options, i + 1, list.steps.size(), run.steps.back());
	}
	run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
	const char *on = options.color ? (run.passed() ? "\033[1;32m" : "\033[1;31m") : "";
	const char *off = options.color ? "\033[0m" : "";
	std::fprintf(options.out, "%zu steps: %zu passed, %d failed in %.2f s: %sphone %s%s\n", run.steps.size(),
	             run.steps.size() - static_cast<size_t>(run.failed), run.failed, run.seconds, on,
	             run.passed() ? "PASSED" : "FAILED", off);
	return run;
}

}  // namespace ftm_station
