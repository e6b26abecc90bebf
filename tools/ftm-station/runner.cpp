#include "runner.h"

#include <chrono>
#include <cstdio>
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
// How long a phone that let a step time out has to answer a plain AT.
constexpr int kAliveProbeMs = 2000;

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
	station::Exchange x = station::exchange(fd, "AT\n", station::Reply::final_line, step.timeout_ms);
	// A busy phone may have read the command and the probe as one line (one
	// read is one command): a second probe, alone, tells silence from that.
	if (x.outcome == station::Outcome::timeout && x.text.empty())
		x = station::exchange(fd, "AT\n", station::Reply::final_line, step.timeout_ms);
	return x;
}

station::Exchange ask(int fd, const Step &step, const RunOptions &options)
{
	if (step.expect_none)
		return probe_silence(fd, step);
	if (step.then_send.empty())
		return station::exchange(fd, step.text, step.reply, step.timeout_ms, options.progress);
	// The command hands the port over (a bridge, a shell): the follow-up ends it.
	if (!station::write_all(fd, step.text))
		return station::Exchange{station::Outcome::write_failed};
	std::this_thread::sleep_for(std::chrono::milliseconds(step.then_after_ms));
	return station::exchange(fd, step.then_send, step.reply, step.timeout_ms, options.progress);
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
		r.started = utc_now();
		station::drain(fd);  // a late answer of an earlier step is not ours
		auto start = std::chrono::steady_clock::now();
		station::Exchange x = ask(fd, step, options);
		r.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
		if (!step.then_send.empty())
			station::read_for(fd, step.then_after_ms, 50);  // what the handed-over port still says
		r.answer = x.without_payload();
		r.payload = x.text.size() - r.answer.size();
		r.outcome = x.outcome;
		r.reason.clear();
		r.pass = judge(step, x, &r.reason);
		if (r.pass || x.outcome == station::Outcome::closed)
			break;
	}
	return r;
}

// Why a phone can take no further step, or empty while it can.
std::string gone(const StepResult &r, const Ports &ports)
{
	if (r.outcome == station::Outcome::closed || r.outcome == station::Outcome::write_failed)
		return "the phone is gone (its port closed) at '" + r.step->name + "'";
	if (r.outcome != station::Outcome::timeout || !r.answer.empty())
		return {};
	int fd = r.step->usb ? ports.usb : ports.wired;
	station::Exchange probe = station::exchange(fd, "AT\n", station::Reply::final_line, kAliveProbeMs);
	if (probe.text.empty())
		return "the phone stopped answering at '" + r.step->name + "'";
	return {};
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

const char *verdict_name(Verdict v)
{
	switch (v) {
	case Verdict::pass: return "PASS";
	case Verdict::fail: return "FAIL";
	case Verdict::refused: return "REFUSED";
	}
	return "?";
}

std::string utc_now()
{
	auto now = std::chrono::system_clock::now();
	std::time_t t = std::chrono::system_clock::to_time_t(now);
	auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
	std::tm tm{};
	::gmtime_r(&t, &tm);
	char buf[40];
	size_t n = std::strftime(buf, sizeof buf, "%Y-%m-%dT%H:%M:%S", &tm);
	std::snprintf(buf + n, sizeof buf - n, ".%03dZ", static_cast<int>(ms));
	return buf;
}

RunResult run_list(const TestList &list, const Ports &ports, const RunOptions &options)
{
	RunResult run;
	run.list = list.name;
	run.started = utc_now();
	auto start = std::chrono::steady_clock::now();
	for (size_t i = 0; i < list.steps.size(); ++i) {
		if (options.stop && options.stop->load()) {
			run.not_run = list.steps.size() - i;
			run.reason = "the station stopped before '" + list.steps[i].name + "'";
			break;
		}
		if (options.started)
			options.started(i, list.steps[i]);
		StepResult &r = run.steps.emplace_back(run_step(list.steps[i], ports, options));
		if (!r.pass) {
			++run.failed;
			if (run.reason.empty())
				run.reason = "'" + r.step->name + "': " + r.reason;
		}
		if (options.done)
			options.done(i, r);
		std::string why = r.pass ? std::string() : gone(r, ports);
		if (!why.empty()) {
			run.gone = true;
			run.not_run = list.steps.size() - i - 1;
			if (run.not_run)
				run.reason = why + "; " + std::to_string(run.not_run) + " steps not run";
			break;
		}
	}
	run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
	run.verdict = run.failed == 0 && run.not_run == 0 && !run.steps.empty() ? Verdict::pass : Verdict::fail;
	if (run.verdict == Verdict::pass)
		run.reason.clear();
	return run;
}

}  // namespace ftm_station
