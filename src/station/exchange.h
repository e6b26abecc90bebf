// One command and its answer on a port: send, wait with a bound, take the
// answer apart.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "station/commands.h"
#include "station/tapp_frame.h"

namespace station {

enum class Outcome { answered, timeout, closed, write_failed };

struct Exchange {
	Outcome outcome = Outcome::timeout;
	std::string text;         // every byte the phone sent
	std::string final;  // "OK", "ERROR", "NOTSUPPORTED", or empty
	std::optional<Answer> frame;
	// Streamed answers: the size the header announced and where it begins.
	std::optional<size_t> payload_size;
	size_t payload_at = 0;
	double seconds = 0;

	// The answer with a streamed payload left out: its header and what follows.
	std::string without_payload() const;
};

// The final line the text ends with ("OK", "ERROR", "NOTSUPPORTED"), or empty.
std::string_view final_word(std::string_view text);

// Whether the text is a whole answer of this kind. For a stream, the header
// ("SIZE= n" then "\nOK\n") is followed by n bytes and then the final line.
bool answer_complete(std::string_view text, Reply reply);

// Progress of a long answer: bytes of payload so far, and the total.
using Progress = std::function<void(size_t got, size_t total)>;

Exchange exchange(int fd, std::string_view request, Reply reply, int timeout_ms, const Progress &progress = {});

// Reads an answer already on its way (no request written).
Exchange await_answer(int fd, Reply reply, int timeout_ms, const Progress &progress = {});

const char *outcome_name(Outcome o);

}  // namespace station
