// /dev/ftmgpio: an ioctl selects an operation, the next read or write on the
// same descriptor carries its data. What the daemon writes (product id, test
// flag, NV items, fuse, UART clock, pins, ...) is kept in var/ftmgpio, so it
// survives a restart of the daemon; what the hardware reports (pin inputs,
// hardware version, power key) and which operations fail come from board.conf.
#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <mutex>
#include <sstream>
#include <string>

#include "sim/board.h"
#include "sim/models.h"
#include "sim/sdcard.h"

namespace sim {

namespace {

enum Op : unsigned long {
	kPinInit = 1, kSetOutput = 2, kGetInput = 3, kPowerOff = 4, kHwVer = 5, kModemLpm = 6,
	kGetPid = 7, kSetPid = 8, kGetTestFlag = 9, kSetTestFlag = 10, kMicBias = 11,
	kUartClock = 12, kWriteNv = 13, kWriteFuse = 18, kReadFuse = 19, kPowerKey = 20,
};

// The board.conf name of each operation, for gpio.fail.<name>.
struct OpName {
	unsigned long op;
	const char *name;
};
constexpr std::array kOps = {
	OpName{kPinInit, "pin_init"},       OpName{kSetOutput, "set_output"},
	OpName{kGetInput, "get_input"},     OpName{kPowerOff, "power_off"},
	OpName{kHwVer, "hw_ver"},           OpName{kModemLpm, "modem_lpm"},
	OpName{kGetPid, "pid_read"},        OpName{kSetPid, "pid_write"},
	OpName{kGetTestFlag, "testflag_read"}, OpName{kSetTestFlag, "testflag_write"},
	OpName{kMicBias, "mic_bias"},       OpName{kUartClock, "uart_clock"},
	OpName{kWriteNv, "nv_write"},       OpName{kWriteFuse, "fuse_write"},
	OpName{kReadFuse, "fuse_read"},     OpName{kPowerKey, "power_key"},
};

// gpio.fail.<name>: how an operation fails.
enum Fail : long { kWorks = 0, kIoctlFails = 1, kDataEmpty = 2, kDataError = 3 };

constexpr size_t kAreaSize = 128;  // product id and test flag areas
constexpr char kStateName[] = "ftmgpio";

struct Pin {
	int direction = 0;  // 0 input, 1 output
	int level = 0;      // the level last driven, for an output
};

// What the device has been told, in the text form of var/ftmgpio.
struct State {
	std::array<unsigned char, kAreaSize> pid{};
	std::array<unsigned char, kAreaSize> testflag{};
	int fuse = 0;
	int uart_clock = 0;  // 1: TCXO, 0: TCXO/4
	int mic_bias = 0;
	int modem_lpm = 0;   // times the modem was put in low power
	int power_off = 0;   // times the board was told to power off
	std::map<long, int> nv;
	std::map<long, Pin> pins;
};

std::string to_hex(const std::array<unsigned char, kAreaSize> &area)
{
	static constexpr char digits[] = "0123456789abcdef";
	std::string s;
	for (unsigned char b : area) {
		s += digits[b >> 4];
		s += digits[b & 15];
	}
	return s;
}

void from_hex(std::string_view text, std::array<unsigned char, kAreaSize> &area)
{
	area.fill(0);
	for (size_t i = 0; i < kAreaSize && 2 * i + 1 < text.size(); ++i)
		area[i] = static_cast<unsigned char>(std::stoi(std::string(text.substr(2 * i, 2)), nullptr, 16));
}

State parse(const std::string &text)
{
	State s;
	std::istringstream in(text);
	std::string line;
	while (std::getline(in, line)) {
		size_t eq = line.find('=');
		if (eq == std::string::npos)
			continue;
		std::string key = line.substr(0, eq), value = line.substr(eq + 1);
		try {
			if (key == "pid")
				from_hex(value, s.pid);
			else if (key == "testflag")
				from_hex(value, s.testflag);
			else if (key == "fuse")
				s.fuse = std::stoi(value);
			else if (key == "uart_clock")
				s.uart_clock = std::stoi(value);
			else if (key == "mic_bias")
				s.mic_bias = std::stoi(value);
			else if (key == "modem_lpm")
				s.modem_lpm = std::stoi(value);
			else if (key == "power_off")
				s.power_off = std::stoi(value);
			else if (key.starts_with("nv."))
				s.nv[std::stol(key.substr(3))] = std::stoi(value);
			else if (key.starts_with("pin.")) {
				size_t comma = value.find(',');
				Pin &p = s.pins[std::stol(key.substr(4))];
				p.direction = std::stoi(value.substr(0, comma));
				p.level = comma == std::string::npos ? 0 : std::stoi(value.substr(comma + 1));
			}
		} catch (...) {
			// A damaged line is dropped; the rest of the state stands.
		}
	}
	return s;
}

std::string format(const State &s)
{
	std::ostringstream out;
	out << "pid=" << to_hex(s.pid) << "\n"
	    << "testflag=" << to_hex(s.testflag) << "\n"
	    << "fuse=" << s.fuse << "\nuart_clock=" << s.uart_clock << "\nmic_bias=" << s.mic_bias
	    << "\nmodem_lpm=" << s.modem_lpm << "\npower_off=" << s.power_off << "\n";
	for (const auto &[item, value] : s.nv)
		out << "nv." << item << "=" << value << "\n";
	for (const auto &[pin, p] : s.pins)
		out << "pin." << pin << "=" << p.direction << "," << p.level << "\n";
	return out.str();
}

// All open descriptors of the device, in every process on the board, share
// the one state file.
std::mutex state_mutex;

class FtmGpio : public Device {
public:
	explicit FtmGpio(Board &board) : board_(board) {}

