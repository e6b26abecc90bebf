#include "testlist.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <regex>
#include <span>
#include <sstream>
#include <yaml-cpp/yaml.h>

#include "station/tapp_frame.h"

namespace ftm_station {

namespace {

constexpr std::array<std::string_view, 15> kStepFields{
    "name",         "command",     "send",    "expect",  "expect_final", "expect_result", "expect_status", "expect_match",
    "expect_none",  "timeout",     "retries", "port",    "board",        "then_send",     "then_after"};
constexpr std::array<std::string_view, 3> kDefaultFields{"timeout", "retries", "port"};

// A list error, thrown inside this file only and turned into a value at its edge.
struct Bad {
	int line;
	std::string what;
};

int line_of(const YAML::Node &n) { return n.Mark().line + 1; }

[[noreturn]] void bad(const YAML::Node &n, std::string what) { throw Bad{line_of(n), std::move(what)}; }

std::string text(const YAML::Node &n, const char *field)
{
	if (!n.IsScalar())
		bad(n, std::string(field) + " must be text");
	return n.as<std::string>();
}

int number(const YAML::Node &n, const char *field, int lo, int hi)
{
	int v = 0;
	if (!n.IsScalar() || !YAML::convert<int>::decode(n, v) || v < lo || v > hi)
		bad(n, std::string(field) + " must be a whole number from " + std::to_string(lo) + " to " +
		           std::to_string(hi));
	return v;
}

bool flag(const YAML::Node &n, const char *field)
{
	bool v = false;
	if (!n.IsScalar() || !YAML::convert<bool>::decode(n, v))
		bad(n, std::string(field) + " must be true or false");
	return v;
}

bool port_is_usb(const YAML::Node &n)
{
	std::string p = text(n, "port");
	if (p != "wired" && p != "usb")
		bad(n, "port must be wired or usb, not '" + p + "'");
	return p == "usb";
}

void check_fields(const YAML::Node &map, std::span<const std::string_view> known, const char *what)
{
	for (const auto &kv : map) {
		std::string key = kv.first.as<std::string>();
		if (std::find(known.begin(), known.end(), key) == known.end())
			bad(kv.first, std::string("unknown field '") + key + "' in " + what);
	}
}

Step parse_step(const YAML::Node &n, const Step &defaults)
{
	if (!n.IsMap())
		bad(n, "a step must be a map of fields");
	check_fields(n, kStepFields, "a step");
	Step s = defaults;
	s.line = line_of(n);
	if (n["command"] && n["send"])
		bad(n, "a step has either command or send, not both");
	if (n["command"]) {
		s.command = text(n["command"], "command");
		std::string why;
		auto req = station::build_request(s.command, &why);
		if (!req)
			bad(n["command"], why);
		s.text = req->text;
		s.reply = req->reply;
	} else if (n["send"]) {
		s.text = text(n["send"], "send");
		if (s.text.empty())
			bad(n["send"], "send is empty");
		// Raw log dumps and pictures are recognised by their keyword.
		if (s.text.starts_with("AT+DUMPLOG\n") || s.text.starts_with("AT+DSCR"))
			s.reply = station::Reply::stream;
	} else {
		bad(n, "a step needs command or send");
	}
	s.name = n["name"] ? text(n["name"], "name") : s.command.empty() ? s.text : s.command;
	if (n["expect"])
		s.expect = text(n["expect"], "expect");
	if (n["expect_final"]) {
		s.expect_final = text(n["expect_final"], "expect_final");
		if (*s.expect_final != "OK" && *s.expect_final != "ERROR" && *s.expect_final != "NOTSUPPORTED")
			bad(n["expect_final"], "expect_final must be OK, ERROR or NOTSUPPORTED");
	}
	if (n["expect_result"]) {
		auto bytes = station::from_hex(text(n["expect_result"], "expect_result"));
		if (!bytes)
			bad(n["expect_result"], "expect_result must be hexadecimal bytes");
		s.expect_result = station::to_hex(*bytes);
	}
	if (n["expect_status"])
		s.expect_status = number(n["expect_status"], "expect_status", 0, 255);
	if (n["expect_match"]) {
		s.expect_match = text(n["expect_match"], "expect_match");
		try {
			std::regex check(*s.expect_match);
		} catch (const std::regex_error &e) {
			bad(n["expect_match"], std::string("expect_match is no regular expression: ") + e.what());
		}
	}
	if (n["expect_none"])
		s.expect_none = flag(n["expect_none"], "expect_none");
	bool any = s.expect || s.expect_final || s.expect_result || s.expect_match || s.expect_status;
	if (s.expect_none && any)
		bad(n, "expect_none cannot go with other expectations");
	if (!s.expect_none && !any)
		bad(n, "a step needs an expectation (expect, expect_final, expect_result, expect_status, "
		       "expect_match or expect_none)");
	if ((s.expect_result || s.expect_status) && s.text.find("*TAPP=") == std::string::npos)
		bad(n, "expect_result and expect_status need a frame");
	if (n["timeout"])
		s.timeout_ms = number(n["timeout"], "timeout", 1, 3600000);
	if (n["retries"])
		s.retries = number(n["retries"], "retries", 0, 100);
	if (n["port"])
		s.usb = port_is_usb(n["port"]);
	if (n["board"]) {
		if (!n["board"].IsMap())
			bad(n["board"], "board must be a map of board file keys to values");
		for (const auto &kv : n["board"])
			s.board[text(kv.first, "board key")] = text(kv.second, "board value");
	}
	if (n["then_send"])
		s.then_send = text(n["then_send"], "then_send");
	if (n["then_after"])
		s.then_after_ms = number(n["then_after"], "then_after", 0, 60000);
	return s;
}

// Bytes of the test flag area (AT+RTF reads 64).
constexpr int kFlagBytes = 64;

StationSpec parse_station(const YAML::Node &n)
{
	if (!n.IsMap())
		bad(n, "station must be a map: {name: RF, flag_byte: 3, requires: [0, 1, 2]}");
	check_fields(n, std::array<std::string_view, 3>{"name", "flag_byte", "requires"}, "station");
	if (!n["name"] || !n["flag_byte"])
		bad(n, "station needs name and flag_byte");
	StationSpec st;
	st.name = text(n["name"], "station name");
	st.flag_byte = number(n["flag_byte"], "flag_byte", 0, kFlagBytes - 1);
	if (const YAML::Node r = n["requires"]) {
		if (!r.IsSequence())
			bad(r, "requires must be a list of flag bytes");
		for (const auto &b : r) {
			int v = number(b, "a required flag byte", 0, kFlagBytes - 1);
			if (v == st.flag_byte)
				bad(b, "a station cannot require its own flag byte " + std::to_string(v));
			if (std::find(st.required.begin(), st.required.end(), v) != st.required.end())
				bad(b, "flag byte " + std::to_string(v) + " is required twice");
			st.required.push_back(v);
		}
	}
	return st;
}

TestList parse(const YAML::Node &root, const std::string &file)
{
	if (!root.IsMap())
		bad(root, "a test list is a map with name and steps");
	check_fields(root, std::array<std::string_view, 4>{"name", "station", "defaults", "steps"}, "the list");
	TestList list;
	list.name = root["name"] ? text(root["name"], "name") : file;
	if (root["station"])
		list.station = parse_station(root["station"]);
	Step defaults;
	if (const YAML::Node d = root["defaults"]) {
		if (!d.IsMap())
			bad(d, "defaults must be a map");
		check_fields(d, kDefaultFields, "defaults");
		if (d["timeout"])
			defaults.timeout_ms = number(d["timeout"], "timeout", 1, 3600000);
		if (d["retries"])
			defaults.retries = number(d["retries"], "retries", 0, 100);
		if (d["port"])
			defaults.usb = port_is_usb(d["port"]);
	}
	const YAML::Node steps = root["steps"];
	if (!steps || !steps.IsSequence() || steps.size() == 0)
		bad(steps ? steps : root, "steps must be a list of at least one step");
	for (const auto &n : steps)
		list.steps.push_back(parse_step(n, defaults));
	return list;
}

}  // namespace

std::optional<TestList> parse_test_list(std::string_view yaml, const std::string &file, std::string *error)
{
	try {
		return parse(YAML::Load(std::string(yaml)), file);
	} catch (const Bad &b) {
		if (error)
			*error = file + ":" + std::to_string(b.line) + ": " + b.what;
	} catch (const YAML::Exception &e) {
		if (error)
			*error = file + ":" + std::to_string(e.mark.line + 1) + ": " + e.msg;
	}
	return std::nullopt;
}

std::optional<TestList> load_test_list(const std::string &path, std::string *error)
{
	std::ifstream in(path);
	if (!in) {
		if (error)
			*error = path + ": cannot read";
		return std::nullopt;
	}
	std::stringstream ss;
	ss << in.rdbuf();
	return parse_test_list(ss.str(), path, error);
}

}  // namespace ftm_station
