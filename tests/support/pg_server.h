// A PostgreSQL server of a test's own: initdb into a temporary folder, a
// postmaster on a Unix socket in that folder only (no TCP), stopped and
// removed at the end. As root it runs as the `postgres` user.
#pragma once

#include <string>

namespace testing_support {

class PgServer {
public:
	struct Setup {
		bool fsync = false;  // true for figures a line would see
	};
	PgServer();
	explicit PgServer(const Setup &setup);
	~PgServer();
	PgServer(const PgServer &) = delete;
	PgServer &operator=(const PgServer &) = delete;

	// Empty when the server runs, or why not.
	const std::string &error() const { return error_; }
	// True when PostgreSQL's programs are not installed at all.
	bool missing() const { return missing_; }
	// A fresh database on the server; its "postgresql://" address, or empty
	// with error() set.
	std::string create_database(const std::string &name);

private:
	bool run(const std::string &command, const std::string &what);

	std::string bin_, dir_, error_;
	bool missing_ = false, started_ = false;
};

// Skips the test when PostgreSQL is not installed, fails it when CI=true or
// when it is installed and will not start.
#define FTM_REQUIRE_PG(server)                                                             \
	do {                                                                                   \
		if ((server).missing() && !::testing_support::pg_required())                       \
			GTEST_SKIP() << (server).error();                                              \
		ASSERT_EQ((server).error(), "");                                                   \
	} while (0)

bool pg_required();

}  // namespace testing_support
