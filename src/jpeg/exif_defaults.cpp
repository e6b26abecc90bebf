// The tags every picture carries unless the client replaces them.
#include <array>

#include "jpeg/exif.h"

namespace jpeg {
namespace {

constexpr exif_default_tag_t ascii(uint32_t id, const char *text, uint32_t count)
{
	exif_default_tag_t t{id, {EXIF_ASCII, 0, count, {}}};
	t.entry.data._ascii = text;
	return t;
}
constexpr exif_default_tag_t undefined(uint32_t id, const uint8_t *bytes)
{
	exif_default_tag_t t{id, {EXIF_UNDEFINED, 0, 4, {}}};
	t.entry.data._bytes = bytes;
	return t;
}
constexpr exif_default_tag_t short1(uint32_t id, uint16_t v)
{
	exif_default_tag_t t{id, {EXIF_SHORT, 0, 1, {}}};
	t.entry.data._short = v;
	return t;
}
constexpr exif_default_tag_t rational1(uint32_t id, uint32_t num, uint32_t denom)
{
	exif_default_tag_t t{id, {EXIF_RATIONAL, 0, 1, {}}};
	t.entry.data._rat = {num, denom};
	return t;
}

// Sized as their counts say: the count takes in the padding zeros.
constexpr char make[8] = "SOC-AA";
constexpr char model[8] = "CAM-AA";
constexpr uint8_t exif_version[4] = {'0', '2', '2', '0'};
constexpr uint8_t flash_pix_version[4] = {'0', '1', '0', '0'};
constexpr uint8_t components_config[4] = {1, 2, 3, 0};
constexpr uint8_t r98_version[4] = {'0', '1', '0', '0'};

constexpr auto default_tag_make = ascii(0x21010F, make, sizeof make);
constexpr auto default_tag_model = ascii(0x220110, model, sizeof model);
constexpr auto default_tag_datetime_original = ascii(0x3A9003, "2002:12:08 12:00:00", 20);
constexpr auto default_tag_datetime_digitized = ascii(0x3B9004, "2002:12:08 12:00:00", 20);
constexpr auto default_tag_exif_version = undefined(0x399000, exif_version);
constexpr auto default_tag_flash_pix_version = undefined(0x48A000, flash_pix_version);
constexpr auto default_tag_components_config = undefined(0x3C9101, components_config);
constexpr auto default_tag_resolution_unit = short1(0x260128, 2);
constexpr auto default_tag_tn_resolution_unit = short1(0x300128, 2);
constexpr auto default_tag_tn_compression = short1(0x290103, 6);
constexpr auto default_tag_tn_exif_x_resolution = rational1(0x2E011A, 72, 1);
constexpr auto default_tag_tn_exif_y_resolution = rational1(0x2F011B, 72, 1);
constexpr auto default_tag_exif_x_resolution = rational1(0x24011A, 72, 1);
constexpr auto default_tag_exif_y_resolution = rational1(0x25011B, 72, 1);
constexpr auto default_tag_ycbcr_positioning = short1(0x280213, 1);
constexpr auto default_tag_color_space = short1(0x49A001, 1);

// In the order they are set.
constexpr std::array<const exif_default_tag_t *, 16> default_tags{
    &default_tag_make,
    &default_tag_model,
    &default_tag_datetime_original,
    &default_tag_datetime_digitized,
    &default_tag_exif_version,
    &default_tag_flash_pix_version,
    &default_tag_components_config,
    &default_tag_resolution_unit,
    &default_tag_tn_resolution_unit,
    &default_tag_tn_compression,
    &default_tag_tn_exif_x_resolution,
    &default_tag_tn_exif_y_resolution,
    &default_tag_exif_x_resolution,
    &default_tag_exif_y_resolution,
    &default_tag_ycbcr_positioning,
    &default_tag_color_space,
};

}  // namespace

const exif_default_tag_t default_tag_interopindexstr = ascii(0x5E0001, "R98", 4);
const exif_default_tag_t default_tag_r98_version = undefined(0x5E0002, r98_version);

void exif_add_defaults(exif_info_obj_t obj)
{
	for (const exif_default_tag_t *t : default_tags)
		exif_set_tag(obj, t->tag_id, &t->entry);
}

}  // namespace jpeg
