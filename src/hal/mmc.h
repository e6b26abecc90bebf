// The memory card: presence by the detect pin and the block device, a
// write-and-read-back test on the mounted card, and its size.
#pragma once

namespace hal {

constexpr int MMC_DETECT_PIN = 18;  // 0 while a card is in
constexpr char MMC_DISK[] = "/dev/block/mmcblk0";
constexpr char MMC_PARTITION[] = "/dev/block/mmcblk0p1";
constexpr char MMC_MOUNT_POINT[] = "/sdcard";
constexpr char MMC_TEST_FILE[] = "ftm_test_mmc_transfer";
constexpr char MMC_TEST_PATTERN[] = "0123456789";

constexpr int MMC_PRESENT = 0;
constexpr int MMC_ABSENT = 1;
constexpr int MMC_NODE_MISSING = 2;

// Size in whole gigabytes from the last transfer test; -1 when unknown.
extern int SD_SIZE_GB;
// Back to the start state (for tests).
void mmc_reset();

int mmc_mount(const char *device, const char *directory);
int mmc_umount(const char *directory);
int makedir(int create);

// MMC_PRESENT, MMC_ABSENT or MMC_NODE_MISSING; may wait up to 8 s for the node.
int mmc_ex_test();
// 0 if the pattern was written to the card and read back, else 1.
int mmc_transfer_test();
// Runs the transfer test: -1 on failure, else SD_SIZE_GB.
int mmc_get_size();

// The FQC card screen: insert, transfer, remove. Bound to no menu row.
void fqc_mmc_test();

}  // namespace hal
