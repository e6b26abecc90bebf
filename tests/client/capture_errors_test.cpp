// Each failure code of the capture, reached from the board file; the
// daemon stays up and, with the fault gone, the next capture works.
#include "client_support.h"

namespace {

using testing_support::SimPhone;

struct fault {
	const char *name;
	std::map<std::string, std::string> board;
	const char *sensor;
	const char *answer;
};

void PrintTo(const fault &f, std::ostream *os) { *os << f.name; }

class CaptureFault : public ::testing::TestWithParam<fault> {};

TEST_P(CaptureFault, AnswersItsCodeAndRecovers)
{
	const fault &f = GetParam();
	auto board = f.board;
	board["camera.sensor"] = f.sensor;
	SimPhone phone(clienttest::camera_setup(board));
	EXPECT_EQ(phone.ask("AT+DSCC\n"), f.answer);
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
	// No picture came of it, whether the camera is up or not.
	EXPECT_EQ(phone.ask("AT+DSCR\n"), "ERROR\n");
	for (auto &[k, v] : f.board)
		phone.set_board(k, k == "camera.fail" || k == "mem.fail_sizes" ? "" : "0");
	phone.set_board("camera.sensor", f.sensor[0] == 'o' ? f.sensor : "ov5642");
	EXPECT_EQ(phone.ask("AT+DSCC\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+DSCE\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+DSCE\n"), "OK\n");
}

const fault faults[] = {
    {"NoCameraDevice", {{"camera.missing", "1"}}, "ov5642", "FTM CAM ERR:01\nERROR\n"},
    {"FocusWordNotAllocated", {{"mem.fail_sizes", "4"}}, "ov5642", "FTM CAM ERR:02\nERROR\n"},
    {"DimensionNotAllocated", {{"mem.fail_sizes", "28"}}, "ov5642", "FTM CAM ERR:03\nERROR\n"},
    {"SensorInfoFails", {{"camera.fail", "sensor_info"}}, "ov5642", "FTM CAM ERR:04\nERROR\n"},
    {"NoPmemForPreview", {{"pmem.fail_mmap", "1"}}, "ov5642", "FTM CAM ERR:06\nERROR\n"},
    {"UnknownSensorStopsCamConf", {}, "imx999", "FTM CAM ERR:07\nERROR\n"},
    {"FirstDimensionRefused", {{"camera.fail", "ctrl_1:1"}}, "ov5642", "FTM CAM ERR:07\nERROR\n"},
    {"NoPmemForRawPicture", {{"pmem.max_mmap", "4194304"}}, "ov5642", "FTM CAM ERR:08\nERROR\n"},
    {"SecondDimensionRefused", {{"camera.fail", "ctrl_1:2"}}, "ov5642", "FTM CAM ERR:09\nERROR\n"},
    {"PreviewAtBringUp", {{"camera.fail", "ctrl_39:1"}}, "ov5642", "FTM CAM ERR:0a\nERROR\n"},
    {"PreviewBeforeSnapshot", {{"camera.fail", "ctrl_39:1"}}, "ov5642af", "FTM CAM ERR:0b\nERROR\n"},
    {"StopBeforeSnapshot", {{"camera.fail", "ctrl_38:1"}}, "ov5642", "FTM CAM ERR:0c\nERROR\n"},
    {"RawSnapshot", {{"camera.fail", "ctrl_41"}}, "ov5642", "FTM CAM ERR:0d\nERROR\n"},
    {"GetPicture", {{"camera.fail", "get_picture"}}, "ov5642", "FTM CAM ERR:0e\nERROR\n"},
    {"PreviewAfterSnapshot", {{"camera.fail", "ctrl_39:2"}}, "ov5642", "FTM CAM ERR:0f\nERROR\n"},
    {"StopAfterSnapshot", {{"camera.fail", "ctrl_38:2"}}, "ov3642", "FTM CAM ERR:10\nERROR\n"},
};

INSTANTIATE_TEST_SUITE_P(Codes, CaptureFault, ::testing::ValuesIn(faults),
			 [](const auto &info) { return std::string(info.param.name); });

TEST(CaptureFault, FailedBringUpsLeaveNothingBehind)
{
	SimPhone phone(clienttest::camera_setup({{"pmem.max_mmap", "4194304"}}));
	pid_t pid = phone.phone().pid();
	ASSERT_EQ(phone.ask("AT+DSCC\n"), "FTM CAM ERR:08\nERROR\n");
	clienttest::held first = clienttest::steady_holds(pid);  // with the cached thread stacks
	for (int i = 0; i < 3; ++i) {
		ASSERT_EQ(phone.ask("AT+DSCC\n"), "FTM CAM ERR:08\nERROR\n");
		EXPECT_EQ(clienttest::holds_back_to(pid, first), first);
	}
}

// The configuration thread may still be probing the sensor when the client
// has slept its settle (500 ms, 5 ms here): the capture waits for the probe,
// bounded, and never sends the dimension to a thread that is about to end.
struct slow_probe {
	const char *name;
	const char *sensor;
	const char *probe_ms;  // board time: a hundredth of it passes
	const char *answer;
};

void PrintTo(const slow_probe &p, std::ostream *os) { *os << p.name; }

class SlowProbe : public ::testing::TestWithParam<slow_probe> {};

TEST_P(SlowProbe, AnswersWithinSecondsAndRecovers)
{
	const slow_probe &p = GetParam();
	SimPhone phone(clienttest::camera_setup({{"camera.sensor", p.sensor}, {"camera.probe_ms", p.probe_ms}}));
	// A dimension sent to a dead thread waits 200 s; the Bayer sensor's
	// capture settles 3A first, which under the sanitizers may pass 10 s.
	EXPECT_EQ(phone.ask("AT+DSCC\n", {}, 60000), p.answer);
	EXPECT_EQ(phone.ask("AT+DSCE\n"), "OK\n");
	phone.set_board("camera.probe_ms", "0");
	phone.set_board("camera.sensor", "ov5642");
	EXPECT_EQ(phone.ask("AT+DSCC\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+DSCE\n"), "OK\n");
}

const slow_probe slow_probes[] = {
    {"UnknownSensorQuickProbe", "foo", "0", "FTM CAM ERR:07\nERROR\n"},
    {"UnknownSensorSlowProbe", "foo", "2000", "FTM CAM ERR:07\nERROR\n"},
    {"KnownSensorSlowProbe", "ov5642", "2000", "OK\n"},
    {"BayerSensorSlowProbe", "bayersim", "2000", "OK\n"},
    // Longer than the client waits for a probe (3 s): given up, not hung on.
    {"ProbeOutlastsTheClient", "ov5642", "400000", "FTM CAM ERR:07\nERROR\n"},
};

INSTANTIATE_TEST_SUITE_P(Probe, SlowProbe, ::testing::ValuesIn(slow_probes),
			 [](const auto &info) { return std::string(info.param.name); });

}  // namespace
