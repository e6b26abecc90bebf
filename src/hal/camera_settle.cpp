// Exposure moves the preview's luma and white balance its chroma on every
// frame until 3A is on target; the white balance moves slowly (a few
// percent of the way a frame), so a frame is compared with the one
// SETTLE_SPAN frames before it rather than with its neighbour.
#include "hal/camera_settle.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <mutex>

namespace hal {

namespace {

constexpr int SETTLE_SPAN = 10;        // frames between the two compared
constexpr int SETTLE_LUMA_STEP = 8;    // quarter levels of mean luma still taken as the same
constexpr int SETTLE_CHROMA_STEP = 1;  // quarter levels of mean Cb, Cr
constexpr int SETTLE_MAX_FRAMES = 150;
constexpr int SETTLE_GAP_MS = 8000;     // a preview that stops sending frames
constexpr int SETTLE_TOTAL_MS = 30000;  // a preview whose frames trickle in
constexpr int SAMPLE_STEP = 8;         // every 8th pixel of every 8th line

// Means of one frame in quarter levels.
struct means {
	int y = -1, cb = 0, cr = 0;
};

struct meter {
	std::mutex mutex;
	std::condition_variable frame;
	uint64_t count = 0;
	means last;
} preview;

}  // namespace

void settle_note_frame(const cam::msm_frame &f, int width, int height)
{
	if (!f.buffer || width < SAMPLE_STEP || height < SAMPLE_STEP)
		return;
	const auto *base = static_cast<const uint8_t *>(f.buffer);
	const uint8_t *y = base + f.y_off, *c = base + f.cbcr_off;
	auto w = static_cast<size_t>(width);
	uint64_t sy = 0, sb = 0, sr = 0, n = 0;
	for (int row = SAMPLE_STEP / 2; row < height; row += SAMPLE_STEP)
		for (int col = SAMPLE_STEP / 2; col < width; col += SAMPLE_STEP, ++n) {
			sy += y[static_cast<size_t>(row) * w + static_cast<size_t>(col)];
			// 4:2:0: one Cb, Cr pair a 2 x 2 block, on lines of the picture's width.
			const uint8_t *pair = c + static_cast<size_t>(row / 2) * w + static_cast<size_t>(col & ~1);
			sb += pair[0];
			sr += pair[1];
		}
	std::lock_guard lock(preview.mutex);
	preview.last = {static_cast<int>(sy * 4 / n), static_cast<int>(sb * 4 / n), static_cast<int>(sr * 4 / n)};
	++preview.count;
	preview.frame.notify_all();
}

settle_result wait_for_3a_settle()
{
	using clock = std::chrono::steady_clock;
	std::unique_lock lock(preview.mutex);
	auto last_call = clock::now() + std::chrono::milliseconds(SETTLE_TOTAL_MS);
	uint64_t first = preview.count, seen = first;
	std::array<means, SETTLE_SPAN> ring{};
	means now;
	for (;;) {
		// The settle counts frames, not time: a slow preview is waited for
		// as long as its frames keep coming, within the overall bound.
		auto deadline = std::min(last_call, clock::now() + std::chrono::milliseconds(SETTLE_GAP_MS));
		if (!preview.frame.wait_until(lock, deadline, [&] { return preview.count != seen; }))
			return {static_cast<int>(seen - first), now.y / 4, false};
		seen = preview.count;
		int frames = static_cast<int>(seen - first);
		now = preview.last;
		means &then = ring[static_cast<size_t>(frames % SETTLE_SPAN)];
		if (frames > SETTLE_SPAN && std::abs(now.y - then.y) <= SETTLE_LUMA_STEP &&
		    std::abs(now.cb - then.cb) <= SETTLE_CHROMA_STEP && std::abs(now.cr - then.cr) <= SETTLE_CHROMA_STEP)
			return {frames, now.y / 4, true};
		then = now;
		if (frames >= SETTLE_MAX_FRAMES)
			return {frames, now.y / 4, false};
	}
}

}  // namespace hal
