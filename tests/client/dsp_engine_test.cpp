// The DSP engine's refusals and its configuration message, against the
// board's JPEG task.
#include <gtest/gtest.h>

#include "jpeg/jpege_engine_dsp.h"
#include "jpeg_client.h"
#include "sim/jpeg_task.h"
#include "unit_board.h"

namespace {

using namespace jpeg;

jpeg_client::yuv_image picture(uint32_t w, uint32_t h, uint32_t format = YCRCBLP_H2V2)
{
	jpeg_client::yuv_image img{w, h, format, std::vector<uint8_t>(size_t(w) * h),
				   std::vector<uint8_t>(jpeg_client::chroma_bytes(format, w, h))};
	for (size_t i = 0; i < img.luma.size(); ++i)
		img.luma[i] = static_cast<uint8_t>(i * 3);
	for (size_t i = 0; i < img.chroma.size(); ++i)
		img.chroma[i] = static_cast<uint8_t>(100 + i % 50);
	return img;
}

jpeg_client::result encode(const jpeg_client::yuv_image &img, uint32_t preference)
{
	clienttest::unit_board();
	jpeg_client::options opt;
	opt.preference = preference;
	return jpeg_client::encode(img, opt, std::chrono::seconds(30));
}

uint32_t u16(const std::array<uint8_t, 624> &m, size_t off) { return m[off] | m[off + 1] << 8; }

TEST(DspEngine, OneSliceUpTo144RowsFourFrom145)
{
	auto r = encode(picture(64, 144), JPEG_ENCODER_PREF_DSP_ONLY);
	ASSERT_EQ(r.start_rc, 0);
	ASSERT_TRUE(r.finished);
	auto m = sim::jpeg_task_last_config();
	EXPECT_EQ(m[5] >> 2, 1);  // fragment count
	EXPECT_EQ(u16(m, 16), 144u);

	r = encode(picture(64, 160), JPEG_ENCODER_PREF_DSP_ONLY);
	ASSERT_EQ(r.start_rc, 0);
	m = sim::jpeg_task_last_config();
	EXPECT_EQ(m[5] >> 2, 4);
	EXPECT_EQ(u16(m, 16), 40u);  // slice height
	uint32_t luma0 = u16(m, 20) | u16(m, 22) << 16, luma1 = u16(m, 28) | u16(m, 30) << 16;
	uint32_t chroma0 = u16(m, 24) | u16(m, 26) << 16, chroma1 = u16(m, 32) | u16(m, 34) << 16;
	EXPECT_EQ(luma1 - luma0, 40u * 64);
	EXPECT_EQ(chroma1 - chroma0, 20u * 64);  // H2V2 chroma slices are half as tall
	EXPECT_EQ(u16(m, 12), 160u);
	EXPECT_EQ(u16(m, 14), 64u);
}

TEST(DspEngine, QuantTablesGoAsReciprocals)
{
	auto r = encode(picture(32, 32), JPEG_ENCODER_PREF_DSP_ONLY);
	ASSERT_EQ(r.start_rc, 0);
	auto m = sim::jpeg_task_last_config();
	// Quality 90 scales the first luma value 16 to 3 (16 / 5 + 0.5).
	EXPECT_EQ(u16(m, 104), 65535u / 3);
}

TEST(DspEngine, RefusesWhatItCannotTakeAndSoftwareServes)
{
	uint64_t jobs = sim::jpeg_task_jobs();
	// H1V1 is not the DSP's.
	EXPECT_EQ(encode(picture(32, 32, YCRCBLP_H1V1), JPEG_ENCODER_PREF_DSP_ONLY).start_rc, JPEGERR_EUNSUPPORTED);
	// 15 rows short of its padded height.
	EXPECT_EQ(encode(picture(32, 17), JPEG_ENCODER_PREF_DSP_ONLY).start_rc, JPEGERR_EUNSUPPORTED);
	auto r = encode(picture(32, 17), JPEG_ENCODER_PREF_DSP_ACCELERATED);
	EXPECT_EQ(r.start_rc, 0);
	EXPECT_TRUE(r.finished);
	EXPECT_EQ(sim::jpeg_task_jobs(), jobs);  // none of these reached the DSP
}

TEST(DspEngine, ARefusedStartFails)
{
	station::set_board_value(clienttest::unit_board(), "jpeg_dsp.mode", "refuse");
	auto r = encode(picture(32, 32), JPEG_ENCODER_PREF_DSP_ONLY);
	station::set_board_value(clienttest::unit_board(), "jpeg_dsp.mode", "normal");
	EXPECT_NE(r.start_rc, 0);
}

}  // namespace
