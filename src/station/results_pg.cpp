// The results store on a PostgreSQL server, for all the stations of a line.
#include <libpq-fe.h>

#include <cstdio>
#include <mutex>
#include <vector>

#include "station/results_backend.h"

namespace station::results_sql {

namespace {

struct ConnFinish {
	void operator()(PGconn *c) const { PQfinish(c); }
};
struct ResultClear {
	void operator()(PGresult *r) const { PQclear(r); }
};
using Conn = std::unique_ptr<PGconn, ConnFinish>;
using Result = std::unique_ptr<PGresult, ResultClear>;

// Every open of a store takes this lock to create or migrate the schema, so
// stations starting together do not race on it.
constexpr const char *kMigrationLock = "SELECT pg_advisory_xact_lock(7246001)";

std::string number(int64_t v)
{
	return std::to_string(v);
}
std::string number(double v)
{
	char buf[40];
	std::snprintf(buf, sizeof buf, "%.17g", v);
	return buf;
}

// The address without its password, for messages.
std::string shown(const std::string &conninfo)
{
	auto at = conninfo.find('@'), scheme = conninfo.find("://");
	if (at == std::string::npos || scheme == std::string::npos)
		return conninfo;
	auto colon = conninfo.find(':', scheme + 3);
	if (colon == std::string::npos || colon > at)
		return conninfo;
	return conninfo.substr(0, colon) + ":***" + conninfo.substr(at);
}

class PgStore final : public ResultsStore {
public:
	PgStore(Conn conn, std::string where) : conn_(std::move(conn)), where_(std::move(where)) {}

	std::string open()
	{
		PQsetNoticeProcessor(conn_.get(), [](void *, const char *) {}, nullptr);
		return transaction([&]() -> std::string {
			if (auto e = exec(kMigrationLock); !e.empty())
				return e;
			if (auto e = exec("CREATE TABLE IF NOT EXISTS schema_version(version INTEGER NOT NULL)"); !e.empty())
				return e;
			std::vector<std::vector<std::string>> rows;
			if (auto e = query("SELECT version FROM schema_version", {}, &rows); !e.empty())
				return e;
			int64_t version = rows.empty() ? 0 : std::stoll(rows[0][0]);
			if (rows.empty())
				if (auto e = exec("INSERT INTO schema_version(version) VALUES(0)"); !e.empty())
					return e;
			auto steps = migrations();
			if (version > static_cast<int64_t>(steps.size()))
				return where_ + ": schema version " + std::to_string(version) + " is newer than this tool's " +
				       std::to_string(steps.size());
			for (size_t k = static_cast<size_t>(version); k < steps.size(); ++k)
				if (auto e = exec(migration_text(steps[k], "BIGSERIAL PRIMARY KEY")); !e.empty())
					return e;
			return query("UPDATE schema_version SET version = $1", {number(static_cast<int64_t>(steps.size()))});
		});
	}

	std::string begin_run(const RunRecord &run, int64_t *run_id) override
	{
		std::lock_guard lock(mutex_);
		return transaction([&] {
			if (auto e = query(kMarkIncomplete, {run.host, run.station}); !e.empty())
				return e;
			return query_id(kInsertRun, {run.station, run.list, run.host, run.started}, run_id);
		});
	}
	std::string begin_phone(int64_t run_id, const PhoneRecord &phone, int64_t *phone_id) override
	{
		std::lock_guard lock(mutex_);
		return query_id(kInsertPhone, {number(run_id), phone.port, phone.product_id, phone.started}, phone_id);
	}
	std::string add_step(int64_t phone_id, const StepRecord &s) override
	{
		std::lock_guard lock(mutex_);
		return query(kInsertStep, {number(phone_id), number(int64_t{s.idx}), s.name, s.command, s.answer, s.verdict,
		                           s.reason, s.started, number(s.seconds), number(int64_t{s.retries})});
	}
	std::string end_phone(int64_t phone_id, const std::string &verdict, const std::string &reason,
	                      double seconds) override
	{
		std::lock_guard lock(mutex_);
		return query(kEndPhone, {number(phone_id), verdict, reason, number(seconds)});
	}
	std::string end_run(int64_t run_id, const std::string &finished) override
	{
		std::lock_guard lock(mutex_);
		return query(kEndRun, {number(run_id), finished});
	}

