#include "sim/sdcard.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sstream>
#include <string>
#include <string_view>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "sim/board.h"

namespace sim {

namespace {

constexpr std::string_view kDisk = "/dev/block/mmcblk0";
constexpr std::string_view kPartition = "/dev/block/mmcblk0p1";
constexpr std::string_view kMountPoint = "/sdcard";
constexpr long kMsdosMagic = 0x4d44;

// mmc.card: present, absent, full (no free block), failing (the card stops
// answering once mounted: reads fail), unformatted (nothing mounts).
struct Card {
	std::string state;
	bool partitioned;

	bool inserted() const { return state != "absent"; }
};

Card card(Board &board) { return {board.text("mmc.card", "present"), board.num("mmc.partition", 1) != 0}; }

bool mounted(Board &board)
{
	std::istringstream mounts(board.load_state("mounts"));
	std::string device, dir;
	while (mounts >> device >> dir)
		if (device.starts_with(kDisk) && dir == kMountPoint)
			return true;
	return false;
}

bool on_card(std::string_view path)
{
	return path.size() > kMountPoint.size() && path.starts_with(kMountPoint) && path[kMountPoint.size()] == '/';
}

// A file of a full or failing card: the real file under the board, with
// the card's failure on top.
class CardFile : public Device {
public:
	CardFile(int fd, bool full) : fd_(fd), full_(full) {}
	~CardFile() override { ::close(fd_); }

	ssize_t write(const void *buf, size_t n) override
	{
		if (!full_)
			return ::write(fd_, buf, n);  // lands in the cache, then the card is gone
		errno = ENOSPC;
		return -1;
	}
	ssize_t read(void *buf, size_t n) override
	{
		if (!full_) {
			errno = EIO;
			return -1;
		}
		return ::read(fd_, buf, n);
	}

private:
	int fd_;
	bool full_;
};

}  // namespace

int card_detect_level(Board &board) { return card(board).inserted() ? 0 : 1; }

bool card_stat(Board &board, const char *path, struct stat *st, int *result)
{
	if (path != kDisk && path != kPartition)
		return false;
	Card c = card(board);
	bool exists = c.inserted() && (path == kDisk || c.partitioned);
	if (!exists) {
		errno = ENOENT;
		*result = -1;
		return true;
	}
	std::memset(st, 0, sizeof *st);
	st->st_mode = S_IFBLK | 0660;
	st->st_rdev = makedev(179, path == kDisk ? 0 : 1);
	*result = 0;
	return true;
}

bool card_statfs(Board &board, const char *path, struct statfs *st, int *result)
{
	if (path != kMountPoint || !mounted(board))
		return false;
	if (board.num("mmc.statfs_fail", 0)) {
		errno = EIO;
		*result = -1;
		return true;
	}
	long block_size = board.num("mmc.block_size", 4096);
	if (block_size <= 0)
		block_size = 4096;
	long long blocks = board.num("mmc.size_mb", 1900) * 1048576LL / block_size;
	bool full = card(board).state == "full";
	std::memset(st, 0, sizeof *st);
	st->f_type = kMsdosMagic;
	st->f_bsize = block_size;
	st->f_blocks = static_cast<fsblkcnt_t>(blocks);
	st->f_bfree = st->f_bavail = full ? 0 : static_cast<fsblkcnt_t>(blocks * 9 / 10);
	st->f_namelen = 255;
	*result = 0;
	return true;
}

bool card_open(Board &board, const char *path, int flags, unsigned mode, std::unique_ptr<Device> *device)
{
	if (!on_card(path) || !mounted(board))
		return false;
	std::string state = card(board).state;
	if (state != "full" && state != "failing")
		return false;
	int fd = ::open(board.map(path).c_str(), flags | O_CLOEXEC, mode);
	if (fd >= 0)
		*device = std::make_unique<CardFile>(fd, state == "full");
	return true;
}

}  // namespace sim
