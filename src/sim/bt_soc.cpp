// /dev/ttyHS0: the Bluetooth SoC behind its UART. The daemon gets the slave
// of a real pty, so its termios calls work; a model thread serves the master
// and speaks H4: HCI Reset, Read BD_ADDR and the vendor requests, answered as
// the silicon named in board.conf would. It answers only while the rfkill
// state file says "1", records the NVM tags it is sent, writes a btsnoop
// capture of the line (each write of the daemon as it came, malformed or
// not, and each event), and can be told to fail (bt.fault).
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <memory>
#include <mutex>
#include <poll.h>
#include <pty.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "sim/board.h"
#include "sim/btsnoop.h"
#include "sim/models.h"

namespace sim {

namespace {

constexpr unsigned long kTcsets = 0x5402;
constexpr uint16_t kOpReset = 0x0C03;
constexpr uint16_t kOpReadBdAddr = 0x1009;
constexpr uint16_t kOpVendor = 0xFC00;
constexpr uint16_t kOpNvmWrite = 0xFC0B;
constexpr int kStallMs = 1000;  // a half packet older than this is dropped

using Packet = std::vector<uint8_t>;

enum class Fault { none, silent, late, truncated, overlong, wrong, single };

Fault fault_of(const std::string &name)
{
	static constexpr std::pair<const char *, Fault> names[] = {
		{"silent", Fault::silent},     {"late", Fault::late}, {"truncated", Fault::truncated},
		{"overlong", Fault::overlong}, {"wrong", Fault::wrong}, {"single", Fault::single},
	};
	for (const auto &[text, fault] : names)
		if (name == text)
			return fault;
	return Fault::none;
}

Packet event(uint8_t code, std::initializer_list<uint8_t> params)
{
	Packet p = {0x04, code, static_cast<uint8_t>(params.size())};
	p.insert(p.end(), params);
	return p;
}

Packet command_complete(uint16_t opcode, std::initializer_list<uint8_t> rest = {0x00})
{
	Packet p = {0x04, 0x0E, 0, 0x01, static_cast<uint8_t>(opcode), static_cast<uint8_t>(opcode >> 8)};
	p.insert(p.end(), rest);
	p[2] = static_cast<uint8_t>(p.size() - 3);
	return p;
}

std::string hex_line(const uint8_t *p, size_t n)
{
	std::string line;
	char two[4];
	for (size_t i = 0; i < n; ++i) {
		std::snprintf(two, sizeof two, i ? " %02X" : "%02X", p[i]);
		line += two;
	}
	return line + "\n";
}

// The SoC: one per board, however often the daemon opens its UART. Each
// open gets one more descriptor on the same pty, as the phone's driver
// gives, and the model's own descriptors and thread stay one set.
class BtSoc {
public:
	BtSoc(Board &board, int master, int slave, int wake_read, int wake_write)
	    : board_(board), master_(master), slave_(slave), wake_read_(wake_read), wake_write_(wake_write),
	      snoop_(board.num("bt.snoop", 1) ? board.root() + "/var/bt_snoop.log" : std::string())
	{
		::mkdir((board.root() + "/var").c_str(), 0755);
		thread_ = std::thread([this] { run(); });
	}

	~BtSoc()
	{
		char b = 1;
		ssize_t n = ::write(wake_write_, &b, 1);
		(void)n;
		thread_.join();
		for (int fd : {master_, slave_, wake_read_, wake_write_})
			::close(fd);
	}
	BtSoc(const BtSoc &) = delete;
	BtSoc &operator=(const BtSoc &) = delete;

	Board &board() { return board_; }
	int slave() const { return slave_; }

	// A write of the daemon to its end of the UART, captured exactly as it
	// was taken: noise and half packets too. The line lock keeps it ahead
	// of the events that answer it.
	ssize_t host_write(int fd, const void *buf, size_t len)
	{
		std::lock_guard lock(line_mutex_);
		ssize_t n = ::write(fd, buf, len);
		if (n > 0)
			snoop_.record({static_cast<const uint8_t *>(buf), static_cast<size_t>(n)}, false);
		return n;
	}

	// A new open of the UART: a fresh bring-up's records.
	void opened()
	{
		std::lock_guard lock(mutex_);
		std::ofstream(board_.root() + "/var/bt_tags", std::ios::trunc);
		std::ofstream(board_.root() + "/var/bt_pokes", std::ios::trunc);
		commands_ = 0;
		bd_addr_ = {};
	}

