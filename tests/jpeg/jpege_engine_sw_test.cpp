// The software engine against libjpeg-turbo: every output must decode
// without a warning, in the right size and sampling, and as close to the
// source as libjpeg-turbo's own encoding of the same planes.
#include <gtest/gtest.h>

#include <tuple>

#include "jpeg/jpege_engine_sw.h"
#include "jpeg_check.h"

using namespace jpeg_check;
namespace jc = jpeg_client;

namespace {

jc::result encode_ok(const yuv_image &img, jc::options opt = {})
{
	jc::result r = jc::encode(img, opt);
	EXPECT_EQ(r.start_rc, 0);
	EXPECT_TRUE(r.finished);
	EXPECT_FALSE(r.events.empty());
	if (!r.events.empty()) {
		EXPECT_EQ(r.events.back(), jpeg::JPEG_EVENT_DONE);
	}
	return r;
}

decoded decode_clean(const std::vector<uint8_t> &file)
{
	decoded d = decode(file);
	EXPECT_TRUE(d.ok) << d.message;
	EXPECT_EQ(d.warnings, 0) << d.message;
	return d;
}

// Luma sampling factors (h, v) of a format as the picture turns.
std::pair<int, int> luma_sampling(uint32_t format, uint32_t rotation)
{
	static constexpr int hv[4][2] = {{2, 2}, {2, 1}, {1, 2}, {1, 1}};
	auto s = hv[format >> 1];
	return rotation % 180 ? std::pair{s[1], s[0]} : std::pair{s[0], s[1]};
}

}  // namespace

TEST(JpegSwTables, StandardTablesAreLibjpegs)
{
	jpeg_compress_struct cinfo{};
	jpeg_error_mgr err{};
	cinfo.err = jpeg_std_error(&err);
	jpeg_create_compress(&cinfo);
	cinfo.in_color_space = JCS_YCbCr;
	cinfo.input_components = 3;
	jpeg_set_defaults(&cinfo);
	jpeg_set_quality(&cinfo, 50, TRUE);  // scale 100%: the tables as published
	for (int k = 0; k < 64; k++) {
		EXPECT_EQ(cinfo.quant_tbl_ptrs[0]->quantval[k], jpeg::standard_luma_q_tbl[k]) << k;
		EXPECT_EQ(cinfo.quant_tbl_ptrs[1]->quantval[k], jpeg::standard_chroma_q_tbl[k]) << k;
	}
	const std::array<uint8_t, 273> *ours[4] = {&jpeg::standard_luma_dc_huff_tbl, &jpeg::standard_chroma_dc_huff_tbl,
	                                           &jpeg::standard_luma_ac_huff_tbl, &jpeg::standard_chroma_ac_huff_tbl};
	JHUFF_TBL *theirs[4] = {cinfo.dc_huff_tbl_ptrs[0], cinfo.dc_huff_tbl_ptrs[1], cinfo.ac_huff_tbl_ptrs[0],
	                        cinfo.ac_huff_tbl_ptrs[1]};
	for (int t = 0; t < 4; t++) {
		int n = 0;
		for (int i = 1; i <= 16; i++) {
			EXPECT_EQ((*ours[t])[i], theirs[t]->bits[i]) << t << " " << i;
			n += theirs[t]->bits[i];
		}
		for (int i = 0; i < n; i++)
			EXPECT_EQ((*ours[t])[17 + i], theirs[t]->huffval[i]) << t << " " << i;
	}
	jpeg_destroy_compress(&cinfo);
}

// All four subsamplings, both chroma orders, all four rotations, on a
// picture whose size is odd and no multiple of any MCU.
class JpegSwMatrix : public testing::TestWithParam<std::tuple<uint32_t, uint32_t>> {};

