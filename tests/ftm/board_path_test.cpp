// Shell lines on a board whose folder holds spaces and quotes: every path
// is mapped into the board as one word, and nothing lands outside it.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "sim/board.h"
#include "sim/shell.h"
#include "support/sim_phone.h"

namespace {

std::string run_shell(const std::string &line)
{
	std::string out;
	if (FILE *p = ::popen(line.c_str(), "r")) {
		char buf[512];
		for (size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;)
			out.append(buf, n);
		::pclose(p);
	}
	return out;
}

TEST(BoardPath, MappedPathsAreOneWordBareAndInsideQuotes)
{
	for (const char *root : {"/tmp/a b", "/tmp/it's", "/tmp/x\"$HOME`\\y", "/tmp/plain"}) {
		sim::Board board(root);
		std::string line = sim::map_command_line(board, "printf '%s|' /data/a '/data/b' \"/data/c\" x=/data/d");
		std::string r = root;
		EXPECT_EQ(run_shell(line), r + "/data/a|" + r + "/data/b|" + r + "/data/c|x=" + r + "/data/d|")
		    << root << ": " << line;
	}
}

std::vector<std::string> names_in(const std::string &dir)
{
	std::vector<std::string> names;
	if (DIR *d = ::opendir(dir.c_str())) {
		while (dirent *e = ::readdir(d))
			if (e->d_name[0] != '.')
				names.push_back(e->d_name);
		::closedir(d);
	}
	return names;
}

TEST(BoardPath, ABoardFolderWithASpaceKeepsItsLogInside)
{
	char parent_template[] = "/tmp/ftm-space-XXXXXX";
	ASSERT_NE(::mkdtemp(parent_template), nullptr);
	const std::string parent = parent_template, base = parent + "/a b";
	ASSERT_EQ(::mkdir(base.c_str(), 0755), 0);
	const char *old = std::getenv("TMPDIR");
	std::string saved = old ? old : "";
	::setenv("TMPDIR", base.c_str(), 1);
	{
		testing_support::SimPhone phone;
		old ? ::setenv("TMPDIR", saved.c_str(), 1) : ::unsetenv("TMPDIR");
		ASSERT_EQ(phone.path("").rfind(base, 0), 0u) << phone.path("");
		EXPECT_EQ(phone.ask("AT\n"), "OK\n");
		EXPECT_NE(phone.file("data/ftm.log").find("FTMModeReady"), std::string::npos);
	}
	// Only the folder with the space: no "a" beside it made by a split word.
	EXPECT_EQ(names_in(parent), std::vector<std::string>{"a b"});
	std::system(("rm -rf '" + parent + "'").c_str());
}

}  // namespace
