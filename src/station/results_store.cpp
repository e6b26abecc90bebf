// Opening a results store: which database, and the schema both share.
#include "station/results_store.h"

#include <array>
#include <cstdio>
#include <ctime>

#include "station/results_backend.h"

namespace station {

namespace results_sql {

namespace {

// Append only: a database at version k runs migrations k.. in order.
constexpr std::array<std::string_view, 2> kMigrations = {
	// 1: the tables.
	"CREATE TABLE runs(id {id}, station TEXT NOT NULL, list TEXT NOT NULL, host TEXT NOT NULL, "
	"started TEXT NOT NULL, finished TEXT, state TEXT NOT NULL);"
	"CREATE TABLE phones(id {id}, run_id BIGINT NOT NULL REFERENCES runs(id), port TEXT NOT NULL, "
	"product_id TEXT NOT NULL, started TEXT NOT NULL, seconds DOUBLE PRECISION, verdict TEXT, "
	"reason TEXT NOT NULL DEFAULT '');"
	"CREATE TABLE steps(id {id}, phone_id BIGINT NOT NULL REFERENCES phones(id), idx INTEGER NOT NULL, "
	"name TEXT NOT NULL, command TEXT NOT NULL, answer TEXT NOT NULL, verdict TEXT NOT NULL, "
	"reason TEXT NOT NULL, started TEXT NOT NULL, seconds DOUBLE PRECISION NOT NULL, retries INTEGER NOT NULL);",
	// 2: what the reports and the start-up look up.
	"CREATE INDEX phones_started ON phones(started);"
	"CREATE INDEX phones_run ON phones(run_id);"
	"CREATE INDEX steps_phone ON steps(phone_id);"
	"CREATE INDEX runs_state ON runs(state, host, station);",
};

}  // namespace

std::span<const std::string_view> migrations()
{
	return kMigrations;
}

std::string migration_text(std::string_view sql, std::string_view id_column)
{
	std::string out(sql);
	for (size_t at; (at = out.find("{id}")) != std::string::npos;)
		out.replace(at, 4, id_column);
	return out;
}

std::string stored_text(std::string_view text)
{
	std::string out;
	out.reserve(text.size());
	auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
	auto continuation = [&](size_t i) { return i < text.size() && (byte(i) & 0xC0) == 0x80; };
	for (size_t i = 0; i < text.size();) {
		unsigned char c = byte(i);
		// Length of a well-formed sequence starting here, or 0.
		size_t n = c >= 0x01 && c < 0x80 ? 1
		         : c >= 0xC2 && c <= 0xDF && continuation(i + 1) ? 2
		         : c >= 0xE0 && c <= 0xEF && continuation(i + 1) && continuation(i + 2) &&
		                   !(c == 0xE0 && byte(i + 1) < 0xA0) && !(c == 0xED && byte(i + 1) >= 0xA0)
		             ? 3
		         : c >= 0xF0 && c <= 0xF4 && continuation(i + 1) && continuation(i + 2) && continuation(i + 3) &&
		                   !(c == 0xF0 && byte(i + 1) < 0x90) && !(c == 0xF4 && byte(i + 1) >= 0x90)
		             ? 4
		             : 0;
		if (n == 0) {
			char hex[8];
			std::snprintf(hex, sizeof hex, "\\x%02X", c);
			out += hex;
			++i;
		} else {
			out.append(text.substr(i, n));
			i += n;
		}
	}
	return out;
}

}  // namespace results_sql

std::string results_time(std::chrono::system_clock::time_point t)
{
	using namespace std::chrono;
	auto ms = duration_cast<milliseconds>(t.time_since_epoch()).count();
	std::time_t secs = static_cast<std::time_t>(ms / 1000);
	std::tm tm{};
	::gmtime_r(&secs, &tm);
	char buf[96];
	std::snprintf(buf, sizeof buf, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", tm.tm_year + 1900, tm.tm_mon + 1,
	              tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec, static_cast<int>(ms % 1000));
	return buf;
}

std::unique_ptr<ResultsStore> open_results_store(const std::string &where, std::string *error)
{
	error->clear();
	if (where.starts_with("postgresql://") || where.starts_with("postgres://"))
		return results_sql::open_postgresql(where, error);
	if (where.empty()) {
		*error = "no results database given";
		return nullptr;
	}
	return results_sql::open_sqlite(where, error);
}

}  // namespace station
