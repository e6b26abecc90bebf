// What the station shows while its phones are tested: on a terminal a table
// updated in place, a row a phone; otherwise plain lines, one a step a
// phone, each starting with the phone's port.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "worker.h"

namespace ftm_station {

class PlainLines : public PhoneEvents {
public:
	PlainLines(std::FILE *out, std::vector<std::string> ports, size_t steps);
	void identified(size_t phone, const RunResult &run) override;
	void step_started(size_t, size_t, const Step &) override {}
	void progress(size_t, size_t, size_t) override {}
	void step_done(size_t phone, size_t index, const StepResult &result) override;
	void finished(size_t phone, const RunResult &run) override;

private:
	std::FILE *out_;
	size_t steps_;
	std::mutex mutex_;
	std::vector<std::string> ports_;
};

class LiveTable : public PhoneEvents {
public:
	LiveTable(std::FILE *out, const std::vector<std::string> &ports, size_t steps, bool color);
	~LiveTable() override;
	void identified(size_t phone, const RunResult &run) override;
	void step_started(size_t phone, size_t index, const Step &step) override;
	void progress(size_t phone, size_t got, size_t total) override;
	void step_done(size_t, size_t, const StepResult &) override {}
	void finished(size_t phone, const RunResult &run) override;
	// Draws the table a last time and stops updating it.
	void close();

private:
	struct Row {
		std::string port, id, step_name, verdict, note;
		size_t step = 0;
		std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
		double seconds = -1;  // when finished
	};
	void draw();  // with mutex_ held
	void loop();

	std::FILE *out_;
	size_t steps_;
	bool color_;
	std::mutex mutex_;
	std::condition_variable wake_;
	bool closed_ = false, drawn_ = false;
	std::vector<Row> rows_;
	std::thread thread_;
};

// The same events to several listeners, in order.
class Fanout : public PhoneEvents {
public:
	explicit Fanout(std::vector<PhoneEvents *> to) : to_(std::move(to)) {}
	void identified(size_t p, const RunResult &r) override { for (auto *t : to_) t->identified(p, r); }
	void step_started(size_t p, size_t i, const Step &s) override { for (auto *t : to_) t->step_started(p, i, s); }
	void progress(size_t p, size_t g, size_t n) override { for (auto *t : to_) t->progress(p, g, n); }
	void step_done(size_t p, size_t i, const StepResult &r) override { for (auto *t : to_) t->step_done(p, i, r); }
	void finished(size_t p, const RunResult &r) override { for (auto *t : to_) t->finished(p, r); }

private:
	std::vector<PhoneEvents *> to_;
};

// "PASS", "FAIL" or "REFUSED", and a line of what happened to a phone.
std::string summary_line(const RunResult &run);

}  // namespace ftm_station
