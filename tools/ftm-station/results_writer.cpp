#include "results_writer.h"

namespace ftm_station {

namespace {

// "3, 5-9" for indexes 2, 4..8 (shown from 1, as the station counts steps).
std::string ranges(const std::vector<size_t> &indexes)
{
	std::string s;
	for (size_t i = 0; i < indexes.size();) {
		size_t j = i;
		while (j + 1 < indexes.size() && indexes[j + 1] == indexes[j] + 1)
			++j;
		s += (s.empty() ? "" : ", ") + std::to_string(indexes[i] + 1);
		if (j > i)
			s += "-" + std::to_string(indexes[j] + 1);
		i = j + 1;
	}
	return s;
}

}  // namespace

station::StepRecord step_record(size_t index, const StepResult &r)
{
	station::StepRecord s;
	s.idx = static_cast<int>(index);
	s.name = r.step->name;
	s.command = r.step->text + r.step->then_send;
	s.answer = r.answer;
	s.verdict = r.pass ? "PASS" : "FAIL";
	s.reason = r.reason;
	s.started = r.started;
	s.seconds = r.seconds;
	s.retries = r.attempts > 0 ? r.attempts - 1 : 0;
	return s;
}

ResultsWriter::ResultsWriter(station::ResultsStore &store, int64_t run_id, size_t phones, LineControl &line)
    : store_(store), run_id_(run_id), line_(line), phones_(phones)
{
}

void ResultsWriter::failed(const std::string &error)
{
	std::lock_guard lock(mutex_);
	if (failed_)
		return;
	failed_ = true;
	line_.no_new_reason = "the results database failed: " + error;
	line_.no_new_phones = true;
	std::fprintf(stderr, "ftm-station: the results database failed: %s; no further phone is started\n",
	             error.c_str());
}

void ResultsWriter::identified(size_t phone, const RunResult &run)
{
	Phone &p = phones_[phone];
	p.port = run.port;
	p.product_id = run.product_id;
	int64_t id = -1;
	std::string error = store_.begin_phone(run_id_, {run.port, run.product_id, run.started}, &id);
	if (error.empty())
		p.id = id;
	else
		failed(error);
}

void ResultsWriter::step_done(size_t phone, size_t index, const StepResult &r)
{
	Phone &p = phones_[phone];
	std::string error = p.id < 0 ? "no phone record" : store_.add_step(p.id, step_record(index, r));
	if (error.empty())
		return;
	p.lost_steps.push_back(index);
	if (p.id >= 0)
		failed(error);
}

void ResultsWriter::finished(size_t phone, const RunResult &run)
{
	Phone &p = phones_[phone];
	std::string error = p.id < 0 ? "no phone record"
	                             : store_.end_phone(p.id, verdict_name(run.verdict), run.reason, run.seconds);
	if (error.empty())
		return;
	p.lost_verdict = true;
	if (p.id >= 0)
		failed(error);
}

std::vector<std::string> ResultsWriter::unstored() const
{
	std::vector<std::string> lines;
	for (const Phone &p : phones_) {
		std::string what;
		if (p.id < 0)
			what = "the phone's record";
		if (!p.lost_steps.empty())
			what += (what.empty() ? "" : ", ") + std::string("steps ") + ranges(p.lost_steps);
		if (p.lost_verdict)
			what += (what.empty() ? "" : " and ") + std::string("its verdict");
		if (!what.empty())
			lines.push_back(p.port + " (product id " + p.product_id + "): " + what + " not stored");
	}
	return lines;
}

}  // namespace ftm_station
