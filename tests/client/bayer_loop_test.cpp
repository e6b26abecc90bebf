// 3A on the running preview of the Bayer sensor, seen from the station: the
// board's scene changes under the phone, and the DSP model's frame log
// shows exposure and white balance closing the loop frame by frame.
#include <algorithm>
#include <chrono>
#include <thread>
#include <tuple>

#include "client_support.h"
#include "sim/bayer_frame_log.h"

namespace {

using sim::camera::bayer_frame_t;
using testing_support::SimPhone;

// One phone for the group: its first capture (a full picture, slow under
// the sanitizers) starts the preview, which runs on with 3A frame by frame
// while each test changes the board under it and puts it back.
class BayerLoop : public ::testing::Test {
protected:
	static void SetUpTestSuite()
	{
		// Preview frames every 5 ms of board time (time.scale 0.01).
		shared = new SimPhone(clienttest::camera_setup(
		    {{"camera.sensor", "bayersim"}, {"camera.frame_ms", "5"}, {"camera.frame_log", "1"}}));
		started = shared->ask("AT+DSCC\n", {}, 60000) == "OK\n";
	}
	static void TearDownTestSuite()
	{
		EXPECT_EQ(shared->ask("AT+DSCE\n", {}, 30000), "OK\n");
		delete shared;
		shared = nullptr;
	}
	void SetUp() override
	{
		ASSERT_TRUE(started);
		frames_after(0, [](const bayer_frame_t &) { return true; }, 1);
	}
	void TearDown() override
	{
		for (auto [k, v] : {std::pair{"camera.scene_light", "0.1"}, {"camera.illuminant_rg", "0.60"},
				    {"camera.illuminant_bg", "0.75"}})
			phone.set_board(k, v);
	}

	static inline SimPhone *shared = nullptr;
	static inline bool started = false;
	SimPhone &phone = *shared;

	std::vector<bayer_frame_t> frames() const
	{
		return sim::camera::bayer_parse_frames(phone.file(sim::camera::BAYER_FRAME_LOG));
	}

