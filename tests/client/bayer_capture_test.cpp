// The raw Bayer sensor from the station: the capture brings the camera up,
// lets 3A settle on the running preview, takes the snapshot and answers as
// for the other sensors.
#include <algorithm>
#include <cmath>

#include "camera/sensor/tuning.h"
#include "client_support.h"
#include "support/isp3a_rig.h"

namespace {

using clienttest::camera_setup;
using testing_support::SimPhone;

// A Bayer capture lets 3A settle on up to 150 preview frames (30 s at
// most) before its snapshot; under the sanitizers on a busy machine the
// whole capture may pass 10 s, so the station waits longer here.
constexpr int CAPTURE_MS = 60000;

// Preview frames every 5 ms, so 3A has statistics to work on.
SimPhone::Setup bayer_setup(std::map<std::string, std::string> extra = {})
{
	extra["camera.sensor"] = "bayersim";
	extra.emplace("camera.frame_ms", "5");
	return camera_setup(extra);
}

TEST(BayerCapture, SettlesTakesTheSnapshotAndSendsIt)
{
	SimPhone phone(bayer_setup());
	ASSERT_EQ(phone.ask("AT+DSCC\n", {}, CAPTURE_MS), "OK\n");
	std::string got = clienttest::retrieve(phone, 2592, 1944);
	std::string head = clienttest::header(2592, 1944);
	ASSERT_EQ(got.substr(0, head.size()), head);
	EXPECT_EQ(got.size(), head.size() + size_t(2592) * 1944 * 2 + 3);
	EXPECT_EQ(phone.ask("AT+DSCE\n"), "OK\n");
	std::string err = phone.file("/ftmd.out");
	EXPECT_NE(err.find("camera: 3A settled after "), std::string::npos);
	EXPECT_NE(err.find("RAW - snapshot - 5!\n"), std::string::npos);
}

TEST(BayerCapture, APreviewWithoutFramesEndsTheWaitByItsBound)
{
	SimPhone phone(bayer_setup({{"camera.frame_ms", "0"}}));
	// The wait gives up after 8 s without a frame.
	ASSERT_EQ(phone.ask("AT+DSCC\n", {}, CAPTURE_MS), "OK\n");
	EXPECT_NE(phone.file("/ftmd.out").find("camera: 3A did not settle after 0 preview frames"), std::string::npos);
	EXPECT_EQ(phone.ask("AT+DSCE\n"), "OK\n");
}

// The grey ramp under the bars, around reflectance 1.0: its mean Y, Cb, Cr
// in a picture of the station's stream.
struct grey {
	double y, cb, cr;
};

grey grey_patch(const std::string &answer, int w, int h)
{
	std::string head = clienttest::header(w, h);
	EXPECT_GE(answer.size(), head.size() + size_t(w) * h * 2);
	if (answer.size() < head.size() + size_t(w) * h * 2)
		return {0, 0, 0};
	const auto *p = reinterpret_cast<const uint8_t *>(answer.data() + head.size());
	double y = 0, cb = 0, cr = 0, n = 0;
	for (int row = h * 8 / 10; row < h * 95 / 100; row += 4)
		for (int col = w * 45 / 100 & ~1; col < w * 55 / 100; col += 2, ++n) {
			const uint8_t *q = p + (size_t(row) * w + col) * 2;  // U Y V Y
			cb += q[0];
			y += (q[1] + q[3]) / 2.0;
			cr += q[2];
		}
	return {y / n, cb / n, cr / n};
}

// The picture's luma goes through the tuning's default gamma table, which
// the daemon sends as the Y table: a linear 8-bit level comes out as the
// table's entry at four times it.
const cam::sensor_tuning_t &tree_tuning()
{
	static const cam::sensor_tuning_t t = [] {
		cam::sensor_tuning_t out{};
		std::string err;
		EXPECT_TRUE(cam::tuning_parse(testing_support::bayersim_tuning_text(), &out, &err)) << err;
		return out;
	}();
	return t;
}

double through_gamma(double linear)
{
	return tree_tuning().gamma[static_cast<size_t>(std::clamp(std::lround(4 * linear), 0L, 1023L))];
}

// Back through the table: the linear level a luma came from, interpolated
// between the entries around it.
double linear_of(double luma)
{
	const auto &g = tree_tuning().gamma;
	size_t i = 0;
	while (i < cam::GAMMA_ENTRIES && g[i] < luma)
		++i;
	if (i == 0 || i == cam::GAMMA_ENTRIES)
		return i / 4.0;
	return (double(i - 1) + (luma - g[i - 1]) / (g[i] - g[i - 1])) / 4;
}

// Within this many levels of 128, Cb and Cr of the grey patch are neutral.
// The capture takes the picture once the preview stops moving, before the
// white balance is all the way home, and the colour correction (about 1.6
// on chroma) shows what is left.
constexpr double NEUTRAL_LEVELS = 2;
// In bright daylight a compact scene is taken as D50 (the white balance's
// "bright and compact" rule): grey under D65 comes out bluer, Cb above and
// Cr below the neutral band, by less than this.
constexpr double D50_LEVELS = 10;

TEST(BayerCapture, ExposureAndGreyFollowTheSceneBetweenCaptures)
{
	SimPhone phone(bayer_setup());
	struct step {
		const char *what;
		std::map<std::string, std::string> board;
		bool as_d50 = false;
	};
	const step steps[] = {
	    {"daylight", {}},
	    {"4 stops brighter", {{"camera.scene_light", "1.6"}}, true},
	    {"4 stops darker", {{"camera.scene_light", "0.00625"}}},
	    {"tungsten", {{"camera.scene_light", "0.1"}, {"camera.illuminant_rg", "1.05"}, {"camera.illuminant_bg", "0.40"}}},
	    {"fluorescent", {{"camera.illuminant_rg", "0.80"}, {"camera.illuminant_bg", "0.50"}}},
	};
	double first_y = 0;
	for (const step &s : steps) {
		SCOPED_TRACE(s.what);
		for (const auto &[k, v] : s.board)
			phone.set_board(k, v);
		ASSERT_EQ(phone.ask("AT+DSCC\n", {}, CAPTURE_MS), "OK\n");
		grey g = grey_patch(clienttest::retrieve(phone, 2592, 1944), 2592, 1944);
		if (first_y == 0)
			first_y = g.y;
		// Exposure: the target luma of 50 puts grey near 60 (linear) once
		// balanced, and holds it within 15 % between scenes.
		EXPECT_GT(g.y, through_gamma(40));
		EXPECT_LT(g.y, through_gamma(80));
		EXPECT_NEAR(linear_of(g.y), linear_of(first_y), 0.15 * linear_of(first_y));
		if (s.as_d50) {
			EXPECT_GT(g.cb, 128 + NEUTRAL_LEVELS);
			EXPECT_LT(g.cb, 128 + D50_LEVELS);
			EXPECT_LT(g.cr, 128 - NEUTRAL_LEVELS);
			EXPECT_GT(g.cr, 128 - D50_LEVELS);
		} else {
			EXPECT_NEAR(g.cb, 128, NEUTRAL_LEVELS);
			EXPECT_NEAR(g.cr, 128, NEUTRAL_LEVELS);
		}
		std::printf("%s: grey Y %.1f (linear %.1f) Cb %.1f Cr %.1f\n", s.what, g.y, linear_of(g.y), g.cb, g.cr);
	}
	EXPECT_EQ(phone.ask("AT+DSCE\n"), "OK\n");
	std::string err = phone.file("/ftmd.out");
	size_t settles = 0;
	for (size_t at = err.find("camera: 3A settled after "); at != std::string::npos;
	     at = err.find("camera: 3A settled after ", at + 1))
		++settles;
	EXPECT_EQ(settles, std::size(steps));
}

}  // namespace
