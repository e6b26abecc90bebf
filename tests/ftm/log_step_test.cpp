// The log step in process against the shell line it replaces: the same
// session, run on ftmd-sim and on the build that runs the shell line,
// leaves the same bytes in /data/ftm.log, faults included.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <regex>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/sim_phone.h"

namespace {

using testing_support::SimPhone;

constexpr std::string_view kServed = "command_step() - exitpwrkey_thread=";

int count_of(const std::string &text, std::string_view needle)
{
	int n = 0;
	for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1))
		++n;
	return n;
}

// Appends to the board's kernel log under the lock its readers take.
void kernel_line(const SimPhone &phone, const std::string &text)
{
	int fd = ::open(phone.path("/dev/kmsg").c_str(), O_WRONLY | O_APPEND | O_CREAT, 0644);
	ASSERT_GE(fd, 0);
	::flock(fd, LOCK_EX);
	EXPECT_EQ(::write(fd, text.data(), text.size()), static_cast<ssize_t>(text.size()));
	::close(fd);
}

// A ring far larger than one 4096-byte read.
std::string big_kernel_text()
{
	std::string text;
	for (int i = 0; text.size() < 100000; ++i)
		text += "<6>[" + std::to_string(i) + "] yaffs: dev is 32505865 name is \"mtdblock9\"\n";
	return text;
}

struct Outcome {
	std::string transcript;  // every answer, in order
	std::string start_log;   // /data/ftm.log after start-up
	std::string log;         // /data/ftm.log at the end
	std::string kmsg;        // what the ring still holds
	mode_t mode = 0;
};

// One scripted session. Each command is followed by a wait until its last
// trace line (written after the answer) is in the ring, given as how many
// such lines the ring then holds, so lines the test adds fall in the same
// place on both runs.
Outcome run_session(const std::string &ftmd)
{
	Outcome out;
	SimPhone phone(SimPhone::Setup{.ftmd = ftmd});
	auto settle = [&](int served) {
		for (int i = 0; i < 2000 && count_of(phone.file("/dev/kmsg"), kServed) < served; ++i)
			::usleep(5000);
		EXPECT_EQ(count_of(phone.file("/dev/kmsg"), kServed), served) << phone.file("/dev/kmsg");
	};
	auto ask = [&](const std::string &command, int served, std::string_view end = {}) {
		out.transcript += phone.ask(command, end, 20000);
		settle(served);
	};
	for (int i = 0; i < 2000 && phone.file("/data/ftm.log").empty(); ++i)
		::usleep(5000);
	out.start_log = phone.file("/data/ftm.log");

	ask("AT\n", 1);
	ask("AT*TAPP=0900400177770000000048\n", 1);
	ask("AT+RFUSE\n", 1);
	kernel_line(phone, big_kernel_text());
	ask("AT\n", 1);
	ask("AT+DUMPLOG\n", 1, ".OK.\nOK\n");
	// Deleted, then made again by the step behind the same command.
	ask("AT+DUMPLOG=\n", 1);
	ask("AT+DUMPLOG\n", 1, ".OK.\nOK\n");
	ask("AT+DUMPLOG=\n", 1);

	// No /data: the file cannot be opened, the ring keeps its lines.
	std::string data = phone.path("/data");
	EXPECT_EQ(::rename(data.c_str(), (data + ".away").c_str()), 0);
	kernel_line(phone, "<6>kept while /data is missing\n");
	ask("AT\n", 2);
	ask("AT+RFUSE\n", 3);
	EXPECT_EQ(::rename((data + ".away").c_str(), data.c_str()), 0);
	ask("AT\n", 1);

	// A full disk: the ring is read and cleared, what does not fit is lost.
	std::string log = phone.path("/data/ftm.log");
	EXPECT_EQ(::rename(log.c_str(), (log + ".kept").c_str()), 0);
	EXPECT_EQ(::symlink("/dev/full", log.c_str()), 0);
	kernel_line(phone, "<6>lost on a full disk\n");
	ask("AT\n", 1);
	EXPECT_EQ(::unlink(log.c_str()), 0);
	EXPECT_EQ(::rename((log + ".kept").c_str(), log.c_str()), 0);
	ask("AT\n", 1);

	out.log = phone.file("/data/ftm.log");
	out.kmsg = phone.file("/dev/kmsg");
	struct stat st{};
	EXPECT_EQ(::stat(log.c_str(), &st), 0);
	out.mode = st.st_mode;
	return out;
}

