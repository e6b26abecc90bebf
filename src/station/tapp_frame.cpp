#include "station/tapp_frame.h"

#include <cctype>
#include <cstdio>

namespace station {

namespace {

void put16(std::vector<uint8_t> &v, int value)
{
	v.push_back(static_cast<uint8_t>(value & 0xFF));
	v.push_back(static_cast<uint8_t>((value >> 8) & 0xFF));
}

// frame_len covers everything behind it, the checksum included.
std::string finish(std::vector<uint8_t> body)
{
	std::vector<uint8_t> frame;
	put16(frame, static_cast<int>(body.size()) + 1);
	frame.insert(frame.end(), body.begin(), body.end());
	uint8_t x = 0;
	for (uint8_t b : frame)
		x ^= b;
	frame.push_back(x);
	return "AT*TAPP=" + to_hex(frame) + "\n";
}

}  // namespace

int hex_digit(char c)
{
	if (c >= '0' && c <= '9')
		return c - '0';
	c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
	if (c >= 'A' && c <= 'F')
		return c - 'A' + 10;
	return -1;
}

std::string to_hex(const std::vector<uint8_t> &bytes)
{
	std::string out;
	char two[3];
	for (uint8_t b : bytes) {
		std::snprintf(two, sizeof two, "%02X", b);
		out += two;
	}
	return out;
}

std::optional<std::vector<uint8_t>> from_hex(std::string_view text)
{
	std::vector<uint8_t> out;
	int high = -1;
	for (char c : text) {
		if (c == ' ' || c == ':' || c == '-')
			continue;
		int v = hex_digit(c);
		if (v < 0)
			return std::nullopt;
		if (high < 0) {
			high = v;
		} else {
			out.push_back(static_cast<uint8_t>(high * 16 + v));
			high = -1;
		}
	}
	if (high >= 0)
		return std::nullopt;
	return out;
}

std::string bb_frame(uint8_t access, uint16_t func_index, const std::vector<uint8_t> &params, int16_t rev)
{
	std::vector<uint8_t> body{0x40, access};
	put16(body, func_index);
	put16(body, static_cast<int>(params.size()));
	put16(body, rev);
	body.insert(body.end(), params.begin(), params.end());
	return finish(body);
}

std::string bt_frame(uint8_t cmd, const std::vector<uint8_t> &params, uint8_t total_blk, uint8_t blk_index)
{
	std::vector<uint8_t> body{0xA0, total_blk, blk_index};
	put16(body, static_cast<int>(params.size()));
	body.push_back(cmd);
	body.insert(body.end(), params.begin(), params.end());
	return finish(body);
}

std::string wifi_frame(uint8_t cmd, const std::vector<uint8_t> &params, uint8_t total_blk, uint8_t blk_index)
{
	std::vector<uint8_t> body{0xB0, total_blk, blk_index, cmd, 0};
	put16(body, static_cast<int>(params.size()));
	body.insert(body.end(), params.begin(), params.end());
	return finish(body);
}

std::optional<Answer> decode_answer(std::string_view text)
{
	// The frame is the last "*TAPP=" that is not the "*TAPP=ACK" line.
	size_t pos = std::string_view::npos, at = 0;
	while ((at = text.find("*TAPP=", at)) != std::string_view::npos) {
		if (text.substr(at + 6, 3) != "ACK")
			pos = at;
		at += 6;
	}
	if (pos == std::string_view::npos)
		return std::nullopt;
	std::string_view hex = text.substr(pos + 6);
	hex = hex.substr(0, hex.find('\n'));
	auto bytes = from_hex(hex);
	if (!bytes || bytes->size() < 4)
		return std::nullopt;
	const std::vector<uint8_t> &b = *bytes;
	Answer a;
	uint8_t x = 0;
	for (uint8_t v : b)
		x ^= v;
	a.checksum_ok = x == 0;
	a.req = b[2];
	size_t len_at = 0, result_at = 0;
	switch (a.req) {
	case 0x40:
		if (b.size() < 7)
			return std::nullopt;
		a.status = b[3];
		len_at = 4;
		result_at = 6;
		break;
	case 0xA0:
		if (b.size() < 9)
			return std::nullopt;
		a.total_blk = b[3];
		a.blk_index = b[4];
		len_at = 5;
		a.cmd = b[7];
		result_at = 8;
		break;
	case 0xB0:
		if (b.size() < 10)
			return std::nullopt;
		a.total_blk = b[3];
		a.blk_index = b[4];
		a.cmd = b[5];
		a.status = b[6];
		len_at = 7;
		result_at = 9;
		break;
	default:
		return std::nullopt;
	}
	size_t n = b[len_at] | (b[len_at + 1] << 8);
	if (result_at + n + 1 > b.size())
		return std::nullopt;
	a.result.assign(b.begin() + static_cast<long>(result_at), b.begin() + static_cast<long>(result_at + n));
	return a;
}

}  // namespace station
