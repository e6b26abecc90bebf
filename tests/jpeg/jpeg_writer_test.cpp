// The file header: Exif IFDs read back by offset, the thumbnail and its drop
// rule, the frame header under rotation, JFIF form, and a scratch overflow.
#include <gtest/gtest.h>

#include "jpeg/exif.h"
#include "jpeg_check.h"

using namespace jpeg_check;
namespace jc = jpeg_client;

namespace {

struct exif_store {
	jpeg::exif_info_obj_t obj = nullptr;
	exif_store() { jpeg::exif_init(&obj); }
	~exif_store() { jpeg::exif_destroy(&obj); }
	void set(uint32_t id, uint32_t type, uint32_t count, const void *data)
	{
		jpeg::exif_tag_entry_t e{type, 1, count, {}};
		e.data._ptr = data;
		ASSERT_EQ(jpeg::exif_set_tag(obj, id, &e), 0);
	}
};

struct parsed {
	layout l;
	tiff t;
	std::map<uint16_t, ifd_entry> ifd0, exif, interop, gps, ifd1;
	uint32_t ifd0_next = 0, ifd1_next = 0;
};

parsed parse(const std::vector<uint8_t> &f)
{
	parsed p;
	p.l = parse_layout(f);
	const segment *app1 = find(p.l, 0xE1);
	if (!app1)
		return p;
	EXPECT_EQ(0, memcmp(f.data() + app1->at + 4, "Exif\0\0", 6));
	p.t = {&f, app1->at + 10};
	EXPECT_EQ(p.t.u16(0), 0x4D4D);
	EXPECT_EQ(p.t.u16(2), 0x002A);
	EXPECT_EQ(p.t.u32(4), 8u);
	p.ifd0 = p.t.ifd(8, &p.ifd0_next);
	p.exif = p.t.ifd(p.ifd0.at(0x8769).value);
	p.gps = p.t.ifd(p.ifd0.at(0x8825).value);
	p.interop = p.t.ifd(p.exif.at(0xA005).value);
	if (p.ifd0_next)
		p.ifd1 = p.t.ifd(p.ifd0_next, &p.ifd1_next);
	return p;
}

jc::result run(const yuv_image &img, const jc::options &opt)
{
	jc::result r = jc::encode(img, opt);
	EXPECT_EQ(r.start_rc, 0);
	EXPECT_TRUE(r.finished);
	return r;
}

}  // namespace

TEST(JpegWriter, ExifLayoutWithDefaults)
{
	yuv_image img = make_picture(64, 48, jpeg::YCRCBLP_H2V2);
	jc::result r = run(img, {});
	parsed p = parse(r.bytes);
	const segment *app1 = find(p.l, 0xE1);
	ASSERT_NE(app1, nullptr);
	EXPECT_EQ(p.l.segments[0].marker, 0xD8);
	EXPECT_EQ(p.l.segments[1].marker, 0xE1);
	std::vector<uint8_t> order;
	for (const segment &s : p.l.segments)
		order.push_back(s.marker);
	EXPECT_EQ(order, (std::vector<uint8_t>{0xD8, 0xE1, 0xDB, 0xC0, 0xC4, 0xDA}));

	std::vector<uint16_t> tags0;
	for (auto &[tag, e] : p.ifd0)
		tags0.push_back(tag);
	EXPECT_EQ(tags0, (std::vector<uint16_t>{0x010F, 0x0110, 0x011A, 0x011B, 0x0128, 0x0213, 0x8769, 0x8825}));
	EXPECT_EQ(p.ifd0_next, 0u);  // no thumbnail
	EXPECT_EQ(p.t.ascii(p.ifd0.at(0x010F)), "SOC-AA");
	EXPECT_EQ(p.t.ascii(p.ifd0.at(0x0110)), "CAM-AA");
	EXPECT_EQ(p.t.u32(p.ifd0.at(0x011A).value), 72u);
	EXPECT_EQ(p.t.u32(p.ifd0.at(0x011A).value + 4), 1u);
	EXPECT_EQ(p.ifd0.at(0x0128).value >> 16, 2u);  // SHORT, left-justified

	EXPECT_EQ(p.t.ascii(p.exif.at(0x9003)), "2002:12:08 12:00:00");
	EXPECT_EQ(p.exif.at(0x9000).value, 0x30323230u);  // "0220" inline
	EXPECT_EQ(p.exif.at(0xA002).value, 64u);
	EXPECT_EQ(p.exif.at(0xA003).value, 48u);
	EXPECT_EQ(p.exif.at(0xA001).value >> 16, 1u);
	EXPECT_EQ(p.t.ascii(p.interop.at(0x0001)), "R98");
	EXPECT_EQ(p.interop.at(0x0002).value, 0x30313030u);
	EXPECT_TRUE(p.gps.empty());
	// Pointers to IFDs that follow padding are even.
	EXPECT_EQ(p.ifd0.at(0x8769).value % 2, 0u);
	EXPECT_EQ(p.ifd0.at(0x8825).value % 2, 0u);
	// The APP1 length runs to the next marker.
	EXPECT_EQ(app1->at + 2 + app1->length, p.l.segments[2].at);
	decoded d = decode(r.bytes);
	EXPECT_TRUE(d.ok);
	EXPECT_EQ(d.warnings, 0);
}

