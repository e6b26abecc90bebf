#include "display.h"

#include <algorithm>
#include <cstdint>
#include <sys/ioctl.h>

#include "station/tapp_frame.h"
#include <unistd.h>

namespace ftm_station {

namespace {

using namespace std::chrono_literals;

constexpr auto kRedraw = 250ms;

std::string format(const char *fmt, auto... args)
{
	char buf[512];
	std::snprintf(buf, sizeof buf, fmt, args...);
	return buf;
}

std::string padded(std::string s, size_t width)
{
	if (s.size() > width)
		s.resize(width);
	return s + std::string(width - s.size(), ' ');
}

// A product id short enough for a table column: its text when it is
// printable text padded with zero bytes, else its ends.
std::string short_id(const std::string &id)
{
	auto bytes = station::from_hex(id);
	std::string text;
	bool printable = bytes && !bytes->empty() && bytes->front() != 0;
	for (size_t i = 0; printable && i < bytes->size(); ++i) {
		uint8_t b = (*bytes)[i];
		if (b == 0)
			printable = std::all_of(bytes->begin() + static_cast<long>(i), bytes->end(), [](uint8_t z) { return z == 0; });
		else if (b < 0x20 || b >= 0x7F)
			printable = false;
		if (b == 0)
			break;
		text += static_cast<char>(b);
	}
	if (printable)
		return text;
	return id.size() > 20 ? id.substr(0, 8) + ".." + id.substr(id.size() - 8) : id;
}

size_t widest(const std::vector<std::string> &ports)
{
	size_t w = 4;
	for (const auto &p : ports)
		w = std::max(w, p.size());
	return w;
}

const char *colour_of(const std::string &verdict)
{
	return verdict == "PASS" ? "\033[1;32m" : verdict == "FAIL" ? "\033[1;31m" : verdict == "REFUSED" ? "\033[1;33m" : "";
}

}  // namespace

std::string summary_line(const RunResult &run)
{
	if (run.verdict == Verdict::refused)
		return "phone REFUSED: " + run.reason;
	std::string s = format("%zu steps: %zu passed, %d failed", run.steps.size() + run.not_run,
	                       run.steps.size() - static_cast<size_t>(run.failed), run.failed);
	if (run.not_run)
		s += format(", %zu not run", run.not_run);
	s += format(" in %.2f s: phone %s", run.seconds, run.passed() ? "PASSED" : "FAILED");
	if (!run.passed() && !run.reason.empty())
		s += ": " + run.reason;
	return s;
}

PlainLines::PlainLines(std::FILE *out, std::vector<std::string> ports, size_t steps)
    : out_(out), steps_(steps), ports_(std::move(ports))
{
	size_t w = widest(ports_);
	for (auto &p : ports_)
		p = padded(p, w);
}

void PlainLines::identified(size_t phone, const RunResult &run)
{
	std::lock_guard lock(mutex_);
	std::fprintf(out_, "%s product id %s\n", ports_[phone].c_str(), run.product_id.c_str());
	std::fflush(out_);
}

void PlainLines::step_done(size_t phone, size_t index, const StepResult &r)
{
	std::string line = format("%s [%3zu/%zu] %s %8.3f s  ", ports_[phone].c_str(), index + 1, steps_,
	                          r.pass ? "PASS" : "FAIL", r.seconds) +
	                   r.step->name;
	if (r.attempts > 1)
		line += format(" (%d tries)", r.attempts);
	if (!r.pass)
		line += format("  line %d: ", r.step->line) + r.reason;
	std::lock_guard lock(mutex_);
	std::fprintf(out_, "%s\n", line.c_str());
	std::fflush(out_);
}

void PlainLines::finished(size_t phone, const RunResult &run)
{
	std::lock_guard lock(mutex_);
	std::fprintf(out_, "%s %s\n", ports_[phone].c_str(), summary_line(run).c_str());
	std::fflush(out_);
}

LiveTable::LiveTable(std::FILE *out, const std::vector<std::string> &ports, size_t steps, bool color)
    : out_(out), steps_(steps), color_(color), rows_(ports.size())
{
	for (size_t i = 0; i < ports.size(); ++i)
		rows_[i].port = ports[i];
	thread_ = std::thread([this] { loop(); });
}

LiveTable::~LiveTable() { close(); }

void LiveTable::identified(size_t phone, const RunResult &run)
{
	std::lock_guard lock(mutex_);
	rows_[phone].id = run.product_id;
}

void LiveTable::step_started(size_t phone, size_t index, const Step &step)
{
	std::lock_guard lock(mutex_);
	rows_[phone].step = index + 1;
	rows_[phone].step_name = step.name;
	rows_[phone].note.clear();
}

void LiveTable::progress(size_t phone, size_t got, size_t total)
{
	std::lock_guard lock(mutex_);
	rows_[phone].note = format(" %zu%%", total ? got * 100 / total : 100);
}

void LiveTable::finished(size_t phone, const RunResult &run)
{
	std::lock_guard lock(mutex_);
	Row &row = rows_[phone];
	row.verdict = verdict_name(run.verdict);
	row.seconds = run.seconds;
	row.step_name = run.passed() ? "" : run.reason;
	row.note.clear();
	wake_.notify_one();
}

void LiveTable::close()
{
	{
		std::lock_guard lock(mutex_);
		if (closed_)
			return;
		closed_ = true;
		wake_.notify_one();
	}
	thread_.join();
	std::lock_guard lock(mutex_);
	draw();
}

void LiveTable::loop()
{
	std::unique_lock lock(mutex_);
	while (!closed_) {
		draw();
		wake_.wait_for(lock, kRedraw);
	}
}

void LiveTable::draw()
{
	winsize ws{};
	size_t width = ::ioctl(::fileno(out_), TIOCGWINSZ, &ws) == 0 && ws.ws_col > 20 ? ws.ws_col : 100;
	size_t port_w = 4;
	for (const Row &r : rows_)
		port_w = std::max(port_w, r.port.size());
	std::string text;
	if (drawn_)
		text += format("\033[%zuA", rows_.size() + 1);
	drawn_ = true;
	// Every line is cut to the terminal's width, so none wraps and the
	// cursor moves back over exactly the table.
	size_t fixed = port_w + 1 + 25 + 10 + 8 + 8;
	size_t name_w = width > fixed + 10 ? width - fixed - 1 : 10;
	auto line = [&](const std::string &body, const std::string &verdict) {
		std::string cut = body.substr(0, std::min(body.size(), width - 8));
		bool paint = color_ && *colour_of(verdict);
		text += "\r" + cut + (paint ? colour_of(verdict) : "") + verdict + (paint ? "\033[0m" : "") + "\033[K\n";
	};
	line(padded("PORT", port_w) + " " + padded("PRODUCT ID", 25) + padded("STEP", 10) + padded("CURRENT STEP", name_w) +
	         padded("ELAPSED", 8),
	     "VERDICT");
	auto now = std::chrono::steady_clock::now();
	for (const Row &r : rows_) {
		double s = r.seconds >= 0 ? r.seconds : std::chrono::duration<double>(now - r.start).count();
		std::string step = r.step ? format("%zu/%zu", r.step, steps_) : "-";
		line(padded(r.port, port_w) + " " + padded(short_id(r.id), 25) + padded(step, 10) +
		         padded(r.step_name + r.note, name_w) + padded(format("%d:%02d", static_cast<int>(s) / 60, static_cast<int>(s) % 60), 8),
		     r.verdict);
	}
	std::fputs(text.c_str(), out_);
	std::fflush(out_);
}

}  // namespace ftm_station
