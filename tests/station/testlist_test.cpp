#include <gtest/gtest.h>
#include <string>

#include "testlist.h"

namespace {

using ftm_station::parse_test_list;

std::string error_of(const std::string &yaml)
{
	std::string error;
	EXPECT_FALSE(parse_test_list(yaml, "l.yaml", &error)) << yaml;
	return error;
}

TEST(StationTestList, ReadsStepsWithDefaults)
{
	std::string error;
	auto list = parse_test_list(R"(name: demo
defaults: {timeout: 2000, retries: 2}
steps:
  - send: "AT\n"
    expect: "OK\n"
  - name: vib
    command: tapp vibrator on
    expect_result: "01"
    expect_status: 0
    timeout: 500
    port: usb
  - command: bt hci 01 03 0c 00
    expect_match: "TAPP"
    board: {bt.present: 1}
  - send: "AT*TAPP=00\n"
    expect_none: yes
  - command: ftm diag
    then_send: "~AT+FTM~"
    then_after: 100
    expect_final: OK
)",
	                            "demo.yaml", &error);
	ASSERT_TRUE(list) << error;
	EXPECT_EQ(list->name, "demo");
	ASSERT_EQ(list->steps.size(), 5u);
	const auto &s = list->steps;
	EXPECT_EQ(s[0].name, "AT\n");
	EXPECT_EQ(s[0].line, 4);
	EXPECT_EQ(s[0].timeout_ms, 2000);
	EXPECT_EQ(s[0].retries, 2);
	EXPECT_EQ(s[1].name, "vib");
	EXPECT_EQ(s[1].text, "AT*TAPP=0A004001040001000000014F\n");
	EXPECT_EQ(s[1].timeout_ms, 500);
	EXPECT_TRUE(s[1].usb);
	EXPECT_EQ(s[1].expect_result, "01");
	EXPECT_EQ(s[2].name, "bt hci 01 03 0c 00");
	EXPECT_EQ(s[2].board.at("bt.present"), "1");
	EXPECT_TRUE(s[3].expect_none);
	EXPECT_EQ(s[4].then_send, "~AT+FTM~");
	EXPECT_EQ(s[4].then_after_ms, 100);
}

TEST(StationTestList, BadFilesNameTheLine)
{
	const std::string head = "name: x\nsteps:\n";
	EXPECT_EQ(error_of(head + "  - send: \"AT\\n\"\n    expect: \"OK\\n\"\n  - command: rpid now\n    expect: x\n"),
	          "l.yaml:5: 'rpid' takes no arguments");
	EXPECT_EQ(error_of(head + "  - command: warp drive\n    expect: x\n"), "l.yaml:3: unknown command 'warp drive'");
	EXPECT_EQ(error_of(head + "  - send: AT\n    expekt: OK\n"), "l.yaml:4: unknown field 'expekt' in a step");
	EXPECT_EQ(error_of(head + "  - send: AT\n"), "l.yaml:3: a step needs an expectation (expect, expect_final, "
	                                             "expect_result, expect_status, expect_match or expect_none)");
	EXPECT_EQ(error_of(head + "  - send: AT\n    expect: OK\n    timeout: soon\n"),
	          "l.yaml:5: timeout must be a whole number from 1 to 3600000");
	EXPECT_EQ(error_of(head + "  - send: AT\n    expect_final: FINE\n"),
	          "l.yaml:4: expect_final must be OK, ERROR or NOTSUPPORTED");
	EXPECT_EQ(error_of(head + "  - send: AT\n    expect_result: \"01\"\n"),
	          "l.yaml:3: expect_result and expect_status need a frame");
	EXPECT_EQ(error_of(head + "  - command: rpid\n    expect_result: \"0x\"\n"),
	          "l.yaml:4: expect_result must be hexadecimal bytes");
	EXPECT_EQ(error_of(head + "  - send: AT\n    expect_none: true\n    expect: OK\n"),
	          "l.yaml:3: expect_none cannot go with other expectations");
	EXPECT_EQ(error_of(head + "  - send: AT\n    command: rpid\n    expect: OK\n"),
	          "l.yaml:3: a step has either command or send, not both");
	EXPECT_EQ(error_of(head + "  - send: AT\n    expect: OK\n    port: bluetooth\n"),
	          "l.yaml:5: port must be wired or usb, not 'bluetooth'");
	EXPECT_NE(error_of(head + "  - send: AT\n    expect_match: \"(\"\n").find("l.yaml:4: expect_match is no regular"),
	          std::string::npos);
	EXPECT_EQ(error_of("name: x\nsteps: []\n"), "l.yaml:2: steps must be a list of at least one step");
	EXPECT_EQ(error_of("name: x\n"), "l.yaml:1: steps must be a list of at least one step");
	EXPECT_EQ(error_of("- just\n- a list\n"), "l.yaml:1: a test list is a map with name and steps");
	EXPECT_EQ(error_of("name: x\ndefaults: {retries: -1}\nsteps: [{send: AT, expect: OK}]\n"),
	          "l.yaml:2: retries must be a whole number from 0 to 100");
	// Broken YAML itself.
	EXPECT_EQ(error_of("name: x\nsteps: [{send: AT, expect: OK}\n"), "l.yaml:3: end of sequence flow not found");
	std::string error;
	EXPECT_FALSE(ftm_station::load_test_list("/nonexistent/list.yaml", &error));
	EXPECT_EQ(error, "/nonexistent/list.yaml: cannot read");
}

TEST(StationTestList, ShippedListsAreValid)
{
	for (const char *name : {"spine.yaml", "full.yaml"}) {
		std::string error;
		auto list = ftm_station::load_test_list(std::string(FTM_SOURCE_DIR) + "/lists/" + name, &error);
		ASSERT_TRUE(list) << error;
		EXPECT_GT(list->steps.size(), 10u);
	}
}

}  // namespace
