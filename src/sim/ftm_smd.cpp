// /dev/ftm_smd: the modem's diagnostic channel, a byte stream. The daemon
// gets one end of a socket pair; a thread plays the modem on the other.
// The modem takes '~'-closed packets and, by modem.reply, sends each back
// as it came (echo), says nothing (silent), or answers each with
// modem.flood_bytes bytes of framed filler (flood). Every byte it receives
// is appended to var/ftm_smd.rx.
#include <atomic>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "sim/board.h"
#include "sim/models.h"
#include "sim/record.h"

namespace sim {

namespace {

constexpr int kPollMs = 20;
constexpr size_t kMaxPacket = 65536;

class FtmSmd : public Device {
public:
	explicit FtmSmd(Board &board) : board_(board)
	{
		int pair[2];
		if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0)
			return;
		near_ = pair[0];
		far_ = pair[1];
		::fcntl(far_, F_SETFL, ::fcntl(far_, F_GETFL) | O_NONBLOCK);
		thread_ = std::thread([this] { serve(); });
	}

	~FtmSmd() override
	{
		stop_ = true;
		if (thread_.joinable())
			thread_.join();
		if (near_ >= 0)
			::close(near_);
		if (far_ >= 0)
			::close(far_);
	}

	int stream_fd() override { return near_; }

private:
	void serve()
	{
		std::string packet;
		char buf[4096];
		while (!stop_) {
			pollfd p{far_, POLLIN, 0};
			if (::poll(&p, 1, kPollMs) <= 0)
				continue;
			ssize_t n = ::read(far_, buf, sizeof buf);
			if (n <= 0) {
				if (n == 0)
					return;  // the daemon's end is gone
				continue;
			}
			append_record(board_, "ftm_smd.rx", std::string_view(buf, static_cast<size_t>(n)));
			if (packet.size() > kMaxPacket)
				packet.clear();  // no closing '~' in sight: not a packet
			for (ssize_t i = 0; i < n; ++i) {
				packet += buf[i];
				if (buf[i] == '~' && packet.size() > 1) {
					answer(packet);
					packet.clear();
				}
			}
		}
	}

	void answer(const std::string &packet)
	{
		std::string mode = board_.text("modem.reply", "echo");
		if (mode == "echo") {
			send(packet);
		} else if (mode == "flood") {
			long bytes = board_.num("modem.flood_bytes", 65536);
			std::string filler;
			while (static_cast<long>(filler.size()) < bytes)
				filler += "\x4b\x0f\x01\x02flood~";
			filler.resize(static_cast<size_t>(bytes));
			send(filler);
		}
	}

	// Writes all of data unless the model is stopped; the daemon's side is
	// drained by its bridge thread, or not at all.
	void send(const std::string &data)
	{
		size_t off = 0;
		while (off < data.size() && !stop_) {
			pollfd p{far_, POLLOUT, 0};
			if (::poll(&p, 1, kPollMs) <= 0)
				continue;
			ssize_t w = ::write(far_, data.data() + off, data.size() - off);
			if (w > 0)
				off += static_cast<size_t>(w);
			else if (w < 0 && errno != EAGAIN && errno != EINTR)
				return;
		}
	}

	Board &board_;
	int near_ = -1, far_ = -1;
	std::atomic<bool> stop_{false};
	std::thread thread_;
};

}  // namespace

std::unique_ptr<Device> open_ftm_smd(Board &board, int /*flags*/)
{
	if (!board.num("modem.present", 1)) {
		errno = ENODEV;
		return nullptr;
	}
	auto dev = std::make_unique<FtmSmd>(board);
	if (dev->stream_fd() < 0)
		return nullptr;
	return dev;
}

}  // namespace sim
