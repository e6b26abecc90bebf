#include "support/pg_server.h"

#include <libpq-fe.h>
#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace testing_support {

namespace fs = std::filesystem;

namespace {

// The newest installed server's programs (Debian keeps them per version).
std::string find_bin()
{
	std::string best;
	std::error_code ec;
	for (const auto &e : fs::directory_iterator("/usr/lib/postgresql", ec))
		if (fs::exists(e.path() / "bin" / "initdb") && fs::exists(e.path() / "bin" / "pg_ctl"))
			if (best.empty() || std::stoi(e.path().filename().string()) > std::stoi(fs::path(best).parent_path().filename().string()))
				best = (e.path() / "bin").string();
	return best;
}

}  // namespace

bool pg_required()
{
	const char *ci = std::getenv("CI");
	return ci && std::string(ci) == "true";
}

PgServer::PgServer() : PgServer(Setup{}) {}

PgServer::PgServer(const Setup &setup)
{
	bin_ = find_bin();
	if (bin_.empty()) {
		missing_ = true;
		error_ = "PostgreSQL is not installed (Debian package postgresql)";
		return;
	}
	std::string templ = (fs::temp_directory_path() / "ftm-pg-XXXXXX").string();
	if (!::mkdtemp(templ.data())) {
		error_ = "cannot make a temporary folder";
		return;
	}
	dir_ = templ;
	if (::geteuid() == 0) {
		const passwd *pw = ::getpwnam("postgres");
		if (!pw || ::chown(dir_.c_str(), pw->pw_uid, pw->pw_gid) != 0) {
			error_ = "no postgres user to run the server as";
			return;
		}
	}
	std::string options = "-k " + dir_ + " -c listen_addresses='' -c max_connections=40" +
	                      (setup.fsync ? "" : " -c fsync=off -c synchronous_commit=off");
	if (!run(bin_ + "/initdb -D " + dir_ + "/data -U postgres -A trust -E UTF8 --locale=C --no-sync", "initdb"))
		return;
	if (!run(bin_ + "/pg_ctl -D " + dir_ + "/data -l " + dir_ + "/server.log -w -t 60 -o \"" + options + "\" start",
	         "pg_ctl start"))
		return;
	started_ = true;
}

PgServer::~PgServer()
{
	if (started_)
		run(bin_ + "/pg_ctl -D " + dir_ + "/data -m immediate -w stop", "pg_ctl stop");
	std::error_code ec;
	if (!dir_.empty())
		fs::remove_all(dir_, ec);
}

// As the postgres user when root, from a folder it may read; output to a log.
bool PgServer::run(const std::string &command, const std::string &what)
{
	std::string as = ::geteuid() == 0 ? "runuser -u postgres -- " : "";
	std::string line = "cd " + dir_ + " && " + as + command + " >>" + dir_ + "/commands.log 2>&1";
	if (std::system(line.c_str()) == 0)
		return true;
	std::ifstream log(dir_ + "/commands.log");
	std::stringstream text;
	text << log.rdbuf();
	std::ifstream server(dir_ + "/server.log");
	text << server.rdbuf();
	error_ = what + " failed: " + text.str();
	return false;
}

std::string PgServer::create_database(const std::string &name)
{
	if (!error_.empty())
		return {};
	std::string base = "postgresql:///postgres?host=" + dir_ + "&user=postgres";
	PGconn *conn = PQconnectdb(base.c_str());
	std::string e;
	if (PQstatus(conn) != CONNECTION_OK) {
		e = PQerrorMessage(conn);
	} else {
		PGresult *r = PQexec(conn, ("CREATE DATABASE \"" + name + "\"").c_str());
		if (PQresultStatus(r) != PGRES_COMMAND_OK)
			e = PQresultErrorMessage(r);
		PQclear(r);
	}
	PQfinish(conn);
	if (!e.empty()) {
		error_ = "cannot create database " + name + ": " + e;
		return {};
	}
	return "postgresql:///" + name + "?host=" + dir_ + "&user=postgres";
}

}  // namespace testing_support
