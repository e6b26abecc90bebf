// The keypad test: each key read becomes a framed report to the station.
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <initializer_list>
#include <unistd.h>

#include "screen_support.h"
#include "station/link.h"
#include "station/tapp_frame.h"

namespace screens_test {
namespace {

struct Ev {
	uint16_t type, code;
	int32_t value;
};

// Writes the events as one read of the device.
void events(SimPhone &phone, int device, std::initializer_list<Ev> evs)
{
	std::string bytes;
	for (const Ev &e : evs) {
		unsigned char ev[16] = {};
		std::memcpy(ev + 8, &e.type, 2);
		std::memcpy(ev + 10, &e.code, 2);
		std::memcpy(ev + 12, &e.value, 4);
		bytes.append(reinterpret_cast<char *>(ev), 16);
	}
	int fd = ::open(phone.path("/dev/input/event" + std::to_string(device)).c_str(), O_WRONLY | O_NONBLOCK);
	ASSERT_GE(fd, 0);
	EXPECT_EQ(::write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
	::close(fd);
	wait_taken(phone, device);
}

// What the station reads up to the answer of an AT sent after the input:
// reports frames first, then the AT's "OK\n".
std::string heard(SimPhone &phone, int frames)
{
	phone.send("AT\n");
	return station::read_until(
	    phone.phone().wired(),
	    [frames](const std::string &t) {
		    int oks = 0;
		    for (size_t at = t.find("OK\n"); at != std::string::npos; at = t.find("OK\n", at + 1))
			    ++oks;
		    return oks > frames;
	    },
	    10000);
}

// The baseband input frame of one report text.
std::string frame(const char *text)
{
	char work[64];
	std::snprintf(work, sizeof work, "060040000100%s", text);
	unsigned x = 0;
	for (int i = 0; i < 7; ++i) {
		unsigned b = 0;
		std::sscanf(work + 2 * i, "%2x", &b);
		x ^= b;
	}
	char out[80];
	std::snprintf(out, sizeof out, "*TAPP=%s%02x\nOK\n", work, x);
	return out;
}

TEST(KeypadTest, PressesAreReportedAsTheStationsKeyNumbers)
{
	SimPhone phone;
	ASSERT_EQ(phone.ask("AT+KEYPAD=1\n"), "OK\n");
	EXPECT_EQ(frame("01"), "*TAPP=0600400001000146\nOK\n");
	struct Case {
		int raw;
		const char *report;
	};
	for (const Case &c : {Case{116, "01"}, {128, "01"}, {30, "23"}, {103, "09"}, {229, "46"}, {192, "42"},
	                      {272, "08"}, {999, "3e7"}}) {
		phone.press_key(c.raw);
		wait_taken(phone, 0);
		EXPECT_EQ(heard(phone, 1), frame(c.report) + "OK\n") << c.raw;
	}
}

TEST(KeypadTest, AReadThatStartsWithAReleaseIsNotReported)
{
	SimPhone phone;
	ASSERT_EQ(phone.ask("AT+KEYPAD=1\n"), "OK\n");
	events(phone, 0, {{1, 116, 0}, {0, 0, 0}});
	EXPECT_EQ(heard(phone, 0), "OK\n");
	// A press and its release in one read: both go out.
	events(phone, 0, {{1, 30, 1}, {1, 30, 0}, {0, 0, 0}});
	EXPECT_EQ(heard(phone, 2), frame("23") + frame("23") + "OK\n");
}

TEST(KeypadTest, TheJogBallRollsAreArrowKeys)
{
	SimPhone phone;
	ASSERT_EQ(phone.ask("AT+KEYPAD=1\n"), "OK\n");
	struct Case {
		uint16_t code;
		int32_t value;
		const char *report;
	};
	for (const Case &c : {Case{1, 1, "0a"}, {1, -2, "09"}, {0, 3, "0c"}, {0, -1, "0b"}}) {
		events(phone, 3, {{2, c.code, c.value}});
		EXPECT_EQ(heard(phone, 1), frame(c.report) + "OK\n") << c.code << " " << c.value;
	}
	// A roll of nothing, or another axis, reports nothing.
	events(phone, 3, {{2, 1, 0}, {2, 8, 1}});
	EXPECT_EQ(heard(phone, 0), "OK\n");
}

TEST(KeypadTest, AnyOtherParameterEndsTheTestAndKeysGoUnheard)
{
	for (const char *off : {"AT+KEYPAD=0\n", "AT+KEYPAD\n", "AT+KEYPAD=X\n"}) {
		SCOPED_TRACE(off);
		SimPhone phone;
		phone.press_key(116);
		wait_taken(phone, 0);
		EXPECT_EQ(heard(phone, 0), "OK\n");
		ASSERT_EQ(phone.ask("AT+KEYPAD=1\n"), "OK\n");
		ASSERT_EQ(phone.ask(off), "OK\n");
		phone.press_key(116);
		wait_taken(phone, 0);
		EXPECT_EQ(heard(phone, 0), "OK\n");
	}
}

TEST(KeypadTest, FramedFormSwitchesTheTestAndTheHeadsetBias)
{
	SimPhone phone;
	auto ask = [&](uint8_t access, std::vector<uint8_t> params) {
		auto a = station::decode_answer(phone.ask(station::bb_frame(access, 9, params)));
		EXPECT_TRUE(a && a->checksum_ok);
		return a ? a->result : std::vector<uint8_t>{0xEE};
	};
	EXPECT_EQ(ask(0, {1, 0}), std::vector<uint8_t>{1});
	EXPECT_EQ(phone.file("/proc/driver/hook_bias"), "bias_on\n");
	phone.press_key(128);
	wait_taken(phone, 0);
	EXPECT_EQ(heard(phone, 1), frame("01") + "OK\n");
	// Only access 0 acts.
	ask(1, {0, 0});
	phone.press_key(128);
	wait_taken(phone, 0);
	EXPECT_EQ(heard(phone, 1), frame("01") + "OK\n");
	EXPECT_EQ(ask(0, {0, 0}), std::vector<uint8_t>{0});
	EXPECT_EQ(phone.file("/proc/driver/hook_bias"), "bias_off\n");
	phone.press_key(128);
	wait_taken(phone, 0);
	EXPECT_EQ(heard(phone, 0), "OK\n");
}

// The power-key thread polls every 300 ms; the board runs ten times fast
// here (time.scale 0.1).
TEST(KeypadTest, AHeldPowerKeyIsReportedEveryPollUntilTheTestEnds)
{
	SimPhone phone(SimPhone::Setup{.board = {{"time.scale", "0.1"}, {"gpio.power_key", "1"}}});
	ASSERT_EQ(phone.ask("AT+KEYPAD=1\n"), "OK\n");
	const std::string held = "*TAPP=0600400001000146\nOK\n";
	std::string got = phone.read_until(held + held + held);
	EXPECT_EQ(got, held + held + held);
	// Frames may still come until the thread is joined, right after the
	// answer; the next command is read only after the join.
	auto answers = [&held](std::string t) {
		for (size_t at; (at = t.find(held)) != std::string::npos;)
			t.erase(at, held.size());
		return t;
	};
	auto answer_of = [&](const char *command) {
		phone.send(command);
		return answers(station::read_until(
		    phone.phone().wired(), [&](const std::string &t) { return answers(t) == "OK\n"; }, 10000));
	};
	EXPECT_EQ(answer_of("AT+KEYPAD=0\n"), "OK\n");
	EXPECT_EQ(answer_of("AT\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
	EXPECT_NE(phone.file("/data/ftm.log").find("thread_powerkey_detection is deleted!\n"), std::string::npos);
}

}  // namespace
}  // namespace screens_test
