// ftm-station: the test station's side of ftmd.
//
//   ftm-station [PHONES] commands            the commands it knows by name
//   ftm-station [PHONE] send NAME [ARGS]     one named command and its answer
//   ftm-station [PHONE] raw TEXT             TEXT as is (C escapes \n \r \xNN)
//   ftm-station [PHONES] run LIST [--junit PATH] [--json PATH]
//   ftm-station --board DIR screen FILE.png  the simulated phone's screen
//   ftm-station --board DIR key CODE         press a key of the simulated phone
//   ftm-station --board DIR touch X Y        touch its panel
//   ftm-station report --db DB [...]         yield figures from the results store
//
// PHONES: --port DEV [--baud N], repeated, for phones on serial lines, or
// --sim [N] [--board DIR]... [--set [K:]KEY=VALUE]... [--usb] to start
// simulated phones.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "display.h"
#include "phone_link.h"
#include "report.h"
#include "report_main.h"
#include "results_writer.h"
#include "runner.h"
#include "station/commands.h"
#include "station/exchange.h"
#include "station/input.h"
#include "station/link.h"
#include "station/png.h"
#include "station/results_store.h"
#include "station/screen.h"
#include "testlist.h"
#include "worker.h"

namespace {

using namespace ftm_station;

constexpr int kPass = 0, kFail = 1, kUsage = 2;

struct Options {
	std::vector<std::string> ports, boards, settings;
	std::vector<unsigned> bauds;
	int sim = 0;
	bool sim_given = false, usb = false, no_color = false;
	int timeout_ms = 10000;
	std::vector<std::string> words;  // send NAME ARGS, raw TEXT
	std::string out, list, junit, json, db, png;
	int code = 0, x = 0, y = 0;
};

int say(const std::string &what, int code = kUsage)
{
	std::fprintf(stderr, "ftm-station: %s\n", what.c_str());
	return code;
}

// A board file value for phone k (from 1), or for every phone: "[K:]KEY=VALUE".
bool apply_setting(const std::string &text, std::vector<LinkSpec> &phones, std::string *error)
{
	std::string s = text;
	size_t colon = s.find(':'), eq = s.find('=');
	size_t only = 0;
	if (colon != std::string::npos && colon < eq && colon > 0 &&
	    s.find_first_not_of("0123456789") == colon) {
		only = std::stoul(s.substr(0, colon));
		s = s.substr(colon + 1);
		eq = s.find('=');
		if (only < 1 || only > phones.size()) {
			*error = "--set " + text + ": there is no simulated phone " + std::to_string(only);
			return false;
		}
	}
	if (eq == std::string::npos || eq == 0) {
		*error = "--set " + text + ": not KEY=VALUE";
		return false;
	}
	for (size_t k = 0; k < phones.size(); ++k)
		if (only == 0 || only == k + 1)
			phones[k].settings.emplace_back(s.substr(0, eq), s.substr(eq + 1));
	return true;
}

// The phones the options name, or empty with a reason.
std::vector<LinkSpec> phones_of(const Options &o, const char *argv0, std::string *error)
{
	std::vector<LinkSpec> phones;
	if (o.sim_given && !o.ports.empty()) {
		*error = "--sim and --port exclude each other";
		return {};
	}
	if (!o.ports.empty()) {
		if (o.bauds.size() > 1 && o.bauds.size() != o.ports.size()) {
			*error = "give one --baud for every --port, or one for all";
			return {};
		}
		for (size_t i = 0; i < o.ports.size(); ++i) {
			LinkSpec &p = phones.emplace_back();
			p.port = p.device = o.ports[i];
			if (!o.bauds.empty())
				p.baud = o.bauds.size() == 1 ? o.bauds[0] : o.bauds[i];
		}
		return phones;
	}
	if (!o.bauds.empty()) {
		*error = "--baud goes with --port";
		return {};
	}
	if (!o.sim_given) {
		*error = "no phone: give --port DEV or --sim";
		return {};
	}
	size_t count = o.sim > 0 ? static_cast<size_t>(o.sim) : std::max<size_t>(1, o.boards.size());
	if (!o.boards.empty() && o.boards.size() != count) {
		*error = "--sim " + std::to_string(o.sim) + " needs as many --board folders, or none";
		return {};
	}
	for (size_t k = 0; k < count; ++k) {
		LinkSpec &p = phones.emplace_back();
		p.sim = true;
		p.port = "sim" + std::to_string(k + 1);
		p.board = o.boards.empty() ? "" : o.boards[k];
		p.ftmd_path = station::beside_self("ftmd-sim", argv0);
		p.product_id = sim_product_id(k + 1);
		p.usb = o.usb;
	}
	for (const std::string &s : o.settings)
		if (!apply_setting(s, phones, error))
			return {};
	return phones;
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

std::string joined(const std::vector<std::string> &words)
{
	std::string s;
	for (size_t i = 0; i < words.size(); ++i)
		s += (i ? " " : "") + words[i];
	return s;
}

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
		std::printf("< %s\n", printable(text.substr(0, x.payload_at), 400).c_str());
		std::printf("  [%zu bytes of payload%s]\n", *x.payload_size, o.out.empty() ? "" : (", saved to " + o.out).c_str());
		if (!o.out.empty()) {
			std::string error;
			if (!write_file(o.out, std::string(text.substr(x.payload_at, *x.payload_size)), &error))
				say(error);
		}
		text = text.substr(x.payload_at + *x.payload_size);
	}
	std::printf("< %s\n", printable(text, 4000).c_str());
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
	std::string error;
	std::vector<LinkSpec> phones = phones_of(o, argv0, &error);
	if (phones.size() != 1)
		return say(phones.empty() ? error : "send and raw talk to one phone");
	PhoneLink link(phones[0]);
	if (!link.open(&error))
		return say(error);
	int fd = link.ports().wired;
	station::drain(fd);
	std::printf("> %s\n", printable(text).c_str());
	station::Progress progress;
	if (::isatty(2))
		progress = [](size_t got, size_t total) {
			std::fprintf(stderr, "\r  %zu/%zu bytes (%zu%%)\033[K%s", got, total, total ? got * 100 / total : 100,
			             got == total ? "\r\033[K" : "");
		};
	station::Exchange x = station::exchange(fd, text, reply, o.timeout_ms, progress);
	show_answer(x, o);
	return x.outcome == station::Outcome::answered && x.final == "OK" ? kPass : kFail;
}

