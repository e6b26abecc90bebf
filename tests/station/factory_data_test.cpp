// The station's identity and interlock against scripted phones on ptys:
// what a phone answers to AT+RPID, AT+RTF and AT+WTF= decides the verdict.
#include <atomic>
#include <gtest/gtest.h>
#include <mutex>
#include <pty.h>
#include <thread>
#include <unistd.h>

#include "factory_data.h"
#include "station/link.h"
#include "station/tapp_frame.h"
#include "worker.h"

namespace {

using namespace ftm_station;

// A phone that knows four commands, with a product id answer, a test flag
// area, and faults a real one could have.
class ScriptedPhone {
public:
	std::string id_answer = std::string(80, '1') + "OK\n";
	TestFlags flags{};
	bool flag_read_fails = false, write_ignored = false;

	ScriptedPhone()
	{
		char name[256] = {};
		::openpty(&master_, &slave_, name, nullptr, nullptr);
		station::make_raw(slave_);
		path_ = name;
		thread_ = std::thread([this] { serve(); });
	}
	~ScriptedPhone()
	{
		done_ = true;
		thread_.join();
		::close(master_);
		::close(slave_);
	}
	const std::string &path() const { return path_; }
	std::vector<std::string> heard()
	{
		std::lock_guard lock(mutex_);
		return heard_;
	}

private:
	std::string answer(const std::string &line)
	{
		if (line == "AT+RPID")
			return id_answer;
		if (line == "AT+RTF")
			return flag_read_fails ? "Read test flag Failed.\nNOTSUPPORTED\n" : flags_hex(flags) + "OK\n";
		if (line.starts_with("AT+WTF=")) {
			auto bytes = station::from_hex(line.substr(7));
			if (!bytes || bytes->size() != kTestFlagBytes + 1)
				return "NOTSUPPORTED\n";
			uint8_t sum = 0;
			for (size_t i = 0; i < kTestFlagBytes; ++i)
				sum ^= (*bytes)[i];
			if (sum != bytes->back())
				return "NOTSUPPORTED\n";
			if (!write_ignored)
				std::copy(bytes->begin(), bytes->begin() + kTestFlagBytes, flags.begin());
			return "OK\n";
		}
		return line == "AT" ? "OK\n" : "NOTSUPPORTED\n";
	}
	void serve()
	{
		std::string got;
		while (!done_) {
			got += station::read_for(master_, 20, 0);
			for (size_t nl; (nl = got.find('\n')) != std::string::npos; got.erase(0, nl + 1)) {
				std::string line = got.substr(0, nl);
				{
					std::lock_guard lock(mutex_);
					heard_.push_back(line);
				}
				station::write_all(master_, answer(line));
			}
		}
	}