TEST(LogStep, InProcessWritesWhatTheShellLineWrites)
{
	Outcome shell = run_session(FTMD_SIM_SHELL_LOG_PATH);
	Outcome own = run_session(FTMD_SIM_PATH);

	EXPECT_NE(shell.start_log.find("start_up() - FTMModeReady\n"), std::string::npos) << shell.start_log;
	EXPECT_EQ(own.start_log, shell.start_log);
	// Not EXPECT_EQ: a difference in 100 kB says little printed whole.
	EXPECT_TRUE(own.transcript == shell.transcript) << "the answers differ";
	EXPECT_EQ(own.kmsg, shell.kmsg);
	EXPECT_EQ(own.mode, shell.mode);
	EXPECT_EQ(own.log.size(), shell.log.size());
	EXPECT_TRUE(own.log == shell.log) << "the log files differ";

	// The faults did what the shell line does with them.
	EXPECT_NE(shell.log.find("<6>kept while /data is missing\n"), std::string::npos);
	EXPECT_EQ(shell.log.find("lost on a full disk"), std::string::npos);
	// The whole ring arrived, and went back out over the port.
	EXPECT_EQ(count_of(shell.transcript, "yaffs: dev is"), count_of(big_kernel_text(), "yaffs: dev is"));
	EXPECT_NE(shell.transcript.find("<6>[0] yaffs"), std::string::npos);
}

// Start-up as a station and the board see it: the ready message alone on
// the wired port, /data made and mounted, the start-up trace moved into the
// log after the ready message, and the ring empty until the first command.
TEST(StartUp, PortLogAndMountsAsBefore)
{
	for (const char *ftmd : {FTMD_SIM_PATH, FTMD_SIM_SHELL_LOG_PATH}) {
		SCOPED_TRACE(ftmd);
		SimPhone phone(SimPhone::Setup{.start = false, .ftmd = ftmd});
		std::string data = phone.path("/data");
		std::string rm = "rm -rf '" + data + "'";
		ASSERT_EQ(std::system(rm.c_str()), 0);

		const std::regex start("<4>U \\[graphics\\.cpp:\\d+\\] lcd_init\\(\\) - LCD size: width= 800, height= 480, "
		                       "lcd_bpp= 16\n<4>U \\[ftm\\.cpp:\\d+\\] start_up\\(\\) - FTMModeReady\n");
		for (int boot = 1; boot <= 2; ++boot) {
			EXPECT_EQ(boot == 1 ? phone.boot() : phone.restart(), "FTMModeReady\n");
			EXPECT_TRUE(phone.wait_trace("start_up() - FTMModeReady", boot));
			// The shell's dmesg writes first and clears after: wait for both.
			for (int i = 0; i < 2000 && (count_of(phone.file("/data/ftm.log"), "FTMModeReady") < boot ||
			                             !phone.file("/dev/kmsg").empty());
			     ++i)
				::usleep(5000);
			std::string log = phone.file("/data/ftm.log");
			size_t second = boot == 1 ? 0 : log.find("<4>U [graphics.cpp:", 1);
			ASSERT_NE(second, std::string::npos) << log;
			EXPECT_TRUE(std::regex_match(log.substr(second), start)) << log;
			EXPECT_EQ(phone.file("/dev/kmsg"), "");
			EXPECT_EQ(phone.file("/var/mounts"), "/dev/block/mtdblock9 /data\n");
			struct stat st{};
			EXPECT_TRUE(::stat(data.c_str(), &st) == 0 && S_ISDIR(st.st_mode));
			// Nothing else came on the port: the first answer is bare.
			EXPECT_EQ(phone.ask("AT\n"), "OK\n");
		}
	}
}

}  // namespace
