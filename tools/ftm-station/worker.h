// One phone of a line, from its identity to its verdict: the product id,
// the station interlock, the list, and the station's mark in the test flags.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "phone_link.h"
#include "runner.h"
#include "testlist.h"

namespace ftm_station {

// What the workers tell as they go. Called from the phones' threads: an
// implementation guards what it shares. identified comes once per phone,
// before any step, and finished once, last.
class PhoneEvents {
public:
	virtual ~PhoneEvents() = default;
	virtual void identified(size_t phone, const RunResult &run) = 0;  // port, product id, started
	virtual void step_started(size_t phone, size_t index, const Step &step) = 0;
	virtual void progress(size_t phone, size_t got, size_t total) = 0;
	virtual void step_done(size_t phone, size_t index, const StepResult &result) = 0;
	virtual void finished(size_t phone, const RunResult &run) = 0;
};

// The product ids seen in this run, so a second phone with the same id is
// caught.
class IdRegister {
public:
	// The port that already holds id, or empty after taking it for port.
	std::string claim(const std::string &id, const std::string &port);

private:
	std::mutex mutex_;
	std::map<std::string, std::string> ports_;
};

struct LineControl {
	IdRegister ids;
	// Set when the results can no longer be kept: phones not yet started
	// are not tested.
	std::atomic<bool> no_new_phones{false};
	std::string no_new_reason;  // written before no_new_phones is set
};

// Opens the phone's link, identifies it, checks the interlock, runs the list
// and marks the station's flag. Always gives exactly one verdict.
RunResult test_phone(const TestList &list, size_t phone, PhoneLink &link, LineControl &line, PhoneEvents &events);

// Tests every phone at once, a thread each; the results in the links' order.
std::vector<RunResult> test_phones(const TestList &list, const std::vector<std::unique_ptr<PhoneLink>> &links,
                                   LineControl &line, PhoneEvents &events);

}  // namespace ftm_station