	// Waits, bounded, until the log holds `count` frames from the first one
	// after `from` whose scene passes `seen`; returns the log and where
	// that frame is.
	template <class Seen>
	std::pair<std::vector<bayer_frame_t>, size_t> frames_after(size_t from, Seen seen, size_t count,
								    int timeout_ms = 60000)
	{
		auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
		for (;;) {
			std::vector<bayer_frame_t> f = frames();
			size_t at = from;
			while (at < f.size() && !seen(f[at]))
				++at;
			if (at < f.size() && f.size() - at >= count)
				return {f, at};
			if (std::chrono::steady_clock::now() > until) {
				ADD_FAILURE() << "the log has " << f.size() << " frames, the change seen at " << at;
				return {f, f.size()};
			}
			std::this_thread::sleep_for(std::chrono::milliseconds(20));  // the log is read whole
		}
	}
};

// The mid-grey patch's colour is neutral within this many levels.
constexpr unsigned NEUTRAL = 4;

TEST_F(BayerLoop, ExposureSettlesAfterFourStopsEitherWay)
{
	struct step {
		const char *light;
		double value;
	};
	// Frames for exposure to come within 5 % of where it settles.
	constexpr int SETTLE_FRAMES = 12;
	for (step s : {step{"1.6", 1.6}, step{"0.1", 0.1}}) {
		SCOPED_TRACE(s.light);
		size_t before = frames().size();
		phone.set_board("camera.scene_light", s.light);
		auto [f, at] = frames_after(before, [&](const bayer_frame_t &fr) { return fr.light == s.value; }, 25);
		ASSERT_LT(at, f.size());
		int settle = sim::camera::bayer_frames_to_settle(f, at);
		std::printf("4 stops to %s: exposure within 5 %% after %d frames\n", s.light, settle);
		EXPECT_GE(settle, 1);  // the sensor takes the new exposure a frame after the statistics
		EXPECT_LE(settle, SETTLE_FRAMES);
		// Settled on the luma target: grey ends near the same raw level.
		EXPECT_NEAR(f.back().grey_raw, f[at > 0 ? at - 1 : 0].grey_raw, 0.1 * f.back().grey_raw);
	}
}

bool neutral(const bayer_frame_t &f)
{
	return f.cb + NEUTRAL >= 128 && f.cb <= 128 + NEUTRAL && f.cr + NEUTRAL >= 128 && f.cr <= 128 + NEUTRAL;
}

TEST_F(BayerLoop, GreyComesOutNeutralAfterTheIlluminantChanges)
{
	// The gains move 5 % of the way a frame.
	constexpr size_t WB_FRAMES = 80, STAYS = 5;
	struct light {
		const char *name, *rg, *bg;
	};
	for (light l : {light{"A", "1.05", "0.40"}, light{"TL84", "0.80", "0.50"}}) {
		SCOPED_TRACE(l.name);
		size_t before = frames().size();
		phone.set_board("camera.illuminant_rg", l.rg);
		phone.set_board("camera.illuminant_bg", l.bg);
		double rg = std::stod(l.rg), bg = std::stod(l.bg);
		auto seen = [&](const bayer_frame_t &fr) { return fr.illum_rg == rg && fr.illum_bg == bg; };
		// Frames until the grey patch is neutral and stays so.
		size_t took = 0;
		for (size_t n = STAYS + 1; n <= WB_FRAMES + STAYS && !took; ++n) {
			auto [f, at] = frames_after(before, seen, n);
			if (f.size() - at < n)
				break;
			size_t end = at + n;
			if (!neutral(f[at]) && std::all_of(f.begin() + long(end - STAYS), f.begin() + long(end), neutral))
				took = n - STAYS;
		}
		std::printf("%s: grey neutral within %u levels after %zu frames\n", l.name, NEUTRAL, took);
		EXPECT_GT(took, 0u);
		EXPECT_LE(took, WB_FRAMES);
	}
}

// A lamp switched off and the next one on, as in a light booth: a few
// dark frames, then the light at the level of its kind (lamps indoors dim,
// daylight bright). The white balance's history holds a colour that
// changes while the exposure stays put; the dark breaks that.
TEST_F(BayerLoop, GreyIsNeutralUnderEachReferenceLightSwitchedInAsALamp)
{
	// Within this many levels once the gains have come home; they move 5 %
	// of the way a frame, and Horizon after a fluorescent is the longest way.
	constexpr unsigned SETTLED = 2;
	constexpr size_t DARK_FRAMES = 10, LIGHT_FRAMES = 150, STAYS = 5;
	struct lamp {
		const char *name, *rg, *bg, *light;
	};
	// Each fluorescent after another, then Horizon after one: the cases
	// a light change at a steady exposure would leave on the one before.
	const lamp lamps[] = {{"A", "1.05", "0.40", "0.02"},	  {"TL84", "0.80", "0.50", "0.02"},
			      {"CWF", "0.72", "0.55", "0.02"},	  {"Horizon", "1.25", "0.32", "0.02"},
			      {"custom F", "0.90", "0.45", "0.02"}, {"D50", "0.68", "0.64", "0.3"}};
	auto settled = [&](const bayer_frame_t &f) {
		return f.cb + SETTLED >= 128 && f.cb <= 128 + SETTLED && f.cr + SETTLED >= 128 && f.cr <= 128 + SETTLED;
	};
	for (const lamp &l : lamps) {
		SCOPED_TRACE(l.name);
		size_t before = frames().size();
		phone.set_board("camera.scene_light", "0.0001");
		frames_after(before, [](const bayer_frame_t &fr) { return fr.light == 0.0001; }, DARK_FRAMES);
		before = frames().size();
		phone.set_board("camera.illuminant_rg", l.rg);
		phone.set_board("camera.illuminant_bg", l.bg);
		phone.set_board("camera.scene_light", l.light);
		double rg = std::stod(l.rg), bg = std::stod(l.bg), light = std::stod(l.light);
		auto seen = [&](const bayer_frame_t &fr) { return fr.illum_rg == rg && fr.illum_bg == bg && fr.light == light; };
		// Frames from the lamp until the patch is neutral and stays so.
		size_t took = 0, at = 0;
		std::vector<bayer_frame_t> f;
		for (size_t n = STAYS; n <= LIGHT_FRAMES && !took; n += STAYS) {
			std::tie(f, at) = frames_after(before, seen, n);
			if (f.size() - at < n)
				break;
			for (size_t k = at; k + STAYS <= at + n && !took; ++k)
				if (std::all_of(f.begin() + long(k), f.begin() + long(k + STAYS), settled))
					took = k - at + 1;
		}
		ASSERT_LT(at, f.size());
		const bayer_frame_t &last = f.back();
		std::printf("%s: grey within %u levels after %zu frames (Cb %u, Cr %u)\n", l.name, SETTLED, took, last.cb,
			    last.cr);
		EXPECT_GT(took, 0u) << "grey Cb " << last.cb << " Cr " << last.cr << " after " << f.size() - at << " frames";
	}
}

TEST_F(BayerLoop, BadSceneKeysAreRefusedWithTheirLineAndExtremesKeepTheLoopGoing)
{
	struct bad {
		const char *key, *value;
	};
	for (bad b : {bad{"camera.scene_light", "bright"}, bad{"camera.scene_light", "-1"},
		      bad{"camera.illuminant_rg", "nan"}, bad{"camera.illuminant_bg", "0"}}) {
		SCOPED_TRACE(std::string(b.key) + " = " + b.value);
		phone.set_board(b.key, b.value);
		std::string refusal = std::string(b.key) + " = " + b.value + " refused";
		ASSERT_TRUE(phone.wait_trace(refusal, 1, 30000));
		// The line is the board file's own.
		std::string conf = phone.file("/board.conf");
		size_t at = conf.find(std::string(b.key) + " = " + b.value);
		int line = 1 + static_cast<int>(std::count(conf.begin(), conf.begin() + static_cast<long>(at), '\n'));
		EXPECT_EQ(phone.trace_count("board.conf:" + std::to_string(line) + ": " + refusal), 1);
		TearDown();  // the good values back
	}
	// A saturated scene and a black one give statistics with no pixel in
	// the white box; a lens at either end stop; the frames go on.
	for (const char *light : {"10000", "0.000001"}) {
		SCOPED_TRACE(light);
		size_t before = frames().size();
		phone.set_board("camera.scene_light", light);
		double v = std::stod(light);
		auto [f, at] = frames_after(before, [&](const bayer_frame_t &fr) { return fr.light == v; }, 20);
		EXPECT_LT(at, f.size());
	}
}

}  // namespace
