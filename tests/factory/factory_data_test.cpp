// Product id, test flag, NV items, fuse and UART clock over the wired port,
// against the board's /dev/ftmgpio.
#include <gtest/gtest.h>
#include <fstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "support/sim_phone.h"

namespace {

using testing_support::SimPhone;

std::string hex(const std::vector<uint8_t> &bytes, bool upper = true)
{
	const char *digits = upper ? "0123456789ABCDEF" : "0123456789abcdef";
	std::string s;
	for (uint8_t b : bytes) {
		s += digits[b >> 4];
		s += digits[b & 15];
	}
	return s;
}

// Data bytes and their XOR, as a station writes them.
std::string with_checksum(const std::vector<uint8_t> &data)
{
	uint8_t x = 0;
	for (uint8_t b : data)
		x ^= b;
	std::vector<uint8_t> all = data;
	all.push_back(x);
	return hex(all);
}

std::vector<uint8_t> pattern(size_t n, uint8_t seed)
{
	std::vector<uint8_t> v(n);
	for (size_t i = 0; i < n; ++i)
		v[i] = static_cast<uint8_t>(seed + 37 * i);
	return v;
}

// The state the device keeps on the board, one "key=value" a line.
std::string state_value(const SimPhone &phone, const std::string &key)
{
	std::string state = phone.file("/var/ftmgpio");
	size_t at = state.find(key + "=");
	if (at == std::string::npos || (at != 0 && state[at - 1] != '\n'))
		return {};
	size_t end = state.find('\n', at);
	return state.substr(at + key.size() + 1, end - at - key.size() - 1);
}

TEST(FactoryData, ProductIdAndTestFlagRoundTripAndSurviveRestart)
{
	SimPhone phone;
	// A fresh device reads back zeros, as digits in lower case.
	EXPECT_EQ(phone.ask("AT+RPID\n"), std::string(80, '0') + "OK\n");
	EXPECT_EQ(phone.ask("AT+RTF\n"), std::string(128, '0') + "OK\n");

	auto pid = pattern(40, 0xA5);
	auto flag = pattern(64, 0x3C);
	EXPECT_EQ(phone.ask("AT+WPID=" + with_checksum(pid) + "\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+WTF=" + with_checksum(flag) + "\n"), "OK\n");
	// Lower-case input is upper-cased by the dispatcher and still works.
	auto pid2 = pattern(40, 0x11);
	std::string lower = with_checksum(pid2);
	for (char &c : lower)
		c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
	EXPECT_EQ(phone.ask("at+wpid=" + lower + "\n"), "OK\n");

	EXPECT_EQ(phone.ask("AT+RPID\n"), hex(pid2, false) + "OK\n");
	EXPECT_EQ(phone.ask("AT+RTF\n"), hex(flag, false) + "OK\n");
	// The flag area is 128 bytes on the device; what the command does not
	// carry is sent cleared.
	EXPECT_EQ(state_value(phone, "testflag"), hex(flag, false) + std::string(128, '0'));

	EXPECT_EQ(phone.restart(), "FTMModeReady\n");
	EXPECT_EQ(phone.ask("AT+RPID\n"), hex(pid2, false) + "OK\n");
	EXPECT_EQ(phone.ask("AT+RTF\n"), hex(flag, false) + "OK\n");
}

TEST(FactoryData, BadChecksumOrBadTextChangesNothing)
{
	SimPhone phone;
	auto pid = pattern(40, 0x42);
	ASSERT_EQ(phone.ask("AT+WPID=" + with_checksum(pid) + "\n"), "OK\n");
	std::string before = phone.file("/var/ftmgpio");

	std::string wrong = with_checksum(pattern(40, 0x07));
	wrong[wrong.size() - 1] = wrong.back() == '0' ? '1' : '0';
	EXPECT_EQ(phone.ask("AT+WPID=" + wrong + "\n"), "NOTSUPPORTED\n");
	wrong = with_checksum(pattern(64, 0x07));
	wrong[wrong.size() - 2] = wrong[wrong.size() - 2] == '0' ? '1' : '0';
	EXPECT_EQ(phone.ask("AT+WTF=" + wrong + "\n"), "NOTSUPPORTED\n");
	// Short, odd, long and non-hex parameters: answered, never a crash.
	EXPECT_EQ(phone.ask("AT+WPID=\n"), "NOTSUPPORTED\n");
	EXPECT_EQ(phone.ask("AT+WPID=123\n"), "NOTSUPPORTED\n");
	EXPECT_EQ(phone.ask("AT+WTF=ZZZZ\n"), "NOTSUPPORTED\n");
	// A long line may come in more than one read: each part is answered.
	phone.send("AT+WPID=" + std::string(3000, 'G') + "\n");
	std::string parts = phone.sync();
	EXPECT_TRUE(parts.starts_with("NOTSUPPORTED\n")) << parts;
	EXPECT_EQ(parts.find_first_not_of("NOTSUPPORTED\n"), std::string::npos) << parts;
	EXPECT_EQ(phone.file("/var/ftmgpio"), before);
	// A checksum over odd text still decides, with the rest decoded as zeros.
	EXPECT_EQ(phone.ask("AT+WPID=" + hex(pid) + "\n"), "NOTSUPPORTED\n");
	EXPECT_EQ(phone.ask("AT+RPID\n"), hex(pid, false) + "OK\n");
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
}

TEST(FactoryData, DeviceFailuresReadNotSupported)
{
	SimPhone phone(SimPhone::Setup{.board = {{"gpio.fail.pid_write", "2"},
	                                          {"gpio.fail.testflag_write", "1"},
	                                          {"gpio.fail.pid_read", "2"},
	                                          {"gpio.fail.testflag_read", "1"}}});
	EXPECT_EQ(phone.ask("AT+WPID=" + with_checksum(pattern(40, 1)) + "\n"), "NOTSUPPORTED\n");
	EXPECT_EQ(phone.ask("AT+WTF=" + with_checksum(pattern(64, 1)) + "\n"), "NOTSUPPORTED\n");
	EXPECT_EQ(phone.ask("AT+RPID\n"), "Read Product ID Failed.\nNOTSUPPORTED\n");
	EXPECT_EQ(phone.ask("AT+RTF\n"), "Read test flag Failed.\nNOTSUPPORTED\n");
	EXPECT_EQ(state_value(phone, "pid"), "");
	// A write that fails with an error is taken for done: only 0 bytes fail.
	phone.set_board("gpio.fail.pid_write", "3");
	EXPECT_EQ(phone.ask("AT+WPID=" + with_checksum(pattern(40, 1)) + "\n"), "OK\n");
	phone.set_board("gpio.fail.pid_read", "0");
	EXPECT_EQ(phone.ask("AT+RPID\n"), std::string(80, '0') + "OK\n");
}

TEST(FactoryData, UartClockSourceFollowsTheFirstCharacter)
{
	SimPhone phone;
	EXPECT_EQ(phone.ask("AT+BAUD=1\n"), "OK\n");
	EXPECT_EQ(state_value(phone, "uart_clock"), "1");
	for (const char *other : {"AT+BAUD=0\n", "AT+BAUD=X\n", "AT+BAUD=\n"}) {
		ASSERT_EQ(phone.ask("AT+BAUD=1\n"), "OK\n");
		EXPECT_EQ(phone.ask(other), "OK\n") << other;
		EXPECT_EQ(state_value(phone, "uart_clock"), "0") << other;
	}
	phone.set_board("gpio.fail.uart_clock", "1");
	EXPECT_EQ(phone.ask("AT+BAUD=1\n"), "NOTSUPPORTED\n");
	EXPECT_EQ(state_value(phone, "uart_clock"), "0");
}

TEST(FactoryData, AWriteTheBoardCannotKeepFailsAndTheStoredValueStays)
{
	SimPhone phone;
	std::vector<uint8_t> pid = pattern(40, 3);
	ASSERT_EQ(phone.ask("AT+WPID=" + with_checksum(pid) + "\n"), "OK\n");
	ASSERT_EQ(phone.ask("AT+NV=80290255\n"), "OK\n");
	const std::string before = phone.file("/var/ftmgpio");
	// The device's next save cannot be written: its temporary file's place is taken.
	std::string blocker = phone.path("var/ftmgpio.tmp." + std::to_string(phone.phone().pid()));
	ASSERT_EQ(::mkdir(blocker.c_str(), 0755), 0);
	for (const std::string &command : {"AT+WPID=" + with_checksum(pattern(40, 9)) + "\n",
	                                   "AT+WTSFLAG=" + with_checksum(pattern(64, 9)) + "\n", std::string("AT+NV=80290001\n")})
		EXPECT_EQ(phone.ask(command), "NOTSUPPORTED\n") << command;
	EXPECT_EQ(phone.file("/var/ftmgpio"), before);
	EXPECT_EQ(phone.ask("AT+RPID\n"), hex(pid, false) + "OK\n");
	::rmdir(blocker.c_str());
	EXPECT_EQ(phone.ask("AT+NV=80290001\n"), "OK\n");
	EXPECT_EQ(state_value(phone, "nv.8029"), "1");
}

TEST(FactoryData, StartUpRemovesTemporariesOfKilledSavesAndKeepsTheStoredValue)
{
	SimPhone phone;
	std::vector<uint8_t> pid = pattern(40, 5);
	ASSERT_EQ(phone.ask("AT+WPID=" + with_checksum(pid) + "\n"), "OK\n");
	phone.stop();
	// A process that has ended, and one that still runs (this test).
	pid_t dead = ::fork();
	if (dead == 0)
		::_exit(0);
	ASSERT_GT(dead, 0);
	::waitpid(dead, nullptr, 0);
	const std::vector<std::string> stale = {"var/ftmgpio.tmp." + std::to_string(dead),
	                                        "var/bt_tags.tmp." + std::to_string(dead)};
	const std::vector<std::string> kept = {"var/ftmgpio.tmp." + std::to_string(::getpid()), "var/notes.tmp.x12"};
	for (const auto *names : {&stale, &kept})
		for (const std::string &name : *names)
			std::ofstream(phone.path(name)) << "half a save";
	phone.boot();
	for (const std::string &name : stale)
		EXPECT_NE(::access(phone.path(name).c_str(), F_OK), 0) << name;
	for (const std::string &name : kept)
		EXPECT_EQ(::access(phone.path(name).c_str(), F_OK), 0) << name;
	EXPECT_EQ(phone.ask("AT+RPID\n"), hex(pid, false) + "OK\n");
}

TEST(FactoryData, NvItemsByTheDigitRule)
{
	SimPhone phone;
	EXPECT_EQ(phone.ask("AT+NV=80290255\n"), "OK\n");
	EXPECT_EQ(state_value(phone, "nv.8029"), "255");
	// 300 is cut to 8 bits term by term: 44.
	EXPECT_EQ(phone.ask("AT+NV=00010300\n"), "OK\n");
	EXPECT_EQ(state_value(phone, "nv.1"), "44");
	// Letters count as c - 55: Z is 35, so 35000+3500+350+35 cut per term.
	EXPECT_EQ(phone.ask("AT+NV=0000ZZZZ\n"), "OK\n");
	uint8_t v = 0;
	for (int mul : {1000, 100, 10, 1})
		v = static_cast<uint8_t>(v + static_cast<uint8_t>(35 * mul));
	EXPECT_EQ(state_value(phone, "nv.0"), std::to_string(v));
	// Short text reads past nothing and still answers.
	EXPECT_EQ(phone.ask("AT+NV=1\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+NV=\n"), "OK\n");

	phone.set_board("gpio.fail.nv_write", "3");
	EXPECT_EQ(phone.ask("AT+NV=00020001\n"), "NOTSUPPORTED\n");
	phone.set_board("gpio.fail.nv_write", "1");
	EXPECT_EQ(phone.ask("AT+NV=00020001\n"), "NOTSUPPORTED\n");
	EXPECT_EQ(state_value(phone, "nv.2"), "");
	EXPECT_EQ(phone.restart(), "FTMModeReady\n");
	EXPECT_EQ(state_value(phone, "nv.8029"), "255");
}

TEST(FactoryData, FuseWriteAlwaysOkAndReadShowsIt)
{
	SimPhone phone;
	EXPECT_EQ(phone.ask("AT+RFUSE\n"), "0\nOK\n");
	EXPECT_EQ(phone.ask("AT+WFUSE\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+RFUSE\n"), "1\nOK\n");
	phone.set_board("gpio.fail.fuse_read", "2");
	EXPECT_EQ(phone.ask("AT+RFUSE\n"), "NOTSUPPORTED\n");
	phone.set_board("gpio.fail.fuse_write", "1");
	EXPECT_EQ(phone.ask("AT+WFUSE\n"), "OK\n");
}

TEST(FactoryData, MissingDeviceFailsEveryCommandButTheFuseWrite)
{
	SimPhone phone(SimPhone::Setup{.board = {{"gpio.absent", "1"}}});
	EXPECT_EQ(phone.ask("AT+WFUSE\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+RFUSE\n"), "NOTSUPPORTED\n");
	EXPECT_EQ(phone.ask("AT+RPID\n"), "Read Product ID Failed.\nNOTSUPPORTED\n");
	EXPECT_EQ(phone.ask("AT+WTF=" + with_checksum(pattern(64, 9)) + "\n"), "NOTSUPPORTED\n");
	EXPECT_EQ(phone.ask("AT+BAUD=1\n"), "NOTSUPPORTED\n");
	EXPECT_EQ(phone.ask("AT+NV=00010001\n"), "NOTSUPPORTED\n");
	EXPECT_EQ(phone.ask("AT+GPIO\n"), "OK\n");
	// The device turns up: the next call opens it.
	phone.set_board("gpio.absent", "0");
	EXPECT_EQ(phone.ask("AT+RFUSE\n"), "0\nOK\n");
}

TEST(FactoryData, GpioTestLeavesTheJackPinHigh)
{
	SimPhone phone(SimPhone::Setup{.board = {{"gpio.pin.40", "1"}}});
	EXPECT_EQ(phone.ask("AT+GPIO\n"), "OK\n");
	EXPECT_EQ(state_value(phone, "pin.40"), "1,1");
	std::string log = phone.file("/data/ftm.log");
	EXPECT_NE(log.find("at_gpio_test!\n"), std::string::npos);
	EXPECT_NE(log.find("AudioJack is pluged in!\n"), std::string::npos);
}

TEST(FactoryData, GpioTestReportsABadInputByte)
{
	SimPhone phone(SimPhone::Setup{.board = {{"gpio.input_raw", "1"}}});
	EXPECT_EQ(phone.ask("AT+GPIO\n"), "OK\n");
	std::string log = phone.file("/data/ftm.log");
	EXPECT_NE(log.find("gpio_get_input Fail!\n"), std::string::npos);
	EXPECT_EQ(log.find("AudioJack is pluged"), std::string::npos);
}

}  // namespace
