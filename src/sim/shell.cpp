#include "sim/shell.h"

#include <cctype>
#include <cstring>

#include "sim/board.h"

namespace sim {

namespace {

// A path starts after one of these, or at the start of the line.
bool starts_token(char before) { return std::strchr(" \t>=<'\"(;|&:", before) != nullptr; }

// The board's root as a word of the shell, wherever the path stands: bare,
// inside single quotes or inside double quotes. A board folder may hold
// spaces or quotes.
std::string quoted_root(const std::string &root, char quote)
{
	if (quote == '"') {
		std::string out;
		for (char c : root) {
			if (std::strchr("\"\\$`", c))
				out += '\\';
			out += c;
		}
		return out;
	}
	std::string single = "'";
	for (char c : root)
		single += c == '\'' ? std::string("'\\''") : std::string(1, c);
	single += "'";
	return quote == '\'' ? "'" + single + "'" : single;
}

}  // namespace

std::string map_command_line(const Board &board, std::string_view line)
{
	std::string out;
	out.reserve(line.size() + 64);
	char quote = 0;  // the quote the scan stands inside, if any
	for (size_t i = 0; i < line.size(); ++i) {
		bool at_path = line[i] == '/' && (i == 0 || starts_token(line[i - 1])) && i + 1 < line.size() &&
		               std::isalpha(static_cast<unsigned char>(line[i + 1]));
		if (at_path) {
			size_t end = i;
			while (end < line.size() && !std::isspace(static_cast<unsigned char>(line[end])) &&
			       !std::strchr("'\";|&<>)", line[end]))
				++end;
			std::string_view path = line.substr(i, end - i);
			std::string mapped = board.map(path);
			if (mapped.size() > path.size())  // the board's root was put in front
				out += quoted_root(mapped.substr(0, mapped.size() - path.size()), quote);
			out += path;
			i = end - 1;
			continue;
		}
		if ((line[i] == '\'' || line[i] == '"') && (quote == 0 || quote == line[i]))
			quote = quote ? 0 : line[i];
		out += line[i];
	}
	return out;
}

}  // namespace sim
