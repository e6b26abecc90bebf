// ftm-screenshot BOARD_DIR OUT.png: writes what the simulated panel shows.
#include <cstdio>
#include <string>

#include "station/png.h"
#include "station/screen.h"

int main(int argc, char **argv)
{
	if (argc != 3) {
		std::fprintf(stderr, "usage: ftm-screenshot BOARD_DIR OUT.png\n");
		return 2;
	}
	std::string error;
	auto img = station::read_screen(argv[1], &error);
	if (!img || !station::write_png(argv[2], *img, &error)) {
		std::fprintf(stderr, "ftm-screenshot: %s\n", error.c_str());
		return 1;
	}
	std::printf("%s: %d x %d\n", argv[2], img->width, img->height);
	return 0;
}
