// The results store: what goes in comes back, runs a dead station left are
// marked incomplete, a kill loses nothing committed, bad databases are
// clear errors.
#include <gtest/gtest.h>
#include <libpq-fe.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "station/results_backend.h"
#include "station/results_store.h"
#include "support/pg_server.h"

namespace {

namespace fs = std::filesystem;
using namespace station;

struct TempDir {
	fs::path path;
	TempDir()
	{
		std::string templ = (fs::temp_directory_path() / "ftm-results-XXXXXX").string();
		path = ::mkdtemp(templ.data()) ? templ : "";
	}
	~TempDir()
	{
		std::error_code ec;
		if (!path.empty())
			fs::remove_all(path, ec);
	}
};

std::unique_ptr<ResultsStore> open_ok(const std::string &where)
{
	std::string error;
	auto store = open_results_store(where, &error);
	EXPECT_TRUE(store) << error;
	EXPECT_EQ(error, "");
	return store;
}

// Text a station really stores: quotes, line ends, UTF-8, bytes of every
// value; and how both databases keep it.
std::string awkward_answer(bool stored)
{
	std::string s = "FORMAT='x' \"y\"\r\n; DROP TABLE steps; --\n caf\xC3\xA9 \xE2\x86\x92 \xF0\x9F\x93\xB1";
	for (int i = 0; i < 256; ++i) {
		if (stored && (i == 0 || i >= 0x80)) {
			char hex[8];
			std::snprintf(hex, sizeof hex, "\\x%02X", i);
			s += hex;
		} else {
			s += static_cast<char>(i);
		}
	}
	return s + (stored ? "\\xED\\xA0\\x80" : "\xED\xA0\x80") + "\nOK\n";  // a UTF-16 surrogate is no UTF-8
}

std::vector<StepRecord> sample_steps(bool stored = false)
{
	return {
		{0, "lcd red", "AT+LCD=RED\n", "OK\n", "PASS", "", "2026-11-23T10:00:00.100Z", 0.25, 0},
		{1, "camera", "AT*TAPP=...\n", awkward_answer(stored), "FAIL", "expected 'OK\\n'", "2026-11-23T10:00:00.400Z",
		 1.5, 2},
		{2, "vibrator", "AT+VIB=1\n", "ERROR\n", "FAIL", "answer was ERROR", "2026-11-23T10:00:02.000Z", 0.125, 0},
	};
}

void expect_same_steps(const std::vector<StepRecord> &got, const std::vector<StepRecord> &want)
{
	ASSERT_EQ(got.size(), want.size());
	for (size_t i = 0; i < want.size(); ++i) {
		SCOPED_TRACE("step " + std::to_string(i));
		EXPECT_EQ(got[i].idx, want[i].idx);
		EXPECT_EQ(got[i].name, want[i].name);
		EXPECT_EQ(got[i].command, want[i].command);
		EXPECT_EQ(got[i].answer, want[i].answer);
		EXPECT_EQ(got[i].verdict, want[i].verdict);
		EXPECT_EQ(got[i].reason, want[i].reason);
		EXPECT_EQ(got[i].started, want[i].started);
		EXPECT_DOUBLE_EQ(got[i].seconds, want[i].seconds);
		EXPECT_EQ(got[i].retries, want[i].retries);
	}
}

// Every call of the interface and back, on one backend.
void round_trip(const std::string &where)
{
	auto store = open_ok(where);
	ASSERT_TRUE(store);
	int64_t run = 0, good = 0, bad = 0;
	ASSERT_EQ(store->begin_run({"RF", "full", "pc-1", "2026-11-23T10:00:00.000Z"}, &run), "");
	ASSERT_EQ(store->begin_phone(run, {"/dev/ttyUSB0", std::string(80, 'a'), "2026-11-23T10:00:00.050Z"}, &good), "");
	ASSERT_EQ(store->begin_phone(run, {"/dev/ttyUSB1", "unidentified", "2026-11-23T10:00:00.060Z"}, &bad), "");
	EXPECT_NE(good, bad);
	auto steps = sample_steps();
	ASSERT_EQ(store->add_step(good, steps[0]), "");
	for (const auto &s : steps)
		ASSERT_EQ(store->add_step(bad, s), "");
	ASSERT_EQ(store->end_phone(good, "PASS", "", 0.75), "");
	ASSERT_EQ(store->end_phone(bad, "FAIL", "2 steps failed", 2.5), "");
	std::string state;
	ASSERT_EQ(store->read_run_state(run, &state), "");
	EXPECT_EQ(state, "running");
	ASSERT_EQ(store->end_run(run, "2026-11-23T10:00:03.000Z"), "");

	// Read back through a second connection: what was committed is there.
	store.reset();
	store = open_ok(where);
	ASSERT_TRUE(store);
	ASSERT_EQ(store->read_run_state(run, &state), "");
	EXPECT_EQ(state, "done");
	std::vector<StepRecord> got;
	ASSERT_EQ(store->read_steps(bad, &got), "");
	expect_same_steps(got, sample_steps(true));
	ASSERT_EQ(store->read_steps(good, &got), "");
	expect_same_steps(got, {steps[0]});

	std::vector<PhoneResult> phones;
	ASSERT_EQ(store->read_phones({}, &phones), "");
	ASSERT_EQ(phones.size(), 2u);
	EXPECT_EQ(phones[0].id, good);
	EXPECT_EQ(phones[0].station, "RF");
	EXPECT_EQ(phones[0].list, "full");
	EXPECT_EQ(phones[0].host, "pc-1");
	EXPECT_EQ(phones[0].port, "/dev/ttyUSB0");
	EXPECT_EQ(phones[0].product_id, std::string(80, 'a'));
	EXPECT_EQ(phones[0].started, "2026-11-23T10:00:00.050Z");
	EXPECT_EQ(phones[0].verdict, "PASS");
	EXPECT_EQ(phones[0].seconds, 0.75);
	EXPECT_EQ(phones[0].failed_step, "");
	EXPECT_EQ(phones[1].product_id, "unidentified");
	EXPECT_EQ(phones[1].verdict, "FAIL");
	EXPECT_EQ(phones[1].reason, "2 steps failed");
	EXPECT_EQ(phones[1].failed_step, "camera");  // the first that failed, not the last

	EXPECT_NE(store->read_run_state(run + 100, &state), "");
}

// Phones started in a window, one station, one list.
void query_filters(const std::string &where)
{
	auto store = open_ok(where);
	ASSERT_TRUE(store);
	struct Made {
		const char *station, *list, *started;
	};
	const Made made[] = {
		{"RF", "full", "2026-11-23T09:59:59.999Z"},
		{"RF", "full", "2026-11-23T10:00:00.000Z"},
		{"AUDIO", "full", "2026-11-23T10:30:00.000Z"},
		{"RF", "spine", "2026-11-23T10:59:59.999Z"},
		{"RF", "full", "2026-11-23T11:00:00.000Z"},
	};
	for (const Made &m : made) {
		int64_t run = 0, phone = 0;
		ASSERT_EQ(store->begin_run({m.station, m.list, std::string("pc-") + m.station + m.list, m.started}, &run), "");
		ASSERT_EQ(store->begin_phone(run, {"p", m.started, m.started}, &phone), "");
	}
	struct Case {
		ResultsQuery query;
		std::vector<std::string> started;
	} cases[] = {
		{{}, {made[0].started, made[1].started, made[2].started, made[3].started, made[4].started}},
		{{"2026-11-23T10", "2026-11-23T11", "", ""}, {made[1].started, made[2].started, made[3].started}},
		{{"2026-11-23T10", "", "RF", ""}, {made[1].started, made[3].started, made[4].started}},
		{{"", "", "RF", "full"}, {made[0].started, made[1].started, made[4].started}},
		{{"", "2026-11-23T10:00:00.000Z", "", ""}, {made[0].started}},
		{{"", "", "LCD", ""}, {}},
	};
	for (const Case &c : cases) {
		SCOPED_TRACE(c.query.from + ".." + c.query.to + " " + c.query.station + " " + c.query.list);
		std::vector<PhoneResult> phones;
		ASSERT_EQ(store->read_phones(c.query, &phones), "");
		std::vector<std::string> got;
		for (const auto &p : phones)
			got.push_back(p.product_id);
		EXPECT_EQ(got, c.started);
	}
}

// A station that starts again marks its own runs left running, and only them.
void marks_incomplete(const std::string &where)
{
	auto store = open_ok(where);
	ASSERT_TRUE(store);
	int64_t done = 0, died = 0, other_host = 0, other_station = 0, next = 0;
	ASSERT_EQ(store->begin_run({"RF", "full", "pc-1", "2026-11-23T10:00:00.000Z"}, &done), "");
	ASSERT_EQ(store->end_run(done, "2026-11-23T10:01:00.000Z"), "");
	ASSERT_EQ(store->begin_run({"RF", "full", "pc-1", "2026-11-23T10:02:00.000Z"}, &died), "");
	ASSERT_EQ(store->begin_run({"RF", "full", "pc-2", "2026-11-23T10:02:00.000Z"}, &other_host), "");
	ASSERT_EQ(store->begin_run({"AUDIO", "full", "pc-1", "2026-11-23T10:02:00.000Z"}, &other_station), "");
	store.reset();
	store = open_ok(where);
	ASSERT_TRUE(store);
	ASSERT_EQ(store->begin_run({"RF", "spine", "pc-1", "2026-11-23T10:03:00.000Z"}, &next), "");
	const std::pair<int64_t, const char *> want[] = {
		{done, "done"}, {died, "incomplete"}, {other_host, "running"}, {other_station, "running"}, {next, "running"},
	};
	for (auto [run, state] : want) {
		std::string got;
		ASSERT_EQ(store->read_run_state(run, &got), "");
		EXPECT_EQ(got, state) << "run " << run;
	}
}

// A station writing steps is killed with SIGKILL at a random moment; every
// step it had seen committed is there, and its run is marked incomplete when
// it starts again.
void kill_loses_nothing(const std::string &path)
{
	int fds[2];
	ASSERT_EQ(::pipe(fds), 0);
	pid_t child = ::fork();
	ASSERT_GE(child, 0);
	if (child == 0) {
		::close(fds[0]);
		std::string error;
		auto store = open_results_store(path, &error);
		int64_t run = 0, phone = 0;
		if (!store || !store->begin_run({"RF", "full", "pc-1", "2026-11-23T10:00:00.000Z"}, &run).empty() ||
		    !store->begin_phone(run, {"sim0", "unidentified", "2026-11-23T10:00:00.000Z"}, &phone).empty())
			::_exit(2);
		for (int i = 0;; ++i) {
			StepRecord s{i, "step " + std::to_string(i), "AT\n", "OK\n", "PASS", "", "2026-11-23T10:00:01.000Z", 0.01, 0};
			if (!store->add_step(phone, s).empty())
				::_exit(3);
			// Shown as done only once committed.
			if (::write(fds[1], &i, sizeof i) != sizeof i)
				::_exit(4);
		}
	}
	::close(fds[1]);
	int last = -1, i = 0;
	while (last < 50 && ::read(fds[0], &i, sizeof i) == sizeof i)
		last = i;
	::kill(child, SIGKILL);
	int status = 0;
	::waitpid(child, &status, 0);
	// What the child showed before it died, up to the kill.
	while (::read(fds[0], &i, sizeof i) == sizeof i)
		last = i;
	::close(fds[0]);
	ASSERT_TRUE(WIFSIGNALED(status)) << "child ended with " << status;
	ASSERT_GE(last, 50);

	auto store = open_ok(path);
	ASSERT_TRUE(store);
	std::vector<StepRecord> steps;
	ASSERT_EQ(store->read_steps(1, &steps), "");
	ASSERT_GE(steps.size(), static_cast<size_t>(last + 1));
	for (size_t k = 0; k < steps.size(); ++k)
		EXPECT_EQ(steps[k].idx, static_cast<int>(k));
	std::string state;
	ASSERT_EQ(store->read_run_state(1, &state), "");
	EXPECT_EQ(state, "running");
	int64_t next = 0;
	ASSERT_EQ(store->begin_run({"RF", "full", "pc-1", "2026-11-23T10:05:00.000Z"}, &next), "");
	ASSERT_EQ(store->read_run_state(1, &state), "");
	EXPECT_EQ(state, "incomplete");
}

TEST(ResultsStoreSqlite, RoundTrip)
{
	TempDir dir;
	round_trip((dir.path / "results.db").string());
}

TEST(ResultsStoreSqlite, QueryFilters)
{
	TempDir dir;
	query_filters((dir.path / "results.db").string());
}

TEST(ResultsStoreSqlite, MarksRunsLeftRunningIncomplete)
{
	TempDir dir;
	marks_incomplete((dir.path / "results.db").string());
}

int64_t schema_version(const std::string &path)
{
	sqlite3 *db = nullptr;
	int64_t version = -1;
	if (sqlite3_open(path.c_str(), &db) == SQLITE_OK)
		sqlite3_exec(
			db, "SELECT version FROM schema_version",
			[](void *v, int, char **cols, char **) {
				*static_cast<int64_t *>(v) = std::stoll(cols[0]);
				return 0;
			},
			&version, nullptr);
	sqlite3_close(db);
	return version;
}

std::string sqlite_exec(const std::string &path, const std::string &sql)
{
	sqlite3 *db = nullptr;
	char *msg = nullptr;
	std::string out;
	if (sqlite3_open(path.c_str(), &db) != SQLITE_OK || sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &msg) != SQLITE_OK)
		out = msg ? msg : "failed";
	sqlite3_free(msg);
	sqlite3_close(db);
	return out;
}

