// A line of simulated phones through the station tool, black-box: many
// phones at once (one failing a step through its board, one unplugged in the
// middle), the results store, and the station interlock across stations.
#include <chrono>
#include <csignal>
#include <dirent.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "station/results_store.h"

namespace {

using namespace std::chrono_literals;

std::string slurp(const std::string &path)
{
	std::ifstream in(path);
	std::stringstream ss;
	ss << in.rdbuf();
	return ss.str();
}

struct TempDir {
	std::string path;
	TempDir()
	{
		char templ[] = "/tmp/ftm-line-test-XXXXXX";
		path = ::mkdtemp(templ) ? templ : "";
	}
	~TempDir()
	{
		int r = std::system(("rm -rf '" + path + "'").c_str());
		(void)r;
	}
};

// ftm-station started in the background, its output in a file.
class Station {
public:
	Station(const std::string &args, const std::string &out) : out_(out)
	{
		std::string cmd = std::string(FTM_BIN_DIR) + "/ftm-station " + args + " >" + out + " 2>" + out + ".err";
		pid_ = ::fork();
		if (pid_ == 0) {
			::setpgid(0, 0);  // so kill_all() reaches the shell and the station alike
			::execl("/bin/sh", "sh", "-c", cmd.c_str(), static_cast<char *>(nullptr));
			::_exit(127);
		}
	}
	~Station()
	{
		if (pid_ > 0 && code_ < 0) {
			::kill(pid_, SIGKILL);
			::waitpid(pid_, nullptr, 0);
		}
	}
	// Waits until the output holds needle; false after timeout.
	bool wait_for(const std::string &needle, std::chrono::seconds timeout) const
	{
		for (auto end = std::chrono::steady_clock::now() + timeout; std::chrono::steady_clock::now() < end;
		     std::this_thread::sleep_for(50ms))
			if (slurp(out_).find(needle) != std::string::npos)
				return true;
		return false;
	}
	// The exit code, or -1 if it has not ended within the timeout.
	int wait(std::chrono::seconds timeout)
	{
		for (auto end = std::chrono::steady_clock::now() + timeout; code_ < 0 && std::chrono::steady_clock::now() < end;
		     std::this_thread::sleep_for(50ms)) {
			int status = 0;
			if (::waitpid(pid_, &status, WNOHANG) == pid_)
				code_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128;
		}
		return code_;
	}
	std::string out() const { return slurp(out_); }
	std::string err() const { return slurp(out_ + ".err"); }
	// A station killed where it stands: no handler, no clean-up of its own.
	void kill_all()
	{
		::kill(-pid_, SIGKILL);
		::waitpid(pid_, nullptr, 0);
		code_ = 128;
	}

private:
	std::string out_;
	pid_t pid_ = -1;
	int code_ = -1;
};

int run_station(const std::string &args, const std::string &out)
{
	Station s(args, out);
	return s.wait(300s);
}

// What a station run said, both streams, for a failed expectation.
std::string said(const std::string &out) { return slurp(out) + slurp(out + ".err"); }

// Pulls a simulated phone's cable: ends every process running on its board
// (the daemon and whatever it forked), found by the board in its environment.
// A child forked while /proc is read holds the port open too, so the scan
// repeats until it finds nobody left.
int unplug(const std::string &board)
{
	int killed = 0;
	for (int round = 0; round < 100; ++round) {
		int found = 0;
		DIR *proc = ::opendir("/proc");
		while (dirent *e = proc ? ::readdir(proc) : nullptr) {
			pid_t pid = static_cast<pid_t>(std::atoi(e->d_name));
			if (pid <= 0)
				continue;
			std::string env = slurp(std::string("/proc/") + e->d_name + "/environ");
			if (env.find(std::string("FTM_BOARD=") + board + '\0') != std::string::npos && ::kill(pid, SIGKILL) == 0)
				++found;
		}
		if (proc)
			::closedir(proc);
		if (found == 0)
			break;
		killed += found;
	}
	return killed;
}

// The summary lines of a phone in plain output: "simK ... phone VERDICT".
std::vector<std::string> verdict_lines(const std::string &out, const std::string &port)
{
	std::vector<std::string> lines;
	std::istringstream in(out);
	for (std::string line; std::getline(in, line);)
		if (line.starts_with(port + " ") && line.find(": phone ") != std::string::npos)
			lines.push_back(line);
		else if (line.starts_with(port + " phone REFUSED"))
			lines.push_back(line);
	return lines;
}

TEST(StationLine, EightPhonesAtOnceEachWithOneVerdictEveryResultStored)
{
	TempDir t;
	std::string boards;
	for (int k = 1; k <= 8; ++k)
		boards += " --board " + t.path + "/b" + std::to_string(k);
	std::string db = t.path + "/results.db";
	Station station("--sim 8" + boards + " --set 3:gpio.fail.fuse_read=1 run " + std::string(FTM_SOURCE_DIR) +
	                    "/lists/full.yaml --db " + db + " --json " + t.path + "/json --junit " + t.path + "/junit",
	                t.path + "/out");
	// Phone 5 loses its cable in the middle of the list.
	ASSERT_TRUE(station.wait_for("sim5 [ 30/", 240s)) << station.out() << station.err();
	EXPECT_GT(unplug(t.path + "/b5"), 0);
	ASSERT_EQ(station.wait(300s), 1) << station.out() << station.err();
	std::string out = station.out();

	auto store_error = std::string();
	auto store = station::open_results_store(db, &store_error);
	ASSERT_TRUE(store) << store_error;
	std::vector<station::PhoneResult> stored;
	ASSERT_EQ(store->read_phones({}, &stored), "");
	ASSERT_EQ(stored.size(), 8u);
	std::map<std::string, station::PhoneResult> by_port;
	for (const auto &p : stored)
		by_port[p.port] = p;

	for (int k = 1; k <= 8; ++k) {
		std::string port = "sim" + std::to_string(k);
		SCOPED_TRACE(port);
		auto lines = verdict_lines(out, port);
		ASSERT_EQ(lines.size(), 1u) << out;
		auto j = nlohmann::json::parse(slurp(t.path + "/json/" + port + ".json"));
		std::string verdict = j["verdict"];
		std::string reason = j["reason"];
		if (k == 3) {
			EXPECT_EQ(verdict, "FAIL");
			EXPECT_EQ(reason.rfind("'read fuse': ", 0), 0u) << reason;
		} else if (k == 5) {
			EXPECT_EQ(verdict, "FAIL");
			EXPECT_NE(reason.find("the phone is gone (its port closed)"), std::string::npos) << reason;
			EXPECT_GT(j["steps_not_run"].get<int>(), 0);
		} else {
			EXPECT_EQ(verdict, "PASS") << reason;
		}
		EXPECT_NE(lines[0].find(verdict == "PASS" ? "phone PASSED" : "phone FAILED"), std::string::npos) << lines[0];
		EXPECT_EQ(j["product_id"].get<std::string>().size(), 80u);
		EXPECT_TRUE(std::filesystem::exists(t.path + "/junit/" + port + ".xml"));

		// The store holds the same verdict and every step that ran, as run.
		ASSERT_TRUE(by_port.count(port));
		const station::PhoneResult &p = by_port[port];
		EXPECT_EQ(p.verdict, verdict);
		EXPECT_EQ(p.reason, reason);
		EXPECT_EQ(p.product_id, j["product_id"]);
		std::vector<station::StepRecord> steps;
		ASSERT_EQ(store->read_steps(p.id, &steps), "");
		ASSERT_EQ(steps.size(), j["steps"].size());
		for (size_t i = 0; i < steps.size(); ++i) {
			EXPECT_EQ(steps[i].idx, static_cast<int>(i));
			EXPECT_EQ(steps[i].name, j["steps"][i]["name"]);
			EXPECT_EQ(steps[i].verdict, j["steps"][i]["verdict"]);
		}
	}
	// Ids are each phone's own.
	std::set<std::string> ids;
	for (const auto &p : stored)
		ids.insert(p.product_id);
	EXPECT_EQ(ids.size(), 8u);
	EXPECT_NE(out.find("8 phones: 6 passed, 2 failed, 0 refused"), std::string::npos) << out;
}

// Three stations in a line: A (flag byte 0), B (byte 1), and RF (byte 3),
// which needs A and B. Each list is one step, so the line is quick.
TEST(StationLine, InterlockRefusesPhonesThatSkippedOrFailedAStation)
{
	TempDir t;
	auto list = [&](const std::string &name, int byte, const std::string &needs) {
		std::string path = t.path + "/" + name + ".yaml";
		std::ofstream(path) << "name: " << name << "\nstation: {name: " << name << ", flag_byte: " << byte
		                    << (needs.empty() ? "" : ", requires: [" + needs + "]")
		                    << "}\nsteps:\n  - {command: read fuse, expect_final: OK}\n";
		return path;
	};
	std::string a = list("A", 0, ""), b = list("B", 1, "0"), rf = list("RF", 3, "0, 1");
	std::string b1 = " --board " + t.path + "/b1", b2 = " --board " + t.path + "/b2", b3 = " --board " + t.path + "/b3";
	std::string db = " --db " + t.path + "/results.db";

	EXPECT_EQ(run_station("--sim 3" + b1 + b2 + b3 + " run " + a + db, t.path + "/a.out"), 0) << said(t.path + "/a.out");
	// Phone 2 skips B; phone 3 fails it.
	EXPECT_EQ(run_station("--sim 2" + b1 + b3 + " --set 2:gpio.fail.fuse_read=1 run " + b + db, t.path + "/b.out"), 1)
	    << said(t.path + "/b.out");
	int code = run_station("--sim 3" + b1 + b2 + b3 + " run " + rf + " --json " + t.path + "/rf" + db, t.path + "/rf.out");
	EXPECT_EQ(code, 1) << said(t.path + "/rf.out");

	struct Want {
		const char *port, *verdict, *reason, *flags_after;
	};
	for (const Want &w : {Want{"sim1", "PASS", "", "50500050"},
	                      Want{"sim2", "REFUSED", "required stations have not passed: byte 1 (not tested, 00)", ""},
	                      Want{"sim3", "REFUSED", "required stations have not passed: byte 1 (failed)", ""}}) {
		auto j = nlohmann::json::parse(slurp(t.path + "/rf/" + w.port + ".json"));
		EXPECT_EQ(j["verdict"], w.verdict) << w.port;
		EXPECT_EQ(j["reason"], w.reason) << w.port;
		EXPECT_EQ(j["station"], "RF");
		EXPECT_EQ(j["test_flags_after"].get<std::string>().substr(0, std::string(w.flags_after).size()), w.flags_after);
		EXPECT_EQ(j["steps"].size(), w.verdict == std::string("PASS") ? 1u : 0u) << w.port;
	}
	// A refused phone is left as it was: the RF byte is still unmarked.
	EXPECT_NE(slurp(t.path + "/b2/var/ftmgpio").find("testflag=50000000"), std::string::npos);
	// And the refusal is stored like any verdict.
	std::string error;
	auto store = station::open_results_store(t.path + "/results.db", &error);
	ASSERT_TRUE(store) << error;
	std::vector<station::PhoneResult> phones;
	ASSERT_EQ(store->read_phones({.station = "RF"}, &phones), "");
	std::map<std::string, std::string> verdicts;
	for (const auto &p : phones)
		verdicts[p.port] = p.verdict;
	EXPECT_EQ(verdicts, (std::map<std::string, std::string>{{"sim1", "PASS"}, {"sim2", "REFUSED"}, {"sim3", "REFUSED"}}));
}

// The step lines of a phone in plain output, "simK [ k/n] PASS ...", with
// the step's index from 0 and its verdict.
std::vector<std::pair<int, std::string>> shown_steps(const std::string &out, const std::string &port)
{
	std::vector<std::pair<int, std::string>> steps;
	std::istringstream in(out);
	for (std::string line; std::getline(in, line);) {
		int k = 0, n = 0;
		char verdict[8] = {};
		if (line.starts_with(port + " [") &&
		    std::sscanf(line.c_str() + port.size(), " [%d/%d] %7s", &k, &n, verdict) == 3)
			steps.emplace_back(k - 1, verdict);
	}
	return steps;
}

TEST(StationLine, AStationKilledMidRunKeepsEveryStepItShowedAndTheRunIsMarkedIncomplete)
{
	TempDir t;
	std::string db = t.path + "/results.db";
	std::string board = " --board " + t.path + "/b1";
	std::vector<std::pair<int, std::string>> shown;
	{
		Station station("--sim 1" + board + " run " + std::string(FTM_SOURCE_DIR) + "/lists/full.yaml --db " + db,
		                t.path + "/out");
		ASSERT_TRUE(station.wait_for("sim1 [ 12/", 240s)) << station.out() << station.err();
		station.kill_all();
		shown = shown_steps(station.out(), "sim1");
	}
	unplug(t.path + "/b1");  // the phone outlives its station
	ASSERT_GE(shown.size(), 12u);

	std::string error;
	auto store = station::open_results_store(db, &error);
	ASSERT_TRUE(store) << error;
	std::vector<station::PhoneResult> phones;
	ASSERT_EQ(store->read_phones({}, &phones), "");
	ASSERT_EQ(phones.size(), 1u);
	EXPECT_EQ(phones[0].verdict, "");  // never finished
	EXPECT_FALSE(phones[0].seconds);
	std::vector<station::StepRecord> steps;
	ASSERT_EQ(store->read_steps(phones[0].id, &steps), "");
	// Stored before shown: every step on the screen is in the store, as shown.
	ASSERT_GE(steps.size(), shown.size());
	for (size_t i = 0; i < shown.size(); ++i) {
		EXPECT_EQ(steps[i].idx, shown[i].first);
		EXPECT_EQ(steps[i].verdict, shown[i].second) << "step " << i;
	}
	std::string state;
	ASSERT_EQ(store->read_run_state(1, &state), "");
	EXPECT_EQ(state, "running");
	store.reset();

	// The same station starts again: the run it left is incomplete, the new one done.
	ASSERT_EQ(run_station("--sim 1" + board + " run " + std::string(FTM_SOURCE_DIR) + "/lists/spine.yaml --db " + db,
	                      t.path + "/again"),
	          0)
	    << said(t.path + "/again");
	store = station::open_results_store(db, &error);
	ASSERT_TRUE(store) << error;
	ASSERT_EQ(store->read_run_state(1, &state), "");
	EXPECT_EQ(state, "incomplete");
	ASSERT_EQ(store->read_run_state(2, &state), "");
	EXPECT_EQ(state, "done");
	ASSERT_EQ(store->read_steps(phones[0].id, &steps), "");
	EXPECT_GE(steps.size(), shown.size());  // nothing the killed run stored is lost
}

TEST(StationLine, ADatabaseThatCannotBeOpenedStopsTheStationBeforeAnyPhone)
{
	TempDir t;
	std::string args = "--sim 2 --board " + t.path + "/b1 --board " + t.path + "/b2 run " + std::string(FTM_SOURCE_DIR) +
	                   "/lists/spine.yaml --db " + t.path + "/no/such/folder/results.db";
	Station s(args, t.path + "/out");
	EXPECT_EQ(s.wait(60s), 2);
	EXPECT_NE(s.err().find("the results database " + t.path + "/no/such/folder/results.db cannot be opened"),
	          std::string::npos)
	    << s.err();
	EXPECT_EQ(s.out(), "");
	EXPECT_FALSE(std::filesystem::exists(t.path + "/b1"));  // no phone was started
}

}  // namespace
