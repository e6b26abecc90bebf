// The Exif tag store of one picture: a fixed array of 94 places, one per
// tag the writer knows, so that the writer can lay tags out by their place.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "jpeg/jpeg_common.h"

namespace jpeg {

// Exif field types.
constexpr uint32_t EXIF_BYTE = 1;
constexpr uint32_t EXIF_ASCII = 2;
constexpr uint32_t EXIF_SHORT = 3;
constexpr uint32_t EXIF_LONG = 4;
constexpr uint32_t EXIF_RATIONAL = 5;
constexpr uint32_t EXIF_UNDEFINED = 7;
constexpr uint32_t EXIF_SLONG = 9;
constexpr uint32_t EXIF_SRATIONAL = 10;

constexpr uint32_t EXIF_TAG_MAX_OFFSET = 94;  // places in the store

// Identifier: place in the high half, Exif tag number in the low half.
constexpr uint32_t exif_tag_offset(uint32_t id) { return id >> 16; }
constexpr uint16_t exif_tag_number(uint32_t id) { return static_cast<uint16_t>(id & 0xFFFF); }

struct rat_t {
	uint32_t num;
	uint32_t denom;
};
struct srat_t {
	int32_t num;
	int32_t denom;
};

// A single value stands inline; arrays, ASCII and UNDEFINED by pointer.
union exif_tag_data_t {
	uint8_t _byte;
	uint16_t _short;
	uint32_t _long;
	int32_t _slong;
	rat_t _rat;
	srat_t _srat;
	const char *_ascii;
	const uint8_t *_bytes;
	const uint16_t *_shorts;
	const uint32_t *_longs;
	const int32_t *_slongs;
	const rat_t *_rats;
	const srat_t *_srats;
	const void *_ptr;
};
static_assert(sizeof(exif_tag_data_t) == 8);

struct exif_tag_entry_t {
	uint32_t type;
	uint8_t copy;  // 1: the store keeps its own copy of the array
	uint32_t count;
	exif_tag_data_t data;
};

struct exif_tag_entry_ex_t {
	exif_tag_entry_t entry;
	uint32_t tag_id;
	std::vector<uint8_t> owned;  // the copy when `copy` is set
};

struct exif_info_t {
	std::array<std::unique_ptr<exif_tag_entry_ex_t>, EXIF_TAG_MAX_OFFSET> tags;
};
using exif_info_obj_t = exif_info_t *;

// Bytes of one element by Exif type 0 to 10.
constexpr std::array<uint32_t, 11> tag_type_sizes{0, 1, 1, 2, 4, 8, 0, 1, 0, 4, 8};

// True when the entry's data is a pointer rather than an inline value.
constexpr bool exif_data_is_pointer(uint32_t type, uint32_t count)
{
	return type == EXIF_ASCII || type == EXIF_UNDEFINED || count > 1;
}

int exif_init(exif_info_obj_t *p_obj);
int exif_set_tag(exif_info_obj_t obj, uint32_t tag_id, const exif_tag_entry_t *p_entry);
int exif_get_tag(exif_info_obj_t obj, uint32_t tag_id, exif_tag_entry_t *p_entry);
int exif_list_tagid(exif_info_obj_t obj, uint32_t *p_tag_ids, uint32_t capacity, uint32_t *p_count);
void exif_destroy(exif_info_obj_t *p_obj);

// exif_defaults
void exif_add_defaults(exif_info_obj_t obj);
struct exif_default_tag_t {
	uint32_t tag_id;
	exif_tag_entry_t entry;
};
// Not in the store: the writer puts these two into the interoperability IFD.
extern const exif_default_tag_t default_tag_interopindexstr;
extern const exif_default_tag_t default_tag_r98_version;

}  // namespace jpeg
