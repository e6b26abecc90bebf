#include "sim/btsnoop.h"

#include <chrono>

namespace sim {

namespace {

constexpr uint32_t kDatalinkH4 = 1002;
// Microseconds from year 0 to 1970, the format's epoch.
constexpr int64_t kEpochOffsetUs = 0x00dcddb30f2f8000LL;
constexpr uint32_t kFlagReceived = 1;
constexpr uint32_t kFlagCommandOrEvent = 2;

void put32(std::ofstream &out, uint32_t v)
{
	const char b[4] = {static_cast<char>(v >> 24), static_cast<char>(v >> 16), static_cast<char>(v >> 8),
	                   static_cast<char>(v)};
	out.write(b, 4);
}

void put64(std::ofstream &out, uint64_t v)
{
	put32(out, static_cast<uint32_t>(v >> 32));
	put32(out, static_cast<uint32_t>(v));
}

}  // namespace

BtSnoop::BtSnoop(const std::string &path)
{
	if (path.empty())
		return;
	out_.open(path, std::ios::binary | std::ios::trunc);
	out_.write("btsnoop\0", 8);
	put32(out_, 1);
	put32(out_, kDatalinkH4);
	out_.flush();
}

void BtSnoop::record(std::span<const uint8_t> packet, bool received)
{
	if (!out_.is_open() || packet.empty())
		return;
	auto now = std::chrono::system_clock::now().time_since_epoch();
	auto us = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
	auto size = static_cast<uint32_t>(packet.size());
	put32(out_, size);
	put32(out_, size);
	put32(out_, (received ? kFlagReceived : 0) | kFlagCommandOrEvent);
	put32(out_, 0);  // cumulative drops
	put64(out_, static_cast<uint64_t>(us + kEpochOffsetUs));
	out_.write(reinterpret_cast<const char *>(packet.data()), static_cast<std::streamsize>(packet.size()));
	out_.flush();
}

}  // namespace sim
