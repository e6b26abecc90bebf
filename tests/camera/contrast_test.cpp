// Contrast on a gamma table: the S-curves by step, and the table they make.
#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "camera/vfe/contrast.h"

namespace {

using cam::ipl_gamma_sigmoid;
using cam::ipl_set_contrast_Nentries;

std::vector<uint8_t> ramp()
{
	std::vector<uint8_t> t(1024);
	for (size_t i = 0; i < t.size(); ++i)
		t[i] = static_cast<uint8_t>(i * 255 / 1023);
	return t;
}

TEST(Contrast, CurvesAreSCurvesAboutTheMiddle)
{
	for (int32_t step = 0; step <= 10; ++step) {
		if (step == 5)
			continue;
		SCOPED_TRACE(step);
		const auto &c = ipl_gamma_sigmoid(step);
		EXPECT_EQ(c[0], 0u);
		EXPECT_EQ(c[255], 255u);
		EXPECT_NEAR(c[128], 128, 1);
		EXPECT_TRUE(std::is_sorted(c.begin(), c.end()));
		// Low steps lift the shadows and lower the highlights; high steps the reverse.
		if (step < 5) {
			EXPECT_GT(c[64], 64u);
			EXPECT_LT(c[200], 200u);
		} else {
			EXPECT_LT(c[64], 64u);
			EXPECT_GT(c[200], 200u);
		}
	}
	// By the exponent: 0.5 * (2 * 64 / 255)^e, of 255.
	EXPECT_EQ(ipl_gamma_sigmoid(0)[64], 90u);   // e 0.5
	EXPECT_EQ(ipl_gamma_sigmoid(10)[64], 24u);  // e 2.4
	EXPECT_EQ(ipl_gamma_sigmoid(10)[200], 238u);
}

TEST(Contrast, TableThroughTheCurveOfItsStep)
{
	std::vector<uint8_t> source = ramp(), result(1024, 0xEE);
	ASSERT_EQ(ipl_set_contrast_Nentries(2, 10, source, result), 0);
	const auto &c = ipl_gamma_sigmoid(2);
	for (size_t i = 0; i < source.size(); ++i)
		ASSERT_EQ(result[i], c[source[i]]) << i;
	EXPECT_GT(result[256], source[256]);  // step 2 is below neutral: flatter
	ASSERT_EQ(ipl_set_contrast_Nentries(8, 10, source, result), 0);
	EXPECT_LT(result[256], source[256]);
	EXPECT_EQ(result[1023], 255u);
}

TEST(Contrast, NeutralCopiesAndOutOfRangeRefuses)
{
	std::vector<uint8_t> source = ramp(), result(1024, 0xEE);
	ASSERT_EQ(ipl_set_contrast_Nentries(5, 10, source, result), 0);
	EXPECT_EQ(result, source);
	std::vector<uint8_t> untouched(1024, 0xEE);
	result = untouched;
	EXPECT_EQ(ipl_set_contrast_Nentries(11, 10, source, result), 1);
	EXPECT_EQ(ipl_set_contrast_Nentries(-1, 10, source, result), 1);
	EXPECT_EQ(ipl_set_contrast_Nentries(3, 10, {}, result), 1);
	EXPECT_EQ(ipl_set_contrast_Nentries(3, 10, source, {}), 1);
	EXPECT_EQ(result, untouched);
}

TEST(Contrast, EntriesByBitsWithinTheBuffers)
{
	std::vector<uint8_t> source = ramp(), result(1024, 0xEE);
	ASSERT_EQ(ipl_set_contrast_Nentries(5, 2, source, result), 0);  // 4 entries
	EXPECT_EQ(result[3], source[3]);
	EXPECT_EQ(result[4], 0xEE);
	ASSERT_EQ(ipl_set_contrast_Nentries(5, 32, source, result), 0);  // none
	EXPECT_EQ(result[4], 0xEE);
	std::vector<uint8_t> small(16, 0xEE);
	ASSERT_EQ(ipl_set_contrast_Nentries(5, 10, source, small), 0);  // the smaller buffer bounds it
	EXPECT_TRUE(std::equal(small.begin(), small.end(), source.begin()));
}

}  // namespace