	// termios goes to the real pty; what the daemon sets is kept for tests.
	int ioctl(unsigned long request, uintptr_t arg)
	{
		int r = ::ioctl(slave_, request, arg);
		if (r == 0 && request == kTcsets) {
			uint32_t flags[4];
			std::memcpy(flags, reinterpret_cast<const void *>(arg), sizeof flags);
			char text[128];
			std::snprintf(text, sizeof text, "iflag=%x oflag=%x cflag=%x lflag=%x\n", flags[0], flags[1], flags[2],
			              flags[3]);
			board_.save_state("bt_termios", text);
		}
		return r;
	}

private:
	void run();
	bool wait_ms(int ms);  // false when told to stop
	void serve(const Packet &cmd);
	std::vector<Packet> answer(uint16_t opcode, const uint8_t *params, size_t n);
	void send(const Packet &p);
	bool powered();
	void append(const char *file, const std::string &line);

	Board &board_;
	int master_, slave_, wake_read_, wake_write_;
	BtSnoop snoop_;
	std::mutex line_mutex_;  // the capture, between the daemon's writes and the model's
	std::mutex mutex_;  // a bring-up's records, between an open and the model thread
	std::thread thread_;
	long commands_ = 0;
	std::array<uint8_t, 6> bd_addr_ = {0x00, 0x00, 0x00, 0x00, 0x00, 0x00};
};

// One open of /dev/ttyHS0.
class BtUart : public Device {
public:
	explicit BtUart(std::shared_ptr<BtSoc> soc) : soc_(std::move(soc)) {}
	int stream_fd() override { return soc_->slave(); }
	int ioctl(unsigned long request, uintptr_t arg) override { return soc_->ioctl(request, arg); }
	ssize_t stream_write(int fd, const void *buf, size_t n) override { return soc_->host_write(fd, buf, n); }

private:
	std::shared_ptr<BtSoc> soc_;
};

bool BtSoc::wait_ms(int ms)
{
	pollfd p = {wake_read_, POLLIN, 0};
	return ::poll(&p, 1, ms) == 0;
}

bool BtSoc::powered()
{
	std::ifstream in(board_.root() + "/sys/class/rfkill/rfkill0/state");
	char c = 0;
	return in.get(c) && c == '1';
}

void BtSoc::append(const char *file, const std::string &line)
{
	std::ofstream(board_.root() + "/var/" + file, std::ios::app) << line;
}

void BtSoc::send(const Packet &p)
{
	// Non-blocking: a daemon that stops reading loses events, the model never hangs.
	std::lock_guard lock(line_mutex_);
	ssize_t n = ::write(master_, p.data(), p.size());
	if (n > 0)
		snoop_.record({p.data(), static_cast<size_t>(n)}, true);
}

void BtSoc::run()
{
	std::vector<uint8_t> in;
	for (;;) {
		pollfd p[2] = {{master_, POLLIN, 0}, {wake_read_, POLLIN, 0}};
		int r = ::poll(p, 2, in.empty() ? -1 : kStallMs);
		if (r < 0 && errno == EINTR)
			continue;
		if (r < 0 || (p[1].revents & POLLIN))
			return;
		if (r == 0) {
			in.clear();  // a stalled half packet: resynchronise
			continue;
		}
		uint8_t buf[512];
		ssize_t n = ::read(master_, buf, sizeof buf);
		if (n <= 0) {
			if (!wait_ms(100))
				return;
			continue;
		}
		in.insert(in.end(), buf, buf + n);
		// Whole H4 commands off the front; anything else is noise on the line.
		while (!in.empty()) {
			if (in[0] != 0x01) {
				in.erase(in.begin());
				continue;
			}
			if (in.size() < 4 || in.size() < 4u + in[3])
				break;
			Packet cmd(in.begin(), in.begin() + 4 + in[3]);
			in.erase(in.begin(), in.begin() + static_cast<long>(cmd.size()));
			std::lock_guard lock(mutex_);
			serve(cmd);
		}
	}
}

void BtSoc::serve(const Packet &cmd)
{
	if (!powered())
		return;
	++commands_;
	auto opcode = static_cast<uint16_t>(cmd[1] | cmd[2] << 8);
	std::vector<Packet> events = answer(opcode, cmd.data() + 4, cmd.size() - 4);

	long from = board_.num("bt.fault_from", 1);
	long count = board_.num("bt.fault_count", 0);
	Fault fault = fault_of(board_.text("bt.fault", "none"));
	if (commands_ < from || (count > 0 && commands_ >= from + count))
		fault = Fault::none;
	switch (fault) {
	case Fault::none:
		break;
	case Fault::silent:
		return;
	case Fault::late:
		if (!wait_ms(static_cast<int>(board_.num("bt.late_ms", 1500))))
			return;
		break;
	case Fault::truncated:
		events = {Packet(events[0].begin(), events[0].begin() + 2)};
		break;
	case Fault::overlong:
		events[0][2] = static_cast<uint8_t>(events[0][2] + 8);
		events.resize(1);
		break;
	case Fault::wrong:
		for (Packet &e : events)
			e = event(0x0F, {0x00, 0x01, cmd[1], cmd[2]});  // Command Status in place of each
		break;
	case Fault::single:
		events.resize(1);
		break;
	}
	for (const Packet &e : events)
		send(e);
}

std::vector<Packet> BtSoc::answer(uint16_t opcode, const uint8_t *params, size_t n)
{
	switch (opcode) {
	case kOpReset:
		return {command_complete(opcode)};
	case kOpReadBdAddr: {
		Packet cc = command_complete(opcode);
		cc.insert(cc.end(), bd_addr_.begin(), bd_addr_.end());
		cc[2] = static_cast<uint8_t>(cc.size() - 3);
		return {cc};
	}
	case kOpNvmWrite: {
		append("bt_tags", hex_line(params, n));
		// Tag 2 is the device address, low byte first.
		if (n >= 9 && params[0] == 0x01 && params[1] == 2 && params[2] == 6) {
			std::memcpy(bd_addr_.data(), params + 3, 6);
		}
		return {event(0xFF, {0x00, 0x0B, n >= 2 ? params[1] : uint8_t{0}}), command_complete(opcode)};
	}
	case kOpVendor:
		break;
	default:
		return {event(0x0F, {0x01, 0x01, static_cast<uint8_t>(opcode), static_cast<uint8_t>(opcode >> 8)})};
	}
	// Vendor requests: firmware version, register read, poke.
	if (n >= 1 && params[0] == 0x06) {
		std::string text = board_.text("bt.firmware", "BTS4025 B1 ROM Release 4.00.2 Build 0109");
		text.resize(std::min<size_t>(text.size(), 240));
		Packet vs = {0x04, 0xFF, 0, 0x00, 0x02, 0x06};
		vs.insert(vs.end(), text.begin(), text.end());
		vs.push_back(0);
		vs[2] = static_cast<uint8_t>(vs.size() - 3);
		return {vs, command_complete(opcode)};
	}
	if (n >= 6 && params[0] == 0x0D) {
		Packet vs = {0x04, 0xFF, 11, 0x00, 0x01, params[1], params[2], params[3], params[4], params[5]};
		uint32_t value = 0;
		if (params[1] == 0x34 && params[2] == 0 && params[3] == 0 && params[4] == 0x8C)
			value = static_cast<uint32_t>(board_.num("bt.hw_version", 5));
		for (int i = 0; i < 4; ++i)
			vs.push_back(static_cast<uint8_t>(value >> (8 * i)));
		return {vs, command_complete(opcode)};
	}
	if (n >= 1 && params[0] == 0x01)
		append("bt_pokes", hex_line(params, n));
	return {event(0xFF, {0x01, 0x00, n >= 1 ? params[0] : uint8_t{0}}), command_complete(opcode)};
}

std::shared_ptr<BtSoc> make_soc(Board &board)
{
	int master = -1, slave = -1;
	if (::openpty(&master, &slave, nullptr, nullptr, nullptr) != 0)
		return nullptr;
	int wake[2];
	if (::pipe2(wake, O_CLOEXEC) != 0) {
		::close(master);
		::close(slave);
		return nullptr;
	}
	::fcntl(master, F_SETFD, FD_CLOEXEC);
	::fcntl(slave, F_SETFD, FD_CLOEXEC);
	::fcntl(master, F_SETFL, ::fcntl(master, F_GETFL) | O_NONBLOCK);
	return std::make_shared<BtSoc>(board, master, slave, wake[0], wake[1]);
}

}  // namespace

std::unique_ptr<Device> open_bt_soc(Board &board, int /*flags*/)
{
	// The SoC lives while any open of its UART does.
	static std::mutex mutex;
	static std::weak_ptr<BtSoc> current;
	std::lock_guard lock(mutex);
	std::shared_ptr<BtSoc> soc = current.lock();
	if (!soc || &soc->board() != &board) {
		soc = make_soc(board);
		if (!soc)
			return nullptr;
		current = soc;
	}
	soc->opened();
	return std::make_unique<BtUart>(soc);
}

}  // namespace sim
