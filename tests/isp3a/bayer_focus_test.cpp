// Focus on the simulated DSP: the configuration thread's AF moves the
// sensor's lens, the DSP's focus values follow the lens, and the search
// ends on the board's peak, wherever the peak is, end stops included.
#include <chrono>
#include <thread>

#include "camera/cam_fixture.h"
#include "camera/isp3a/af.h"
#include "sim/bayer_frame_log.h"

using namespace camtest;

namespace {

std::vector<sim::camera::bayer_frame_t> frame_log() { return sim::camera::bayer_read_frames(board_dir()); }

class BayerFocus : public CamConf, public ::testing::WithParamInterface<int> {
protected:
	std::map<std::string, std::string> board() const override
	{
		return {{"camera.sensor", "bayersim"}, {"camera.frame_ms", "2"}};
	}
	void SetUp() override
	{
		std::remove((board_dir() + sim::camera::BAYER_FRAME_LOG).c_str());
		set_board("camera.frame_log", "1");
		set_board("camera.focus_peak", std::to_string(GetParam()));
		CamConf::SetUp();
	}
	void TearDown() override
	{
		CamConf::TearDown();
		set_board("camera.frame_log", "0");
		set_board("camera.focus_peak", "20");
	}
	// Waits, bounded, for the search to end; false if it does not.
	bool search_ends()
	{
		auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
		while (std::chrono::steady_clock::now() < until) {
			idle();  // the thread sits in GET_STATS: its state is settled
			const cam::af_ctrl_t *af = cam::af_ctrl();
			if (!cam::af_is_active() && af->state != cam::WAIT_FOR_AEC_TO_SETTLE)
				return true;
		}
		return false;
	}
};

// The exhaustive search's worst case: coarse steps over the range, then
// fine steps about the best.
constexpr size_t FOCUS_FRAMES = 60;

TEST_P(BayerFocus, TheSearchEndsOnThePeak)
{
	idle();
	ASSERT_EQ(set_dimension(1280, 960, 800, 480), 1);  // the outputs the statistics come with
	start_preview();
	size_t before = frame_log().size();
	Answer a = send(cam::CAMERA_SET_PARM_AUTO_FOCUS, 0);
	ASSERT_EQ(a.rc, 0);
	ASSERT_TRUE(search_ends());
	// The search's last move shows in the next frame.
	size_t ended = frame_log().size();
	std::vector<sim::camera::bayer_frame_t> f;
	for (auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
	     f.size() <= ended && std::chrono::steady_clock::now() < until;) {
		std::this_thread::sleep_for(std::chrono::milliseconds(1));
		f = frame_log();
	}
	ASSERT_GT(f.size(), ended);
	int peak = GetParam();
	std::printf("peak %d: lens at %d after %zu frames\n", peak, f.back().lens, f.size() - before);
	EXPECT_NEAR(f.back().lens, peak, 1);
	EXPECT_LE(f.size() - before, FOCUS_FRAMES);
	// The lens went somewhere else on the way: the values came from it.
	bool moved = false;
	for (size_t i = before; i < f.size(); ++i)
		moved = moved || std::abs(f[i].lens - f.back().lens) >= 4;
	EXPECT_TRUE(moved);
	stop_preview();
}

// Mid-range, and a peak at each end stop.
INSTANTIATE_TEST_SUITE_P(Peaks, BayerFocus, ::testing::Values(13, 0, 40));

}  // namespace
