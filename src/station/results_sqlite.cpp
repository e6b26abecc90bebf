// The results store in an SQLite file: WAL, every call its own transaction,
// so a station killed at any moment keeps all it had committed.
#include <sqlite3.h>

#include <mutex>

#include "station/results_backend.h"

namespace station::results_sql {

namespace {

struct DbClose {
	void operator()(sqlite3 *db) const { sqlite3_close(db); }
};
struct StmtFinalize {
	void operator()(sqlite3_stmt *s) const { sqlite3_finalize(s); }
};
using Db = std::unique_ptr<sqlite3, DbClose>;
using Stmt = std::unique_ptr<sqlite3_stmt, StmtFinalize>;

// One parameter value, bound by its "$k" name.
struct Value {
	enum { kText, kInt, kReal } kind;
	std::string text;
	int64_t i = 0;
	double r = 0;
	Value(const std::string &s) : kind(kText), text(stored_text(s)) {}
	Value(const char *s) : kind(kText), text(stored_text(s)) {}
	Value(int64_t v) : kind(kInt), i(v) {}
	Value(int v) : kind(kInt), i(v) {}
	Value(double v) : kind(kReal), r(v) {}
};

class SqliteStore final : public ResultsStore {
public:
	SqliteStore(Db db, std::string path) : db_(std::move(db)), path_(std::move(path)) {}

	std::string open()
	{
		sqlite3_busy_timeout(db_.get(), 10000);  // other stations' writers on the same file
		if (auto e = exec("PRAGMA journal_mode=WAL"); !e.empty())
			return e;
		// FULL: a commit is on disk before the station shows the step as done.
		if (auto e = exec("PRAGMA synchronous=FULL; PRAGMA foreign_keys=ON"); !e.empty())
			return e;
		return migrate();
	}

	std::string begin_run(const RunRecord &run, int64_t *run_id) override
	{
		std::lock_guard lock(mutex_);
		return transaction([&] {
			if (auto e = run_statement(kMarkIncomplete, {run.host, run.station}); !e.empty())
				return e;
			return run_statement(kInsertRun, {run.station, run.list, run.host, run.started}, run_id);
		});
	}
	std::string begin_phone(int64_t run_id, const PhoneRecord &phone, int64_t *phone_id) override
	{
		std::lock_guard lock(mutex_);
		return run_statement(kInsertPhone, {run_id, phone.port, phone.product_id, phone.started}, phone_id);
	}
	std::string add_step(int64_t phone_id, const StepRecord &s) override
	{
		std::lock_guard lock(mutex_);
		return run_statement(kInsertStep, {phone_id, s.idx, s.name, s.command, s.answer, s.verdict, s.reason,
		                                   s.started, s.seconds, s.retries});
	}
	std::string end_phone(int64_t phone_id, const std::string &verdict, const std::string &reason,
	                      double seconds) override
	{
		std::lock_guard lock(mutex_);
		return run_statement(kEndPhone, {phone_id, verdict, reason, seconds});
	}
	std::string end_run(int64_t run_id, const std::string &finished) override
	{
		std::lock_guard lock(mutex_);
		return run_statement(kEndRun, {run_id, finished});
	}

	std::string read_phones(const ResultsQuery &q, std::vector<PhoneResult> *phones) override
	{
		std::lock_guard lock(mutex_);
		phones->clear();
		return query(kSelectPhones, {q.from, q.to, q.station, q.list}, [&](sqlite3_stmt *s) {
			PhoneResult p;
			p.id = sqlite3_column_int64(s, 0);
			p.station = text(s, 1), p.list = text(s, 2), p.host = text(s, 3), p.port = text(s, 4);
			p.product_id = text(s, 5), p.started = text(s, 6);
			if (sqlite3_column_type(s, 7) != SQLITE_NULL)
				p.seconds = sqlite3_column_double(s, 7);
			p.verdict = text(s, 8), p.reason = text(s, 9), p.failed_step = text(s, 10);
			phones->push_back(std::move(p));
		});
	}
	std::string read_steps(int64_t phone_id, std::vector<StepRecord> *steps) override
	{
		std::lock_guard lock(mutex_);
		steps->clear();
		return query(kSelectSteps, {phone_id}, [&](sqlite3_stmt *s) {
			StepRecord r;
			r.idx = sqlite3_column_int(s, 0);
			r.name = text(s, 1), r.command = text(s, 2), r.answer = text(s, 3), r.verdict = text(s, 4);
			r.reason = text(s, 5), r.started = text(s, 6);
			r.seconds = sqlite3_column_double(s, 7);
			r.retries = sqlite3_column_int(s, 8);
			steps->push_back(std::move(r));
		});
	}
	std::string read_run_state(int64_t run_id, std::string *state) override
	{
		std::lock_guard lock(mutex_);
		state->clear();
		std::string e = query(kSelectRunState, {run_id}, [&](sqlite3_stmt *s) { *state = text(s, 0); });
		if (e.empty() && state->empty())
			e = "no run " + std::to_string(run_id);
		return e;
	}

private:
	static std::string text(sqlite3_stmt *s, int col)
	{
		const unsigned char *t = sqlite3_column_text(s, col);
		return t ? std::string(reinterpret_cast<const char *>(t), static_cast<size_t>(sqlite3_column_bytes(s, col)))
		         : std::string();
	}

