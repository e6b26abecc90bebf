// ftm-sim: makes a simulated board and runs the phone on it.
//
//   ftm-sim init DIR     write a fresh default board at DIR
//   ftm-sim [run [DIR]]  make a board (default ./board), start ftmd-sim on
//                        two ptys and give a station console on the wired port
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

#include "console.h"
#include "station/board.h"
#include "station/link.h"
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

int run(const std::string &dir_arg, const char *argv0)
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
	std::fflush(stdout);
	std::string hello = station::read_until_suffix(phone.wired(), "FTMModeReady\n", 10000);
	std::fwrite(hello.data(), 1, hello.size(), stdout);
	int r = run_console(phone);
	phone.stop();
	std::printf("ftmd-sim stopped\n");
	return r;
}

}  // namespace

int main(int argc, char **argv)
{
	std::string verb = argc > 1 ? argv[1] : "run";
	if (verb == "init" && argc == 3)
		return init(argv[2]);
	if (verb == "run" && argc <= 3)
		return run(argc == 3 ? argv[2] : "board", argv[0]);
	std::fprintf(stderr, "usage: ftm-sim init DIR\n       ftm-sim [run [DIR]]\n");
	return 2;
}