// Every default tag as the file carries it: its IFD, type, count and all
// its bytes (big-endian, NULs included), typed from the defaults' table.
enum where { IFD0, EXIF, INTEROP, IFD1 };
struct default_tag {
	where ifd;
	uint16_t tag, type;
	uint32_t count;
	std::string bytes;
};
using namespace std::string_literals;
const std::string kRational72 = "\0\0\0\x48\0\0\0\x01"s;
const default_tag kDefaultTags[] = {
	{IFD0, 0x010F, 2, 8, "SOC-AA\0\0"s},
	{IFD0, 0x0110, 2, 8, "CAM-AA\0\0"s},
	{IFD0, 0x011A, 5, 1, kRational72},
	{IFD0, 0x011B, 5, 1, kRational72},
	{IFD0, 0x0128, 3, 1, "\0\x02"s},
	{IFD0, 0x0213, 3, 1, "\0\x01"s},
	{EXIF, 0x9003, 2, 20, "2002:12:08 12:00:00\0"s},
	{EXIF, 0x9004, 2, 20, "2002:12:08 12:00:00\0"s},
	{EXIF, 0x9000, 7, 4, "0220"},
	{EXIF, 0xA000, 7, 4, "0100"},
	{EXIF, 0x9101, 7, 4, "\x01\x02\x03\0"s},
	{EXIF, 0xA001, 3, 1, "\0\x01"s},
	{INTEROP, 0x0001, 2, 4, "R98\0"s},
	{INTEROP, 0x0002, 7, 4, "0100"},
	{IFD1, 0x0103, 3, 1, "\0\x06"s},
	{IFD1, 0x0128, 3, 1, "\0\x02"s},
	{IFD1, 0x011A, 5, 1, kRational72},
	{IFD1, 0x011B, 5, 1, kRational72},
};

TEST(JpegWriter, EveryDefaultTagByTypeCountAndBytes)
{
	yuv_image img = make_picture(320, 240, jpeg::YCBCRLP_H2V2);
	yuv_image tn = jc::downscale(img, 80, 60);
	jc::options opt;
	opt.thumbnail = &tn;
	jc::result r = run(img, opt);
	parsed p = parse(r.bytes);
	const std::map<uint16_t, ifd_entry> *ifds[] = {&p.ifd0, &p.exif, &p.interop, &p.ifd1};
	for (const default_tag &d : kDefaultTags) {
		SCOPED_TRACE(testing::Message() << "IFD " << d.ifd << " tag 0x" << std::hex << d.tag);
		auto it = ifds[d.ifd]->find(d.tag);
		ASSERT_NE(it, ifds[d.ifd]->end());
		EXPECT_EQ(it->second.type, d.type);
		EXPECT_EQ(it->second.count, d.count);
		EXPECT_EQ(p.t.bytes(it->second), d.bytes);
	}
}

