// ftm-station: the test station's side of ftmd.
//
//   ftm-station [CONNECTION] commands            the commands it knows by name
//   ftm-station [CONNECTION] send NAME [ARGS]    one named command and its answer
//   ftm-station [CONNECTION] raw TEXT            TEXT as is (C escapes \n \r \xNN)
//   ftm-station [CONNECTION] run LIST [--junit FILE] [--json FILE]
//   ftm-station --board DIR screen FILE.png      the simulated phone's screen
//   ftm-station --board DIR key CODE             press a key of the simulated phone
//   ftm-station --board DIR touch X Y            touch its panel
//   ftm-station report --db DB [...]             yield figures from the results store
//
// CONNECTION: --port DEV [--baud N] for a phone on a serial line, or --sim
// [--board DIR] [--set KEY=VALUE]... [--usb] to start a simulated phone.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "report.h"
#include "report_main.h"
#include "runner.h"
#include "station/board.h"
#include "station/commands.h"
#include "station/exchange.h"
#include "station/input.h"
#include "station/link.h"
#include "station/phone.h"
#include "station/png.h"
#include "station/screen.h"
#include "station/serial.h"
#include "testlist.h"

namespace {

constexpr int kPass = 0, kFail = 1, kUsage = 2;

struct Options {
	std::string port, board, junit, json, out;
	unsigned baud = 115200;
	bool sim = false, usb = false, color = true;
	int timeout_ms = 10000;
	std::vector<std::pair<std::string, std::string>> settings;
	std::vector<std::string> words;  // the verb and its arguments
};

int usage()
{
	std::fputs("usage: ftm-station [--port DEV [--baud N] | --sim [--board DIR] [--set KEY=VALUE]... [--usb]]\n"
	           "                   [--timeout MS] [--no-color] VERB ...\n"
	           "  commands                  list the commands known by name\n"
	           "  send NAME [ARGS] [--out FILE]  send one and show its answer (payload of a\n"
	           "                            streamed answer to FILE)\n"
	           "  raw TEXT                  send TEXT as is, with \\n \\r \\xNN escapes\n"
	           "  run LIST [--junit FILE] [--json FILE]  run a test list; exit 0 if the phone passed\n"
	           "  screen FILE.png           save the simulated phone's screen (--board DIR)\n"
	           "  key CODE                  press a key of the simulated phone (--board DIR)\n"
	           "  touch X Y                 touch the simulated phone's panel (--board DIR)\n"
	           "  report --db DB ...        yield figures from the results store (report --help)\n",
	           stderr);
	return kUsage;
}

bool parse_args(int argc, char **argv, Options &o)
{
	for (int i = 1; i < argc; ++i) {
		std::string a = argv[i];
		auto value = [&](std::string &into) {
			if (i + 1 >= argc)
				return false;
			into = argv[++i];
			return true;
		};
		std::string v;
		std::string *text_option = a == "--port" ? &o.port : a == "--board" ? &o.board : a == "--junit" ? &o.junit
		                         : a == "--json" ? &o.json : a == "--out" ? &o.out : nullptr;
		if (text_option) {
			if (!value(*text_option))
				return false;
		} else if (a == "--baud" || a == "--timeout") {
			if (!value(v))
				return false;
			long n = std::strtol(v.c_str(), nullptr, 10);
			if (n <= 0)
				return false;
			if (a == "--baud")
				o.baud = static_cast<unsigned>(n);
			else
				o.timeout_ms = static_cast<int>(n);
		} else if (a == "--set") {
			if (!value(v) || v.find('=') == std::string::npos)
				return false;
			o.settings.emplace_back(v.substr(0, v.find('=')), v.substr(v.find('=') + 1));
		} else if (a == "--sim") {
			o.sim = true;
		} else if (a == "--usb") {
			o.usb = true;
		} else if (a == "--no-color") {
			o.color = false;
		} else if (a.starts_with("--")) {
			return false;
		} else {
			o.words.push_back(a);
		}
	}
	return !o.words.empty() && !(o.sim && !o.port.empty());
}

// \n, \r, \t, \\ and \xNN in text typed on a command line.
std::string unescape(const std::string &s)
{
	std::string out;
	for (size_t i = 0; i < s.size(); ++i) {
		if (s[i] != '\\' || i + 1 >= s.size()) {
			out += s[i];
			continue;
		}
		char c = s[++i];
		if (c == 'n')
			out += '\n';
		else if (c == 'r')
			out += '\r';
		else if (c == 't')
			out += '\t';
		else if (c == 'x' && i + 2 < s.size()) {
			out += static_cast<char>(std::strtol(s.substr(i + 1, 2).c_str(), nullptr, 16));
			i += 2;
		} else
			out += c;
	}
	return out;
}

// The phone the verbs talk to: a serial line, or a simulated phone we start.
class Connection {
public:
	~Connection()
	{
		phone_.stop();
		if (fd_ >= 0)
			::close(fd_);
		if (temp_board_ && !board_.empty()) {
			std::string cmd = "rm -rf '" + board_ + "'";
			if (std::system(cmd.c_str()) != 0)
				std::fprintf(stderr, "ftm-station: cannot remove %s\n", board_.c_str());
		}
	}

