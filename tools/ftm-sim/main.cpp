// ftm-sim: makes a simulated board and runs the phone on it.
//
//   ftm-sim init DIR     write a fresh default board at DIR
//   ftm-sim [run [DIR]] [--view PORT | --no-view]
//                        make a board (default ./board), start ftmd-sim on
//                        two ptys and give a station console on the wired
//                        port, with the live view on http://127.0.0.1:PORT/
#include <CLI/CLI.hpp>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

#include "console.h"
#include "station/board.h"
#include "station/link.h"
#include "station/live_view.h"
#include "station/phone.h"

namespace {

std::string absolute(const std::string &dir)
{
	char buf[PATH_MAX];
	if (::realpath(dir.c_str(), buf))
		return buf;
	return dir;
}

int init(const std::string &dir)
{
	std::string error;
	if (!station::init_board(dir, &error)) {
		std::fprintf(stderr, "ftm-sim: %s\n", error.c_str());
		return 1;
	}
	std::printf("board ready at %s\n", absolute(dir).c_str());
	return 0;
}

// A view that cannot have its port is no reason to stop the phone.
void start_view(station::LiveView &view, const std::string &dir, int port)
{
	std::string error;
	if (view.start(dir, port, &error))
		std::printf("  live view    http://127.0.0.1:%d/\n", view.port());
	else
		std::printf("  live view    not started (%s)\n", error.c_str());
}

int run(const std::string &dir_arg, int view_port, const char *argv0)
{
	if (init(dir_arg) != 0)
		return 1;
	std::string dir = absolute(dir_arg);
	station::Phone phone;
	station::Phone::Options o;
	o.board_dir = dir;
	o.ftmd_path = station::beside_self(FTMD_SIM_NAME, argv0);
	std::string error;
	if (!phone.start(o, &error)) {
		std::fprintf(stderr, "ftm-sim: %s\n", error.c_str());
		return 1;
	}
	std::printf("ftmd-sim (pid %d) on board %s\n", phone.pid(), dir.c_str());
	std::printf("  framebuffer  %s/dev/graphics/fb0\n  kernel log   %s/dev/kmsg\n", dir.c_str(), dir.c_str());
	std::printf("  daemon log   %s/data/ftm.log\n  daemon out   %s/ftmd.out\n  board file   %s/board.conf\n",
	            dir.c_str(), dir.c_str(), dir.c_str());
	station::LiveView view;
	if (view_port >= 0)
		start_view(view, dir, view_port);
	std::fflush(stdout);
	std::string hello = station::read_until_suffix(phone.wired(), "FTMModeReady\n", 10000);
	std::fwrite(hello.data(), 1, hello.size(), stdout);
	int r = run_console(phone);
	view.stop();
	phone.stop();
	std::printf("ftmd-sim stopped\n");
	return r;
}

}  // namespace

int main(int argc, char **argv)
{
	std::string dir = "board";
	int view_port = station::LiveView::kDefaultPort;
	bool no_view = false;
	CLI::App app{"ftm-sim: makes a simulated board and runs the phone on it, with a station console on the "
	             "wired port",
	             "ftm-sim"};
	app.require_subcommand(0, 1);
	auto *init_cmd = app.add_subcommand("init", "write a fresh default board at DIR and exit");
	init_cmd->add_option("DIR", dir, "the board folder")->required();
	auto *run_cmd = app.add_subcommand("run", "make a board, start ftmd-sim on it and give a console (the default)");
	run_cmd->add_option("DIR", dir, "the board folder (default ./board)");
	for (CLI::App *a : {&app, run_cmd}) {
		auto *view = a->add_option("--view", view_port, "the live view's port on 127.0.0.1 (default 8470)")
		                 ->check(CLI::Range(1, 65535));
		a->add_flag("--no-view", no_view, "no live view")->excludes(view);
	}
	try {
		app.parse(argc, argv);
	} catch (const CLI::ParseError &e) {
		return app.exit(e) == 0 ? 0 : 2;
	}
	if (init_cmd->parsed())
		return init(dir);
	return run(dir, no_view ? -1 : view_port, argv[0]);
}
