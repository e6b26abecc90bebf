// The runner against phones: the simulated one, one that never answers, one
// that is unplugged in the middle; and the tool's exit codes and reports.
#include <atomic>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <pty.h>
#include <sstream>
#include <thread>
#include <tinyxml2.h>
#include <unistd.h>

#include "runner.h"
#include "station/link.h"
#include "support/sim_phone.h"
#include "testlist.h"

namespace {

using namespace ftm_station;

TestList list_of(const std::string &yaml)
{
	std::string error;
	auto list = parse_test_list(yaml, "test.yaml", &error);
	EXPECT_TRUE(list) << error;
	return list ? *list : TestList{};
}

RunResult quiet_run(const TestList &list, const Ports &ports) { return run_list(list, ports, RunOptions{}); }

TEST(StationRunner, FailedStepDoesNotStopTheList)
{
	testing_support::SimPhone phone;
	auto list = list_of(R"(name: t
steps:
  - {send: "AT\n", expect: "OK\n"}
  - {name: wrong on purpose, send: "AT+NOSUCH\n", expect: "OK\n"}
  - {send: "AT*TAPP=090040017700000000003F\n", expect_status: 1, expect_result: ""}
  - {name: needs a frame, send: "AT\n", expect_match: "^OK\n$"}
  - {name: frame expected to hold 01, send: "AT*TAPP=090040017700000000003F\n", expect_result: "01"}
)");
	RunResult r = quiet_run(list, {phone.phone().wired(), phone.phone().usb(), phone.path("")});
	ASSERT_EQ(r.steps.size(), 5u);
	EXPECT_TRUE(r.steps[0].pass);
	EXPECT_FALSE(r.steps[1].pass);
	EXPECT_EQ(r.steps[1].reason, "expected 'OK\\n', got 'NOTSUPPORTED\\n'");
	EXPECT_TRUE(r.steps[2].pass) << r.steps[2].reason;
	EXPECT_TRUE(r.steps[3].pass) << r.steps[3].reason;
	EXPECT_EQ(r.steps[4].reason, "expected result 01, got none");
	EXPECT_EQ(r.failed, 2);
	EXPECT_FALSE(r.passed());
}

TEST(StationRunner, BoardWithOneFailingDevice)
{
	// The product id store fails its reads: that step FAILs, the rest go on.
	testing_support::SimPhone phone(testing_support::SimPhone::Setup{.board = {{"gpio.fail.pid_read", "1"}}});
	auto list = list_of(R"(name: t
steps:
  - command: wpid 0102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F20212223242526272828
    expect: "OK\n"
  - command: rpid
    expect: "0102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f202122232425262728OK\n"
  - {command: rtf, expect_match: "^[0-9a-f]{128}OK\n$"}
  - {name: the store mends, command: rpid, board: {gpio.fail.pid_read: 0}, expect_final: OK}
)");
	RunResult r = quiet_run(list, {phone.phone().wired(), phone.phone().usb(), phone.path("")});
	ASSERT_EQ(r.steps.size(), 4u);
	EXPECT_TRUE(r.steps[0].pass) << r.steps[0].reason;
	EXPECT_FALSE(r.steps[1].pass);
	EXPECT_EQ(r.steps[1].answer, "Read Product ID Failed.\nNOTSUPPORTED\n");
	EXPECT_TRUE(r.steps[2].pass) << r.steps[2].reason;
	EXPECT_TRUE(r.steps[3].pass) << r.steps[3].reason;
	EXPECT_EQ(r.failed, 1);
}

// A phone that stops answering ends its list after the step it let time
// out (and a plain AT it also left unanswered); a phone that is only slow to
// one command goes on.
TEST(StationRunner, SilentPhoneEndsItsListSlowOneGoesOn)
{
	for (bool answers_probe : {false, true}) {
		int master = -1, slave = -1;
		ASSERT_EQ(::openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
		station::make_raw(slave);
		std::atomic<bool> done{false};
		std::thread phone([&] {
			std::string got;
			while (!done) {
				got += station::read_for(slave, 50, 0);
				for (size_t nl; (nl = got.find('\n')) != std::string::npos; got.erase(0, nl + 1))
					if (answers_probe && got.substr(0, nl) == "AT")
						station::write_all(slave, "OK\n");
			}
		});
		auto list = list_of(R"(name: t
defaults: {timeout: 200, retries: 1}
steps:
  - {name: slow, send: "AT+SLOW\n", expect: "OK\n"}
  - {send: "AT\n", expect: "OK\n"}
  - {send: "AT\n", expect: "OK\n", board: {a: b}}
)");
		RunResult r = quiet_run(list, {master, -1, ""});
		done = true;
		phone.join();
		EXPECT_EQ(r.verdict, Verdict::fail);
		EXPECT_EQ(r.steps[0].attempts, 2);
		EXPECT_EQ(r.steps[0].reason, "no whole answer within 200 ms");
		if (answers_probe) {
			ASSERT_EQ(r.steps.size(), 3u);
			EXPECT_TRUE(r.steps[1].pass);
			EXPECT_EQ(r.steps[2].reason, "board settings need a simulated phone");
			EXPECT_FALSE(r.gone);
			EXPECT_EQ(r.reason, "'slow': no whole answer within 200 ms");
		} else {
			EXPECT_EQ(r.steps.size(), 1u);
			EXPECT_TRUE(r.gone);
			EXPECT_EQ(r.not_run, 2u);
			EXPECT_EQ(r.reason, "the phone stopped answering at 'slow'; 2 steps not run");
		}
		::close(master);
		::close(slave);
	}
}

TEST(StationRunner, PhoneUnpluggedInTheMiddle)
{
	int master = -1, slave = -1;
	ASSERT_EQ(::openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
	station::make_raw(slave);
	std::thread phone([&] {
		station::read_until_suffix(slave, "\n", 5000);
		station::write_all(slave, "OK\n");
		station::read_until_suffix(slave, "\n", 5000);
		station::write_all(slave, "FORMAT= LOG\nSIZE= 100\n\nOK\nhalf a l");
		::close(slave);  // the cable comes out
	});
	auto list = list_of(R"(name: t
defaults: {timeout: 60000, retries: 3}
steps:
  - {send: "AT\n", expect: "OK\n"}
  - {command: dump log, expect_final: OK}
  - {send: "AT\n", expect: "OK\n"}
)");
	RunResult r = quiet_run(list, {master, -1, ""});
	phone.join();
	ASSERT_EQ(r.steps.size(), 2u);
	EXPECT_TRUE(r.steps[0].pass);
	EXPECT_FALSE(r.steps[1].pass);
	EXPECT_EQ(r.steps[1].attempts, 1);  // no retries into a dead port
	EXPECT_EQ(r.steps[1].reason.rfind("port closed: the phone is gone after 'FORMAT= LOG", 0), 0u) << r.steps[1].reason;
	EXPECT_TRUE(r.gone);
	EXPECT_EQ(r.not_run, 1u);
	EXPECT_EQ(r.reason, "the phone is gone (its port closed) at 'dump log'; 1 steps not run");
	::close(master);
}

std::string slurp(const std::string &path)
{
	std::ifstream in(path);
	std::stringstream ss;
	ss << in.rdbuf();
	return ss.str();
}

struct Tool {
	std::string dir;
	Tool()
	{
		char templ[] = "/tmp/ftm-station-test-XXXXXX";
		dir = ::mkdtemp(templ) ? templ : "";
	}
	~Tool()
	{
		int r = std::system(("rm -rf '" + dir + "'").c_str());
		(void)r;
	}
	int run(const std::string &args)
	{
		std::string cmd = std::string(FTM_BIN_DIR) + "/ftm-station " + args + " >" + dir + "/out 2>" + dir + "/err";
		int status = std::system(cmd.c_str());
		return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
	}
};

TEST(StationTool, SpineListPassesWithReports)
{
	Tool t;
	int code = t.run("--sim run " + std::string(FTM_SOURCE_DIR) + "/lists/spine.yaml --junit " + t.dir +
	                 "/j.xml --json " + t.dir + "/r.json");
	EXPECT_EQ(code, 0) << slurp(t.dir + "/out") << slurp(t.dir + "/err");
	std::string out = slurp(t.dir + "/out");
	EXPECT_EQ(out.find("FAIL"), std::string::npos) << out;
	EXPECT_NE(out.find("phone PASSED"), std::string::npos);
	EXPECT_EQ(out.find("\033["), std::string::npos);  // no colour into a file

	tinyxml2::XMLDocument doc;
	ASSERT_EQ(doc.LoadFile((t.dir + "/j.xml").c_str()), tinyxml2::XML_SUCCESS);
	auto *suite = doc.FirstChildElement("testsuites")->FirstChildElement("testsuite");
	EXPECT_EQ(suite->IntAttribute("failures"), 0);
	auto j = nlohmann::json::parse(slurp(t.dir + "/r.json"));
	EXPECT_EQ(j["passed"], true);
	EXPECT_EQ(j["steps_total"], suite->IntAttribute("tests"));
}

TEST(StationTool, ExitCodesSayWhatHappened)
{
	Tool t;
	std::ofstream(t.dir + "/fail.yaml") << "name: f\nsteps:\n  - {send: \"AT\\n\", expect: \"ERROR\\n\"}\n";
	EXPECT_EQ(t.run("--sim run " + t.dir + "/fail.yaml --json " + t.dir + "/r.json"), 1);
	EXPECT_NE(slurp(t.dir + "/out").find("phone FAILED"), std::string::npos);
	EXPECT_EQ(nlohmann::json::parse(slurp(t.dir + "/r.json"))["passed"], false);

	// A bad list is refused before any port is opened.
	std::ofstream(t.dir + "/bad.yaml") << "name: b\nsteps:\n  - {command: teleport, expect: OK}\n";
	EXPECT_EQ(t.run("--port /nonexistent/tty run " + t.dir + "/bad.yaml"), 2);
	EXPECT_EQ(slurp(t.dir + "/err"), "ftm-station: " + t.dir + "/bad.yaml:3: unknown command 'teleport'\n");

	EXPECT_EQ(t.run("--port /nonexistent/tty send rpid"), 2);
	EXPECT_NE(slurp(t.dir + "/err").find("open /nonexistent/tty"), std::string::npos);

	EXPECT_EQ(t.run("--sim send tapp vibrator on"), 0);
	std::string out = slurp(t.dir + "/out");
	EXPECT_NE(out.find("> AT*TAPP=0A004001040001000000014F\\n"), std::string::npos) << out;
	EXPECT_NE(out.find("frame: class 0x40 status 0"), std::string::npos) << out;
	EXPECT_EQ(t.run("--sim send bogus words"), 2);
}

TEST(StationTool, PressesKeysAndTouchesThePanel)
{
	testing_support::SimPhone phone;
	Tool t;
	// The keypad report mode would echo these; here they only have to reach
	// the phone's FIFOs, which the daemon reads.
	EXPECT_EQ(t.run("--board " + phone.path("") + " key 2"), 0) << slurp(t.dir + "/err");
	EXPECT_EQ(t.run("--board " + phone.path("") + " touch 10 20"), 0) << slurp(t.dir + "/err");
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
	EXPECT_EQ(t.run("--board " + t.dir + " key 2"), 1);  // no phone reading there
	EXPECT_EQ(t.run("key 2"), 2);
}

}  // namespace
