// The daemon's commands by name, as a station operator types them:
// "vibrator on", "lcd rgb", "rpid", "bt hci 01 03 0c 00".
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace station {

enum class Form : uint8_t { line, bb, bt, wifi };

// What follows the name: nothing, parameter bytes in hexadecimal (added to a
// frame's fixed parameters), or text (added to the line before its "\n").
enum class Arg : uint8_t { none, hex, text };

// How the answer ends: with a final line, or with a header telling the SIZE
// of a payload that comes before the final line (log dumps, pictures).
enum class Reply : uint8_t { final_line, stream };

struct Command {
	std::string_view name;
	Form form;
	std::string_view line;    // Form::line: the text before arguments and "\n"
	uint8_t access;           // Form::bb
	uint16_t id;              // func_index (bb) or cmd (bt, wifi)
	std::string_view params;  // fixed parameter bytes, hexadecimal
	Arg arg;
	Reply reply;
	std::string_view help;
};

std::span<const Command> commands();

// A request ready for the wire.
struct Request {
	const Command *command = nullptr;
	std::string text;  // what is written to the port
	Reply reply = Reply::final_line;
};

// Builds the request for "NAME [ARGS]": the longest name that starts the
// text at a word boundary wins. Empty with a reason for an unknown name,
// missing or unexpected arguments, or bad hexadecimal.
std::optional<Request> build_request(std::string_view text, std::string *error = nullptr);

}  // namespace station
