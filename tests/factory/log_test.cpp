// Trace modes, the forked kernel log copier and the log dump, over the ports.
#include <gtest/gtest.h>

#include <chrono>
#include <fcntl.h>
#include <fstream>
#include <regex>
#include <string>
#include <sys/file.h>
#include <thread>
#include <unistd.h>

#include "station/link.h"
#include "station/tapp_frame.h"
#include "support/sim_phone.h"

namespace {

using testing_support::SimPhone;

// Appends a line to the board's kernel log as the kernel would, under the
// lock the board's readers take.
void kernel_line(const SimPhone &phone, const std::string &line)
{
	int fd = ::open(phone.path("/dev/kmsg").c_str(), O_WRONLY | O_APPEND | O_CREAT, 0644);
	ASSERT_GE(fd, 0);
	::flock(fd, LOCK_EX);
	EXPECT_EQ(::write(fd, line.data(), line.size()), static_cast<ssize_t>(line.size()));
	::close(fd);
}

void write_file(const std::string &path, const std::string &data)
{
	std::ofstream out(path, std::ios::binary | std::ios::trunc);
	out << data;
}

// The start-up trace is in /data/ftm.log once a first command is answered;
// after that the file changes only behind the next command's handler.
void settle(SimPhone &phone) { ASSERT_EQ(phone.ask("AT\n"), "OK\n"); }

// Polls until pred holds; the bound only stops a broken run from hanging.
template <typename Pred>
bool eventually(Pred pred)
{
	for (int i = 0; i < 1000; ++i) {
		if (pred())
			return true;
		std::this_thread::sleep_for(std::chrono::milliseconds(10));
	}
	return pred();
}

std::string dump_answer(const std::string &log)
{
	std::string size = std::to_string(log.size());
	return "FORMAT= LOG\nSIZE= " + size + "\n\nOK\n" + log + "at_dumpLog file name:/data/ftm.log, size=" + size +
	       ".OK.\nOK\n";
}

TEST(Debug, ModesPutTraceOnTheActivePortOnlyWhenOn)
{
	SimPhone phone;
	EXPECT_EQ(phone.ask("AT+DEBUG\n"), "NOTSUPPORTED\n");
	EXPECT_EQ(phone.ask("AT+DEBUG=XY\n"), "NOTSUPPORTED\n");

	// FON with its gate shut: nothing on the other port either.
	EXPECT_EQ(phone.ask("AT+DEBUG=FON\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+RFUSE\n"), "0\nOK\n");
	EXPECT_EQ(phone.ask_usb("AT\n"), "OK\n");

	// ON: the two mode lines come ahead of the answer, the loop's own trace
	// after it.
	std::string on = phone.ask("AT+DEBUG=ON\n", "ftm_test_mode=0!\n");
	std::regex shape("U \\[debug\\.cpp:\\d+\\] at_debug_switcher\\(\\) - debug mode = "
	                 "U \\[debug\\.cpp:\\d+\\] at_debug_switcher\\(\\) - ON\n"
	                 "OK\n"
	                 "U \\[ftm\\.cpp:\\d+\\] command_step\\(\\) - exitpwrkey_thread=1,ftm_test_mode=0!\n");
	EXPECT_TRUE(std::regex_match(on, shape)) << on;
	std::string fuse = phone.ask("AT+RFUSE\n", "ftm_test_mode=0!\n");
	EXPECT_TRUE(std::regex_match(fuse, std::regex("U \\[factory_data\\.cpp:\\d+\\] at_Read_FUSE\\(\\) - at read "
	                                              "FUSE test\n0\nOK\nU \\[ftm.*\n")))
	    << fuse;

	EXPECT_EQ(phone.ask("AT+DEBUG=OFF\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+RFUSE\n"), "0\nOK\n");
	// Every mode change is in the kernel log, as two lines each.
	std::string log = phone.file("/data/ftm.log");
	EXPECT_NE(log.find("at_debug_switcher() - debug mode = <4>U ["), std::string::npos);
	EXPECT_NE(log.find("at_debug_switcher() - FON\n"), std::string::npos);
	EXPECT_NE(log.find("at_debug_switcher() - OFF\n"), std::string::npos);
}

TEST(Debug, OnSendsTraceToTheUsbPortWhenThatIsActive)
{
	SimPhone phone;
	std::string on = phone.ask_usb("AT+DEBUG=ON\n", "ftm_test_mode=0!\n");
	EXPECT_NE(on.find("- ON\nOK\n"), std::string::npos) << on;
	EXPECT_EQ(phone.ask_usb("AT+DEBUG=OFF\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
}

TEST(Log, DaemonCopiesKernelLogWithoutLevelsToCardAndOtherPort)
{
	SimPhone phone(SimPhone::Setup{.board = {{"time.scale", "0.01"}}});  // polls every 30 ms
	// The first start answers with the daemon's pid: "NOTSUPPORTED".
	EXPECT_EQ(phone.ask("AT+LOG=ON\n"), "NOTSUPPORTED\n");
	EXPECT_EQ(phone.ask("at+log=on\n"), "OK\n");
	kernel_line(phone, "<6>123 abc\n<3>[  1.5] second\nno level\n");

	std::string usb = station::read_until(
	    phone.phone().usb(), [](const std::string &s) { return s.find("no level\n") != std::string::npos; },
	    10000);
	EXPECT_NE(usb.find(" abc\n[  1.5] second\nno level\n"), std::string::npos) << usb;
	EXPECT_TRUE(eventually([&] { return phone.file("/sdcard/kernel.log").find("no level\n") != std::string::npos; }));
	std::string card = phone.file("/sdcard/kernel.log");
	EXPECT_NE(card.find(" abc\n[  1.5] second\nno level\n"), std::string::npos);
	// No line keeps a level prefix; the daemon's start is in it.
	EXPECT_EQ(card.find("\n<"), std::string::npos);
	EXPECT_NE(card[0], '<');

	EXPECT_EQ(phone.ask("AT+LOG=OFF\n"), "OK\n");
	EXPECT_TRUE(eventually([&] {
		phone.ask("AT\n");
		return phone.file("/data/ftm.log").find("log daemon terminated ...\n") != std::string::npos;
	}));
	// Stopped for good: the pid is kept, so =ON starts nothing new.
	EXPECT_EQ(phone.ask("AT+LOG=ON\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+LOG=OFF\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+LOG=MAYBE\n"), "ERROR\n");
	EXPECT_EQ(phone.ask("AT+LOG\n"), "ERROR\n");
}

// klogctl hands back the newest bytes that fit the 4096-byte buffer and
// clears the rest, as the kernel does: older lines are lost.
TEST(Log, KernelLogLargerThanTheBufferKeepsItsNewestBytes)
{
	SimPhone phone(SimPhone::Setup{.board = {{"time.scale", "0.01"}}});
	EXPECT_EQ(phone.ask("AT+LOG=ON\n"), "NOTSUPPORTED\n");
	std::string burst;
	int last = 1000;
	for (; burst.size() < 10000; ++last)
		burst += "<6>burst line " + std::to_string(last) + "\n";
	burst += "<6>last of the burst\n";
	kernel_line(phone, burst);
	ASSERT_TRUE(eventually([&] { return phone.file("/sdcard/kernel.log").find("last of the burst\n") != std::string::npos; }));
	std::string card = phone.file("/sdcard/kernel.log");
	EXPECT_EQ(card.find("burst line 1000\n"), std::string::npos);
	EXPECT_NE(card.find("burst line " + std::to_string(last - 1) + "\n"), std::string::npos);
	EXPECT_EQ(phone.ask("AT+LOG=OFF\n"), "OK\n");
}

TEST(Log, OffBeforeOnDoesNothing)
{
	SimPhone phone;
	EXPECT_EQ(phone.ask("AT+LOG=OFF\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+LOG=off\n"), "OK\n");
}

TEST(Log, NoCardStillCopiesToThePort)
{
	SimPhone phone(SimPhone::Setup{.board = {{"time.scale", "0.01"}}});
	ASSERT_EQ(std::system(("rm -rf '" + phone.path("/sdcard") + "'").c_str()), 0);
	EXPECT_EQ(phone.ask("AT+LOG=ON\n"), "NOTSUPPORTED\n");
	kernel_line(phone, "<4>card gone\n");
	std::string usb = station::read_until(
	    phone.phone().usb(), [](const std::string &s) { return s.find("card gone\n") != std::string::npos; },
	    10000);
	EXPECT_NE(usb.find("card gone\n"), std::string::npos);
	EXPECT_EQ(phone.file("/sdcard/kernel.log"), "");
	EXPECT_EQ(phone.ask("AT+LOG=OFF\n"), "OK\n");
}

// A daemon left running is ended with the phone: nothing outlives a test.
TEST(Log, StoppingThePhoneEndsTheDaemon)
{
	pid_t daemon = -1;
	{
		SimPhone phone;
		EXPECT_EQ(phone.ask("AT+LOG=ON\n"), "NOTSUPPORTED\n");
		// The line lands in whichever log took the kernel log first.
		std::smatch m;
		std::string log;
		ASSERT_TRUE(eventually([&] {
			EXPECT_EQ(phone.ask("AT\n"), "OK\n");
			log = phone.file("/data/ftm.log") + phone.file("/sdcard/kernel.log");
			return std::regex_search(log, m, std::regex("log daemon id: (\\d+)\n"));
		}));
		daemon = std::stoi(m[1]);
		ASSERT_EQ(::kill(daemon, 0), 0);
	}
	EXPECT_TRUE(eventually([&] { return ::kill(daemon, 0) != 0; }));
}

TEST(DumpLog, SendsHeaderFileAndClosingLineByteExact)
{
	SimPhone phone;
	settle(phone);
	std::string log;
	for (int i = 0; log.size() < 300 * 1024; ++i)
		log += "<4>U [ftm.cpp:" + std::to_string(i) + "] main() - line " + std::to_string(i * 7919) + "\n";
	write_file(phone.path("/data/ftm.log"), log);
	std::string end = ".OK.\nOK\n";
	EXPECT_EQ(phone.ask("AT+DUMPLOG\n", end, 30000), dump_answer(log));

	// Sizes around the block and the 8 KiB bound.
	for (size_t n : {size_t{0}, size_t{1}, size_t{1023}, size_t{1024}, size_t{1025}, size_t{8192}, size_t{9000}}) {
		std::string part = log.substr(0, n);
		write_file(phone.path("/data/ftm.log"), part);
		EXPECT_EQ(phone.ask("AT+DUMPLOG\n", end), dump_answer(part)) << n;
	}
}

TEST(DumpLog, FramedFormDumpsThenAnswersTheFrame)
{
	SimPhone phone;
	settle(phone);
	write_file(phone.path("/data/ftm.log"), "framed\n");
	phone.send(station::bb_frame(0, 0x9016, {}));
	std::string answer = station::read_until(
	    phone.phone().wired(),
	    [](const std::string &s) { return s.find("*TAPP=") != std::string::npos && s.ends_with("\nOK\n"); },
	    10000);
	std::string dump = dump_answer("framed\n");
	EXPECT_EQ(answer.substr(0, answer.find("*TAPP=")), dump.substr(0, dump.size() - 3));
	auto frame = station::decode_answer(answer);
	ASSERT_TRUE(frame);
	EXPECT_TRUE(frame->checksum_ok);
	EXPECT_EQ(frame->status, 0);
}

TEST(DumpLog, DeleteAndMissingLog)
{
	SimPhone phone;
	write_file(phone.path("/data/ftm.log"), "old marker\n");
	EXPECT_EQ(phone.ask("AT+DUMPLOG=X\n"), "OK\n");
	// The loop's log step starts a new file after every command.
	std::string fresh = phone.file("/data/ftm.log");
	EXPECT_EQ(fresh.find("old marker"), std::string::npos);
	EXPECT_NE(fresh.find("remove /data/ftm.log successfully.\n"), std::string::npos);

	// No /data at all: neither form finds a file, and no header is sent.
	ASSERT_EQ(std::system(("rm -rf '" + phone.path("/data") + "'").c_str()), 0);
	EXPECT_EQ(phone.ask("AT+DUMPLOG=X\n"), "ERROR\n");
	EXPECT_EQ(phone.ask("AT+DUMPLOG\n"), "ERROR\n");
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
}

}  // namespace