TEST(ResultsStoreSqlite, CreatesAndMigratesTheSchema)
{
	TempDir dir;
	const auto count = static_cast<int64_t>(results_sql::migrations().size());
	std::string fresh = (dir.path / "fresh.db").string();
	open_ok(fresh);
	EXPECT_EQ(schema_version(fresh), count);
	open_ok(fresh);  // opening again changes nothing
	EXPECT_EQ(schema_version(fresh), count);

	// A database an older station made at version 1, with a run in it.
	std::string old = (dir.path / "old.db").string();
	ASSERT_EQ(sqlite_exec(old, "CREATE TABLE schema_version(version INTEGER NOT NULL);"
	                           "INSERT INTO schema_version VALUES(1);" +
	                               results_sql::migration_text(results_sql::migrations()[0], "INTEGER PRIMARY KEY") +
	                               "INSERT INTO runs(station, list, host, started, state) "
	                               "VALUES('RF', 'full', 'pc-1', '2026-11-23T10:00:00.000Z', 'done');"),
	          "");
	auto store = open_ok(old);
	EXPECT_EQ(schema_version(old), count);
	std::string state;
	ASSERT_TRUE(store);
	EXPECT_EQ(store->read_run_state(1, &state), "");
	EXPECT_EQ(state, "done");
	// The later migrations ran: their indexes exist.
	EXPECT_EQ(sqlite_exec(old, "CREATE INDEX steps_phone ON steps(phone_id)"), "index steps_phone already exists");

	// A database from a newer tool is refused, not damaged.
	ASSERT_EQ(sqlite_exec(fresh, "UPDATE schema_version SET version = 99"), "");
	std::string error;
	EXPECT_FALSE(open_results_store(fresh, &error));
	EXPECT_NE(error.find("newer"), std::string::npos) << error;
	EXPECT_EQ(schema_version(fresh), 99);
}

