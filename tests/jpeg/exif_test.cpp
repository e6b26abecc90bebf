// The Exif tag store and the JPEG buffer.
#include <gtest/gtest.h>

#include <cstring>

#include "jpeg/exif.h"
#include "jpeg/jpeg_buffer.h"

using namespace jpeg;

namespace {

struct store {
	exif_info_obj_t obj = nullptr;
	store() { EXPECT_EQ(exif_init(&obj), 0); }
	~store() { exif_destroy(&obj); }
};

exif_tag_entry_t ascii(const char *text, uint32_t count, uint8_t copy = 0)
{
	exif_tag_entry_t e{EXIF_ASCII, copy, count, {}};
	e.data._ascii = text;
	return e;
}

}  // namespace

TEST(ExifStore, DefaultsAreSetInTheirPlaces)
{
	store s;
	std::vector<uint32_t> ids(94);
	uint32_t n = 0;
	ASSERT_EQ(exif_list_tagid(s.obj, ids.data(), 94, &n), 0);
	EXPECT_EQ(n, 16u);
	exif_tag_entry_t e{};
	ASSERT_EQ(exif_get_tag(s.obj, 0x21010F, &e), 0);
	EXPECT_EQ(e.type, EXIF_ASCII);
	EXPECT_EQ(e.count, 8u);
	EXPECT_STREQ(e.data._ascii, "SOC-AA");
	ASSERT_EQ(exif_get_tag(s.obj, 0x2E011A, &e), 0);
	EXPECT_EQ(e.data._rat.num, 72u);
	EXPECT_EQ(e.data._rat.denom, 1u);
	ASSERT_EQ(exif_get_tag(s.obj, 0x3C9101, &e), 0);
	EXPECT_EQ(e.type, EXIF_UNDEFINED);
	EXPECT_EQ(0, memcmp(e.data._bytes, "\1\2\3\0", 4));
	// A capacity smaller than the count still counts all.
	ids.assign(94, 0);
	ASSERT_EQ(exif_list_tagid(s.obj, ids.data(), 3, &n), 0);
	EXPECT_EQ(n, 16u);
	EXPECT_EQ(ids[3], 0u);
	EXPECT_EQ(exif_list_tagid(s.obj, nullptr, 3, &n), JPEGERR_EBADPARM);
}

TEST(ExifStore, SetGetAndRemove)
{
	store s;
	char text[] = "Example camera make";
	exif_tag_entry_t e = ascii(text, 20, 1);
	ASSERT_EQ(exif_set_tag(s.obj, 0x21010F, &e), 0);
	text[0] = 'X';  // the store kept its own copy
	exif_tag_entry_t got{};
	ASSERT_EQ(exif_get_tag(s.obj, 0x21010F, &got), 0);
	EXPECT_STREQ(got.data._ascii, "Example camera make");

	uint16_t shorts[3] = {1, 2, 3};
	exif_tag_entry_t arr{EXIF_SHORT, 1, 3, {}};
	arr.data._shorts = shorts;
	ASSERT_EQ(exif_set_tag(s.obj, 0x100001, &arr), 0);
	shorts[1] = 99;
	ASSERT_EQ(exif_get_tag(s.obj, 0x100001, &got), 0);
	EXPECT_EQ(got.data._shorts[1], 2);

	ASSERT_EQ(exif_set_tag(s.obj, 0x21010F, nullptr), 0);
	EXPECT_EQ(exif_get_tag(s.obj, 0x21010F, &got), JPEGERR_TAGABSENT);
}

TEST(ExifStore, BadTagsAreRefusedAndTheOldEntryIsGone)
{
	store s;
	exif_tag_entry_t e = ascii("x", 0);
	EXPECT_EQ(exif_set_tag(s.obj, 0x21010F, &e), JPEGERR_EBADPARM);  // count 0
	exif_tag_entry_t got{};
	EXPECT_EQ(exif_get_tag(s.obj, 0x21010F, &got), JPEGERR_TAGABSENT);

	exif_tag_entry_t bad_type{11, 0, 1, {}};
	EXPECT_EQ(exif_set_tag(s.obj, 0x220110, &bad_type), JPEGERR_EBADPARM);
	EXPECT_EQ(exif_get_tag(s.obj, 0x220110, &got), JPEGERR_TAGABSENT);

	exif_tag_entry_t no_data{EXIF_LONG, 1, 4, {}};  // an array without memory
	EXPECT_EQ(exif_set_tag(s.obj, 0x100001, &no_data), JPEGERR_ENULLPTR);

	exif_tag_entry_t one{EXIF_LONG, 0, 1, {}};
	EXPECT_EQ(exif_set_tag(s.obj, 94u << 16 | 1, &one), JPEGERR_EBADPARM);
	EXPECT_EQ(exif_set_tag(s.obj, 93u << 16 | 1, &one), 0);
	EXPECT_EQ(exif_get_tag(s.obj, 94u << 16 | 1, &got), JPEGERR_EBADPARM);
	EXPECT_EQ(exif_get_tag(s.obj, 93u << 16 | 1, nullptr), JPEGERR_EBADPARM);

	EXPECT_EQ(exif_set_tag(nullptr, 0x21010F, &one), JPEGERR_EUNINITIALIZED);
	EXPECT_EQ(exif_get_tag(nullptr, 0x21010F, &got), JPEGERR_EUNINITIALIZED);
	EXPECT_EQ(exif_init(nullptr), JPEGERR_ENULLPTR);
}

