#include "sim/shell.h"

#include <cctype>
#include <cstring>

#include "sim/board.h"

namespace sim {

namespace {

// A path starts after one of these, or at the start of the line.
bool starts_token(char before) { return std::strchr(" \t>=<'\"(;|&:", before) != nullptr; }

}  // namespace

std::string map_command_line(const Board &board, std::string_view line)
{
	std::string out;
	out.reserve(line.size() + 64);
	for (size_t i = 0; i < line.size(); ++i) {
		bool at_path = line[i] == '/' && (i == 0 || starts_token(line[i - 1])) && i + 1 < line.size() &&
		               std::isalpha(static_cast<unsigned char>(line[i + 1]));
		if (at_path) {
			size_t end = i;
			while (end < line.size() && !std::isspace(static_cast<unsigned char>(line[end])) &&
			       !std::strchr("'\";|&<>)", line[end]))
				++end;
			out += board.map(line.substr(i, end - i));
			i = end - 1;
			continue;
		}
		out += line[i];
	}
	return out;
}

}  // namespace sim
