#include "report.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <tinyxml2.h>

namespace ftm_station {

namespace {

std::string seconds(double s)
{
	char buf[32];
	std::snprintf(buf, sizeof buf, "%.3f", s);
	return buf;
}

std::string answer_text(const StepResult &r)
{
	std::string text = printable(r.answer, kReportAnswerBytes);
	if (r.payload)
		text += " [" + std::to_string(r.payload) + " bytes of payload left out]";
	return text;
}

}  // namespace

std::string junit_xml(const RunResult &run)
{
	// A refusal, and a FAIL no step holds (a phone out of reach, a test flag
	// the station could not write), are test cases of their own, so a
	// factory system that reads only JUnit still sees them.
	bool refused = run.verdict == Verdict::refused;
	bool flag_failed = run.verdict == Verdict::fail && run.failed == 0;
	int tests = static_cast<int>(run.steps.size() + run.not_run) + (refused || flag_failed ? 1 : 0);
	int failures = run.failed + (refused || flag_failed ? 1 : 0);
	tinyxml2::XMLDocument doc;
	doc.InsertEndChild(doc.NewDeclaration());
	auto *suites = doc.NewElement("testsuites");
	doc.InsertEndChild(suites);
	suites->SetAttribute("name", run.list.c_str());
	suites->SetAttribute("tests", tests);
	suites->SetAttribute("failures", failures);
	suites->SetAttribute("time", seconds(run.seconds).c_str());
	auto *suite = suites->InsertNewChildElement("testsuite");
	suite->SetAttribute("name", run.list.c_str());
	suite->SetAttribute("tests", tests);
	suite->SetAttribute("failures", failures);
	suite->SetAttribute("errors", 0);
	suite->SetAttribute("skipped", static_cast<int>(run.not_run));
	suite->SetAttribute("time", seconds(run.seconds).c_str());
	suite->SetAttribute("timestamp", run.started.c_str());
	suite->SetAttribute("hostname", run.port.c_str());
	auto *props = suite->InsertNewChildElement("properties");
	auto property = [&](const char *name, const std::string &value) {
		auto *p = props->InsertNewChildElement("property");
		p->SetAttribute("name", name);
		p->SetAttribute("value", value.c_str());
	};
	property("port", run.port);
	property("product_id", run.product_id);
	property("verdict", verdict_name(run.verdict));
	if (!run.station.empty())
		property("station", run.station);
	if (!run.reason.empty())
		property("reason", run.reason);
	// A verdict on the phone rather than on a step: a case of its own.
	auto phone_case = [&](const char *name, const char *type) {
		auto *tc = suite->InsertNewChildElement("testcase");
		tc->SetAttribute("name", name);
		tc->SetAttribute("classname", run.list.c_str());
		auto *f = tc->InsertNewChildElement("failure");
		f->SetAttribute("message", run.reason.c_str());
		f->SetAttribute("type", type);
	};
	if (refused)
		phone_case("station refusal", "REFUSED");
	for (const StepResult &r : run.steps) {
		auto *tc = suite->InsertNewChildElement("testcase");
		tc->SetAttribute("name", r.step->name.c_str());
		tc->SetAttribute("classname", run.list.c_str());
		tc->SetAttribute("time", seconds(r.seconds).c_str());
		tc->SetAttribute("line", r.step->line);
		if (!r.pass) {
			auto *f = tc->InsertNewChildElement("failure");
			f->SetAttribute("message", r.reason.c_str());
			f->SetAttribute("type", "FAIL");
		}
		auto *out = tc->InsertNewChildElement("system-out");
		out->SetText(("sent: " + printable(r.step->text) + "\nanswer: " + answer_text(r) +
		              "\nattempts: " + std::to_string(r.attempts))
		                 .c_str());
	}
	if (run.not_run) {
		auto *tc = suite->InsertNewChildElement("testcase");
		tc->SetAttribute("name", (std::to_string(run.not_run) + " steps not run").c_str());
		tc->SetAttribute("classname", run.list.c_str());
		tc->InsertNewChildElement("skipped")->SetAttribute("message", run.reason.c_str());
	}
	if (flag_failed)
		phone_case("phone verdict", "FAIL");
	tinyxml2::XMLPrinter printer;
	doc.Print(&printer);
	return printer.CStr();
}

std::string json_report(const RunResult &run)
{
	nlohmann::ordered_json j;
	j["list"] = run.list;
	j["port"] = run.port;
	j["product_id"] = run.product_id;
	j["started"] = run.started;
	j["verdict"] = verdict_name(run.verdict);
	j["reason"] = run.reason;
	j["passed"] = run.passed();
	j["steps_total"] = run.steps.size() + run.not_run;
	j["steps_failed"] = run.failed;
	j["steps_not_run"] = run.not_run;
	j["seconds"] = run.seconds;
	if (!run.station.empty()) {
		j["station"] = run.station;
		j["test_flags_before"] = run.flags_before;
		j["test_flags_after"] = run.flags_after;
	}
	auto &steps = j["steps"] = nlohmann::ordered_json::array();
	for (const StepResult &r : run.steps) {
		nlohmann::ordered_json s;
		s["name"] = r.step->name;
		s["line"] = r.step->line;
		s["command"] = r.step->command;
		s["sent"] = printable(r.step->text);
		s["verdict"] = r.pass ? "PASS" : "FAIL";
		s["reason"] = r.reason;
		s["seconds"] = r.seconds;
		s["attempts"] = r.attempts;
		s["started"] = r.started;
		s["answer"] = answer_text(r);
		steps.push_back(std::move(s));
	}
	return j.dump(2) + "\n";
}

bool write_file(const std::string &path, const std::string &text, std::string *error)
{
	std::string tmp = path + ".tmp";
	{
		std::ofstream out(tmp, std::ios::binary | std::ios::trunc);
		out << text;
		if (!out) {
			if (error)
				*error = "cannot write " + tmp + ": " + std::strerror(errno);
			return false;
		}
	}
	if (std::rename(tmp.c_str(), path.c_str()) != 0) {
		if (error)
			*error = "cannot rename to " + path + ": " + std::strerror(errno);
		return false;
	}
	return true;
}

}  // namespace ftm_station
