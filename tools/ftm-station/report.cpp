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

}  // namespace

std::string junit_xml(const RunResult &run)
{
	tinyxml2::XMLDocument doc;
	doc.InsertEndChild(doc.NewDeclaration());
	auto *suites = doc.NewElement("testsuites");
	doc.InsertEndChild(suites);
	suites->SetAttribute("name", run.list.c_str());
	suites->SetAttribute("tests", static_cast<int>(run.steps.size()));
	suites->SetAttribute("failures", run.failed);
	suites->SetAttribute("time", seconds(run.seconds).c_str());
	auto *suite = suites->InsertNewChildElement("testsuite");
	suite->SetAttribute("name", run.list.c_str());
	suite->SetAttribute("tests", static_cast<int>(run.steps.size()));
	suite->SetAttribute("failures", run.failed);
	suite->SetAttribute("errors", 0);
	suite->SetAttribute("skipped", 0);
	suite->SetAttribute("time", seconds(run.seconds).c_str());
	suite->SetAttribute("timestamp", run.started.c_str());
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
		out->SetText(("sent: " + printable(r.step->text) + "\nanswer: " + printable(r.answer, kReportAnswerBytes) +
		              "\nattempts: " + std::to_string(r.attempts))
		                 .c_str());
	}
	tinyxml2::XMLPrinter printer;
	doc.Print(&printer);
	return printer.CStr();
}

std::string json_report(const RunResult &run)
{
	nlohmann::ordered_json j;
	j["list"] = run.list;
	j["started"] = run.started;
	j["passed"] = run.passed();
	j["steps_total"] = run.steps.size();
	j["steps_failed"] = run.failed;
	j["seconds"] = run.seconds;
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
		s["answer"] = printable(r.answer, kReportAnswerBytes);
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