	int ioctl(unsigned long request, uintptr_t arg) override
	{
		const char *name = op_name(request);
		if (!name) {
			errno = EINVAL;
			return -1;
		}
		if (failure(request) == kIoctlFails) {
			errno = EIO;
			return -1;
		}
		op_ = request;
		arg_ = static_cast<long>(static_cast<int32_t>(arg));
		switch (request) {
		case kModemLpm: update([](State &s) { ++s.modem_lpm; }); break;
		case kUartClock: update([&](State &s) { s.uart_clock = arg_ == 1 ? 1 : 0; }); break;
		case kWriteFuse: update([](State &s) { s.fuse = 1; }); break;
		default: break;
		}
		return 0;
	}

	ssize_t read(void *buf, size_t n) override
	{
		if (n == 0 || !is_read(op_))
			return 0;  // the device reads nothing when no data is pending
		if (Fail f = failure(op_); f != kWorks)
			return data_failure(f);
		auto *out = static_cast<unsigned char *>(buf);
		State s = load();
		switch (op_) {
		case kGetInput: return put_byte(out, input_level(s));
		case kPowerKey: return put_byte(out, board_.num("gpio.power_key", 0) ? 1 : 0);
		case kReadFuse: return put_byte(out, static_cast<unsigned char>(s.fuse));
		case kHwVer: {
			std::string ver = board_.text("gpio.hw_version", "100");
			std::array<unsigned char, 4> bytes{};
			std::memcpy(bytes.data() + 1, ver.data(), std::min<size_t>(ver.size(), 3));
			return copy_out(out, n, bytes.data(), bytes.size());
		}
		case kGetPid: return copy_out(out, n, s.pid.data(), s.pid.size());
		case kGetTestFlag: return copy_out(out, n, s.testflag.data(), s.testflag.size());
		default: return 0;
		}
	}