TEST(JpegWriter, InlineAndOutOfLineValues)
{
	exif_store s;
	s.set(0x21010F, jpeg::EXIF_ASCII, 4, "ABC");     // exactly 4: inline
	s.set(0x220110, jpeg::EXIF_ASCII, 5, "ABCD");    // 5: data area
	s.set(0x200000 | 0x010E, jpeg::EXIF_ASCII, 7, "odd..."); // odd length: the next item is padded
	const uint16_t two[2] = {0x1234, 0x5678};
	s.set(0x270000 | 0x0212, jpeg::EXIF_SHORT, 2, two);  // two shorts: inline
	jpeg::exif_tag_entry_t bias{jpeg::EXIF_SRATIONAL, 0, 1, {}};  // a single value stands inline
	bias.data._srat = {-1, 3};
	ASSERT_EQ(jpeg::exif_set_tag(s.obj, 0x4D0000 | 0x9204, &bias), 0);
	yuv_image img = make_picture(32, 32, jpeg::YCRCBLP_H2V2);
	jc::options opt;
	opt.exif = s.obj;
	jc::result r = run(img, opt);
	parsed p = parse(r.bytes);
	EXPECT_EQ(p.ifd0.at(0x010F).value, 0x41424300u);
	EXPECT_EQ(p.t.ascii(p.ifd0.at(0x0110)), "ABCD");
	EXPECT_EQ(p.t.ascii(p.ifd0.at(0x010E)), "odd...");
	EXPECT_EQ(p.ifd0.at(0x0212).value, 0x12345678u);
	for (auto &[tag, e] : p.ifd0) {
		if (e.count * (e.type == 5 ? 8 : e.type == 3 ? 2 : 1) > 4) {
			EXPECT_EQ(e.value % 2, 0u) << std::hex << tag;
		}
	}
	EXPECT_EQ(int32_t(p.t.u32(p.exif.at(0x9204).value)), -1);
	EXPECT_EQ(p.t.u32(p.exif.at(0x9204).value + 4), 3u);
	EXPECT_EQ(decode(r.bytes).warnings, 0);
}

TEST(JpegWriter, TagOfAnUnwritableTypeIsLeftOut)
{
	exif_store s;
	const uint8_t v = 1;
	s.set(0x230000 | 0x0112, 6, 1, &v);  // SBYTE has no size in the table
	jc::options opt;
	opt.exif = s.obj;
	jc::result r = run(make_picture(16, 16, jpeg::YCRCBLP_H2V2), opt);
	parsed p = parse(r.bytes);
	EXPECT_EQ(p.ifd0.count(0x0112), 0u);
	EXPECT_EQ(p.t.ascii(p.ifd0.at(0x0110)), "CAM-AA");  // the records after it stand whole
	EXPECT_TRUE(decode(r.bytes).ok);
}

TEST(JpegWriter, RotationSwapsFrameAndPixelDimensions)
{
	yuv_image img = make_picture(640, 480, jpeg::YCRCBLP_H2V1);
	jc::options opt;
	opt.rotation = 90;
	jc::result r = run(img, opt);
	parsed p = parse(r.bytes);
	const segment *sof = find(p.l, 0xC0);
	ASSERT_NE(sof, nullptr);
	const uint8_t *f = r.bytes.data() + sof->at;
	EXPECT_EQ(f[5] << 8 | f[6], 640);  // height
	EXPECT_EQ(f[7] << 8 | f[8], 480);  // width
	EXPECT_EQ(f[11], 0x12);            // H2V1 turned
	EXPECT_EQ(p.exif.at(0xA002).value, 480u);
	EXPECT_EQ(p.exif.at(0xA003).value, 640u);
}

