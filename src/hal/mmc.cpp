#include "hal/mmc.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fcntl.h>

#include "ftm/debug.h"
#include "ftm/graphics.h"
#include "ftm/ftm.h"
#include "ftm/handlers.h"
#include "ftm/tapp_param.h"
#include "hal/fqc_text.h"
#include "hal/gpio.h"
#include "platform/platform.h"

namespace hal {

int SD_SIZE_GB = -1;

void mmc_reset() { SD_SIZE_GB = -1; }

namespace {

constexpr int MMC_NODE_WAIT_PASSES = 4;
constexpr unsigned MMC_NODE_WAIT_S = 2;
constexpr char node_missing_text[] = "SD GPIO 18 is detected  but /dev/block/mmcblk0 was not established.\n";
static_assert(sizeof node_missing_text - 1 == 68);
constexpr size_t pattern_size = sizeof MMC_TEST_PATTERN - 1;
static_assert(pattern_size == 10);

int disk_stat()
{
	struct stat st{};
	return plat::stat(MMC_DISK, &st);
}

void measure_card(const char *caller)
{
	struct statfs fs{};
	if (plat::statfs(MMC_MOUNT_POINT, &fs) != 0) {
		SD_SIZE_GB = -1;
		return;
	}
	auto blocks = static_cast<long long>(fs.f_blocks);
	auto bsize = static_cast<long long>(fs.f_bsize);
	DBG_AS(caller, "SD=%s,blksize=%d,nb of blk=%d,total size=%lldK\n", MMC_MOUNT_POINT, static_cast<int>(bsize),
	    static_cast<int>(blocks), blocks * bsize / 1024);
	SD_SIZE_GB = static_cast<int>(std::ceil(static_cast<double>(blocks) * static_cast<double>(bsize) / 1073741824.0));
}

// Writes the pattern to the card and reads it back: 0 when it matched.
int write_and_compare(const char *path, const char *caller)
{
	int fd = plat::open(path, O_WRONLY | O_CREAT, 0700);
	if (fd < 0) {
		DBG_AS(caller, "bb_mmc_ex: %s\n", std::strerror(errno));
		return 1;
	}
	if (plat::write(fd, MMC_TEST_PATTERN, pattern_size) < 0) {
		DBG_AS(caller, "error: %s\n", std::strerror(errno));
		plat::close(fd);
		return 1;
	}
	plat::close(fd);
	fd = plat::open(path, O_RDONLY);
	if (fd < 0) {
		DBG_AS(caller, "bb_mmc_ex: %s\n", std::strerror(errno));
		return 1;
	}
	char back[pattern_size] = {};
	ssize_t n = plat::read(fd, back, sizeof back);
	plat::close(fd);
	if (n < 0 || std::memcmp(back, MMC_TEST_PATTERN, static_cast<size_t>(n)) != 0) {
		DBG_AS(caller, "tx failed\n");
		return 1;
	}
	return 0;
}

}  // namespace

// Only the fixed paths above reach these command lines.
int mmc_mount(const char *device, const char *directory)
{
	char line[128];
	std::snprintf(line, sizeof line, "mount -t vfat %s %s 2> /dev/null", device, directory);
	return plat::system(line);
}

int mmc_umount(const char *directory)
{
	char line[128];
	std::snprintf(line, sizeof line, "umount %s 2> /dev/null", directory);
	return plat::system(line);
}

int makedir(int create)
{
	return plat::system(create ? "mkdir -p /sdcard 2> /dev/null" : "rmdir /sdcard 2> /dev/null");
}

int mmc_ex_test()
{
	int s = disk_stat();
	if (gpio_get_input(MMC_DETECT_PIN) == 0 && s != 0) {
		// The pin can report a card before the kernel has made its node.
		for (int pass = 1; gpio_get_input(MMC_DETECT_PIN) == 0 && s != 0; ++pass) {
			if (pass > MMC_NODE_WAIT_PASSES)
				break;
			plat::sleep(MMC_NODE_WAIT_S);
			s = disk_stat();
		}
		if (s != 0) {
			plat::write(ftm::loop.act_fd, node_missing_text, sizeof node_missing_text - 1);
			return MMC_NODE_MISSING;
		}
		return MMC_PRESENT;
	}
	return s != 0 ? MMC_ABSENT : MMC_PRESENT;
}

int mmc_transfer_test()
{
	if (mmc_ex_test() != MMC_PRESENT)
		return 1;
	makedir(1);
	if (mmc_mount(MMC_PARTITION, MMC_MOUNT_POINT) != 0) {
		DBG("unable to mount %s\n", MMC_PARTITION);
		if (mmc_mount(MMC_DISK, MMC_MOUNT_POINT) != 0) {
			DBG("unable to mount %s\n", MMC_DISK);
			makedir(0);
			mmc_umount(MMC_MOUNT_POINT);
			return 1;
		}
	}
	measure_card(__func__);
	char path[64];
	std::snprintf(path, sizeof path, "%s/%s", MMC_MOUNT_POINT, MMC_TEST_FILE);
	if (write_and_compare(path, __func__) != 0) {
		makedir(0);
		mmc_umount(MMC_MOUNT_POINT);
		return 1;
	}
	mmc_umount(MMC_MOUNT_POINT);
	return 0;
}

int mmc_get_size() { return mmc_transfer_test() != 0 ? -1 : SD_SIZE_GB; }

namespace {

constexpr int FQC_MMC_PASSES = 20;  // seconds for insert and remove together

void mmc_line(int line, const char *text)
{
	ftm::draw_str(FQC_TEXT_X, fqc_line_y(line), FQC_TEXT_R, FQC_TEXT_G, FQC_TEXT_B, FQC_TEXT_SCALE, "%s", text);
}

void mmc_failed(const char *text)
{
	ftm::lcd_clear();
	mmc_line(0, text);
}

}  // namespace

void fqc_mmc_test()
{
	ftm::lcd_clear();
	int passes = 0;
	while (mmc_ex_test() == MMC_ABSENT) {
		if (++passes > FQC_MMC_PASSES)
			return mmc_failed("T-Flash insert detect test: FAILED.\n");
		mmc_line(0, "T-Flash not insert, please\n");
		mmc_line(1, "insert.\n");
		plat::sleep(1);
	}
	mmc_line(2, "T-Flash is inserted now.\n");
	mmc_line(3, "T-Flash transfer test :\n");
	mmc_line(4, mmc_transfer_test() == 0 ? "OK.\n" : "FAILED.\n");
	plat::sleep(2);
	while (mmc_ex_test() == MMC_PRESENT) {
		if (++passes > FQC_MMC_PASSES)
			return mmc_failed("T-Flash remove detect test: FAILED.\n");
		mmc_line(5, "T-Flash is inserted, please\n");
		mmc_line(6, "remove.\n");
		plat::sleep(1);
	}
	mmc_line(7, "T-Flash is removed now.\n");
}

}  // namespace hal

namespace ftm {

int tapp_mmc_ex_test(tapp_record *r)
{
	int presence = hal::mmc_ex_test();
	int answer = presence == hal::MMC_PRESENT ? 0 : presence == hal::MMC_NODE_MISSING ? 2 : 1;
	tapp_result_byte(r, answer);
	return 0;
}

int tapp_mmc_test(tapp_record *r)
{
	tapp_result_byte(r, hal::mmc_transfer_test() == 0 ? 1 : 0);
	return 0;
}

int tapp_mmc_size(tapp_record *r)
{
	int size = hal::mmc_get_size();
	size_t used = strnlen(r->result, sizeof r->result);
	char *tail = r->result + used;
	size_t room = sizeof r->result - used;
	if (size >= 0) {
		std::snprintf(tail, room, "Error Message=Non\r\nAPI status=ok\r\nSize=%d\r\n", size);
		r->result_len = 1;
	} else {
		std::snprintf(tail, room, "Error Message=no sd card\r\nAPI status=error\r\nSize=%d\r\n", size);
	}
	return 0;
}

}  // namespace ftm