TEST_P(JpegSwMatrix, DecodesAndMatchesLibjpegQuality)
{
	auto [format, rotation] = GetParam();
	yuv_image img = make_picture(203, 157, format);
	jc::options opt;
	opt.quality = 90;
	opt.rotation = rotation;
	jc::result r = encode_ok(img, opt);
	decoded d = decode_clean(r.bytes);
	ASSERT_TRUE(d.ok);
	bool turned = rotation % 180 != 0;
	EXPECT_EQ(d.width, turned ? 157u : 203u);
	EXPECT_EQ(d.height, turned ? 203u : 157u);
	auto [h, v] = luma_sampling(format, rotation);
	EXPECT_EQ(d.h_samp[0], h);
	EXPECT_EQ(d.v_samp[0], v);
	EXPECT_EQ(d.h_samp[1], 1);
	EXPECT_EQ(d.v_samp[2], 1);

	planes want = rotate(split(img), rotation);
	decoded ref = decode_clean(reference_encode(want, 90, h, v));
	double ours = psnr(d.p, want), theirs = psnr(ref.p, want);
	EXPECT_GE(ours, theirs - 0.5) << "ours " << ours << " dB, libjpeg-turbo " << theirs << " dB";
	EXPECT_GT(ours, 35.0);
}

static std::string matrix_name(const testing::TestParamInfo<std::tuple<uint32_t, uint32_t>> &info)
{
	static const char *names[] = {"CrCbH2V2", "CbCrH2V2", "CrCbH2V1", "CbCrH2V1",
	                              "CrCbH1V2", "CbCrH1V2", "CrCbH1V1", "CbCrH1V1"};
	return std::string(names[std::get<0>(info.param)]) + "_Rot" + std::to_string(std::get<1>(info.param));
}

INSTANTIATE_TEST_SUITE_P(AllFormats, JpegSwMatrix,
                         testing::Combine(testing::Range(0u, 8u), testing::Values(0u, 90u, 180u, 270u)), matrix_name);

TEST(JpegSw, SameTransformAsLibjpegAtRotationZero)
{
	yuv_image img = make_picture(640, 480, jpeg::YCBCRLP_H2V2, 7);
	jc::result r = encode_ok(img);
	decoded d = decode_clean(r.bytes);
	planes src = split(img);
	std::vector<uint8_t> ref_file = reference_encode(src, 90, 2, 2);
	decoded ref = decode_clean(ref_file);
	// Scan data only: the headers differ by design (Exif against JFIF).
	auto scan_bytes = [](const std::vector<uint8_t> &f) {
		layout l = parse_layout(f);
		const segment *sos = find(l, 0xDA);
		return sos ? f.size() - sos->at - 2 - sos->length : 0;
	};
	double ours = psnr(d.p, src), theirs = psnr(ref.p, src);
	EXPECT_NEAR(ours, theirs, 0.2);
	double size_ratio = double(scan_bytes(r.bytes)) / double(scan_bytes(ref_file));
	EXPECT_NEAR(size_ratio, 1.0, 0.02) << scan_bytes(r.bytes) << " against " << scan_bytes(ref_file);
}

TEST(JpegSw, RestartMarkersAtTheInterval)
{
	// 100 x 50 H2V2: 7 x 4 = 28 MCUs; interval 3 puts markers before MCU 3, 6 ... 27.
	yuv_image img = make_picture(100, 50, jpeg::YCRCBLP_H2V2);
	jc::options opt;
	opt.restart_interval = 3;
	jc::result r = encode_ok(img, opt);
	layout l = parse_layout(r.bytes);
	const segment *dri = find(l, 0xDD);
	ASSERT_NE(dri, nullptr);
	EXPECT_EQ(dri->length, 4u);
	EXPECT_EQ(r.bytes[dri->at + 4] << 8 | r.bytes[dri->at + 5], 3);
	ASSERT_EQ(l.scan_markers.size(), 9u + 1);
	for (size_t i = 0; i < 9; i++)
		EXPECT_EQ(l.scan_markers[i], 0xD0 + i % 8) << i;
	EXPECT_EQ(l.scan_markers.back(), 0xD9);
	EXPECT_TRUE(l.stuffing_ok);
	decoded d = decode_clean(r.bytes);
	EXPECT_GT(psnr(d.p, split(img)), 35.0);

	opt.restart_interval = 0;
	l = parse_layout(encode_ok(img, opt).bytes);
	EXPECT_EQ(find(l, 0xDD), nullptr);
	EXPECT_EQ(l.scan_markers, std::vector<uint8_t>{0xD9});
}