	std::string failure(std::string_view what)
	{
		return path_ + ": " + std::string(what) + ": " + sqlite3_errmsg(db_.get());
	}

	std::string exec(const std::string &sql)
	{
		char *msg = nullptr;
		if (sqlite3_exec(db_.get(), sql.c_str(), nullptr, nullptr, &msg) == SQLITE_OK)
			return {};
		std::string e = path_ + ": " + (msg ? msg : "failed");
		sqlite3_free(msg);
		return e;
	}

	// Prepares sql, binds "$1".. and calls row for each result row.
	template <typename Row>
	std::string query(std::string_view sql, std::initializer_list<Value> values, Row row)
	{
		sqlite3_stmt *raw = nullptr;
		if (sqlite3_prepare_v2(db_.get(), sql.data(), static_cast<int>(sql.size()), &raw, nullptr) != SQLITE_OK)
			return failure("cannot prepare");
		Stmt stmt(raw);
		int k = 0;
		for (const Value &v : values) {
			std::string name = "$" + std::to_string(++k);
			int at = sqlite3_bind_parameter_index(raw, name.c_str());
			if (at == 0)
				continue;
			int rc = v.kind == Value::kText ? sqlite3_bind_text(raw, at, v.text.data(), static_cast<int>(v.text.size()),
			                                                    SQLITE_TRANSIENT)
			       : v.kind == Value::kInt  ? sqlite3_bind_int64(raw, at, v.i)
			                                : sqlite3_bind_double(raw, at, v.r);
			if (rc != SQLITE_OK)
				return failure("cannot bind");
		}
		for (;;) {
			int rc = sqlite3_step(raw);
			if (rc == SQLITE_DONE)
				return {};
			if (rc != SQLITE_ROW)
				return failure("cannot write");
			row(raw);
		}
	}

	std::string run_statement(std::string_view sql, std::initializer_list<Value> values, int64_t *id = nullptr)
	{
		return query(sql, values, [&](sqlite3_stmt *s) {
			if (id)
				*id = sqlite3_column_int64(s, 0);
		});
	}

	template <typename Body>
	std::string transaction(Body body)
	{
		// IMMEDIATE: take the write lock now, so no other writer can make us
		// fail half-way through.
		if (auto e = exec("BEGIN IMMEDIATE"); !e.empty())
			return e;
		std::string e = body();
		if (e.empty())
			e = exec("COMMIT");
		if (!e.empty())
			exec("ROLLBACK");
		return e;
	}

	std::string migrate()
	{
		return transaction([&]() -> std::string {
			if (auto e = exec("CREATE TABLE IF NOT EXISTS schema_version(version INTEGER NOT NULL)"); !e.empty())
				return e;
			int64_t version = -1;
			std::string e = query("SELECT version FROM schema_version", {},
			                      [&](sqlite3_stmt *s) { version = sqlite3_column_int64(s, 0); });
			if (!e.empty())
				return e;
			if (version < 0) {
				version = 0;
				if (e = exec("INSERT INTO schema_version(version) VALUES(0)"); !e.empty())
					return e;
			}
			auto steps = migrations();
			if (version > static_cast<int64_t>(steps.size()))
				return path_ + ": schema version " + std::to_string(version) + " is newer than this tool's " +
				       std::to_string(steps.size());
			for (size_t k = static_cast<size_t>(version); k < steps.size(); ++k)
				if (e = exec(migration_text(steps[k], "INTEGER PRIMARY KEY")); !e.empty())
					return e;
			return run_statement("UPDATE schema_version SET version = $1", {static_cast<int64_t>(steps.size())});
		});
	}

	std::mutex mutex_;  // the workers of a station share one store
	Db db_;
	std::string path_;
};

}  // namespace

std::unique_ptr<ResultsStore> open_sqlite(const std::string &path, std::string *error)
{
	sqlite3 *raw = nullptr;
	int rc = sqlite3_open_v2(path.c_str(), &raw, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
	Db db(raw);
	if (rc != SQLITE_OK) {
		*error = path + ": cannot open: " + (raw ? sqlite3_errmsg(raw) : sqlite3_errstr(rc));
		return nullptr;
	}
	auto store = std::make_unique<SqliteStore>(std::move(db), path);
	if (std::string e = store->open(); !e.empty()) {
		*error = e;
		return nullptr;
	}
	return store;
}

}  // namespace station::results_sql
