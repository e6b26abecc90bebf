// The board's memory card. board.conf says what is in the slot (mmc.*);
// the board's mount and umount tools record in var/mounts whether it is
// mounted on /sdcard, and keep its files in var/card while it is not.
#pragma once

#include <memory>
#include <sys/stat.h>
#include <sys/statfs.h>

#include "sim/device.h"

namespace sim {

class Board;

// stat of the card's block nodes: true when path is one of them, with
// *result (and errno) as stat would give them.
bool card_stat(Board &board, const char *path, struct stat *st, int *result);
// statfs of the mount point while the card is mounted: the card's geometry.
bool card_statfs(Board &board, const char *path, struct statfs *st, int *result);
// Level of the card-detect pin (GPIO 18): 0 while a card is in the slot.
constexpr long kCardDetectPin = 18;
int card_detect_level(Board &board);

// A file on a mounted card that is full or failing: a model whose writes
// (full) or reads (failing) fail. True when the card decides the open;
// *device may then be null, with errno set.
bool card_open(Board &board, const char *path, int flags, unsigned mode, std::unique_ptr<Device> *device);

}  // namespace sim
