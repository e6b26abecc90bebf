// The colour processing record's layout: each value in its own half word,
// masked to its field's width, and read back with its sign.
#include <gtest/gtest.h>

#include "camera/vfe/colour_record.h"

using namespace cam;

TEST(ColourRecord, ConversionFieldsTakeTheirHalvesAndWidths)
{
	vfe_rec<60> r{};
	r.w.fill(0xFFFFFFFFu);
	colour_conversion_t m = {1, -1, 2, -2, 3, -3, 4, -4, 5, -5, 6, -6, 7, -7};
	colour_put_conversion(r, m);
	// Minus and plus of each coefficient share a word; 11 bits for the
	// chroma values, 12 for the luma ones.
	EXPECT_EQ(r.w[8], 0x07FF0001u);
	EXPECT_EQ(r.w[9], 0x07FE0002u);
	EXPECT_EQ(r.w[10], 0x07FD0003u);
	EXPECT_EQ(r.w[11], 0x07FC0004u);
	EXPECT_EQ(r.w[12], 0x07FB0005u);
	EXPECT_EQ(r.w[13], 0x0FFA0006u);
	EXPECT_EQ(r.w[14], 0x0FF90007u);
	// The correction part is not touched.
	for (size_t i = 1; i < 8; ++i)
		EXPECT_EQ(r.w[i], 0xFFFFFFFFu) << i;
	EXPECT_EQ(colour_get_conversion(r), m);
}

TEST(ColourRecord, ExtremesKeepTheirSign)
{
	vfe_rec<60> r{};
	colour_conversion_t m = {-1024, 1023, 0, 0, 0, 0, 0, 0, -1024, 1023, -2048, 2047, 0, -2048};
	colour_put_conversion(r, m);
	EXPECT_EQ(colour_get_conversion(r), m);
}

TEST(ColourRecord, CorrectionFieldsAndItsQ)
{
	vfe_rec<60> r{};
	r.w.fill(0xFFFFFFFFu);
	colour_correction_t m = {540, -148, -136, -274, 638, -102, -92, -154, 502, 5, -6, 7, 8};
	colour_put_correction(r, m);
	EXPECT_EQ(r.w[1], 0xF6C021Cu);
	EXPECT_EQ(r.w[2], 0x0005'0F78u);
	EXPECT_EQ(r.w[3], 0x27E0EEEu);
	EXPECT_EQ(r.w[4], 0x07FA'0F9Au);
	EXPECT_EQ(r.w[5], 0xF660FA4u);
	EXPECT_EQ(r.w[6], 0x0007'01F6u);
	EXPECT_EQ(r.w[7] & 3u, 1u);  // Q8
	EXPECT_EQ(r.w[8], 0xFFFFFFFFu);  // the conversion is not touched
	m[12] = 7;
	colour_put_correction(r, m);
	EXPECT_EQ(r.w[7] & 3u, 0u);
	m[12] = 10;
	colour_put_correction(r, m);
	EXPECT_EQ(r.w[7] & 3u, 3u);
}
