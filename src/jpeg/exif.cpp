// The Exif tag store: set, get, list and destroy tags by their place.
#include "jpeg/exif.h"

#include <cstdio>
#include <cstring>

namespace jpeg {

int exif_init(exif_info_obj_t *p_obj)
{
	if (!p_obj)
		return JPEGERR_ENULLPTR;
	auto store = make_nothrow<exif_info_t>();
	if (!store)
		return JPEGERR_EMALLOC;
	*p_obj = store.release();
	exif_add_defaults(*p_obj);
	return JPEGERR_SUCCESS;
}

namespace {

// Bytes behind the entry's pointer, or 0 when its value stands inline.
uint64_t exif_array_bytes(const exif_tag_entry_t &e)
{
	if (e.type == EXIF_ASCII || e.type == EXIF_UNDEFINED)
		return e.count;
	if (e.count > 1)
		return uint64_t(e.count) * tag_type_sizes[e.type];
	return 0;
}

}  // namespace

int exif_set_tag(exif_info_obj_t obj, uint32_t tag_id, const exif_tag_entry_t *p_entry)
{
	if (!obj)
		return JPEGERR_EUNINITIALIZED;
	uint32_t place = exif_tag_offset(tag_id);
	if (place >= EXIF_TAG_MAX_OFFSET) {
		fprintf(stderr, "exif_set_tag: invalid tag id: 0x%x\n", tag_id);
		return JPEGERR_EBADPARM;
	}
	// The old entry goes first, whatever becomes of the new one.
	obj->tags[place].reset();
	if (!p_entry)
		return JPEGERR_SUCCESS;
	if (p_entry->count == 0 || p_entry->type >= tag_type_sizes.size())
		return JPEGERR_EBADPARM;

	auto tag = make_nothrow<exif_tag_entry_ex_t>();
	if (!tag)
		return JPEGERR_EMALLOC;
	tag->entry = *p_entry;
	tag->tag_id = tag_id;
	uint64_t bytes = exif_array_bytes(*p_entry);
	if (exif_data_is_pointer(p_entry->type, p_entry->count) && !p_entry->data._ptr)
		return JPEGERR_ENULLPTR;
	if (p_entry->copy && bytes) {
		try {
			tag->owned.assign(static_cast<const uint8_t *>(p_entry->data._ptr),
			                  static_cast<const uint8_t *>(p_entry->data._ptr) + bytes);
		} catch (const std::exception &) {
			return JPEGERR_EMALLOC;
		}
		tag->entry.data._ptr = tag->owned.data();
	}
	obj->tags[place] = std::move(tag);
	return JPEGERR_SUCCESS;
}

int exif_get_tag(exif_info_obj_t obj, uint32_t tag_id, exif_tag_entry_t *p_entry)
{
	if (!obj)
		return JPEGERR_EUNINITIALIZED;
	if (!p_entry)
		return JPEGERR_EBADPARM;
	uint32_t place = exif_tag_offset(tag_id);
	if (place >= EXIF_TAG_MAX_OFFSET) {
		fprintf(stderr, "exif_get_tag: invalid tag id: 0x%x\n", tag_id);
		return JPEGERR_EBADPARM;
	}
	if (!obj->tags[place]) {
		fprintf(stderr, "exif_get_tag: requested tag (0x%x) is not present\n", tag_id);
		return JPEGERR_TAGABSENT;
	}
	*p_entry = obj->tags[place]->entry;
	return JPEGERR_SUCCESS;
}

int exif_list_tagid(exif_info_obj_t obj, uint32_t *p_tag_ids, uint32_t capacity, uint32_t *p_count)
{
	if (!obj)
		return JPEGERR_EUNINITIALIZED;
	if (capacity && !p_tag_ids)
		return JPEGERR_EBADPARM;
	uint32_t count = 0;
	for (const auto &tag : obj->tags) {
		if (!tag)
			continue;
		if (count < capacity)
			p_tag_ids[count] = tag->tag_id;
		count++;
	}
	if (p_count)
		*p_count = count;
	return JPEGERR_SUCCESS;
}

void exif_destroy(exif_info_obj_t *p_obj)
{
	if (!p_obj || !*p_obj)
		return;
	std::unique_ptr<exif_info_t>(*p_obj).reset();
	*p_obj = nullptr;
}

}  // namespace jpeg
