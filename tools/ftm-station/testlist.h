// A test list: the steps a station runs against a phone, read from YAML.
//
//   name: spine                 # the list's name in reports
//   station: {name: RF, flag_byte: 3, requires: [0, 1, 2]}
//                               # optional: the station this list is, its
//                               #   byte of the test flag area, and the
//                               #   stations a phone must have passed first
//   defaults:                   # optional; each step may override them
//     timeout: 5000             # ms to wait for a whole answer
//     retries: 0                # further tries after a FAIL
//     port: wired               # wired or usb
//   steps:
//     - name: vibrator on       # optional; defaults to the command or text
//       command: vibrator on    # a named command (ftm-station commands) ...
//       send: "AT\n"            # ... or the exact text to send
//       expect: "OK\n"          # the whole answer, byte for byte
//       expect_final: OK        # OK, ERROR or NOTSUPPORTED
//       expect_result: "01"     # result bytes of the answer frame, hex
//       expect_status: 0        # status byte of the answer frame
//       expect_match: "^BT"     # a regular expression found in the answer
//       expect_none: true       # nothing may come back (proved by an AT probe)
//       board: {key: value}     # set on a simulated phone's board first
//       then_send: "~AT+FTM~"   # sent after then_after ms, before the answer is
//       then_after: 500         #   read: for commands that hand the port over
//
// A step has exactly one of command and send, and at least one expectation.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "station/commands.h"

namespace ftm_station {

struct Step {
	int line = 0;  // where the step starts in its file, from 1
	std::string name;
	std::string command;  // as written, or empty for raw text
	std::string text;     // what goes on the wire
	station::Reply reply = station::Reply::final_line;
	std::optional<std::string> expect, expect_final, expect_result, expect_match;
	std::optional<int> expect_status;
	bool expect_none = false;
	int timeout_ms = 5000;
	int retries = 0;
	bool usb = false;
	std::map<std::string, std::string> board;
	std::string then_send;
	int then_after_ms = 500;
};

// Where a list stands in the line: its byte of the phone's test flag area,
// and the bytes of the stations before it.
struct StationSpec {
	std::string name;
	int flag_byte = 0;
	std::vector<int> required;  // the list's "requires"
};

struct TestList {
	std::string name;
	std::optional<StationSpec> station;
	std::vector<Step> steps;
};

// Reads and checks a whole list before anything is sent. Errors read
// "file:line: what".
std::optional<TestList> parse_test_list(std::string_view yaml, const std::string &file, std::string *error);
std::optional<TestList> load_test_list(const std::string &path, std::string *error);

}  // namespace ftm_station