TEST(ResultsStoreSqlite, DatabasesThatCannotBeOpenedOrWrittenAreClearErrors)
{
	TempDir dir;
	std::string garbage = (dir.path / "garbage.db").string();
	std::ofstream(garbage) << std::string(4096, 'x');
	std::string readonly = (dir.path / "readonly.db").string();
	open_ok(readonly);
	fs::permissions(readonly, fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
	struct Case {
		std::string where, says;
	} cases[] = {
		{(dir.path / "no-such-dir" / "results.db").string(), "unable to open"},
		{garbage, "not a database"},
		{dir.path.string(), "unable to open"},
		{"", "no results database"},
	};
	for (const Case &c : cases) {
		std::string error;
		EXPECT_FALSE(open_results_store(c.where, &error)) << c.where;
		EXPECT_NE(error.find(c.says), std::string::npos) << c.where << ": " << error;
		EXPECT_NE(error.find(c.where), std::string::npos) << error;  // says which database
	}
	// Root writes through file modes; a read-only file is only refused to others.
	if (::geteuid() != 0) {
		std::string error;
		auto store = open_results_store(readonly, &error);
		int64_t run = 0;
		EXPECT_TRUE(!store || !store->begin_run({"RF", "full", "pc", "t"}, &run).empty());
	}
}

TEST(ResultsStoreSqlite, KillLosesNothingCommitted)
{
	TempDir dir;
	kill_loses_nothing((dir.path / "results.db").string());
}

TEST(ResultsStore, TimesSortAsText)
{
	using namespace std::chrono;
	system_clock::time_point t{milliseconds(1795428000123)};  // 2026-11-23T10:00:00.123Z
	EXPECT_EQ(results_time(t), "2026-11-23T10:00:00.123Z");
	EXPECT_EQ(results_time(t + milliseconds(877)), "2026-11-23T10:00:01.000Z");
	EXPECT_LT(results_time(t), results_time(t + hours(24 * 40)));
}

// One server for the PostgreSQL cases, a fresh database for each.
class ResultsStorePg : public ::testing::Test {
protected:
	static void SetUpTestSuite() { server_ = new testing_support::PgServer(); }
	static void TearDownTestSuite()
	{
		delete server_;
		server_ = nullptr;
	}
	void SetUp() override { FTM_REQUIRE_PG(*server_); }
	std::string fresh_database()
	{
		std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
		std::string where = server_->create_database("t_" + name);
		EXPECT_EQ(server_->error(), "");
		return where;
	}
	static testing_support::PgServer *server_;
};
testing_support::PgServer *ResultsStorePg::server_ = nullptr;

TEST_F(ResultsStorePg, RoundTrip)
{
	round_trip(fresh_database());
}

TEST_F(ResultsStorePg, QueryFilters)
{
	query_filters(fresh_database());
}

TEST_F(ResultsStorePg, MarksRunsLeftRunningIncomplete)
{
	marks_incomplete(fresh_database());
}

TEST_F(ResultsStorePg, KillLosesNothingCommitted)
{
	kill_loses_nothing(fresh_database());
}

// Four stations of a line start together on a fresh database (so they also
// race to create the schema) and each writes its phones: all succeed, and
// every row is there.
TEST_F(ResultsStorePg, FourStationProcessesAtOnce)
{
	constexpr int kStations = 4, kPhones = 5, kSteps = 20;
	std::string where = fresh_database();
	int go[2];
	ASSERT_EQ(::pipe(go), 0);
	std::vector<pid_t> children;
	for (int k = 0; k < kStations; ++k) {
		pid_t child = ::fork();
		ASSERT_GE(child, 0);
		if (child == 0) {
			::close(go[1]);
			char c;
			if (::read(go[0], &c, 1) != 0)  // everyone starts when the pipe closes
				::_exit(9);
			std::string error;
			auto store = open_results_store(where, &error);
			if (!store) {
				std::fprintf(stderr, "station %d: %s\n", k, error.c_str());
				::_exit(2);
			}
			int64_t run = 0;
			std::string host = "pc-" + std::to_string(k);
			if (!store->begin_run({"RF", "full", host, results_time(std::chrono::system_clock::now())}, &run).empty())
				::_exit(3);
			for (int p = 0; p < kPhones; ++p) {
				int64_t phone = 0;
				if (!store->begin_phone(run, {host + "/" + std::to_string(p), "unidentified", "t"}, &phone).empty())
					::_exit(4);
				for (int i = 0; i < kSteps; ++i)
					if (!store->add_step(phone, {i, "s", "AT\n", "OK\n", "PASS", "", "t", 0.01, 0}).empty())
						::_exit(5);
				if (!store->end_phone(phone, "PASS", "", 1.0).empty())
					::_exit(6);
			}
			::_exit(store->end_run(run, "t").empty() ? 0 : 7);
		}
		children.push_back(child);
	}
	::close(go[0]);
	::close(go[1]);
	for (pid_t child : children) {
		int status = -1;
		::waitpid(child, &status, 0);
		EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "station exited with " << status;
	}
	auto store = open_ok(where);
	ASSERT_TRUE(store);
	std::vector<PhoneResult> phones;
	ASSERT_EQ(store->read_phones({}, &phones), "");
	ASSERT_EQ(phones.size(), size_t{kStations * kPhones});
	for (const auto &p : phones) {
		std::vector<StepRecord> steps;
		ASSERT_EQ(store->read_steps(p.id, &steps), "");
		EXPECT_EQ(steps.size(), size_t{kSteps}) << p.port;
		EXPECT_EQ(p.verdict, "PASS");
	}
}

// The server drops the station's connection mid-run: the next write says
// so, naming the database, and nothing throws or hangs.
TEST_F(ResultsStorePg, ALostConnectionIsAClearError)
{
	std::string where = fresh_database();
	auto store = open_ok(where);
	ASSERT_TRUE(store);
	int64_t run = 0, phone = 0;
	ASSERT_EQ(store->begin_run({"RF", "full", "pc-1", "t"}, &run), "");
	ASSERT_EQ(store->begin_phone(run, {"p", "unidentified", "t"}, &phone), "");
	PGconn *admin = PQconnectdb(where.c_str());
	ASSERT_EQ(PQstatus(admin), CONNECTION_OK);
	PGresult *r = PQexec(admin, "SELECT pg_terminate_backend(pid) FROM pg_stat_activity "
	                            "WHERE datname = current_database() AND pid <> pg_backend_pid()");
	EXPECT_EQ(PQresultStatus(r), PGRES_TUPLES_OK);
	EXPECT_EQ(PQntuples(r), 1);
	PQclear(r);
	PQfinish(admin);
	std::string error = store->add_step(phone, sample_steps()[0]);
	EXPECT_NE(error, "");
	EXPECT_NE(error.find(where.substr(0, 20)), std::string::npos) << error;
	EXPECT_NE(store->end_run(run, "t"), "");
}

TEST_F(ResultsStorePg, ServersThatCannotBeReachedAreClearErrors)
{
	std::string good = fresh_database();
	std::string host = good.substr(good.find("?host="));
	struct Case {
		std::string where, says, hidden;
	} cases[] = {
		{"postgresql:///no_such_db" + host, "no_such_db", ""},
		{"postgresql:///postgres?host=/nonexistent/socket-dir&user=postgres", "cannot connect", ""},
		{"postgres://station:s3cret@/postgres?host=/nonexistent/socket-dir", "cannot connect", "s3cret"},
	};
	for (const Case &c : cases) {
		std::string error;
		EXPECT_FALSE(open_results_store(c.where, &error)) << c.where;
		EXPECT_NE(error.find(c.says), std::string::npos) << error;
		if (!c.hidden.empty()) {
			EXPECT_EQ(error.find(c.hidden), std::string::npos) << error;
		}
	}
}

}  // namespace
