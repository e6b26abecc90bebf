// The simulated DSP's Bayer path: each record read from the words the
// daemon's builders write, and the stages applied to a pixel in the
// hardware's order.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "camera/config/config.h"
#include "camera/sensor/sensor_convert.h"
#include "camera/sensor/tuning.h"
#include "camera/vfe/colour_record.h"
#include "camera/vfe/contrast.h"
#include "camera/vfe/vfe.h"
#include "camera/vfe/vfe_cmd.h"
#include "sim/bayer_dsp.h"
#include "support/isp3a_rig.h"
#include "unit_board.h"

namespace {

using namespace sim::camera;
using cam::vfe_rec;

template <size_t N>
std::span<const uint8_t> bytes(const vfe_rec<N> &r)
{
	return {static_cast<const uint8_t *>(r.data()), N};
}

TEST(BayerDspRecords, TheDefaultRecordsReadAsTheirWords)
{
	bayer_path_t p;
	for (auto r : {bytes(cam::VFE_DefaultWhiteBalanceCfgCmd), bytes(cam::VFE_DefaultColorProcessingCfgCmd),
		       bytes(cam::VFE_DefaultOutputClampCfgCmd), bytes(cam::VFE_DefaultStartCmd)})
		ASSERT_TRUE(bayer_take_record(p, cam::VFE_QUEUE_CMD, r[0], r));
	ASSERT_TRUE(bayer_take_record(p, cam::VFE_QUEUE_TABLE, cam::VFE_CMD_ROLL_OFF_CFG, bytes(cam::VFE_DefaultRollOffCfgCmd)));
	// 0x201A880: green 0x80, blue 0xD4, red 0x80.
	EXPECT_EQ(p.wb_q7, (std::array<uint32_t, 3>{128, 128, 212}));
	// 0xF6C021C, 0xF78, ...: rows of 12-bit coefficients in Q8 (q 1), each
	// row near 1.0.
	EXPECT_EQ(p.colour.ccm, (std::array<int32_t, 9>{540, -148, -136, -274, 638, -102, -92, -154, 502}));
	EXPECT_EQ(p.colour.q, 1u);
	EXPECT_EQ(p.colour.conv, (std::array<int32_t, 14>{128, 128, -86, -86, 128, 128, -42, -42, 128, 128, 77, 150, 29, 0}));
	EXPECT_EQ(p.clamp.max, (std::array<uint8_t, 3>{255, 255, 255}));
	EXPECT_EQ(p.clamp.min, (std::array<uint8_t, 3>{0, 0, 0}));
	// 0x47: black level, roll-off, white balance; gamma is the sensor's to set.
	EXPECT_TRUE(p.enables.black_level && p.enables.roll_off && p.enables.white_balance);
	EXPECT_FALSE(p.enables.rgb_gamma);
	EXPECT_EQ(p.roll_off.cx, 800u);
	EXPECT_EQ(p.roll_off.cy, 600u);
}

TEST(BayerDspRecords, WhatTheBuildersWriteIsWhatTheDspReads)
{
	cam::vfe_cmd_block_t block{};
	cam::vfe_ctrl_t vfe{};
	vfe.vcmd = &block;
	cam::vfe_util_init(&vfe, nullptr);
	cam::vfe_util_updatewb(&vfe, 1.5f, 1.0f, 2.25f, false);
	cam::vfe_util_updateblacklevel(&vfe, 17, 300, false);
	cam::colour_put_correction(block.VFE_ColorProcessingCfgCmd, {300, -30, -14, -2048, 2047, 1, 0, -1, 257, -1024, 1023, 5, 10});
	cam::colour_put_conversion(block.VFE_ColorProcessingCfgCmd, {1, -1, 2, -2, 3, -3, 4, -4, 5, -5, 6, -6, 7, -7});
	block.VFE_OutputClampCfgCmd.set(4, 0, 8, 235);
	block.VFE_OutputClampCfgCmd.set(9, 0, 8, 16);
	block.VFE_RGB_GammaCfgCmd.set(8 + 700, 0, 8, 99);
	bayer_path_t p;
	bayer_take_record(p, cam::VFE_QUEUE_CMD, 11, bytes(block.VFE_WhiteBalanceCfgCmd));
	bayer_take_record(p, cam::VFE_QUEUE_CMD, 10, bytes(block.VFE_BlackLevelCfgCmd));
	bayer_take_record(p, cam::VFE_QUEUE_CMD, 12, bytes(block.VFE_ColorProcessingCfgCmd));
	bayer_take_record(p, cam::VFE_QUEUE_CMD, 8, bytes(block.VFE_OutputClampCfgCmd));
	bayer_take_record(p, cam::VFE_QUEUE_TABLE, 2, bytes(block.VFE_RGB_GammaCfgCmd));
	EXPECT_EQ(p.wb_q7, (std::array<uint32_t, 3>{192, 128, 288}));
	EXPECT_EQ(p.black, (std::array<uint32_t, 2>{17, 300}));
	EXPECT_EQ(p.colour.ccm, (std::array<int32_t, 9>{300, -30, -14, -2048, 2047, 1, 0, -1, 257}));
	EXPECT_EQ(p.colour.bias, (std::array<int32_t, 3>{-1024, 1023, 5}));
	EXPECT_EQ(p.colour.q, 3u);  // Q10 is 7 + 3
	EXPECT_EQ(p.colour.conv, (std::array<int32_t, 14>{1, -1, 2, -2, 3, -3, 4, -4, 5, -5, 6, -6, 7, -7}));
	EXPECT_EQ(p.clamp.max[0], 235);
	EXPECT_EQ(p.clamp.min[1], 16);
	EXPECT_EQ(p.rgb_gamma.at[700], 99);
}

// Each enable bit of the start record, set alone, switches its own stage
// and no other.
TEST(BayerDspRecords, EachStartBitSwitchesItsOwnStage)
{
	const std::pair<unsigned, bool vfe_enables_t::*> bits[] = {{0, &vfe_enables_t::black_level},
								   {1, &vfe_enables_t::roll_off},
								   {2, &vfe_enables_t::white_balance},
								   {3, &vfe_enables_t::rgb_gamma}};
	for (const auto &[bit, stage] : bits) {
		auto start = cam::VFE_DefaultStartCmd;
		for (const auto &[b, s] : bits)
			start.set(8, b, 1, b == bit ? 1 : 0);
		bayer_path_t p;
		ASSERT_TRUE(bayer_take_record(p, cam::VFE_QUEUE_CMD, cam::VFE_CMD_START, bytes(start)));
		for (const auto &[b, s] : bits)
			EXPECT_EQ(p.enables.*s, b == bit) << "bit " << bit << " set, stage of bit " << b;
	}
}

TEST(BayerDspRecords, RollOffRowsSplitGainAndSlope)
{
	vfe_rec<520> r = cam::VFE_DefaultRollOffCfgCmd;
	r.set(8 + 16 * 3, 0, 32, 123456);
	// Row 3, blue: slope -5 in the low 19 bits, gain 0x1ABC above it (bits 3
	// to 15 of the upper half).
	uint32_t slope = static_cast<uint32_t>(-5) & 0x7FFFF;
	r.set(8 + 16 * 3 + 12, 0, 32, 0x1ABCu << 19 | slope);
	vfe_roll_off_t t;
	vfe_decode_roll_off(t, bytes(r));
	EXPECT_EQ(t.r2[3], 123456u);
	EXPECT_EQ(t.gain[3][2], 0x1ABCu);
	EXPECT_EQ(t.slope[3][2], -5);
	EXPECT_EQ(t.gain[3][1], 0u);
}

TEST(BayerDspRecords, ARecordOfTheWrongSizeChangesNothing)
{
	bayer_path_t p;
	std::array<uint8_t, 12> short_wb{11, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF};
	bayer_take_record(p, cam::VFE_QUEUE_CMD, 11, std::span<const uint8_t>(short_wb));
	bayer_take_record(p, cam::VFE_QUEUE_CMD, 12, std::span<const uint8_t>(short_wb));
	EXPECT_EQ(p.wb_q7, bayer_path_t{}.wb_q7);
	EXPECT_EQ(p.colour.ccm, bayer_path_t{}.colour.ccm);
}

struct ycc {
	int y, cb, cr;
	bool operator==(const ycc &) const = default;
};

ycc process(const bayer_path_t &p, std::array<double, 3> raw)
{
	uint8_t y = 0, cb = 0, cr = 0;
	bayer_process(p, raw, 100, 100, 200, 200, &y, &cb, &cr);
	return {y, cb, cr};
}

// A path with every stage on and at its neutral setting.
bayer_path_t neutral()
{
	bayer_path_t p;
	p.enables = {true, true, true, true};
	p.rgb_gamma.table = true;
	for (size_t i = 0; i < p.rgb_gamma.at.size(); ++i)
		p.rgb_gamma.at[i] = static_cast<uint8_t>(i / 4);
	return p;
}

// Worked by hand through the stages in order; each case's change is one
// a swapped or mis-read stage would undo.
TEST(BayerDspPipeline, StagesApplyInTheHardwaresOrder)
{
	struct row {
		const char *what;
		void (*change)(bayer_path_t &);
		std::array<double, 3> raw;
		ycc want;
	};
	const row rows[] = {
	    {"neutral", [](bayer_path_t &) {}, {400, 400, 400}, {100, 128, 128}},
	    // (500 - 100) x 2 = 800 red: black level before the gains.
	    {"black level, then white balance", [](bayer_path_t &p) {
		     p.black = {100, 100};
		     p.wb_q7 = {256, 128, 128};
	     }, {500, 500, 500}, {130, 111, 178}},
	    // R' = 2R - G in Q7, then a falling gamma: correction before gamma.
	    {"correction, then gamma", [](bayer_path_t &p) {
		     p.colour.ccm = {256, -128, 0, 0, 128, 0, 0, 0, 128};
		     for (size_t i = 0; i < p.rgb_gamma.at.size(); ++i)
			     p.rgb_gamma.at[i] = static_cast<uint8_t>(255 - i / 4);
	     }, {600, 400, 400}, {125, 145, 78}},
	    // Gamma halves, then the conversion's luma offset of 20.
	    {"gamma, then conversion", [](bayer_path_t &p) {
		     for (size_t i = 0; i < p.rgb_gamma.at.size(); ++i)
			     p.rgb_gamma.at[i] = static_cast<uint8_t>(i / 8);
		     p.colour.conv[13] = 20;
	     }, {800, 800, 800}, {120, 128, 128}},
	    // Negative differences take the _m coefficients: Cb 0.25 x (-100 +
	    // 43 / 256 x 100), Cr 0.5 x (-100 + 42 / 256 x 100).
	    {"conversion's minus side", [](bayer_path_t &p) {
		     p.colour.conv = {64, 128, -43, -86, 128, 256, -42, 0, 128, 128, 77, 150, 29, 0};
	     }, {400, 800, 400}, {159, 107, 86}},
	    // Conversion (178, 171, 1), then the clamp of luma to 170 and Cb to 120.
	    {"conversion, then clamp", [](bayer_path_t &p) {
		     p.clamp.max = {170, 120, 255};
		     p.clamp.min = {16, 0, 0};
	     }, {0, 1023, 1023}, {170, 120, 1}},
	};
	for (const row &r : rows) {
		bayer_path_t p = neutral();
		r.change(p);
		ycc got = process(p, r.raw);
		EXPECT_EQ(got, r.want) << r.what << ": got " << got.y << " " << got.cb << " " << got.cr;
	}
}

TEST(BayerDspPipeline, EachWrongRecordChangesThePicture)
{
	struct row {
		const char *what;
		void (*change)(bayer_path_t &);
	};
	const row rows[] = {
	    {"black level", [](bayer_path_t &p) { p.black = {40, 40}; }},
	    {"white balance", [](bayer_path_t &p) { p.wb_q7[2] = 160; }},
	    {"correction", [](bayer_path_t &p) { p.colour.ccm[0] = 150; }},
	    {"correction's q", [](bayer_path_t &p) { p.colour.q = 1; }},
	    {"conversion", [](bayer_path_t &p) { p.colour.conv[11] = 140; }},
	    {"gamma", [](bayer_path_t &p) { p.rgb_gamma.at[300] = 200; }},
	    {"Y gamma", [](bayer_path_t &p) {
		     p.y_gamma = p.rgb_gamma;
		     p.y_gamma.at[300] = 200;
	     }},
	    {"clamp", [](bayer_path_t &p) { p.clamp.max[0] = 60; }},
	    {"roll-off", [](bayer_path_t &p) {
		     p.roll_off.r2 = {0, 1};
		     p.roll_off.gain[0] = p.roll_off.gain[1] = {2048, 2048, 2048};
	     }},
	};
	const ycc base = process(neutral(), {300, 300, 300});
	for (const row &r : rows) {
		bayer_path_t p = neutral();
		r.change(p);
		EXPECT_NE(process(p, {300, 300, 300}), base) << r.what;
	}
}

TEST(BayerDspPipeline, RollOffGainGrowsWithTheRadius)
{
	bayer_path_t p = neutral();
	p.roll_off.cx = 1296, p.roll_off.cy = 972;
	for (size_t row = 0; row < ROLL_OFF_ROWS; ++row) {
		p.roll_off.r2[row] = static_cast<uint32_t>(row * 100000);
		p.roll_off.gain[row] = {uint32_t(1024 + row * 40), uint32_t(1024 + row * 40), uint32_t(1024 + row * 40)};
	}
	uint8_t centre = 0, corner = 0, cb = 0, cr = 0;
	bayer_process(p, {300, 300, 300}, 100, 100, 200, 200, &centre, &cb, &cr);
	bayer_process(p, {300, 300, 300}, 0, 0, 200, 200, &corner, &cb, &cr);
	EXPECT_EQ(centre, 75);
	EXPECT_GT(corner, centre + 30);
}

// A table whose neighbouring entries all differ, so that an entry read one
// place off, or a level looked up one place off, shows.
vfe_gamma_t scrambled()
{
	vfe_gamma_t g;
	g.table = true;
	for (size_t i = 0; i < g.at.size(); ++i)
		g.at[i] = static_cast<uint8_t>(i * 37 + 11);
	return g;
}

vfe_gamma_t power_curve(double e)
{
	vfe_gamma_t g;
	g.table = true;
	for (size_t i = 0; i < g.at.size(); ++i)
		g.at[i] = static_cast<uint8_t>(std::lround(255 * std::pow(i / 1023.0, e)));
	return g;
}

TEST(BayerDspRecords, BothGammaRecordsReadEveryEntryInPlace)
{
	cam::vfe_cmd_block_t block{};
	cam::vfe_ctrl_t vfe{};
	vfe.vcmd = &block;
	cam::vfe_util_init(&vfe, nullptr);
	const vfe_gamma_t want = scrambled();
	cam::vfe_util_updategamma(&vfe, want.at.data());  // into both records
	struct row {
		const char *what;
		uint32_t number;
		vfe_rec<1032> &rec;
		vfe_gamma_t bayer_path_t::*table;
	};
	for (const row &r : {row{"RGB", cam::VFE_CMD_RGB_GAMMA_CFG, block.VFE_RGB_GammaCfgCmd, &bayer_path_t::rgb_gamma},
			     row{"Y", cam::VFE_CMD_Y_GAMMA_CFG, block.VFE_Y_GammaCfgCmd, &bayer_path_t::y_gamma}}) {
		bayer_path_t p;
		ASSERT_TRUE(bayer_take_record(p, cam::VFE_QUEUE_TABLE, r.number, bytes(r.rec))) << r.what;
		EXPECT_TRUE((p.*r.table).table) << r.what;
		EXPECT_EQ((p.*r.table).at, want.at) << r.what;
		// Word 1 at 0: the stage runs as a straight line.
		r.rec.set(4, 0, 32, 0);
		bayer_take_record(p, cam::VFE_QUEUE_TABLE, r.number, bytes(r.rec));
		EXPECT_FALSE((p.*r.table).table) << r.what;
	}
}

// Luma, linear on 10 bits by the weights 77, 150, 29, through the Y table;
// the levels are worked by hand.
TEST(BayerDspLuma, TheYTableMapsTheConvertedLumaAndLeavesChroma)
{
	struct row {
		const char *what;
		std::array<double, 3> raw;
		size_t luma10;
		int32_t offset;
	};
	const row rows[] = {
	    {"grey", {300, 300, 300}, 300, 0},
	    {"black", {0, 0, 0}, 0, 0},
	    {"white", {1023, 1023, 1023}, 1023, 0},
	    {"orange", {512, 256, 0}, 304, 0},           // 77 x 2 + 150
	    {"green", {0, 1000, 0}, 585, 0},             // 150000 / 256
	    {"blue", {0, 0, 1020}, 115, 0},              // 29580 / 256
	    {"offset after the table", {300, 300, 300}, 300, 20},
	};
	const vfe_gamma_t t = scrambled();
	for (const row &r : rows) {
		bayer_path_t off = neutral();
		off.colour.conv[13] = r.offset;
		bayer_path_t on = off;
		on.y_gamma = t;
		ycc before = process(off, r.raw), after = process(on, r.raw);
		EXPECT_EQ(after.y, std::min(255, t.at[r.luma10] + r.offset)) << r.what;
		EXPECT_EQ(after.cb, before.cb) << r.what;
		EXPECT_EQ(after.cr, before.cr) << r.what;
	}
}

// The neutral contrast step sends the RGB table as the Y table: grey, whose
// luma is its level, comes out as it did through the RGB table alone.
TEST(BayerDspLuma, AYTableLikeTheRgbOneLeavesGreyAsItWas)
{
	struct row {
		const char *what;
		vfe_gamma_t table;
	};
	vfe_gamma_t straight = neutral().rgb_gamma;
	for (const row &r : {row{"straight", straight}, row{"power 0.45", power_curve(0.45)}}) {
		bayer_path_t off = neutral();
		off.rgb_gamma = r.table;
		bayer_path_t on = off;
		on.y_gamma = r.table;
		for (int level = 0; level < 1024; ++level) {
			double v = level;
			ASSERT_EQ(process(on, {v, v, v}), process(off, {v, v, v})) << r.what << " at " << level;
		}
	}
}

// A contrast step as the daemon builds it: the step's curve over the RGB
// table, into the Y record only.
TEST(BayerDspLuma, AContrastStepMovesLumaByItsCurveAndNotChroma)
{
	cam::vfe_cmd_block_t block{};
	cam::vfe_ctrl_t vfe{};
	vfe.vcmd = &block;
	cam::vfe_util_init(&vfe, nullptr);
	const vfe_gamma_t source = power_curve(0.45);
	cam::vfe_util_updategamma(&vfe, source.at.data());
	bayer_path_t flat = neutral();
	bayer_take_record(flat, cam::VFE_QUEUE_TABLE, cam::VFE_CMD_RGB_GAMMA_CFG, bytes(block.VFE_RGB_GammaCfgCmd));
	bayer_take_record(flat, cam::VFE_QUEUE_TABLE, cam::VFE_CMD_Y_GAMMA_CFG, bytes(block.VFE_Y_GammaCfgCmd));
	struct step {
		int32_t contrast;
		int dark_moves;  // sign of the dark grey's change; the bright one goes the other way
	};
	for (step s : {step{8, -1}, step{2, 1}}) {
		auto *y = reinterpret_cast<uint8_t *>(block.VFE_Y_GammaCfgCmd.w.data() + 2);
		ASSERT_EQ(cam::ipl_set_contrast_Nentries(s.contrast, 10, source.at, std::span<uint8_t>(y, 1024)), 0);
		bayer_path_t p = flat;
		bayer_take_record(p, cam::VFE_QUEUE_TABLE, cam::VFE_CMD_Y_GAMMA_CFG, bytes(block.VFE_Y_GammaCfgCmd));
		const auto &curve = cam::ipl_gamma_sigmoid(s.contrast);
		for (double level : {60.0, 700.0}) {
			ycc got = process(p, {level, level, level}), was = process(flat, {level, level, level});
			EXPECT_EQ(got.y, curve[source.at[size_t(level)]] & 0xFF) << s.contrast << " at " << level;
			int moved = got.y - was.y, want = level < 512 ? s.dark_moves : -s.dark_moves;
			EXPECT_EQ((moved > 0) - (moved < 0), want) << s.contrast << " at " << level;
		}
		for (std::array<double, 3> colour : {std::array<double, 3>{512, 256, 0}, {100, 300, 900}}) {
			ycc got = process(p, colour), was = process(flat, colour);
			EXPECT_EQ(got.cb, was.cb);
			EXPECT_EQ(got.cr, was.cr);
		}
	}
}

// The start record's gamma bit switches both tables; the record's word 1
// its own. Without either, luma is the conversion's as before.
TEST(BayerDspLuma, TheYTableWaitsForBothEnables)
{
	struct row {
		const char *what;
		void (*change)(bayer_path_t &);
	};
	const row rows[] = {
	    {"gamma bit clear", [](bayer_path_t &p) { p.enables.rgb_gamma = false; }},
	    {"record's word 1 clear", [](bayer_path_t &p) { p.y_gamma.table = false; }},
	};
	for (const row &r : rows) {
		bayer_path_t on = neutral();
		on.y_gamma = scrambled();
		bayer_path_t off = on;
		r.change(off);
		bayer_path_t without = off;
		without.y_gamma = {};
		for (std::array<double, 3> raw : {std::array<double, 3>{300, 300, 300}, {512, 256, 0}}) {
			EXPECT_EQ(process(off, raw), process(without, raw)) << r.what;
			EXPECT_NE(process(off, raw).y, process(on, raw).y) << r.what;
		}
	}
}

// The lens darkens the corners, red the most; the roll-off record the
// daemon builds from the tuning file brings every place of a grey card
// back to the centre's colour and level.
TEST(BayerDspLens, TheTuningsRollOffUndoesTheLensShading)
{
	cam::sensor_tuning_t t{};
	std::string err;
	ASSERT_TRUE(cam::tuning_parse(testing_support::bayersim_tuning_text(), &t, &err)) << err;
	cam::sensor_rolloff_t table{};
	cam::sensor_convert_roll_off_table(t, &table);
	static cam::config_ctrl_t ctrl;
	static cam::vfe_cmd_block_t block;
	ctrl.vfeCtrl.vcmd = &block;
	cam::vfe_preview_updaterollofftbl(&ctrl, table);
	bayer_path_t p = neutral();
	ASSERT_TRUE(bayer_take_record(p, cam::VFE_QUEUE_TABLE, cam::VFE_CMD_ROLL_OFF_CFG, bytes(block.VFE_RollOffCfgCmd)));
	// A grey card (raw 600) at x, y of a picture of the whole array.
	auto card = [](const bayer_path_t &path, uint32_t x, uint32_t y) {
		std::array<double, 3> lens = bayer_lens_shading(x, y, BAYER_FULL_W, BAYER_FULL_H);
		uint8_t l = 0, cb = 0, cr = 0;
		bayer_process(path, {600 * lens[0], 600 * lens[1], 600 * lens[2]}, x, y, BAYER_FULL_W, BAYER_FULL_H, &l, &cb,
			      &cr);
		return ycc{l, cb, cr};
	};
	const ycc centre = card(p, BAYER_FULL_W / 2, BAYER_FULL_H / 2);
	EXPECT_EQ(centre, (ycc{150, 128, 128}));
	struct place {
		const char *what;
		uint32_t x, y;
	};
	for (place at : {place{"top left corner", 0, 0}, place{"bottom right corner", BAYER_FULL_W - 1, BAYER_FULL_H - 1},
			 place{"left edge", 0, BAYER_FULL_H / 2}, place{"under the centre", BAYER_FULL_W / 2, BAYER_FULL_H * 7 / 8}}) {
		SCOPED_TRACE(at.what);
		ycc got = card(p, at.x, at.y);
		EXPECT_NEAR(got.y, centre.y, 1);
		EXPECT_NEAR(got.cb, 128, 1);
		EXPECT_NEAR(got.cr, 128, 1);
		// Without the roll-off the lens shows: a darker corner, red lost.
		bayer_path_t off = p;
		off.enables.roll_off = false;
		ycc raw = card(off, at.x, at.y);
		EXPECT_LT(raw.y, centre.y - 3);
		EXPECT_LT(raw.cr, 128);
	}
}

TEST(BayerDspLens, MovesStopAtBothEnds)
{
	clienttest::unit_board();  // the far stop is the board's
	bayer_path_t p;
	bayer_lens_default(p);
	int far = bayer_lens_far_end();
	EXPECT_EQ(p.lens, far);
	bayer_lens_move(p, 1, 5);
	EXPECT_EQ(p.lens, far);
	bayer_lens_move(p, 0, 7);
	EXPECT_EQ(p.lens, far - 7);
	bayer_lens_move(p, 0, 1000000);
	EXPECT_EQ(p.lens, 0);
	bayer_lens_move(p, 0, -3);  // a negative count moves nothing
	EXPECT_EQ(p.lens, 0);
}

}  // namespace