// A phone's report file: PATH itself for one phone, else PATH/<port>.ext.
std::string report_path(const std::string &path, const std::string &port, const char *ext, bool folder)
{
	if (!folder)
		return path;
	std::string name = port.starts_with("/dev/") ? port.substr(5) : port;
	for (char &c : name)
		if (c == '/')
			c = '_';
	return path + "/" + name + ext;
}

// Several phones, or a PATH that is a folder: one file a phone in it.
bool report_folder(const std::string &path, size_t phones)
{
	struct stat st{};
	bool is_dir = ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
	if (phones > 1 && !is_dir)
		::mkdir(path.c_str(), 0777);
	return phones > 1 || is_dir;
}

bool write_reports(const Options &o, const std::vector<RunResult> &results)
{
	bool ok = true;
	std::string error;
	for (auto [path, ext, form] : {std::tuple{o.junit, ".xml", &junit_xml}, std::tuple{o.json, ".json", &json_report}}) {
		if (path.empty())
			continue;
		bool folder = report_folder(path, results.size());
		for (const RunResult &r : results)
			if (!write_file(report_path(path, r.port, ext, folder), form(r), &error)) {
				say(error);
				ok = false;
			}
	}
	return ok;
}

int run(const Options &o, const char *argv0)
{
	std::string error;
	auto list = load_test_list(o.list, &error);
	if (!list)
		return say(error);
	std::vector<LinkSpec> specs = phones_of(o, argv0, &error);
	if (specs.empty())
		return say(error);
	std::vector<std::unique_ptr<PhoneLink>> links;
	std::vector<std::string> ports;
	for (LinkSpec &s : specs) {
		ports.push_back(s.port);
		links.push_back(std::make_unique<PhoneLink>(std::move(s)));
	}
	std::unique_ptr<station::ResultsStore> store;
	int64_t run_id = -1;
	if (!o.db.empty()) {
		store = station::open_results_store(o.db, &error);
		if (!store)
			return say("the results database " + o.db + " cannot be opened: " + error);
		char host[256] = {};
		::gethostname(host, sizeof host - 1);
		error = store->begin_run({list->station ? list->station->name : "", list->name, host, utc_now()}, &run_id);
		if (!error.empty())
			return say("the results database " + o.db + " cannot be written: " + error);
	}
	bool tty = ::isatty(1);
	std::unique_ptr<PhoneEvents> view;
	if (tty)
		view = std::make_unique<LiveTable>(stdout, ports, list->steps.size(), !o.no_color);
	else
		view = std::make_unique<PlainLines>(stdout, ports, list->steps.size());
	LineControl line;
	std::unique_ptr<ResultsWriter> writer;
	if (store)
		writer = std::make_unique<ResultsWriter>(*store, run_id, links.size(), line);
	// The store first: a step is on the screen once it is stored.
	Fanout events(writer ? std::vector<PhoneEvents *>{writer.get(), view.get()} : std::vector<PhoneEvents *>{view.get()});
	std::vector<RunResult> results = test_phones(*list, links, line, events);
	if (auto *table = dynamic_cast<LiveTable *>(view.get()))
		table->close();
	std::vector<std::string> unstored;
	if (writer) {
		unstored = writer->unstored();
		if (std::string e = store->end_run(run_id, utc_now()); !e.empty())
			unstored.push_back("the end of the run not stored: " + e);
	}
	size_t passed = 0, refused = 0;
	for (const RunResult &r : results) {
		passed += r.passed();
		refused += r.verdict == Verdict::refused;
		if (tty)
			std::printf("%s: %s\n", r.port.c_str(), summary_line(r).c_str());
	}
	if (results.size() > 1)
		std::printf("%zu phones: %zu passed, %zu failed, %zu refused\n", results.size(), passed,
		            results.size() - passed - refused, refused);
	for (const std::string &u : unstored)
		say("not stored: " + u);
	if (!write_reports(o, results) || !unstored.empty())
		return kUsage;
	return passed == results.size() ? kPass : kFail;
}

