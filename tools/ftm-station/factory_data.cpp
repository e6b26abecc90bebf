#include "factory_data.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "runner.h"
#include "station/commands.h"
#include "station/exchange.h"
#include "station/link.h"
#include "station/tapp_frame.h"

namespace ftm_station {

namespace {

// The digits of an answer "<hex digits>OK\n", if it is one with count digits.
std::optional<std::string> digits_then_ok(const station::Exchange &x, size_t count)
{
	if (x.outcome != station::Outcome::answered || x.text.size() != count + 3 || !x.text.ends_with("OK\n"))
		return std::nullopt;
	std::string digits = x.text.substr(0, count);
	for (char &c : digits) {
		if (station::hex_digit(c) < 0)
			return std::nullopt;
		c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
	}
	return digits;
}

station::Exchange ask(int fd, const std::string &named)
{
	auto req = station::build_request(named);
	station::drain(fd);
	return station::exchange(fd, req->text, req->reply, kFactoryDataTimeoutMs);
}

std::string byte_text(uint8_t b)
{
	char buf[16];
	if (b >= 0x20 && b < 0x7F)
		std::snprintf(buf, sizeof buf, "%02x '%c'", b, b);
	else
		std::snprintf(buf, sizeof buf, "%02x", b);
	return buf;
}

}  // namespace

ProductId read_product_id(int fd)
{
	station::Exchange x = ask(fd, "rpid");
	ProductId p;
	p.answer = x.text;
	if (auto digits = digits_then_ok(x, 2 * kProductIdBytes)) {
		p.state = ProductId::State::read;
		p.id = *digits;
	} else if (x.outcome == station::Outcome::answered && x.final == "OK") {
		p.state = ProductId::State::garbled;
	}
	return p;
}

std::optional<TestFlags> read_test_flags(int fd, std::string *error)
{
	station::Exchange x = ask(fd, "rtf");
	auto digits = digits_then_ok(x, 2 * kTestFlagBytes);
	if (!digits) {
		*error = x.outcome == station::Outcome::answered ? "the test flag read answered '" + printable(x.text) + "'"
		                                                 : std::string("the test flag read got ") +
		                                                       station::outcome_name(x.outcome) +
		                                                       (x.text.empty() ? "" : " after '" + printable(x.text) + "'");
		return std::nullopt;
	}
	TestFlags flags{};
	auto bytes = station::from_hex(*digits);
	std::copy(bytes->begin(), bytes->end(), flags.begin());
	return flags;
}

std::string flags_hex(const TestFlags &flags)
{
	std::string hex = station::to_hex(std::vector<uint8_t>(flags.begin(), flags.end()));
	for (char &c : hex)
		c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
	return hex;
}

std::string test_flag_request(const TestFlags &flags)
{
	uint8_t sum = 0;
	for (uint8_t b : flags)
		sum ^= b;
	std::vector<uint8_t> data(flags.begin(), flags.end());
	data.push_back(sum);
	return "wtf " + station::to_hex(data);
}

std::string mark_test_flag(int fd, size_t byte, uint8_t value, std::string *before, std::string *after)
{
	std::string error;
	auto flags = read_test_flags(fd, &error);
	if (!flags)
		return error;
	*before = flags_hex(*flags);
	TestFlags wanted = *flags;
	wanted[byte] = value;
	station::Exchange x = ask(fd, test_flag_request(wanted));
	if (x.outcome != station::Outcome::answered || x.text != "OK\n")
		return "the test flag write answered '" + printable(x.text) + "'" +
		       (x.outcome == station::Outcome::answered ? "" : std::string(" (") + station::outcome_name(x.outcome) + ")");
	auto got = read_test_flags(fd, &error);
	if (!got)
		return "after the write, " + error;
	*after = flags_hex(*got);
	if (*got != wanted) {
		for (size_t i = 0; i < wanted.size(); ++i)
			if ((*got)[i] != wanted[i])
				return "the test flag write did not read back: byte " + std::to_string(i) + " is " +
				       byte_text((*got)[i]) + ", written " + byte_text(wanted[i]);
	}
	return {};
}

std::string unmet_stations(const TestFlags &flags, const std::vector<int> &required)
{
	std::string unmet;
	for (int b : required) {
		uint8_t v = flags[static_cast<size_t>(b)];
		if (v == kFlagPass)
			continue;
		unmet += (unmet.empty() ? "" : ", ") + std::to_string(b) + " (" +
		         (v == kFlagFail ? "failed" : "not tested, " + byte_text(v)) + ")";
	}
	return unmet.empty() ? unmet : "required stations have not passed: byte " + unmet;
}

}  // namespace ftm_station
