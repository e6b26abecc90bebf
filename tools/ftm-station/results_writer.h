// Every run, phone and step into the results store as it finishes, from the
// phone's own thread, before the station shows it: what the screen shows as
// done is stored. A store that fails stops new phones from being started;
// what could not be stored is told at the end, phone by phone.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "station/results_store.h"
#include "worker.h"

namespace ftm_station {

class ResultsWriter : public PhoneEvents {
public:
	ResultsWriter(station::ResultsStore &store, int64_t run_id, size_t phones, LineControl &line);
	void identified(size_t phone, const RunResult &run) override;
	void step_started(size_t, size_t, const Step &) override {}
	void progress(size_t, size_t, size_t) override {}
	void step_done(size_t phone, size_t index, const StepResult &result) override;
	void finished(size_t phone, const RunResult &run) override;

	// Lines telling what is not stored, one a phone that lost something.
	std::vector<std::string> unstored() const;

private:
	struct Phone {
		std::string port, product_id;
		int64_t id = -1;  // -1: its record could not be written
		std::vector<size_t> lost_steps;  // list indexes
		bool lost_verdict = false;
	};
	void failed(const std::string &error);

	station::ResultsStore &store_;
	int64_t run_id_;
	LineControl &line_;
	std::vector<Phone> phones_;  // each touched only by its phone's thread
	mutable std::mutex mutex_;
	bool failed_ = false;
};

// The record of a step as the store keeps it.
station::StepRecord step_record(size_t index, const StepResult &r);

}  // namespace ftm_station