// ---- Buffers ----

namespace {

struct buffer {
	jpeg_buffer_t b = nullptr;
	buffer() { EXPECT_EQ(jpeg_buffer_init(&b), 0); }
	~buffer() { jpeg_buffer_destroy(&b); }
};

}  // namespace

TEST(JpegBuffer, OwnershipRules)
{
	buffer a, v;
	EXPECT_EQ(jpeg_buffer_allocate(a.b, 0, false), JPEGERR_EFAILED);
	ASSERT_EQ(jpeg_buffer_allocate(a.b, 1000, false), 0);
	EXPECT_EQ(jpeg_buffer_allocate(a.b, 1000, false), JPEGERR_EFAILED);  // already has memory
	uint8_t ext[16];
	EXPECT_EQ(jpeg_buffer_use_external_buffer(a.b, ext, 16, 0), JPEGERR_EFAILED);  // owns memory

	EXPECT_EQ(jpeg_buffer_attach_existing(v.b, a.b, 1000), JPEGERR_EFAILED);
	ASSERT_EQ(jpeg_buffer_attach_existing(v.b, a.b, 999), 0);
	EXPECT_EQ(v.b->ptr, a.b->ptr + 999);
	EXPECT_EQ(v.b->size, 1u);
	EXPECT_EQ(v.b->own, 0);

	uint32_t n = 0;
	EXPECT_EQ(jpeg_buffer_set_actual_size(a.b, 999), JPEGERR_EFAILED);  // below the capacity
	EXPECT_EQ(jpeg_buffer_set_actual_size(a.b, 1000), 0);
	EXPECT_EQ(jpeg_buffer_get_actual_size(a.b, &n), 0);
	EXPECT_EQ(n, 1000u);
	EXPECT_EQ(jpeg_buffer_set_actual_size(a.b, 5000), 0);
	EXPECT_EQ(jpeg_buffer_get_actual_size(a.b, &n), 0);
	EXPECT_LE(n, 1000u);  // never past the memory

	buffer e;
	EXPECT_EQ(jpeg_buffer_use_external_buffer(e.b, nullptr, 16, 0), JPEGERR_EFAILED);
	ASSERT_EQ(jpeg_buffer_use_external_buffer(e.b, ext, 16, 0), 0);
	EXPECT_EQ(jpeg_buffer_get_pmem_fd(e.b), -1);
	EXPECT_EQ(jpeg_buffer_reset(e.b), 0);  // not owned: nothing freed
	EXPECT_EQ(e.b->ptr, nullptr);
	EXPECT_EQ(jpeg_buffer_get_pmem_fd(nullptr), -1);
	EXPECT_EQ(jpeg_buffer_init(nullptr), JPEGERR_ENULLPTR);
}

TEST(JpegBuffer, PmemComesWithAPhysicalAddress)
{
	// The board's pmem device names each region by a physical address.
	buffer a;
	ASSERT_EQ(jpeg_buffer_allocate(a.b, 5000, true), JPEGERR_SUCCESS);
	EXPECT_NE(a.b->ptr, nullptr);
	EXPECT_GT(a.b->pmem_fd, 0);
	EXPECT_NE(a.b->phy_addr, 0u);
	a.b->ptr[4999] = 0x5A;  // the memory is ours
}

TEST(JpegBuffer, HandOverBetweenThreads)
{
	buffer a;
	ASSERT_EQ(jpeg_buffer_allocate(a.b, 64, false), 0);
	EXPECT_EQ(a.b->empty, 1);
	jpeg_buffer_mark_filled(a.b);
	std::thread consumer([&] {
		jpeg_buffer_wait_until_filled(a.b);
		a.b->ptr[0] = 42;
		jpeg_buffer_mark_empty(a.b);
	});
	jpeg_buffer_wait_until_empty(a.b);
	consumer.join();
	EXPECT_EQ(a.b->ptr[0], 42);
	jpeg_buffer_mark_busy(a.b);
	EXPECT_EQ(a.b->busy, 1);
	jpeg_buffer_wait_until_empty(a.b);  // busy takes no part in the wait
}