	bool open(const Options &o, const char *argv0)
	{
		std::string error;
		if (!o.port.empty()) {
			fd_ = station::open_serial(o.port, o.baud, &error);
			ports_.wired = fd_;
			if (fd_ < 0)
				return say(error);
			return true;
		}
		if (!o.sim)
			return say("no phone: give --port DEV or --sim");
		board_ = o.board;
		if (board_.empty()) {
			const char *base = std::getenv("TMPDIR");
			std::string templ = std::string(base && *base ? base : "/tmp") + "/ftm-station-XXXXXX";
			if (!::mkdtemp(templ.data()))
				return say("cannot make a board folder");
			board_ = templ;
			temp_board_ = true;
		}
		if (!station::init_board(board_, &error))
			return say(error);
		for (const auto &[k, v] : o.settings)
			station::set_board_value(board_, k, v);
		station::Phone::Options po;
		po.board_dir = board_;
		po.ftmd_path = station::beside_self("ftmd-sim", argv0);
		if (!phone_.start(po, &error))
			return say(error);
		std::string hello = station::read_until_suffix(phone_.wired(), "FTMModeReady\n", 10000);
		if (!hello.ends_with("FTMModeReady\n"))
			return say("the simulated phone did not get ready: '" + ftm_station::printable(hello) + "'");
		ports_ = {phone_.wired(), phone_.usb(), board_};
		if (o.usb)
			std::swap(ports_.wired, ports_.usb);
		return true;
	}

	const ftm_station::Ports &ports() const { return ports_; }

private:
	static bool say(const std::string &what)
	{
		std::fprintf(stderr, "ftm-station: %s\n", what.c_str());
		return false;
	}