TEST(JpegWriter, ThumbnailStandsInIfd1AndDecodes)
{
	yuv_image img = make_picture(320, 240, jpeg::YCBCRLP_H2V2);
	yuv_image tn = jc::downscale(img, 80, 60);
	jc::options opt;
	opt.thumbnail = &tn;
	jc::result r = run(img, opt);
	EXPECT_EQ(r.events, std::vector<int>{jpeg::JPEG_EVENT_DONE});
	parsed p = parse(r.bytes);
	ASSERT_NE(p.ifd0_next, 0u);
	EXPECT_EQ(p.ifd0_next % 2, 0u);
	EXPECT_EQ(p.ifd1_next, 0u);
	EXPECT_EQ(p.ifd1.at(0x0103).value >> 16, 6u);
	uint32_t at = p.ifd1.at(0x0201).value, len = p.ifd1.at(0x0202).value;
	size_t start = p.t.base + at;
	ASSERT_LE(start + len, r.bytes.size());
	std::vector<uint8_t> thumb(r.bytes.begin() + long(start), r.bytes.begin() + long(start + len));
	EXPECT_EQ(thumb[0], 0xFF);
	EXPECT_EQ(thumb[1], 0xD8);
	EXPECT_EQ(thumb[len - 2], 0xFF);
	EXPECT_EQ(thumb[len - 1], 0xD9);
	decoded dt = decode(thumb);
	EXPECT_TRUE(dt.ok) << dt.message;
	EXPECT_EQ(dt.warnings, 0);
	EXPECT_EQ(dt.width, 80u);
	EXPECT_GT(psnr(dt.p, split(tn)), 30.0);
	const segment *app1 = find(p.l, 0xE1);
	EXPECT_EQ(app1->at + 2 + app1->length, start + len);  // the thumbnail ends the segment
	decoded d = decode(r.bytes);
	EXPECT_EQ(d.warnings, 0);
	EXPECT_GT(psnr(d.p, split(img)), 35.0);
}

namespace {

yuv_image noise(uint32_t w, uint32_t h, uint32_t seed)
{
	yuv_image img{w, h, jpeg::YCRCBLP_H1V1, std::vector<uint8_t>(size_t(w) * h), std::vector<uint8_t>(size_t(w) * h * 2)};
	for (auto &b : img.luma)
		b = uint8_t((seed = seed * 1103515245 + 12345) >> 16);
	for (auto &b : img.chroma)
		b = uint8_t((seed = seed * 1103515245 + 12345) >> 16);
	return img;
}

void expect_dropped(const jc::result &r)
{
	EXPECT_EQ(r.events, (std::vector<int>{jpeg::JPEG_EVENT_THUMBNAIL_DROPPED, jpeg::JPEG_EVENT_DONE}));
	parsed p = parse(r.bytes);
	EXPECT_EQ(p.ifd0_next, 0u);  // the link to IFD 1 is zero
	EXPECT_TRUE(p.ifd1.empty());
	const segment *app1 = find(p.l, 0xE1);
	ASSERT_NE(app1, nullptr);
	EXPECT_EQ(p.l.segments[2].at, app1->at + 2 + app1->length);
	decoded d = decode(r.bytes);
	EXPECT_TRUE(d.ok) << d.message;
	EXPECT_EQ(d.warnings, 0);
}

}  // namespace

TEST(JpegWriter, ThumbnailFillingItsBufferIsDropped)
{
	// Noise at quality 100 needs more than the 65535 bytes the buffer holds.
	yuv_image img = make_picture(64, 64, jpeg::YCRCBLP_H2V2);
	yuv_image tn = noise(160, 160, 9);
	jc::options opt;
	opt.thumbnail = &tn;
	opt.thumbnail_quality = 100;
	expect_dropped(run(img, opt));
}

