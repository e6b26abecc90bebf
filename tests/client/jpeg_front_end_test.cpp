// The JPEG front end on the board's pmem: one call encodes a snapshot's
// thumbnail and main picture; the DSP's JPEG task takes the job first, and
// its file is the software engine's to the byte.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "camera/config/config.h"
#include "hal/jpeg_encoder.h"
#include "sim/jpeg_task.h"
#include "station/board.h"
#include "unit_board.h"

namespace {

const std::string &board_dir() { return clienttest::unit_board(); }

std::mutex mutex;
std::condition_variable cond;
std::vector<uint8_t> file;
bool done = false;

// A second encoding asked for from inside the first one's output.
const cam::cam_ctrl_dimension_t *again_dimension = nullptr;
int again_result = -1;

void fragment(uint8_t *data, uint32_t size)
{
	if (again_dimension) {
		again_result = hal::jpeg_encoder_encode("/data", again_dimension, data, 0, data, 0, nullptr, 0);
		again_dimension = nullptr;
	}
	std::lock_guard lock(mutex);
	file.insert(file.end(), data, data + size);
}

void finished(int, uint32_t, uint8_t *, int, uint32_t, uint8_t *)
{
	std::lock_guard lock(mutex);
	done = true;
	cond.notify_all();
}

struct picture {
	int fd = -1;
	uint8_t *ptr = nullptr;
	uint32_t bytes = 0;
	picture(uint32_t w, uint32_t h) : bytes(w * h * 2)
	{
		ptr = static_cast<uint8_t *>(cam::do_mmap(bytes, &fd));
		if (!ptr)
			return;
		// Luma gradient, then CrCb pairs at the next word.
		for (uint32_t y = 0; y < h; ++y)
			for (uint32_t x = 0; x < w; ++x)
				ptr[y * w + x] = static_cast<uint8_t>((x * 255 / w + y) & 0xFF);
		uint8_t *c = ptr + ((w * h + 3) & ~3u);
		for (uint32_t i = 0; i < w * h / 2; i += 2) {
			c[i] = static_cast<uint8_t>(96 + i % 64);
			c[i + 1] = static_cast<uint8_t>(160 - i % 48);
		}
	}
	~picture()
	{
		if (ptr)
			cam::do_munmap(fd, ptr, bytes);
	}
};

// Encodes one snapshot through the front end; the file, empty on failure.
std::vector<uint8_t> encode(bool dsp_present, const uint32_t *scaling = nullptr, bool ask_again = false)
{
	station::set_board_value(board_dir(), "jpeg_dsp.missing", dsp_present ? "0" : "1");
	cam::cam_ctrl_dimension_t d{};
	d.orig_picture_dx = 320;
	d.orig_picture_dy = 240;
	d.thumbnail_width = 160;
	d.thumbnail_height = 112;
	picture main(320, 240), thumb(160, 112);
	if (!main.ptr || !thumb.ptr)
		return {};
	{
		std::lock_guard lock(mutex);
		file.clear();
		done = false;
	}
	EXPECT_EQ(hal::jpeg_encoder_init(), 1);
	again_result = -1;
	again_dimension = ask_again ? &d : nullptr;
	hal::jpeg_encoder_set_callbacks(fragment, finished);
	EXPECT_EQ(hal::jpeg_encoder_encode("/data", &d, thumb.ptr, thumb.fd, main.ptr, main.fd, scaling, 0), 1);
	std::unique_lock lock(mutex);
	bool ended = cond.wait_for(lock, std::chrono::seconds(30), [] { return done; });
	lock.unlock();
	hal::jpeg_encoder_join();
	EXPECT_TRUE(ended) << "the encoding never finished";
	return ended ? file : std::vector<uint8_t>{};
}

TEST(JpegFrontEnd, DspTaskEncodesFirstAndMatchesTheSoftwareEngine)
{
	board_dir();
	uint64_t before = sim::jpeg_task_jobs();
	std::vector<uint8_t> dsp = encode(true);
	EXPECT_EQ(sim::jpeg_task_jobs(), before + 2);  // thumbnail and main picture
	std::vector<uint8_t> sw = encode(false);
	EXPECT_EQ(sim::jpeg_task_jobs(), before + 2);
	ASSERT_GT(dsp.size(), 4u);
	EXPECT_EQ(dsp[0], 0xFF);
	EXPECT_EQ(dsp[1], 0xD8);
	EXPECT_EQ(dsp[dsp.size() - 2], 0xFF);
	EXPECT_EQ(dsp.back(), 0xD9);
	EXPECT_TRUE(dsp == sw) << "DSP file " << dsp.size() << " bytes, software file " << sw.size();
}

TEST(JpegFrontEnd, ASecondEncodingDuringTheFirstIsRefused)
{
	board_dir();
	std::vector<uint8_t> f = encode(true, nullptr, true);
	EXPECT_EQ(again_result, 0);
	EXPECT_GT(f.size(), 4u);
}

uint32_t u16(const std::array<uint8_t, 624> &m, size_t off) { return m[off] | m[off + 1] << 8; }

TEST(JpegFrontEnd, ScalingOnlyWithAllEightWordsSet)
{
	board_dir();
	const uint32_t half[8] = {1, 2, 1, 2, 1, 1, 1, 1};
	encode(true, half);
	auto m = sim::jpeg_task_last_config();  // the main picture's, sent last
	EXPECT_EQ(u16(m, 360), 160u);           // input width: half of 320
	EXPECT_EQ(u16(m, 362), 0x8000u | 120u);  // input height, scaling on
	EXPECT_EQ(u16(m, 364), 80u);            // centred
	const uint32_t one_zero[8] = {1, 2, 1, 2, 1, 1, 1, 0};
	encode(true, one_zero);
	m = sim::jpeg_task_last_config();
	EXPECT_EQ(u16(m, 362) & 0x8000u, 0u);
}

TEST(JpegFrontEnd, MainQualityTakesAtMostAHundred)
{
	EXPECT_TRUE(hal::jpeg_encoder_setMainImageQuality(100));
	EXPECT_FALSE(hal::jpeg_encoder_setMainImageQuality(101));
	EXPECT_TRUE(hal::jpeg_encoder_setMainImageQuality(75));
}

}  // namespace
