#include "station/exchange.h"

#include <chrono>
#include <cstdlib>

#include "station/link.h"

namespace station {

namespace {

constexpr std::string_view kFinals[] = {"NOTSUPPORTED\n", "ERROR\n", "OK\n"};

struct Stream {
	size_t size = 0;
	size_t at = 0;  // first payload byte
};

// The header of a streamed answer, once it is whole.
std::optional<Stream> stream_header(std::string_view text)
{
	size_t s = text.find("SIZE= ");
	if (s == std::string_view::npos)
		return std::nullopt;
	size_t ok = text.find("\nOK\n", s);
	if (ok == std::string_view::npos)
		return std::nullopt;
	Stream st;
	st.size = std::strtoul(std::string(text.substr(s + 6, 12)).c_str(), nullptr, 10);
	st.at = ok + 4;
	return st;
}

}  // namespace

std::string Exchange::without_payload() const
{
	if (!payload_size || payload_at > text.size())
		return text;
	size_t end = std::min(text.size(), payload_at + *payload_size);
	return text.substr(0, payload_at) + text.substr(end);
}

std::string_view final_word(std::string_view text)
{
	for (std::string_view f : kFinals)
		if (text.ends_with(f))
			return f.substr(0, f.size() - 1);
	return {};
}

bool answer_complete(std::string_view text, Reply reply)
{
	if (reply == Reply::stream) {
		if (auto st = stream_header(text))
			return text.size() > st->at + st->size && !final_word(text.substr(st->at + st->size)).empty();
		// No header: the command failed before sending one.
		if (text.find("SIZE= ") != std::string_view::npos || text.find("FORMAT=") != std::string_view::npos)
			return false;
	}
	return !final_word(text).empty();
}

Exchange await_answer(int fd, Reply reply, int timeout_ms, const Progress &progress)
{
	Exchange x;
	auto start = std::chrono::steady_clock::now();
	size_t reported = 0;
	auto done = [&](const std::string &text) {
		if (progress && reply == Reply::stream) {
			if (auto st = stream_header(text); st && text.size() > st->at) {
				size_t got = std::min(text.size() - st->at, st->size);
				if (got != reported)
					progress(got, st->size);
				reported = got;
			}
		}
		return answer_complete(text, reply);
	};
	ReadEnd end = read_into(fd, x.text, done, timeout_ms);
	x.outcome = end == ReadEnd::done ? Outcome::answered : end == ReadEnd::closed ? Outcome::closed : Outcome::timeout;
	x.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
	if (x.outcome == Outcome::answered)
		x.final = final_word(x.text);
	if (reply == Reply::stream)
		if (auto st = stream_header(x.text)) {
			x.payload_size = st->size;
			x.payload_at = st->at;
		}
	// The answer frame of a streamed answer comes after its payload.
	std::string_view tail = x.text;
	if (x.payload_size && x.payload_at + *x.payload_size <= tail.size())
		tail = tail.substr(x.payload_at + *x.payload_size);
	x.frame = decode_answer(tail);
	return x;
}

Exchange exchange(int fd, std::string_view request, Reply reply, int timeout_ms, const Progress &progress)
{
	if (!write_all(fd, request)) {
		Exchange x;
		x.outcome = Outcome::write_failed;
		return x;
	}
	return await_answer(fd, reply, timeout_ms, progress);
}

const char *outcome_name(Outcome o)
{
	switch (o) {
	case Outcome::answered:
		return "answered";
	case Outcome::timeout:
		return "no answer";
	case Outcome::closed:
		return "port closed";
	case Outcome::write_failed:
		return "write failed";
	}
	return "?";
}

}  // namespace station
