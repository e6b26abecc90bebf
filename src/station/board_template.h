// The files of a fresh simulated board, built in from src/station/board/.
#pragma once

#include <cstddef>

namespace station {

struct TemplateFile {
	const char *path;  // relative to the board root
	const unsigned char *data;
	size_t size;
	unsigned mode;
};

extern const TemplateFile board_template[];
extern const size_t board_template_count;

}  // namespace station
