// The simulated board: a directory that stands for the phone's root file
// system, and a plain text board file that says what the hardware reports.
#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

namespace sim {

class Board {
public:
	// The process's board, rooted at $FTM_BOARD (the current directory if unset).
	static Board &get();

	explicit Board(std::string root);

	const std::string &root() const { return root_; }

	// Maps a phone path to its place in the board. Relative paths are kept.
	std::string map(std::string_view phone_path) const;

	// Values of board.conf, re-read whenever the file changes, so a test can
	// change the hardware under a running daemon.
	long num(std::string_view key, long fallback);
	double real(std::string_view key, double fallback);
	std::string text(std::string_view key, std::string_view fallback);
	// The board file's line that set the key (the last one counts), 0 if none.
	int line_of(std::string_view key);

	// Persistent device state under var/: written to a temporary file and
	// renamed, so a kill in the middle of a write leaves the old contents.
	std::string load_state(std::string_view name);
	bool save_state(std::string_view name, std::string_view data);
	// Removes the temporary files of saves that a killed process left in
	// var/; a live process's, and every stored value, are kept. The count.
	int remove_stale_temporaries();

	// The kernel log ring holds this many bytes, as the phone's does (a
	// shift of 17); a write beyond it drops the oldest bytes.
	static constexpr size_t kKmsgRing = size_t{1} << 17;

	// Appends a line to the board's kernel log, as a write to /dev/kmsg does.
	void kmsg_write(std::string_view text);
	// Reads (and with clear, empties) the kernel log; the klogctl of the board.
	std::string kmsg_read(bool clear);

	// Sleep scale from board.conf (time.scale), read once at start.
	double time_scale() const { return time_scale_; }

private:
	void refresh_locked();

	std::string root_;
	std::mutex mutex_;
	std::unordered_map<std::string, std::string> values_;
	std::unordered_map<std::string, int> lines_;
	struct FileStamp {
		long long mtime_ns = -1;
		long long size = -1;
		unsigned long long inode = 0;
		bool operator==(const FileStamp &) const = default;
	} stamp_;
	double time_scale_ = 1.0;
};

}  // namespace sim