	std::string read_phones(const ResultsQuery &q, std::vector<PhoneResult> *phones) override
	{
		std::lock_guard lock(mutex_);
		phones->clear();
		std::vector<std::vector<std::string>> rows;
		std::vector<std::vector<bool>> nulls;
		if (auto e = query(kSelectPhones, {q.from, q.to, q.station, q.list}, &rows, &nulls); !e.empty())
			return e;
		for (size_t i = 0; i < rows.size(); ++i) {
			const auto &r = rows[i];
			PhoneResult p{std::stoll(r[0]), r[1], r[2], r[3], r[4], r[5], r[6], {}, r[8], r[9], r[10]};
			if (!nulls[i][7])
				p.seconds = std::stod(r[7]);
			phones->push_back(std::move(p));
		}
		return {};
	}
	std::string read_steps(int64_t phone_id, std::vector<StepRecord> *steps) override
	{
		std::lock_guard lock(mutex_);
		steps->clear();
		std::vector<std::vector<std::string>> rows;
		if (auto e = query(kSelectSteps, {number(phone_id)}, &rows); !e.empty())
			return e;
		for (const auto &r : rows)
			steps->push_back({std::stoi(r[0]), r[1], r[2], r[3], r[4], r[5], r[6], std::stod(r[7]), std::stoi(r[8])});
		return {};
	}
	std::string read_run_state(int64_t run_id, std::string *state) override
	{
		std::lock_guard lock(mutex_);
		std::vector<std::vector<std::string>> rows;
		if (auto e = query(kSelectRunState, {number(run_id)}, &rows); !e.empty())
			return e;
		if (rows.empty())
			return "no run " + std::to_string(run_id);
		*state = rows[0][0];
		return {};
	}

private:
	std::string failure(const PGresult *r)
	{
		std::string msg = r ? PQresultErrorMessage(r) : PQerrorMessage(conn_.get());
		while (!msg.empty() && (msg.back() == '\n' || msg.back() == ' '))
			msg.pop_back();
		return where_ + ": " + (msg.empty() ? std::string("failed") : msg);
	}

	// Statements without parameters, possibly several.
	std::string exec(const std::string &sql)
	{
		Result r(PQexec(conn_.get(), sql.c_str()));
		auto status = r ? PQresultStatus(r.get()) : PGRES_FATAL_ERROR;
		return status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK ? std::string() : failure(r.get());
	}

	// One statement with text parameters $1..; rows as text.
	std::string query(std::string_view sql, const std::vector<std::string> &params,
	                  std::vector<std::vector<std::string>> *rows = nullptr,
	                  std::vector<std::vector<bool>> *nulls = nullptr)
	{
		std::vector<std::string> texts;
		std::vector<const char *> values;
		for (const auto &p : params)
			texts.push_back(stored_text(p));
		for (const auto &t : texts)
			values.push_back(t.c_str());
		std::string text(sql);
		Result r(PQexecParams(conn_.get(), text.c_str(), static_cast<int>(values.size()), nullptr, values.data(),
		                      nullptr, nullptr, 0));
		auto status = r ? PQresultStatus(r.get()) : PGRES_FATAL_ERROR;
		if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK)
			return failure(r.get());
		for (int i = 0; rows && i < PQntuples(r.get()); ++i) {
			rows->emplace_back();
			if (nulls)
				nulls->emplace_back();
			for (int c = 0; c < PQnfields(r.get()); ++c) {
				rows->back().emplace_back(PQgetvalue(r.get(), i, c), static_cast<size_t>(PQgetlength(r.get(), i, c)));
				if (nulls)
					nulls->back().push_back(PQgetisnull(r.get(), i, c));
			}
		}
		return {};
	}

	std::string query_id(std::string_view sql, const std::vector<std::string> &params, int64_t *id)
	{
		std::vector<std::vector<std::string>> rows;
		if (auto e = query(sql, params, &rows); !e.empty())
			return e;
		if (rows.empty() || rows[0].empty())
			return where_ + ": no id returned";
		*id = std::stoll(rows[0][0]);
		return {};
	}

	template <typename Body>
	std::string transaction(Body body)
	{
		if (auto e = exec("BEGIN"); !e.empty())
			return e;
		std::string e = body();
		if (e.empty())
			e = exec("COMMIT");
		if (!e.empty())
			exec("ROLLBACK");
		return e;
	}

	std::mutex mutex_;  // the workers of a station share one connection
	Conn conn_;
	std::string where_;
};

}  // namespace

std::unique_ptr<ResultsStore> open_postgresql(const std::string &conninfo, std::string *error)
{
	Conn conn(PQconnectdb(conninfo.c_str()));
	if (!conn || PQstatus(conn.get()) != CONNECTION_OK) {
		std::string msg = conn ? PQerrorMessage(conn.get()) : "out of memory";
		while (!msg.empty() && msg.back() == '\n')
			msg.pop_back();
		*error = shown(conninfo) + ": cannot connect: " + msg;
		return nullptr;
	}
	auto store = std::make_unique<PgStore>(std::move(conn), shown(conninfo));
	if (std::string e = store->open(); !e.empty()) {
		*error = e;
		return nullptr;
	}
	return store;
}

}  // namespace station::results_sql
