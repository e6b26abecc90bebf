// ftm-screenshot BOARD_DIR OUT.png: writes what the simulated panel shows.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

#include "station/png.h"
#include "station/screen.h"

int main(int argc, char **argv)
{
	std::string board, png;
	CLI::App app{"ftm-screenshot: writes what the simulated panel shows as a PNG", "ftm-screenshot"};
	app.add_option("BOARD_DIR", board, "the simulated phone's board folder")->required()->check(CLI::ExistingDirectory);
	app.add_option("OUT.png", png, "the PNG file to write")->required();
	try {
		app.parse(argc, argv);
	} catch (const CLI::ParseError &e) {
		return app.exit(e) == 0 ? 0 : 2;
	}
	std::string error;
	auto img = station::read_screen(board, &error);
	if (!img || !station::write_png(png, *img, &error)) {
		std::fprintf(stderr, "ftm-screenshot: %s\n", error.c_str());
		return 1;
	}
	std::printf("%s: %d x %d\n", png.c_str(), img->width, img->height);
	return 0;
}