TEST(JpegWriter, ThumbnailPastTheSegmentLimitIsDropped)
{
	yuv_image img = make_picture(64, 64, jpeg::YCRCBLP_H2V2);
	yuv_image tn = noise(96, 96, 5);  // some 30 KB of scan data, which fits alone
	jc::options opt;
	opt.thumbnail = &tn;
	opt.thumbnail_quality = 95;
	jc::result kept = run(img, opt);
	EXPECT_EQ(kept.events, std::vector<int>{jpeg::JPEG_EVENT_DONE});
	parsed p = parse(kept.bytes);
	ASSERT_FALSE(p.ifd1.empty());
	uint32_t tn_len = p.ifd1.at(0x0202).value;
	ASSERT_GT(tn_len, 20000u);
	ASSERT_LT(tn_len, 60000u);

	// A maker note that with the thumbnail passes 65535 bytes of segment.
	exif_store s;
	std::vector<uint8_t> note(65535 - tn_len + 100, 'n');
	s.set(0x4F0000 | 0x927C, jpeg::EXIF_UNDEFINED, uint32_t(note.size()), note.data());
	opt.exif = s.obj;
	jc::result r = run(img, opt);
	expect_dropped(r);
	parsed q = parse(r.bytes);
	EXPECT_EQ(q.exif.at(0x927C).count, note.size());
}

TEST(JpegWriter, HeaderPastTheScratchBufferFailsCleanly)
{
	exif_store s;
	std::vector<uint8_t> note(70000, 'n');
	s.set(0x4F0000 | 0x927C, jpeg::EXIF_UNDEFINED, uint32_t(note.size()), note.data());
	jc::options opt;
	opt.exif = s.obj;
	jc::result r = jc::encode(make_picture(16, 16, jpeg::YCRCBLP_H2V2), opt);
	EXPECT_EQ(r.start_rc, jpeg::JPEGERR_EFAILED);
	EXPECT_TRUE(r.bytes.empty());
}

TEST(JpegWriter, JfifForms)
{
	yuv_image img = make_picture(48, 32, jpeg::YCRCBLP_H2V2);
	jc::options opt;
	opt.header_type = jpeg::JPEG_HEADER_JFIF;
	jc::result r = run(img, opt);
	static constexpr uint8_t app0[] = {0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x10, 'J', 'F', 'I', 'F', 0x00, 0x01,
	                                   0x01, 0x00, 0x00, 0x01, 0x00, 0x01, 0x00, 0x00};
	ASSERT_GT(r.bytes.size(), sizeof app0);
	EXPECT_EQ(0, memcmp(r.bytes.data(), app0, sizeof app0));
	EXPECT_EQ(decode(r.bytes).warnings, 0);

	yuv_image tn = jc::downscale(img, 16, 16);
	opt.thumbnail = &tn;
	r = run(img, opt);
	layout l = parse_layout(r.bytes);
	const segment *app = find(l, 0xE0);
	ASSERT_NE(app, nullptr);
	EXPECT_EQ(0, memcmp(r.bytes.data() + app->at + 4, "JFXX\0\x10\xFF\xD8", 8));
	EXPECT_EQ(app->at + 2 + app->length, l.segments[2].at);
	decoded d = decode(r.bytes);
	EXPECT_TRUE(d.ok) << d.message;
	EXPECT_EQ(d.warnings, 0);
}

TEST(JpegWriter, ClientStoreIsBorrowedForOnePicture)
{
	jpeg::jpege_obj_handle enc = nullptr;
	ASSERT_EQ(jpeg::jpege_init(&enc, jc::on_event), 0);
	yuv_image img = make_picture(16, 16, jpeg::YCRCBLP_H2V2);
	jc::options opt;
	opt.encoder = enc;
	{
		exif_store s;
		s.set(0x21010F, jpeg::EXIF_ASCII, 6, "Maker");
		opt.exif = s.obj;
		jc::result with = run(img, opt);
		parsed q = parse(with.bytes);
		EXPECT_EQ(q.t.ascii(q.ifd0.at(0x010F)), "Maker");
	}
	// The client's store is gone: the next picture carries the defaults.
	opt.exif = nullptr;
	jc::result r = run(img, opt);
	parsed p = parse(r.bytes);
	EXPECT_EQ(p.t.ascii(p.ifd0.at(0x010F)), "SOC-AA");
	jpeg::jpege_destroy(&enc);
}
