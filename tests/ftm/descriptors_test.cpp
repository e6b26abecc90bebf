// Descriptors of any number: every wait of the daemon must work, and never
// write past a select set, when its descriptors lie above FD_SETSIZE, as
// they do after enough Bluetooth bring-ups (each leaves two open).
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <unistd.h>

#include <climits>
#include <string>
#include <vector>

#include "client/client_support.h"
#include "station/tapp_frame.h"
#include "support/sim_phone.h"

namespace {

using testing_support::SimPhone;

constexpr const char *kActiveOk = "\n*TAPP=ACK\n*TAPP=0800a0010101000100a8\nOK\n";
constexpr int kFillTo = FD_SETSIZE + 64;

// Takes every free descriptor below kFillTo (inherited by the daemon), so
// whatever the daemon opens after start-up lies above FD_SETSIZE.
class LowDescriptorsTaken {
public:
	LowDescriptorsTaken()
	{
		rlimit lim{};
		::getrlimit(RLIMIT_NOFILE, &lim);
		saved_ = lim;
		if (lim.rlim_cur < rlim_t{4 * kFillTo} && lim.rlim_max >= rlim_t{4 * kFillTo}) {
			lim.rlim_cur = 4 * kFillTo;
			::setrlimit(RLIMIT_NOFILE, &lim);
		}
		int null = ::open("/dev/null", O_RDONLY);
		for (int fd = 3; fd < kFillTo && null >= 0; ++fd)
			if (fd != null && ::fcntl(fd, F_GETFD) < 0 && ::dup2(null, fd) == fd)
				taken_.push_back(fd);
		if (null >= 0)
			taken_.push_back(null);
	}
	~LowDescriptorsTaken()
	{
		for (int fd : taken_)
			::close(fd);
		::setrlimit(RLIMIT_NOFILE, &saved_);
	}
	LowDescriptorsTaken(const LowDescriptorsTaken &) = delete;
	LowDescriptorsTaken &operator=(const LowDescriptorsTaken &) = delete;
	bool enough() const { return taken_.size() + 16 > size_t{kFillTo}; }

private:
	rlimit saved_{};
	std::vector<int> taken_;
};

// The daemon's highest descriptor that leads to target.
int highest_fd_to(pid_t pid, const std::string &target)
{
	std::string names = clienttest::fd_names(pid);
	int best = -1;
	for (size_t at = 0; at < names.size();) {
		size_t end = names.find('\n', at);
		std::string line = names.substr(at, end - at);
		size_t arrow = line.find(" -> ");
		if (arrow != std::string::npos && line.substr(arrow + 4) == target)
			best = std::max(best, std::stoi(line.substr(0, arrow)));
		at = end == std::string::npos ? names.size() : end + 1;
	}
	return best;
}

TEST(Descriptors, EveryWaitWorksAboveFdSetSize)
{
	SimPhone::Setup setup = clienttest::camera_setup();
	setup.board["time.scale"] = "1";  // the SoC's answers take real time
	setup.start = false;
	SimPhone phone(setup);
	{
		LowDescriptorsTaken fill;
		ASSERT_TRUE(fill.enough());
		phone.boot();
	}
	const pid_t pid = phone.phone().pid();

	// The USB port, opened after start-up: served although its number is high.
	EXPECT_EQ(phone.ask_usb("AT\n"), "OK\n");
	char usb[256] = {};
	ASSERT_GT(::readlink(phone.path("dev/ttyHSUSB1").c_str(), usb, sizeof usb - 1), 0);
	EXPECT_GE(highest_fd_to(pid, usb), FD_SETSIZE) << clienttest::fd_names(pid);

	// The Bluetooth UART's reads.
	EXPECT_EQ(phone.ask(station::bt_frame(1, {})), kActiveOk);
	// The camera frame thread's wait, with the capture's descriptors above too.
	EXPECT_EQ(phone.ask("AT+DSCC\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT+DSCE\n"), "OK\n");
	EXPECT_EQ(phone.ask("AT\n"), "OK\n");
	EXPECT_TRUE(phone.running());
}

TEST(Descriptors, EachBluetoothBringUpLeavesTwoAsThePhoneDoes)
{
	SimPhone phone;
	const pid_t pid = phone.phone().pid();
	ASSERT_EQ(phone.ask(station::bt_frame(1, {})), kActiveOk);
	size_t before = clienttest::lasting_fds(pid);
	constexpr int kBringUps = 2;
	for (int i = 0; i < kBringUps; ++i)
		ASSERT_EQ(phone.ask(station::bt_frame(1, {})), kActiveOk);
	// The rfkill state file and the UART, never closed.
	EXPECT_EQ(clienttest::lasting_fds(pid), before + 2 * kBringUps) << clienttest::fd_names(pid);
}

}  // namespace
