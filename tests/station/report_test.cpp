#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <tinyxml2.h>

#include "report.h"

namespace {

using namespace ftm_station;

// Three passes and one failure, the failure second: a count or a verdict
// taken from the wrong place gives a different report.
struct Sample {
	std::vector<Step> steps{4};
	RunResult run;

	Sample()
	{
		steps[0].name = "vibrator <on> & \"off\"";
		steps[0].text = "AT+VIB=1\n";
		steps[0].line = 7;
		steps[1].name = "picture";
		steps[1].text = "AT+DSCR\n";
		run.list = "demo";
		run.port = "/dev/ttyUSB3";
		run.product_id = std::string(80, 'a');
		run.started = "2026-01-01T00:00:00.000Z";
		run.seconds = 1.5;
		run.steps.push_back({.step = &steps[0], .pass = true, .seconds = 0.25, .attempts = 1, .answer = "OK\n"});
		// Raw picture bytes: control characters and bytes that are no UTF-8.
		std::string binary = "FORMAT= YUV422\n";
		for (int i = 0; i < 5000; ++i)
			binary += static_cast<char>(i & 0xFF);
		run.steps.push_back({.step = &steps[1], .reason = "expected 'OK\\n', got '<&>'", .seconds = 3.0, .attempts = 2,
		                     .answer = binary});
		steps[2].name = "led";
		steps[2].text = "AT+LED=1\n";
		steps[3].name = "backlight";
		steps[3].text = "AT+BL=1\n";
		run.steps.push_back({.step = &steps[2], .pass = true, .seconds = 0.5, .attempts = 1, .answer = "OK\n"});
		run.steps.push_back({.step = &steps[3], .pass = true, .seconds = 0.75, .attempts = 1, .answer = "OK\n"});
		run.failed = 1;
		run.verdict = Verdict::fail;
		run.reason = "'picture': " + run.steps[1].reason;
	}
};

TEST(StationReport, JunitIsWellFormedAndCounts)
{
	Sample s;
	std::string xml = junit_xml(s.run);
	tinyxml2::XMLDocument doc;
	ASSERT_EQ(doc.Parse(xml.c_str()), tinyxml2::XML_SUCCESS) << doc.ErrorStr();
	auto *suites = doc.FirstChildElement("testsuites");
	auto *suite = suites->FirstChildElement("testsuite");
	ASSERT_TRUE(suite);
	for (auto *counted : {suites, suite}) {
		EXPECT_EQ(counted->IntAttribute("tests"), 4);
		EXPECT_EQ(counted->IntAttribute("failures"), 1);
	}
	EXPECT_EQ(suite->IntAttribute("errors"), 0);
	EXPECT_EQ(suite->IntAttribute("skipped"), 0);
	// One test case per step, in order, a failure only where the step failed.
	int cases = 0;
	for (auto *tc = suite->FirstChildElement("testcase"); tc; tc = tc->NextSiblingElement("testcase"), ++cases) {
		ASSERT_LT(cases, 4);
		EXPECT_STREQ(tc->Attribute("name"), s.steps[cases].name.c_str());
		EXPECT_EQ(tc->FirstChildElement("failure") != nullptr, !s.run.steps[cases].pass) << cases;
	}
	EXPECT_EQ(cases, 4);
	auto *first = suite->FirstChildElement("testcase");
	EXPECT_STREQ(first->Attribute("name"), "vibrator <on> & \"off\"");
	EXPECT_FALSE(first->FirstChildElement("failure"));
	auto *second = first->NextSiblingElement("testcase");
	ASSERT_TRUE(second->FirstChildElement("failure"));
	EXPECT_STREQ(second->FirstChildElement("failure")->Attribute("message"), "expected 'OK\\n', got '<&>'");
	EXPECT_STREQ(second->Attribute("time"), "3.000");
	// The answer is cut, and its bytes are escaped.
	std::string out = second->FirstChildElement("system-out")->GetText();
	EXPECT_NE(out.find("\\x00\\x01"), std::string::npos);
	EXPECT_NE(out.find("(5015 bytes)"), std::string::npos);
	EXPECT_LT(out.size(), 10000u);
}

TEST(StationReport, JsonIsWellFormedAndCounts)
{
	Sample s;
	nlohmann::json j = nlohmann::json::parse(json_report(s.run));
	EXPECT_EQ(j["list"], "demo");
	EXPECT_EQ(j["passed"], false);
	EXPECT_EQ(j["steps_total"], 4);
	EXPECT_EQ(j["steps_failed"], 1);
	ASSERT_EQ(j["steps"].size(), 4u);
	EXPECT_EQ(j["steps"][3]["verdict"], "PASS");
	EXPECT_EQ(j["steps"][0]["verdict"], "PASS");
	EXPECT_EQ(j["steps"][0]["line"], 7);
	EXPECT_EQ(j["steps"][0]["sent"], "AT+VIB=1\\n");
	EXPECT_EQ(j["steps"][1]["verdict"], "FAIL");
	EXPECT_EQ(j["steps"][1]["attempts"], 2);
	EXPECT_EQ(j["steps"][1]["reason"], "expected 'OK\\n', got '<&>'");

	EXPECT_EQ(j["port"], "/dev/ttyUSB3");
	EXPECT_EQ(j["product_id"], std::string(80, 'a'));
	EXPECT_EQ(j["verdict"], "FAIL");
	EXPECT_EQ(j["reason"], "'picture': expected 'OK\\n', got '<&>'");
	EXPECT_FALSE(j.contains("station"));

	s.run.steps[1].pass = true;
	s.run.failed = 0;
	s.run.verdict = Verdict::pass;
	EXPECT_EQ(nlohmann::json::parse(json_report(s.run))["passed"], true);
}

// A phone the station would not test, and one it could not mark: each is a
// failing test case of its own, with the reason, beside the phone's identity.
TEST(StationReport, RefusalsAndFlagWritesAreVerdictsInEveryForm)
{
	struct Case {
		Verdict verdict;
		bool ran;
		const char *testcase, *type, *verdict_text;
	};
	for (const Case &c : {Case{Verdict::refused, false, "station refusal", "REFUSED", "REFUSED"},
	                      Case{Verdict::fail, true, "phone verdict", "FAIL", "FAIL"}}) {
		Sample s;
		s.run.steps.resize(c.ran ? 1 : 0);
		s.run.failed = 0;
		s.run.verdict = c.verdict;
		s.run.reason = "why not";
		s.run.station = "RF";
		s.run.flags_before = "50";
		s.run.product_id = kUnidentified;
		tinyxml2::XMLDocument doc;
		ASSERT_EQ(doc.Parse(junit_xml(s.run).c_str()), tinyxml2::XML_SUCCESS);
		auto *suite = doc.FirstChildElement("testsuites")->FirstChildElement("testsuite");
		EXPECT_EQ(suite->IntAttribute("tests"), c.ran ? 2 : 1) << c.testcase;
		EXPECT_EQ(suite->IntAttribute("failures"), 1) << c.testcase;
		const tinyxml2::XMLElement *found = nullptr;
		for (auto *tc = suite->FirstChildElement("testcase"); tc; tc = tc->NextSiblingElement("testcase"))
			if (std::string(tc->Attribute("name")) == c.testcase)
				found = tc;
		ASSERT_TRUE(found && found->FirstChildElement("failure")) << c.testcase;
		EXPECT_STREQ(found->FirstChildElement("failure")->Attribute("type"), c.type);
		EXPECT_STREQ(found->FirstChildElement("failure")->Attribute("message"), "why not");
		std::map<std::string, std::string> props;
		for (auto *p = suite->FirstChildElement("properties")->FirstChildElement("property"); p;
		     p = p->NextSiblingElement("property"))
			props[p->Attribute("name")] = p->Attribute("value");
		EXPECT_EQ(props["product_id"], "unidentified");
		EXPECT_EQ(props["verdict"], c.verdict_text);
		EXPECT_EQ(props["station"], "RF");
		auto j = nlohmann::json::parse(json_report(s.run));
		EXPECT_EQ(j["verdict"], c.verdict_text);
		EXPECT_EQ(j["product_id"], "unidentified");
		EXPECT_EQ(j["station"], "RF");
		EXPECT_EQ(j["passed"], false);
	}
}

TEST(StationReport, StepsNotRunAreSkippedCases)
{
	Sample s;
	s.run.not_run = 5;
	s.run.reason = "the phone is gone (its port closed) at 'picture'; 5 steps not run";
	tinyxml2::XMLDocument doc;
	ASSERT_EQ(doc.Parse(junit_xml(s.run).c_str()), tinyxml2::XML_SUCCESS);
	auto *suite = doc.FirstChildElement("testsuites")->FirstChildElement("testsuite");
	EXPECT_EQ(suite->IntAttribute("tests"), 9);  // four run, five not
	EXPECT_EQ(suite->IntAttribute("skipped"), 5);
	EXPECT_EQ(suite->IntAttribute("failures"), 1);  // the step's, not one more for the phone
	auto j = nlohmann::json::parse(json_report(s.run));
	EXPECT_EQ(j["steps_total"], 9);
	EXPECT_EQ(j["steps_not_run"], 5);
}

}  // namespace