	int fd_ = -1;
	std::string board_;
	bool temp_board_ = false;
	station::Phone phone_;
	ftm_station::Ports ports_;
};

int list_commands()
{
	for (const station::Command &c : station::commands()) {
		std::string args = c.arg == station::Arg::hex ? " HEX..." : c.arg == station::Arg::text ? " TEXT" : "";
		std::printf("  %-28s %s\n", (std::string(c.name) + args).c_str(), std::string(c.help).c_str());
	}
	return kPass;
}

void show_answer(const station::Exchange &x, const Options &o)
{
	std::string_view text = x.text;
	if (x.payload_size && x.payload_at + *x.payload_size <= text.size()) {
		std::printf("< %s\n", ftm_station::printable(text.substr(0, x.payload_at), 400).c_str());
		std::printf("  [%zu bytes of payload%s]\n", *x.payload_size, o.out.empty() ? "" : (", saved to " + o.out).c_str());
		if (!o.out.empty()) {
			std::string error;
			if (!ftm_station::write_file(o.out, std::string(text.substr(x.payload_at, *x.payload_size)), &error))
				std::fprintf(stderr, "ftm-station: %s\n", error.c_str());
		}
		text = text.substr(x.payload_at + *x.payload_size);
	}
	std::printf("< %s\n", ftm_station::printable(text, 4000).c_str());
	if (x.frame) {
		const station::Answer &a = *x.frame;
		std::printf("frame: class 0x%02X", a.req);
		if (a.req == 0xA0 || a.req == 0xB0)
			std::printf(" cmd 0x%02X block %u/%u", a.cmd, a.blk_index, a.total_blk);
		if (a.req != 0xA0)
			std::printf(" status %u", a.status);
		std::printf(" result %s (%zu bytes) checksum %s\n", a.result.empty() ? "-" : station::to_hex(a.result).c_str(),
		            a.result.size(), a.checksum_ok ? "ok" : "WRONG");
	}
	std::printf("%s after %.3f s\n", x.outcome == station::Outcome::answered ? x.final.c_str() : station::outcome_name(x.outcome),
	            x.seconds);
}

int send(const Options &o, const std::string &text, station::Reply reply, const char *argv0)
{
	Connection c;
	if (!c.open(o, argv0))
		return kUsage;
	station::drain(c.ports().wired);
	std::printf("> %s\n", ftm_station::printable(text).c_str());
	bool tty = ::isatty(2);
	station::Progress progress;
	if (tty)
		progress = [](size_t got, size_t total) {
			std::fprintf(stderr, "\r  %zu/%zu bytes (%zu%%)\033[K%s", got, total, total ? got * 100 / total : 100,
			             got == total ? "\r\033[K" : "");
		};
	station::Exchange x = station::exchange(c.ports().wired, text, reply, o.timeout_ms, progress);
	show_answer(x, o);
	return x.outcome == station::Outcome::answered && x.final == "OK" ? kPass : kFail;
}

int run(const Options &o, const char *argv0)
{
	if (o.words.size() != 2)
		return usage();
	std::string error;
	auto list = ftm_station::load_test_list(o.words[1], &error);
	if (!list) {
		std::fprintf(stderr, "ftm-station: %s\n", error.c_str());
		return kUsage;
	}
	Connection c;
	if (!c.open(o, argv0))
		return kUsage;
	ftm_station::RunOptions ro;
	ro.color = o.color && ::isatty(1);
	ro.progress = ::isatty(2);
	ftm_station::RunResult r = ftm_station::run_list(*list, c.ports(), ro);
	bool written = true;
	if (!o.junit.empty())
		written &= ftm_station::write_file(o.junit, ftm_station::junit_xml(r), &error);
	if (!o.json.empty())
		written &= ftm_station::write_file(o.json, ftm_station::json_report(r), &error);
	if (!written) {
		std::fprintf(stderr, "ftm-station: %s\n", error.c_str());
		return kUsage;
	}
	return r.passed() ? kPass : kFail;
}

int screen(const Options &o)
{
	std::string error;
	auto img = station::read_screen(o.board, &error);
	if (!img || !station::write_png(o.words[1], *img, &error)) {
		std::fprintf(stderr, "ftm-station: %s\n", error.c_str());
		return kFail;
	}
	std::printf("%dx%d screen saved to %s\n", img->width, img->height, o.words[1].c_str());
	return kPass;
}

int input(const Options &o)
{
	bool key = o.words[0] == "key";
	int device = key ? 0 : 1;  // keypad, touch panel
	auto events = key ? std::vector<station::InputEvent>{{station::EV_KEY_TYPE,
	                                                     static_cast<uint16_t>(std::atoi(o.words[1].c_str())), 1}}
	                  : station::touch_events(std::atoi(o.words[1].c_str()), std::atoi(o.words[2].c_str()));
	if (station::send_events(o.board, device, events))
		return kPass;
	std::fprintf(stderr, "ftm-station: %s/dev/input/event%d: no phone reads it\n", o.board.c_str(), device);
	return kFail;
}

std::string joined(const std::vector<std::string> &words, size_t from)
{
	std::string s;
	for (size_t i = from; i < words.size(); ++i)
		s += (i > from ? " " : "") + words[i];
	return s;
}

}  // namespace

int main(int argc, char **argv)
{
	if (argc >= 2 && std::strcmp(argv[1], "report") == 0)
		return ftm_station::report_main(std::vector<std::string>(argv + 2, argv + argc));
	Options o;
	if (!parse_args(argc, argv, o))
		return usage();
	const std::string &verb = o.words[0];
	if (verb == "commands")
		return list_commands();
	if (verb == "send" && o.words.size() >= 2) {
		std::string error;
		auto req = station::build_request(joined(o.words, 1), &error);
		if (!req) {
			std::fprintf(stderr, "ftm-station: %s\n", error.c_str());
			return kUsage;
		}
		return send(o, req->text, req->reply, argv[0]);
	}
	if (verb == "raw" && o.words.size() >= 2) {
		std::string text = unescape(joined(o.words, 1));
		if (!text.ends_with('\n'))
			text += '\n';
		bool stream = text.starts_with("AT+DUMPLOG\n") || text.starts_with("AT+DSCR");
		return send(o, text, stream ? station::Reply::stream : station::Reply::final_line, argv[0]);
	}
	if (verb == "run")
		return run(o, argv[0]);
	bool board_verb = (verb == "screen" && o.words.size() == 2) || (verb == "key" && o.words.size() == 2) ||
	                  (verb == "touch" && o.words.size() == 3);
	if (board_verb) {
		if (o.board.empty()) {
			std::fprintf(stderr, "ftm-station: %s needs --board DIR of a running simulated phone\n", verb.c_str());
			return kUsage;
		}
		return verb == "screen" ? screen(o) : input(o);
	}
	return usage();
}
