// Where a line keeps its verdicts: a run of a list, each phone in it and each
// step, written as each finishes. SQLite (a file beside the station) or
// PostgreSQL (one server for the stations of a line), the same schema.
//
// Schema (created and migrated by open_results_store; schema_version holds
// one row with the version in force). Times are UTC text,
// "YYYY-MM-DDTHH:MM:SS.mmmZ", so they sort as text in both databases.
//
//   schema_version(version INTEGER)
//   runs(id, station TEXT, list TEXT, host TEXT, started TEXT,
//        finished TEXT NULL, state TEXT)        state: running, done, incomplete
//   phones(id, run_id -> runs, port TEXT, product_id TEXT, started TEXT,
//        seconds REAL NULL, verdict TEXT NULL, reason TEXT)
//                                              product_id: 80 hex digits or "unidentified"
//                                              verdict: PASS, FAIL, REFUSED, or NULL while running
//   steps(id, phone_id -> phones, idx INTEGER, name TEXT, command TEXT,
//        answer TEXT, verdict TEXT, reason TEXT, started TEXT, seconds REAL,
//        retries INTEGER)                      verdict: PASS or FAIL
//
// Errors are values: every call returns an empty string on success, or what
// went wrong. A store may be shared by threads (calls take turns); each call
// is one transaction, committed when it returns.
//
// "This station" for begin_run is the same host and station name: a line runs
// one station process per station on a PC.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace station {

struct RunRecord {
	std::string station;  // the list's station name, or empty
	std::string list;
	std::string host;
	std::string started;
};

struct PhoneRecord {
	std::string port;
	std::string product_id;  // "unidentified" when it could not be read
	std::string started;
};

struct StepRecord {
	int idx = 0;  // from 0, in list order
	std::string name, command, answer, verdict, reason, started;
	double seconds = 0;
	int retries = 0;
};

// A phone of a report's window, with its run and the first step it failed.
struct PhoneResult {
	int64_t id = 0;
	std::string station, list, host, port, product_id, started;
	std::optional<double> seconds;  // empty while running (or interrupted)
	std::string verdict, reason;    // verdict empty while running
	std::string failed_step;        // empty if no step failed
};

// Phones started in [from, to) (times compared as text, so a prefix such as
// "2026-11-23" works), of one station and list when not empty.
struct ResultsQuery {
	std::string from, to, station, list;
};

class ResultsStore {
public:
	virtual ~ResultsStore() = default;
	// A new run; marks runs left "running" by a station that died as
	// "incomplete" first.
	virtual std::string begin_run(const RunRecord &run, int64_t *run_id) = 0;
	virtual std::string begin_phone(int64_t run_id, const PhoneRecord &phone, int64_t *phone_id) = 0;
	virtual std::string add_step(int64_t phone_id, const StepRecord &step) = 0;
	virtual std::string end_phone(int64_t phone_id, const std::string &verdict, const std::string &reason,
	                              double seconds) = 0;
	virtual std::string end_run(int64_t run_id, const std::string &finished) = 0;

	// Reading back, for reports and checks.
	virtual std::string read_phones(const ResultsQuery &query, std::vector<PhoneResult> *phones) = 0;
	virtual std::string read_steps(int64_t phone_id, std::vector<StepRecord> *steps) = 0;
	virtual std::string read_run_state(int64_t run_id, std::string *state) = 0;
};

// A time as the store keeps it: "YYYY-MM-DDTHH:MM:SS.mmmZ", UTC.
std::string results_time(std::chrono::system_clock::time_point t);

// "postgresql://..." (or "postgres://...") opens a server; anything else is
// an SQLite file. Creates or migrates the schema. Null with *error set when
// the database cannot be opened or written.
std::unique_ptr<ResultsStore> open_results_store(const std::string &where, std::string *error);

}  // namespace station
