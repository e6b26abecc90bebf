#include "worker.h"

#include <chrono>
#include <thread>

#include "factory_data.h"

namespace ftm_station {

std::string IdRegister::claim(const std::string &id, const std::string &port)
{
	std::lock_guard lock(mutex_);
	auto [it, fresh] = ports_.emplace(id, port);
	return fresh ? std::string() : it->second;
}

namespace {

// The verdict of a phone the list did not run on.
RunResult &refuse(RunResult &run, std::string reason)
{
	run.verdict = Verdict::refused;
	run.reason = std::move(reason);
	return run;
}

// Before the list: the interlock. Empty when the phone may be tested.
std::string interlock(const StationSpec &st, int fd, RunResult &run)
{
	std::string error;
	auto flags = read_test_flags(fd, &error);
	if (!flags)
		return "cannot check the stations before this one: " + error;
	run.flags_before = flags_hex(*flags);
	return unmet_stations(*flags, st.required);
}

// After the list: the station's mark. A phone that passed but cannot be
// marked has failed here, as the next station would refuse it.
void mark(const StationSpec &st, int fd, RunResult &run)
{
	if (run.gone) {
		run.reason += "; its test flag was not written";
		return;
	}
	std::string before;
	std::string error = mark_test_flag(fd, static_cast<size_t>(st.flag_byte), run.passed() ? kFlagPass : kFlagFail,
	                                   &before, &run.flags_after);
	if (error.empty())
		return;
	if (run.passed()) {
		run.verdict = Verdict::fail;
		run.reason = error;
	} else {
		run.reason += "; " + error;
	}
}

}  // namespace

RunResult test_phone(const TestList &list, size_t phone, PhoneLink &link, LineControl &line, PhoneEvents &events)
{
	RunResult run;
	run.list = list.name;
	run.port = link.spec().port;
	run.started = utc_now();
	if (list.station)
		run.station = list.station->name;
	auto start = std::chrono::steady_clock::now();
	auto finish = [&]() -> RunResult {
		run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
		events.finished(phone, run);
		return run;
	};

	std::string error;
	if (!link.open(&error)) {
		events.identified(phone, run);
		run.reason = "cannot reach the phone: " + error;
		return finish();
	}
	int fd = link.ports().wired;
	ProductId id = read_product_id(fd);
	std::string other = id.state == ProductId::State::read ? line.ids.claim(id.id, run.port) : std::string();
	if (id.state == ProductId::State::read && other.empty())
		run.product_id = id.id;
	events.identified(phone, run);
	if (id.state == ProductId::State::garbled)
		refuse(run, "its product id is garbled: '" + printable(id.answer) + "'");
	else if (!other.empty())
		refuse(run, "its product id " + id.id + " is also the id of the phone on " + other);
	else if (list.station)
		if (std::string why = interlock(*list.station, fd, run); !why.empty())
			refuse(run, why);
	if (run.verdict != Verdict::refused && line.no_new_phones)
		refuse(run, "not tested: " + line.no_new_reason);
	if (run.verdict == Verdict::refused)
		return finish();

	RunOptions options;
	options.started = [&](size_t i, const Step &s) { events.step_started(phone, i, s); };
	options.progress = [&](size_t got, size_t total) { events.progress(phone, got, total); };
	options.done = [&](size_t i, const StepResult &r) { events.step_done(phone, i, r); };
	RunResult ran = run_list(list, link.ports(), options);
	run.steps = std::move(ran.steps);
	run.not_run = ran.not_run;
	run.failed = ran.failed;
	run.gone = ran.gone;
	run.verdict = ran.verdict;
	run.reason = ran.reason;
	if (list.station)
		mark(*list.station, fd, run);
	return finish();
}

std::vector<RunResult> test_phones(const TestList &list, const std::vector<std::unique_ptr<PhoneLink>> &links,
                                   LineControl &line, PhoneEvents &events)
{
	std::vector<RunResult> results(links.size());
	std::vector<std::thread> workers;
	for (size_t i = 0; i < links.size(); ++i)
		workers.emplace_back([&, i] { results[i] = test_phone(list, i, *links[i], line, events); });
	for (auto &w : workers)
		w.join();
	return results;
}

}  // namespace ftm_station