int screen(const Options &o)
{
	std::string error;
	auto img = station::read_screen(o.boards[0], &error);
	if (!img || !station::write_png(o.png, *img, &error))
		return say(error, kFail);
	std::printf("%dx%d screen saved to %s\n", img->width, img->height, o.png.c_str());
	return kPass;
}

int input(const Options &o, bool key)
{
	int device = key ? 0 : 1;  // keypad, touch panel
	auto events = key ? std::vector<station::InputEvent>{{station::EV_KEY_TYPE, static_cast<uint16_t>(o.code), 1}}
	                  : station::touch_events(o.x, o.y);
	if (station::send_events(o.boards[0], device, events))
		return kPass;
	return say(o.boards[0] + "/dev/input/event" + std::to_string(device) + ": no phone reads it", kFail);
}

}  // namespace

int main(int argc, char **argv)
{
	if (argc >= 2 && std::string(argv[1]) == "report")
		return report_main(std::vector<std::string>(argv + 2, argv + argc));
	Options o;
	CLI::App app{"ftm-station: the test station's side of ftmd", "ftm-station"};
	app.fallthrough();
	app.require_subcommand(1);
	app.add_option("--port", o.ports, "a phone on this serial line (repeat for several)");
	app.add_option("--baud", o.bauds, "its rate: one for every --port, or one for all (default 115200)")
	    ->check(CLI::PositiveNumber);
	auto *sim = app.add_option("--sim", o.sim, "start N simulated phones (default 1), each on its own board")
	                ->expected(0, 1)
	                ->check(CLI::Range(1, 64));
	app.add_option("--board", o.boards, "a simulated phone's board folder (one per phone)");
	app.add_option("--set", o.settings, "[K:]KEY=VALUE: a board file value for every simulated phone, or phone K");
	app.add_flag("--usb", o.usb, "talk to the simulated phone on its USB port");
	app.add_option("--timeout", o.timeout_ms, "ms to wait for the answer of send and raw")->check(CLI::PositiveNumber);
	app.add_flag("--no-color", o.no_color, "no colours on a terminal");

	auto *commands = app.add_subcommand("commands", "list the commands known by name");
	auto *send_cmd = app.add_subcommand("send", "send one named command and show its answer");
	send_cmd->add_option("NAME", o.words, "the command's name and arguments")->required();
	send_cmd->add_option("--out", o.out, "where the payload of a streamed answer goes");
	auto *raw = app.add_subcommand("raw", "send text as is, with \\n \\r \\xNN escapes");
	raw->add_option("TEXT", o.words, "what to send")->required();
	auto *run_cmd = app.add_subcommand("run", "run a test list on every phone; exit 0 if every phone passed");
	run_cmd->add_option("LIST", o.list, "the test list (YAML)")->required();
	run_cmd->add_option("--junit", o.junit, "JUnit XML: a file for one phone, else a folder of one file a phone");
	run_cmd->add_option("--db", o.db, "the results store: an SQLite file, or postgresql://...");
	run_cmd->add_option("--json", o.json, "JSON: a file for one phone, else a folder of one file a phone");
	auto *screen_cmd = app.add_subcommand("screen", "save the simulated phone's screen (--board DIR)");
	screen_cmd->add_option("FILE", o.png, "the PNG to write")->required();
	auto *key = app.add_subcommand("key", "press a key of the simulated phone (--board DIR)");
	key->add_option("CODE", o.code, "the key code")->required()->check(CLI::Range(0, 65535));
	app.add_subcommand("report", "yield figures from the results store (report --help)");
	auto *touch = app.add_subcommand("touch", "touch the simulated phone's panel (--board DIR)");
	touch->add_option("X", o.x, "column")->required();
	touch->add_option("Y", o.y, "row")->required();
	try {
		app.parse(argc, argv);
	} catch (const CLI::ParseError &e) {
		// An unknown word is named, not taken for a missing subcommand.
		if (dynamic_cast<const CLI::RequiredError *>(&e) && !app.remaining().empty())
			return app.exit(CLI::ExtrasError(app.remaining())) == 0 ? kPass : kUsage;
		return app.exit(e) == 0 ? kPass : kUsage;
	}
	o.sim_given = sim->count() > 0;

	if (commands->parsed())
		return list_commands();
	if (send_cmd->parsed()) {
		std::string error;
		auto req = station::build_request(joined(o.words), &error);
		if (!req)
			return say(error);
		return send(o, req->text, req->reply, argv[0]);
	}
	if (raw->parsed()) {
		std::string text = unescape(joined(o.words));
		if (!text.ends_with('\n'))
			text += '\n';
		bool stream = text.starts_with("AT+DUMPLOG\n") || text.starts_with("AT+DSCR");
		return send(o, text, stream ? station::Reply::stream : station::Reply::final_line, argv[0]);
	}
	if (run_cmd->parsed())
		return run(o, argv[0]);
	if (o.boards.size() != 1)
		return say(app.get_subcommands().front()->get_name() + " needs --board DIR of a running simulated phone");
	if (screen_cmd->parsed())
		return screen(o);
	return input(o, key->parsed());
}
