// The results store on a PostgreSQL server.
#include "station/results_backend.h"

namespace station::results_sql {

std::unique_ptr<ResultsStore> open_postgresql(const std::string &conninfo, std::string *error)
{
	*error = conninfo + ": PostgreSQL is not supported by this build yet";
	return nullptr;
}

}  // namespace station::results_sql