	int master_ = -1, slave_ = -1;
	std::string path_;
	std::atomic<bool> done_{false};
	std::mutex mutex_;
	std::vector<std::string> heard_;
	std::thread thread_;
};

struct Quiet : PhoneEvents {
	void identified(size_t, const RunResult &) override {}
	void step_started(size_t, size_t, const Step &) override {}
	void progress(size_t, size_t, size_t) override {}
	void step_done(size_t, size_t, const StepResult &) override {}
	void finished(size_t, const RunResult &) override {}
};

TestList one_step_list(bool with_station)
{
	std::string yaml = std::string("name: t\n") + (with_station ? "station: {name: RF, flag_byte: 3, requires: [0, 1]}\n" : "") +
	                   "steps:\n  - {send: \"AT\\n\", expect: \"OK\\n\"}\n";
	std::string error;
	auto list = parse_test_list(yaml, "t.yaml", &error);
	EXPECT_TRUE(list) << error;
	return *list;
}

std::vector<RunResult> test_all(const TestList &list, std::vector<ScriptedPhone *> phones)
{
	std::vector<std::unique_ptr<PhoneLink>> links;
	for (size_t i = 0; i < phones.size(); ++i)
		links.push_back(std::make_unique<PhoneLink>(LinkSpec{.port = "p" + std::to_string(i + 1), .device = phones[i]->path()}));
	LineControl line;
	Quiet quiet;
	return test_phones(list, links, line, quiet);
}

TEST(StationFactoryData, WhatThePhoneAnswersDecidesTheVerdict)
{
	struct Case {
		const char *what;
		bool station;
		std::function<void(ScriptedPhone &)> setup;
		Verdict verdict;
		std::string product_id, reason;
	};
	auto passed_before = [](ScriptedPhone &p) { p.flags[0] = p.flags[1] = kFlagPass; };
	const std::vector<Case> cases{
	    {"id read", false, [](ScriptedPhone &) {}, Verdict::pass, std::string(80, '1'), ""},
	    {"id upper case is the same id", false, [](ScriptedPhone &p) { p.id_answer = std::string(80, 'A') + "OK\n"; },
	     Verdict::pass, std::string(80, 'a'), ""},
	    {"id unreadable: tested as unidentified", false,
	     [](ScriptedPhone &p) { p.id_answer = "Read Product ID Failed.\nNOTSUPPORTED\n"; }, Verdict::pass,
	     kUnidentified, ""},
	    {"id garbled", false, [](ScriptedPhone &p) { p.id_answer = std::string(79, '1') + "xOK\n"; }, Verdict::refused,
	     kUnidentified, "its product id is garbled: '" + std::string(79, '1') + "xOK\\n'"},
	    {"id too short", false, [](ScriptedPhone &p) { p.id_answer = "1234OK\n"; }, Verdict::refused, kUnidentified,
	     "its product id is garbled: '1234OK\\n'"},
	    {"stations before passed", true, passed_before, Verdict::pass, std::string(80, '1'), ""},
	    {"station 1 failed", true, [](ScriptedPhone &p) { p.flags[0] = kFlagPass; p.flags[1] = kFlagFail; },
	     Verdict::refused, std::string(80, '1'), "required stations have not passed: byte 1 (failed)"},
	    {"nothing marked (erased flash)", true, [](ScriptedPhone &p) { p.flags.fill(0xFF); }, Verdict::refused,
	     std::string(80, '1'), "required stations have not passed: byte 0 (not tested, ff), 1 (not tested, ff)"},
	    {"flag read fails", true, [](ScriptedPhone &p) { p.flag_read_fails = true; }, Verdict::refused,
	     std::string(80, '1'),
	     "cannot check the stations before this one: the test flag read answered 'Read test flag Failed.\\nNOTSUPPORTED\\n'"},
	    {"flag write does not read back", true, [&](ScriptedPhone &p) { passed_before(p); p.write_ignored = true; },
	     Verdict::fail, std::string(80, '1'), "the test flag write did not read back: byte 3 is 00, written 50 'P'"},
	};
	for (const Case &c : cases) {
		SCOPED_TRACE(c.what);
		ScriptedPhone phone;
		c.setup(phone);
		TestList list = one_step_list(c.station);
		RunResult r = test_all(list, {&phone})[0];
		EXPECT_EQ(r.verdict, c.verdict) << r.reason;
		EXPECT_EQ(r.product_id, c.product_id);
		EXPECT_EQ(r.reason, c.reason);
		EXPECT_EQ(r.steps.size(), c.verdict == Verdict::refused ? 0u : 1u);
		if (c.station && c.verdict == Verdict::pass) {
			EXPECT_EQ(phone.flags[3], kFlagPass);  // marked, the rest as it was
			EXPECT_EQ(phone.flags[0], kFlagPass);
			EXPECT_EQ(r.flags_after.substr(0, 8), "50500050");
		}
	}
}

TEST(StationFactoryData, TheWriteCarriesTheAreaAndItsChecksum)
{
	TestFlags flags{};
	flags[0] = 0x12;
	flags[63] = 0x34;
	std::string expected = "wtf 12" + std::string(124, '0') + "34" + "26";
	EXPECT_EQ(test_flag_request(flags), expected);

	ScriptedPhone phone;
	TestList list = one_step_list(true);
	phone.flags[0] = phone.flags[1] = kFlagPass;
	phone.flags[5] = 0x77;  // another station's mark survives
	RunResult r = test_all(list, {&phone})[0];
	ASSERT_EQ(r.verdict, Verdict::pass) << r.reason;
	auto heard = phone.heard();
	// Read the id, read the flags, run the list, read, write, read back.
	ASSERT_EQ(heard.size(), 6u);
	EXPECT_EQ(heard[0], "AT+RPID");
	EXPECT_EQ(heard[1], "AT+RTF");
	EXPECT_EQ(heard[2], "AT");
	EXPECT_EQ(heard[3], "AT+RTF");
	EXPECT_EQ(heard[4], "AT+WTF=" + std::string("5050005000770000") + std::string(112, '0') + "27");  // 50^50^50^77
	EXPECT_EQ(heard[5], "AT+RTF");
}

TEST(StationFactoryData, TwoPhonesWithOneIdGiveOneRefusal)
{
	ScriptedPhone a, b, c;
	c.id_answer = std::string(80, '2') + "OK\n";
	TestList list = one_step_list(false);
	auto results = test_all(list, {&a, &b, &c});
	int refused = 0;
	for (const RunResult &r : results)
		if (r.verdict == Verdict::refused) {
			++refused;
			EXPECT_NE(r.reason.find("its product id " + std::string(80, '1') + " is also the id of the phone on p"),
			          std::string::npos)
			    << r.reason;
		}
	EXPECT_EQ(refused, 1);
	EXPECT_EQ(results[2].verdict, Verdict::pass);
}

}  // namespace