	ssize_t write(const void *buf, size_t n) override
	{
		if (!is_write(op_)) {
			errno = EINVAL;
			return -1;
		}
		if (Fail f = failure(op_); f != kWorks)
			return data_failure(f);
		if (n == 0)
			return 0;
		const auto *in = static_cast<const unsigned char *>(buf);
		bool saved = update([&](State &s) {
			switch (op_) {
			case kPinInit: s.pins[arg_].direction = in[0] ? 1 : 0; break;
			case kSetOutput: s.pins[arg_].level = in[0] ? 1 : 0; break;
			case kPowerOff: ++s.power_off; break;
			case kMicBias: s.mic_bias = in[0]; break;
			case kWriteNv: s.nv[arg_] = in[0]; break;
			case kSetPid: store(s.pid, in, n); break;
			case kSetTestFlag: store(s.testflag, in, n); break;
			default: break;
			}
		});
		if (!saved)
			return store_failure();
		return static_cast<ssize_t>(n);
	}

private:
	static const char *op_name(unsigned long op)
	{
		for (const OpName &o : kOps)
			if (o.op == op)
				return o.name;
		return nullptr;
	}
	static bool is_read(unsigned long op)
	{
		return op == kGetInput || op == kHwVer || op == kGetPid || op == kGetTestFlag || op == kReadFuse ||
		       op == kPowerKey;
	}
	static bool is_write(unsigned long op)
	{
		return op == kPinInit || op == kSetOutput || op == kPowerOff || op == kSetPid || op == kSetTestFlag ||
		       op == kMicBias || op == kWriteNv;
	}

	Fail failure(unsigned long op)
	{
		long f = board_.num(std::string("gpio.fail.") + op_name(op), kWorks);
		return (f >= kWorks && f <= kDataError) ? static_cast<Fail>(f) : kWorks;
	}
	static ssize_t data_failure(Fail f)
	{
		if (f == kDataEmpty)
			return 0;
		errno = EIO;
		return -1;
	}

	// A pin driven as an output reads back its level; an input reads what
	// the board says (gpio.pin.<n>), as the characters '0' and '1'.
	unsigned char input_level(const State &s)
	{
		auto it = s.pins.find(arg_);
		int level = (it != s.pins.end() && it->second.direction == 1)
		                ? it->second.level
		                : (board_.num("gpio.pin." + std::to_string(arg_), default_input()) ? 1 : 0);
		if (board_.num("gpio.input_raw", 0))
			return static_cast<unsigned char>(level);
		return level ? '1' : '0';
	}

	// The card-detect pin follows the board's memory card unless set.
	long default_input() const { return arg_ == kCardDetectPin ? card_detect_level(board_) : 0; }

	static ssize_t put_byte(unsigned char *out, unsigned char value)
	{
		out[0] = value;
		return 1;
	}
	static ssize_t copy_out(unsigned char *out, size_t n, const unsigned char *from, size_t size)
	{
		size_t k = std::min(n, size);
		std::memcpy(out, from, k);
		return static_cast<ssize_t>(k);
	}
	// A write defines the whole area: what it does not cover is cleared.
	static void store(std::array<unsigned char, kAreaSize> &area, const unsigned char *in, size_t n)
	{
		area.fill(0);
		std::memcpy(area.data(), in, std::min(n, area.size()));
	}

	State load() { return parse(board_.load_state(kStateName)); }

	// false: the board could not keep it (var/ full), so nothing was stored.
	template <typename F>
	bool update(F change)
	{
		std::lock_guard lock(state_mutex);
		State s = load();
		change(s);
		return board_.save_state(kStateName, format(s));
	}

	// A block write that could not be kept took no bytes; a single item
	// written to the modem's memory fails with an error.
	ssize_t store_failure() const
	{
		if (op_ == kSetPid || op_ == kSetTestFlag)
			return 0;
		errno = ENOSPC;
		return -1;
	}

	Board &board_;
	unsigned long op_ = 0;
	long arg_ = 0;
};

}  // namespace

std::unique_ptr<Device> open_ftmgpio(Board &board, int /*flags*/)
{
	if (board.num("gpio.absent", 0)) {
		errno = ENODEV;
		return nullptr;
	}
	return std::make_unique<FtmGpio>(board);
}

}  // namespace sim