TEST(JpegSw, TinyAndOddSizes)
{
	struct size {
		uint32_t w, h;
	};
	for (size s : {size{1, 1}, size{17, 9}, size{2, 3}, size{9, 17}, size{15, 1}, size{1, 33}}) {
		for (uint32_t format : {0u, 3u, 4u, 7u}) {
			for (uint32_t rotation : {0u, 90u}) {
				SCOPED_TRACE(testing::Message() << s.w << "x" << s.h << " format " << format << " rot " << rotation);
				yuv_image img = make_picture(s.w, s.h, format, 3);
				jc::options opt;
				opt.rotation = rotation;
				decoded d = decode_clean(encode_ok(img, opt).bytes);
				EXPECT_GT(psnr(d.p, rotate(split(img), rotation)), 30.0);
			}
		}
	}
}

TEST(JpegSw, FlatBlockIsDcAndEndOfBlockOnly)
{
	// One MCU of mid grey: every coefficient is 0, so each block is the
	// category-0 DC code and EOB: luma 00 1010, chroma 00 00 twice; 14 bits
	// and two 1 bits of padding.
	yuv_image img{8, 8, jpeg::YCBCRLP_H1V1, std::vector<uint8_t>(64, 128), std::vector<uint8_t>(128, 128)};
	jc::result r = encode_ok(img);
	layout l = parse_layout(r.bytes);
	const segment *sos = find(l, 0xDA);
	ASSERT_NE(sos, nullptr);
	std::vector<uint8_t> scan(r.bytes.begin() + long(sos->at + 2 + sos->length), r.bytes.end());
	EXPECT_EQ(scan, (std::vector<uint8_t>{0x28, 0x03, 0xFF, 0xD9}));
}

TEST(JpegSw, HighFrequencyBlockRoundTrips)
{
	// Only the highest horizontal frequency: a run of more than 16 zeros
	// before it in zig-zag order needs the ZRL code.
	yuv_image img{8, 8, jpeg::YCBCRLP_H1V1, std::vector<uint8_t>(64), std::vector<uint8_t>(128, 128)};
	for (int y = 0; y < 8; y++)
		for (int x = 0; x < 8; x++)
			img.luma[y * 8 + x] = uint8_t(128 + std::lround(100 * std::cos((2 * x + 1) * 7 * M_PI / 16)));
	for (uint32_t rotation : {0u, 90u, 180u, 270u}) {
		jc::options opt;
		opt.quality = 95;
		opt.rotation = rotation;
		decoded d = decode_clean(encode_ok(img, opt).bytes);
		EXPECT_GT(psnr(d.p.c[0], rotate(split(img).c[0], rotation)), 30.0) << rotation;
	}
}

TEST(JpegSw, NoisyPictureStuffsEveryFF)
{
	yuv_image img{64, 64, jpeg::YCRCBLP_H2V2, std::vector<uint8_t>(64 * 64), std::vector<uint8_t>(32 * 32 * 2)};
	uint32_t s = 12345;
	for (auto &b : img.luma)
		b = uint8_t((s = s * 1103515245 + 12345) >> 16);
	for (auto &b : img.chroma)
		b = uint8_t((s = s * 1103515245 + 12345) >> 16);
	jc::options opt;
	opt.quality = 100;
	jc::result r = encode_ok(img, opt);
	layout l = parse_layout(r.bytes);
	EXPECT_TRUE(l.stuffing_ok);
	decoded d = decode_clean(r.bytes);
	EXPECT_GT(psnr(d.p, split(img)), 35.0);
}

TEST(JpegSw, ManySmallPiecesAndOneBuffer)
{
	// A single 256-byte buffer: the engine waits for it to come back each time.
	yuv_image img = make_picture(160, 120, jpeg::YCRCBLP_H2V1);
	jc::options opt;
	opt.buffer_cnt = 1;
	opt.buffer_size = 256;
	jc::result one = encode_ok(img, opt);
	opt.buffer_cnt = 0;  // the engine's own buffer
	jc::result internal = encode_ok(img, opt);
	opt.buffer_cnt = 2;
	opt.buffer_size = 8192;
	jc::result two = encode_ok(img, opt);
	EXPECT_EQ(one.bytes, two.bytes);
	EXPECT_EQ(internal.bytes, two.bytes);
	EXPECT_GT(one.pieces.size(), two.pieces.size() + 5);
	decode_clean(one.bytes);

	// Buffers of a single byte still make the same file.
	yuv_image small = make_picture(24, 16, jpeg::YCBCRLP_H2V2);
	opt.buffer_size = 1;
	jc::result bytewise = encode_ok(small, opt);
	opt.buffer_size = 8192;
	EXPECT_EQ(bytewise.bytes, encode_ok(small, opt).bytes);
}
