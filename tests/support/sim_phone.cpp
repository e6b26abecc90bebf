#include "support/sim_phone.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <unistd.h>
#include <vector>

#include "station/board.h"
#include "station/input.h"
#include "station/link.h"
#include "station/tapp_frame.h"

namespace testing_support {

namespace {

std::string make_temp_dir()
{
	const char *base = std::getenv("TMPDIR");
	std::string templ = std::string(base && *base ? base : "/tmp") + "/ftm-board-XXXXXX";
	std::vector<char> buf(templ.begin(), templ.end());
	buf.push_back('\0');
	if (!::mkdtemp(buf.data()))
		return {};
	return buf.data();
}

void remove_tree(const std::string &dir)
{
	if (dir.size() > 5) {
		std::string cmd = "rm -rf '" + dir + "'";
		int r = std::system(cmd.c_str());
		(void)r;
	}
}

}  // namespace

std::string program_command(const std::string &name)
{
	std::string path = std::string(FTM_BIN_DIR) + "/" + name;
	return std::string(FTM_EMULATOR).empty() ? path : std::string(FTM_EMULATOR) + " " + path;
}

bool is_complete_answer(const std::string &text)
{
	return text.ends_with("OK\n") || text.ends_with("ERROR\n") || text.ends_with("NOTSUPPORTED\n");
}

SimPhone::SimPhone() : SimPhone(Setup{}) {}

SimPhone::SimPhone(const Setup &setup) : setup_(setup)
{
	dir_ = make_temp_dir();
	std::string error;
	if (dir_.empty() || !station::init_board(dir_, &error)) {
		ADD_FAILURE() << "cannot make a board: " << error;
		return;
	}
	for (const auto &[key, value] : setup_.board)
		station::set_board_value(dir_, key, value);
	if (setup_.start) {
		std::string ready = boot();
		EXPECT_EQ(ready, "FTMModeReady\n");
	}
}

SimPhone::~SimPhone()
{
	phone_.stop();
	// FTM_KEEP_BOARD keeps the board of a failed test for a look.
	if (!(::testing::Test::HasFailure() && std::getenv("FTM_KEEP_BOARD")))
		remove_tree(dir_);
}

std::string SimPhone::boot()
{
	station::Phone::Options o;
	o.board_dir = dir_;
	// Another build's daemon may stand in (the phone's ARM one, run by
	// qemu-arm, against this build's station side).
	const char *daemon = std::getenv("FTM_SIM_DAEMON");
	const char *emulator = std::getenv("FTM_SIM_EMULATOR");
	o.ftmd_path = daemon && *daemon && setup_.ftmd == FTMD_SIM_PATH ? daemon : setup_.ftmd;
	o.emulator = emulator ? emulator : FTM_EMULATOR;
	o.usb_at_start = setup_.usb_at_start;
	std::string error;
	if (!phone_.start(o, &error)) {
		ADD_FAILURE() << "cannot start ftmd-sim: " << error;
		return {};
	}
	return station::read_until_suffix(phone_.wired(), "FTMModeReady\n", 10000);
}

void SimPhone::stop() { phone_.stop(); }

std::string SimPhone::restart()
{
	phone_.stop();
	return boot();
}

std::string SimPhone::ask_on(int fd, std::string_view command, std::string_view end, int timeout_ms)
{
	station::write_all(fd, command);
	if (!end.empty())
		return station::read_until_suffix(fd, end, timeout_ms);
	return station::read_until(fd, is_complete_answer, timeout_ms);
}

std::string SimPhone::ask(std::string_view command, std::string_view end, int timeout_ms)
{
	return ask_on(phone_.wired(), command, end, timeout_ms);
}

std::string SimPhone::ask_usb(std::string_view command, std::string_view end, int timeout_ms)
{
	return ask_on(phone_.usb(), command, end, timeout_ms);
}

void SimPhone::send(std::string_view bytes) { station::write_all(phone_.wired(), bytes); }
void SimPhone::send_usb(std::string_view bytes) { station::write_all(phone_.usb(), bytes); }
std::string SimPhone::read(int ms, int quiet_ms) { return station::read_for(phone_.wired(), ms, quiet_ms); }
std::string SimPhone::read_usb(int ms, int quiet_ms) { return station::read_for(phone_.usb(), ms, quiet_ms); }

std::string SimPhone::read_until(std::string_view end, int timeout_ms)
{
	return station::read_until_suffix(phone_.wired(), end, timeout_ms);
}

namespace {
constexpr std::string_view kCommandServed = "command_step() - exitpwrkey_thread=";

int count_in(const std::string &text, std::string_view needle)
{
	int n = 0;
	for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + needle.size()))
		++n;
	return n;
}
}  // namespace

int SimPhone::trace_count(std::string_view needle) const
{
	// The log first: a line moving from the kernel log meanwhile is missed
	// once, never counted twice.
	std::string log = file("/data/ftm.log");
	std::string kmsg = file("/dev/kmsg");
	return count_in(log, needle) + count_in(kmsg, needle);
}

bool SimPhone::wait_trace(std::string_view needle, int count, int timeout_ms) const
{
	for (int waited = 0; waited <= timeout_ms; waited += 5) {
		if (trace_count(needle) >= count)
			return true;
		::usleep(5000);
	}
	return false;
}

std::string SimPhone::command(std::string_view bytes, int commands)
{
	int before = trace_count(kCommandServed);
	send(bytes);
	EXPECT_TRUE(wait_trace(kCommandServed, before + commands)) << "the daemon did not serve the command";
	// The answer is written before that trace line: it is already waiting.
	return station::read_for(phone_.wired(), 50, 10);
}

std::string SimPhone::sync()
{
	static uint8_t next = 0x60;
	std::string before;
	for (int attempt = 0; attempt < 4; ++attempt) {
		uint8_t cmd = next;
		next = static_cast<uint8_t>(next >= 0xEF ? 0x60 : next + 1);
		char marker[16];
		std::snprintf(marker, sizeof marker, "b00101%02x01", cmd);
		send(station::wifi_frame(cmd, {}));
		// A frame that joined the tail of the earlier input is lost with
		// it; the next attempt goes alone.
		std::string got = station::read_until(
		    phone_.wired(), [&](const std::string &t) { return t.find(marker) != std::string::npos && t.ends_with("OK\n"); },
		    3000);
		size_t at = got.find("*TAPP=ACK\n*TAPP=0800" + std::string(marker));
		if (at != std::string::npos)
			return before + got.substr(0, at);
		before += got;
	}
	ADD_FAILURE() << "the daemon did not answer the sync frame";
	return before;
}

void SimPhone::input_event(int device, int type, int code, int value)
{
	EXPECT_TRUE(station::send_events(dir_, device,
	                                 {{static_cast<uint16_t>(type), static_cast<uint16_t>(code), value}}))
	    << "input device event" << device << " has no reader";
}

void SimPhone::press_key(int code, int device) { input_event(device, 1, code, 1); }

void SimPhone::touch(int x, int y) { EXPECT_TRUE(station::send_events(dir_, 1, station::touch_events(x, y))); }

void SimPhone::set_board(const std::string &key, const std::string &value)
{
	ASSERT_TRUE(station::set_board_value(dir_, key, value));
}

std::string SimPhone::path(std::string_view relative) const
{
	std::string rel(relative);
	if (!rel.empty() && rel[0] != '/')
		rel = "/" + rel;
	return dir_ + rel;
}

std::string SimPhone::file(std::string_view relative) const
{
	std::ifstream in(path(relative), std::ios::binary);
	std::stringstream ss;
	ss << in.rdbuf();
	return ss.str();
}

}  // namespace testing_support
