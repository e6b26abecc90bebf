// The station's tools on their command lines: -h and --help are usage
// requests (exit 0), and a bad argument is named with exit status 2.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <sys/wait.h>

namespace {

struct ToolRun {
	int status;
	std::string out;  // standard output and error
};

ToolRun run(const std::string &tool, const std::string &args)
{
	ToolRun r{-1, {}};
	FILE *p = ::popen((std::string(FTM_BIN_DIR) + "/" + tool + " " + args + " 2>&1 </dev/null").c_str(), "r");
	if (!p)
		return r;
	char buf[4096];
	for (size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;)
		r.out.append(buf, n);
	int status = ::pclose(p);
	r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
	return r;
}

struct Tool {
	const char *name;
	const char *help_shows;  // a line of its usage
};

const Tool kTools[] = {
	{"ftm-sim", "Usage: ftm-sim [OPTIONS] [SUBCOMMAND]"},
	{"ftm-screenshot", "Usage: ftm-screenshot [OPTIONS] BOARD_DIR OUT.png"},
	{"ftm-station", "Usage: ftm-station [OPTIONS] SUBCOMMAND"},
	{"ftm-camctl", "Usage: ftm-camctl [OPTIONS] COMMAND..."},
	{"isp3a-plot", "Usage: isp3a-plot [OPTIONS] [DIR]"},
};

TEST(ToolArguments, HelpIsAUsageRequestForEveryTool)
{
	for (const Tool &t : kTools)
		for (const char *flag : {"-h", "--help"}) {
			ToolRun r = run(t.name, flag);
			EXPECT_EQ(r.status, 0) << t.name << " " << flag << ": " << r.out;
			EXPECT_NE(r.out.find(t.help_shows), std::string::npos) << t.name << " " << flag << ": " << r.out;
		}
	for (const char *flag : {"-h", "--help"}) {
		ToolRun r = run("ftm-station", std::string("report ") + flag);
		EXPECT_EQ(r.status, 0) << r.out;
		EXPECT_EQ(r.out.rfind("usage: ftm-station report --db", 0), 0u) << r.out;
	}
}

TEST(ToolArguments, ABadArgumentIsNamed)
{
	const struct {
		const char *tool;
		std::string args, names;
	} bad[] = {
		{"ftm-sim", "--view 0", "--view: Value 0 not in range"},
		{"ftm-sim", "run somewhere --view 65536", "--view: Value 65536"},
		{"ftm-sim", "--view 8000 --no-view", "--view excludes --no-view"},
		{"ftm-sim", "start", "not expected: start"},
		{"ftm-sim", "init", "DIR is required"},
		{"ftm-screenshot", "/nonexistent/board out.png", "BOARD_DIR: Directory does not exist: /nonexistent/board"},
		{"ftm-screenshot", "", "BOARD_DIR is required"},
		{"ftm-station", "--frobnicate commands", "not expected: --frobnicate"},
		{"ftm-station", "teleport", "not expected: teleport"},
		{"ftm-station", "--sim 65 commands", "--sim: Value 65"},
		{"ftm-station", "report --db x.db --bogus", "unexpected argument '--bogus'"},
		{"ftm-station", "report --db", "--db needs a value"},
		{"ftm-station", "report --csv", "--db is required"},
		{"ftm-camctl", "--bogus", "not expected: --bogus"},
		{"ftm-camctl", "", "COMMAND is required"},
		{"isp3a-plot", "--bogus", "not expected: --bogus"},
	};
	for (const auto &b : bad) {
		ToolRun r = run(b.tool, b.args);
		EXPECT_EQ(r.status, 2) << b.tool << " " << b.args << ": " << r.out;
		EXPECT_NE(r.out.find(b.names), std::string::npos) << b.tool << " " << b.args << ": " << r.out;
	}
}

}  // namespace
