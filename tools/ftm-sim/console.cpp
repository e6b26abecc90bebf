#include "console.h"

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "station/board.h"
#include "station/commands.h"
#include "station/exchange.h"
#include "station/input.h"
#include "station/link.h"
#include "station/tapp_frame.h"

namespace {

constexpr char kHelp[] =
    "Type a command line (sent with \"\\n\") or one of:\n"
    "  :do NAME [ARGS]          a command by name, e.g. :do vibrator on  (:names lists them)\n"
    "  :bb ACCESS FUNC [HEX]    baseband frame, e.g. :bb 01 0004 01 (vibrator on)\n"
    "  :bt CMD [HEX]            bluetooth frame, e.g. :bt 00 01030c00\n"
    "  :wifi CMD [HEX]          wifi frame, e.g. :wifi 01 010600\n"
    "  :usb LINE                send LINE on the USB port\n"
    "  :plug                    plug the USB cable in (if started without it)\n"
    "  :key CODE [VALUE]        key event (value 1 press, 0 release)\n"
    "  :jog                     a jog ball event\n"
    "  :touch X Y               touch the panel\n"
    "  :set KEY VALUE           change the board file\n"
    "  :help, :quit\n";

void show(const char *port, const std::string &bytes)
{
	if (bytes.empty())
		return;
	std::printf("%s", port);
	std::fwrite(bytes.data(), 1, bytes.size(), stdout);
	if (auto a = station::decode_answer(bytes)) {
		std::printf("  [frame class %02x status %02x result %s checksum %s]\n", a->req, a->status,
		            station::to_hex(a->result).c_str(), a->checksum_ok ? "ok" : "BAD");
	}
	std::fflush(stdout);
}

// A station waits for one answer before it sends the next command.
void send_and_wait(int fd, const std::string &bytes)
{
	station::write_all(fd, bytes);
	auto complete = [](const std::string &t) {
		return t.ends_with("OK\n") || t.ends_with("ERROR\n") || t.ends_with("NOTSUPPORTED\n");
	};
	show("", station::read_until(fd, complete, 3000));
}

void send_event(station::Phone &phone, int device, const std::vector<station::InputEvent> &events)
{
	if (!station::send_events(phone.board_dir(), device, events))
		std::printf("(nobody reads input device event%d)\n", device);
}

std::vector<uint8_t> hex_arg(std::istringstream &in)
{
	std::string rest, word;
	while (in >> word)
		rest += word;
	return station::from_hex(rest).value_or(std::vector<uint8_t>{});
}

// Returns false to leave the console.
bool console_command(station::Phone &phone, const std::string &line)
{
	std::istringstream in(line.substr(1));
	std::string verb;
	in >> verb;
	unsigned a = 0, b = 0;
	if (verb == "quit" || verb == "q")
		return false;
	if (verb == "do") {
		std::string rest, error;
		std::getline(in >> std::ws, rest);
		auto req = station::build_request(rest, &error);
		if (!req) {
			std::printf("(%s)\n", error.c_str());
		} else {
			std::printf("> %s", req->text.c_str());
			show("", station::exchange(phone.wired(), req->text, req->reply, 10000).text);
		}
	} else if (verb == "names") {
		for (const station::Command &c : station::commands())
			std::printf("  %-28s %s\n", std::string(c.name).c_str(), std::string(c.help).c_str());
	} else if (verb == "bb" && (in >> std::hex >> a >> b)) {
		std::string frame = station::bb_frame(static_cast<uint8_t>(a), static_cast<uint16_t>(b), hex_arg(in));
		std::printf("> %s", frame.c_str());
		send_and_wait(phone.wired(), frame);
	} else if (verb == "bt" && (in >> std::hex >> a)) {
		std::string frame = station::bt_frame(static_cast<uint8_t>(a), hex_arg(in));
		std::printf("> %s", frame.c_str());
		send_and_wait(phone.wired(), frame);
	} else if (verb == "wifi" && (in >> std::hex >> a)) {
		std::string frame = station::wifi_frame(static_cast<uint8_t>(a), hex_arg(in));
		std::printf("> %s", frame.c_str());
		send_and_wait(phone.wired(), frame);
	} else if (verb == "usb") {
		std::string rest;
		std::getline(in >> std::ws, rest);
		send_and_wait(phone.usb(), rest + "\n");
	} else if (verb == "plug") {
		std::printf(phone.attach_usb() ? "(USB plugged in)\n" : "(USB already there)\n");
	} else if (verb == "key" && (in >> std::dec >> a)) {
		int value = 1;
		in >> value;
		send_event(phone, 0, {{station::EV_KEY_TYPE, static_cast<uint16_t>(a), value}});
	} else if (verb == "jog") {
		send_event(phone, 3, {{station::EV_REL_TYPE, 0, 1}});
	} else if (verb == "touch" && (in >> std::dec >> a >> b)) {
		send_event(phone, 1, station::touch_events(static_cast<int>(a), static_cast<int>(b)));
	} else if (verb == "set") {
		std::string key, value;
		in >> key;
		std::getline(in >> std::ws, value);
		if (!station::set_board_value(phone.board_dir(), key, value))
			std::printf("(board file not written)\n");
	} else {
		std::printf("%s", kHelp);
	}
	std::fflush(stdout);
	return true;
}

}  // namespace

int run_console(station::Phone &phone)
{
	std::printf("%s", kHelp);
	std::fflush(stdout);
	std::string pending;
	for (;;) {
		pollfd fds[3] = {{0, POLLIN, 0}, {phone.wired(), POLLIN, 0}, {phone.usb(), POLLIN, 0}};
		if (::poll(fds, 3, 500) < 0)
			continue;
		if (fds[1].revents & POLLIN)
			show("", station::read_for(phone.wired(), 50, 20));
		if (fds[2].revents & POLLIN)
			show("[usb] ", station::read_for(phone.usb(), 50, 20));
		if (!phone.running()) {
			std::printf("(ftmd-sim has stopped)\n");
			return 1;
		}
		if (!(fds[0].revents & (POLLIN | POLLHUP)))
			continue;
		char buf[1024];
		ssize_t n = ::read(0, buf, sizeof buf);
		if (n <= 0)
			return 0;
		pending.append(buf, static_cast<size_t>(n));
		size_t nl;
		while ((nl = pending.find('\n')) != std::string::npos) {
			std::string line = pending.substr(0, nl);
			pending.erase(0, nl + 1);
			if (!line.empty() && line[0] == ':') {
				if (!console_command(phone, line))
					return 0;
			} else {
				send_and_wait(phone.wired(), line + "\n");
			}
		}
	}
}
