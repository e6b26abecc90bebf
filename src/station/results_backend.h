// What the SQLite and PostgreSQL stores share: the migrations in order and
// the statements, written once in the SQL both understand.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "station/results_store.h"

namespace station::results_sql {

// Migration k (from 0) takes the schema from version k to k + 1. "{id}" is
// each database's own auto-numbered key column.
std::span<const std::string_view> migrations();
// The migration text with "{id}" replaced.
std::string migration_text(std::string_view sql, std::string_view id_column);

// Text as both databases keep it: valid UTF-8 as is; a NUL or a byte that is
// not part of valid UTF-8 becomes "\xNN".
std::string stored_text(std::string_view text);

// Parameters are numbered $1.. ; SQLite reads them as such too.
inline constexpr std::string_view kMarkIncomplete =
	"UPDATE runs SET state = 'incomplete' WHERE state = 'running' AND host = $1 AND station = $2";
inline constexpr std::string_view kInsertRun =
	"INSERT INTO runs(station, list, host, started, state) VALUES($1, $2, $3, $4, 'running') RETURNING id";
inline constexpr std::string_view kInsertPhone =
	"INSERT INTO phones(run_id, port, product_id, started) VALUES($1, $2, $3, $4) RETURNING id";
inline constexpr std::string_view kInsertStep =
	"INSERT INTO steps(phone_id, idx, name, command, answer, verdict, reason, started, seconds, retries) "
	"VALUES($1, $2, $3, $4, $5, $6, $7, $8, $9, $10)";
inline constexpr std::string_view kEndPhone =
	"UPDATE phones SET verdict = $2, reason = $3, seconds = $4 WHERE id = $1";
inline constexpr std::string_view kEndRun = "UPDATE runs SET finished = $2, state = 'done' WHERE id = $1";
// The phones of a window, with their run and their first failed step.
inline constexpr std::string_view kSelectPhones =
	"SELECT p.id, r.station, r.list, r.host, p.port, p.product_id, p.started, p.seconds, p.verdict, p.reason, "
	"(SELECT s.name FROM steps s WHERE s.phone_id = p.id AND s.verdict = 'FAIL' ORDER BY s.idx LIMIT 1) "
	"FROM phones p JOIN runs r ON r.id = p.run_id "
	"WHERE ($1 = '' OR p.started >= $1) AND ($2 = '' OR p.started < $2) "
	"AND ($3 = '' OR r.station = $3) AND ($4 = '' OR r.list = $4) ORDER BY p.started, p.id";
inline constexpr std::string_view kSelectSteps =
	"SELECT idx, name, command, answer, verdict, reason, started, seconds, retries FROM steps "
	"WHERE phone_id = $1 ORDER BY idx, id";
inline constexpr std::string_view kSelectRunState = "SELECT state FROM runs WHERE id = $1";

std::unique_ptr<ResultsStore> open_sqlite(const std::string &path, std::string *error);
std::unique_ptr<ResultsStore> open_postgresql(const std::string &conninfo, std::string *error);

}  // namespace station::results_sql
