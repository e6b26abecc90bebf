// Frames from the simulated DSP: the scene at the configured output size,
// in the client's pmem buffers, handed over by GETFRAME and GET_PICTURE.
#include "cam_fixture.h"

#include <poll.h>

#include "sim/camera_scene.h"

namespace camtest {
namespace {

using namespace cam;

struct PmemBuffer {
	int fd = -1;
	uint8_t *addr = nullptr;
	uint32_t size = 0;
};

class Frames : public CamConf {
protected:
	std::map<std::string, std::string> board() const override { return {{"camera.frame_ms", "5"}}; }

	void TearDown() override
	{
		CamConf::TearDown();
		for (PmemBuffer &b : buffers_)
			do_munmap(b.fd, b.addr, b.size);
	}

	PmemBuffer &map(uint32_t size)
	{
		buffers_.reserve(8);  // references handed out stay valid
		PmemBuffer b;
		b.size = size;
		b.addr = static_cast<uint8_t *>(do_mmap(size, &b.fd));
		EXPECT_NE(b.addr, nullptr);
		buffers_.push_back(b);
		return buffers_.back();
	}

	int reg(const PmemBuffer &b, uint32_t type, uint32_t y_off, uint32_t cbcr_off)
	{
		msm_pmem_info info{type, b.fd, b.addr, y_off, cbcr_off, 1};
		return plat::ioctl(fd_, MSM_CAM_IOCTL_REGISTER_PMEM, &info);
	}

	void dimension(uint16_t w, uint16_t h)
	{
		cam_ctrl_dimension_t d{};
		d.picture_width = w;
		d.picture_height = h;
		d.display_width = 800;
		d.display_height = 480;
		d.ui_thumbnail_width = 320;
		d.ui_thumbnail_height = 240;
		ASSERT_EQ(send_bytes(CAMERA_SET_PARM_DIMENSION, &d, sizeof d).status, 1);
	}

	std::vector<PmemBuffer> buffers_;
};

std::vector<uint8_t> expected_420(uint32_t w, uint32_t h)
{
	std::vector<uint8_t> out(size_t{w} * h * 3 / 2);
	sim::camera::render_ycbcr420(out.data(), out.data() + size_t{w} * h, w, h);
	return out;
}

TEST_F(Frames, PreviewFramesCarryTheSceneAtTheDisplaySize)
{
	for (int i = 0; i < 4; ++i)
		ASSERT_EQ(reg(map(800 * 480 * 3 / 2), PMEM_PREVIEW, 0, 800 * 480), 0);
	dimension(1280, 960);
	start_preview();
	std::vector<uint8_t> want = expected_420(800, 480);
	std::vector<void *> seen;
	for (int n = 0; n < 6; ++n) {
		pollfd p{fd_, POLLIN, 0};
		ASSERT_EQ(::poll(&p, 1, 5000), 1) << "no frame";
		std::array<uint8_t, 36> crop{};
		msm_frame frame{0, nullptr, 0, 0, -1, crop.data(), 36};
		ASSERT_EQ(plat::ioctl(fd_, MSM_CAM_IOCTL_GETFRAME, &frame), 0);
		auto it = std::find_if(buffers_.begin(), buffers_.end(), [&](auto &b) { return b.addr == frame.buffer; });
		ASSERT_NE(it, buffers_.end());
		EXPECT_EQ(frame.fd, it->fd);
		EXPECT_EQ(frame.cbcr_off, 800u * 480);
		EXPECT_TRUE(std::equal(want.begin(), want.end(), it->addr)) << "frame " << n;
		seen.push_back(frame.buffer);
		ASSERT_EQ(plat::ioctl(fd_, MSM_CAM_IOCTL_RELEASE_FRAME_BUFFER, &frame), 0);
	}
	// The buffers are used in turn.
	std::sort(seen.begin(), seen.end());
	EXPECT_GE(std::unique(seen.begin(), seen.end()) - seen.begin(), 2);
	// A buffer the driver never gave out is refused.
	uint8_t stray = 0;
	msm_frame bad{0, &stray, 0, 0, -1, nullptr, 0};
	EXPECT_EQ(plat::ioctl(fd_, MSM_CAM_IOCTL_RELEASE_FRAME_BUFFER, &bad), -1);
}

TEST_F(Frames, NoBufferNoFrameAndNoOverrun)
{
	// A buffer too small for the output is never written.
	PmemBuffer &small = map(4096);
	std::memset(small.addr, 0x77, 4096);
	ASSERT_EQ(reg(small, PMEM_PREVIEW, 0, 2048), 0);
	dimension(1280, 960);
	start_preview();
	msm_frame frame{};
	EXPECT_EQ(plat::ioctl(fd_, MSM_CAM_IOCTL_GETFRAME, &frame), -1);
	EXPECT_EQ(small.addr[0], 0x77);
}

TEST_F(Frames, SnapshotFillsTheThumbnailAndThePicture)
{
	dimension(2592, 1944);
	start_preview();
	stop_preview();
	idle();
	// The snapshot outputs: 320 x 240 thumbnail, picture within the window.
	PmemBuffer &thumb = map(320 * 240 * 3 / 2);
	PmemBuffer &main = map(2576 * 1936 * 3 / 2);
	ASSERT_EQ(reg(thumb, PMEM_THUMBNAIL, 0, 320 * 240), 0);
	ASSERT_EQ(reg(main, PMEM_MAINIMG, 0, 2576 * 1936), 0);
	ASSERT_EQ(send(CAMERA_START_SNAPSHOT).status, 1);
	std::array<uint8_t, 36> crop{};
	ctrl_cmd_t cmd{5000, 0, 36, crop.data(), 0, 0};
	ASSERT_EQ(plat::ioctl(fd_, MSM_CAM_IOCTL_GET_PICTURE, &cmd), 0);
	idle();
	ASSERT_EQ(cfgctrl.vfeCtrl.output2_width, 2576u);
	ASSERT_EQ(cfgctrl.vfeCtrl.output2_height, 1936u);
	// The thumbnail took the picture's ratio (320 x 239) and the VFE's
	// multiple of 16.
	ASSERT_EQ(cfgctrl.vfeCtrl.output1_width, 320u);
	ASSERT_EQ(cfgctrl.vfeCtrl.output1_height, 224u);
	auto t = expected_420(320, 224);
	EXPECT_TRUE(std::equal(t.begin(), t.begin() + 320 * 224, thumb.addr));
	EXPECT_TRUE(std::equal(t.begin() + 320 * 224, t.end(), thumb.addr + 320 * 240));  // at the registered offset
	auto m = expected_420(2576, 1936);
	EXPECT_TRUE(std::equal(m.begin(), m.end(), main.addr));
}

TEST_F(Frames, RawSnapshotIsTheSensorsFullFrame)
{
	start_preview();
	stop_preview();
	PmemBuffer &raw = map(2592 * 1944 * 2);
	ASSERT_EQ(reg(raw, PMEM_RAW_MAINIMG, 0, 0), 0);
	ASSERT_EQ(send(CAMERA_START_RAW_SNAPSHOT).status, 1);
	ctrl_cmd_t cmd{5000, 0, 0, nullptr, 0, 0};
	ASSERT_EQ(plat::ioctl(fd_, MSM_CAM_IOCTL_GET_PICTURE, &cmd), 0);
	std::vector<uint8_t> want(size_t{2592} * 1944 * 2);
	sim::camera::render_uyvy(want.data(), 2592, 1944);
	EXPECT_TRUE(std::equal(want.begin(), want.end(), raw.addr));
}

TEST_F(Frames, GetPictureWithoutASnapshotTimesOut)
{
	ctrl_cmd_t cmd{50, 0, 0, nullptr, 0, 0};
	EXPECT_EQ(plat::ioctl(fd_, MSM_CAM_IOCTL_GET_PICTURE, &cmd), -1);
}

}  // namespace
}  // namespace camtest

namespace camtest {
namespace {

using namespace cam;

TEST_F(Frames, StatisticsOfTheSceneWhileEnabled)
{
	std::vector<PmemBuffer *> stats;
	for (int i = 0; i < 3; ++i) {
		PmemBuffer &b = map(8224);
		ASSERT_EQ(reg(b, PMEM_AEC_AWB, 0, 0), 0);
		stats.push_back(&b);
	}
	for (int i = 0; i < 3; ++i)
		ASSERT_EQ(reg(map(800 * 480 * 3 / 2), PMEM_PREVIEW, 0, 800 * 480), 0);
	dimension(1280, 960);
	start_preview();
	// No statistics until the VFE is told to make them.
	EXPECT_EQ(count_requests(kernel().log(), MSM_CAM_IOCTL_RELEASE_STATS_BUFFER), 0u);
	// Enable them as 3A would, with the statistics record and command type 14.
	vfe_rec<40> record = VFE_DefaultStatsWB_EXP_CfgCmd;
	record.set(4, 0, 1, 1);
	vfe_command_t command{VFE_QUEUE_CMD, 40, record.data()};
	vfe_cfg_cmd_t cfg{VFE_STATS_ENABLE, 8, 0, &command};
	ASSERT_EQ(plat::ioctl(fd_, MSM_CAM_IOCTL_VFE_COMMAND, &cfg), 0);
	// The thread gives each buffer back after its message.
	for (int spins = 0; spins < 500 && count_requests(kernel().log(), MSM_CAM_IOCTL_RELEASE_STATS_BUFFER) < 4; ++spins)
		std::this_thread::sleep_for(std::chrono::milliseconds(2));
	ASSERT_GE(count_requests(kernel().log(), MSM_CAM_IOCTL_RELEASE_STATS_BUFFER), 4u);
	// 8 x 8 regions of the 800 x 480 scene: the top-left region lies in the
	// white bar (Y 180), sampled every fourth pixel, all inside the white box.
	uint32_t region[8];
	std::memcpy(region, stats[0]->addr + 4, sizeof region);
	uint32_t samples = (100 / 4) * (60 / 4);
	EXPECT_EQ(region[3], samples);
	EXPECT_EQ(region[0], 180 * samples);
	EXPECT_EQ(region[4], 180 * samples);
	EXPECT_EQ(region[1], 128 * samples);
	// The top-right region lies in the black bar: its pixels (Y 16) are
	// outside the white box.
	std::memcpy(region, stats[0]->addr + 4 + 7 * 32, sizeof region);
	EXPECT_EQ(region[3], 0u);
	EXPECT_EQ(region[4], 16 * samples);
}

}  // namespace
}  // namespace camtest

namespace camtest {
namespace {

using namespace cam;

TEST_F(Frames, FocusStatisticsWhileEnabledAndNotAfterStop)
{
	PmemBuffer &af = map(4228);
	ASSERT_EQ(reg(af, PMEM_AF, 0, 0), 0);
	dimension(1280, 960);
	start_preview();
	vfe_rec<56> record = VFE_DefaultStatsAutofocusCfgCmd;
	record.set(4, 0, 1, 1);  // af_enable
	vfe_command_t command{VFE_QUEUE_CMD, 56, record.data()};
	vfe_cfg_cmd_t cfg{VFE_STATS_AF, 8, 0, &command};
	ASSERT_EQ(plat::ioctl(fd_, MSM_CAM_IOCTL_VFE_COMMAND, &cfg), 0);
	auto released = [&] {
		auto log = kernel().log();
		return std::count_if(log.begin(), log.end(), [](auto &r) {
			return r.request == MSM_CAM_IOCTL_RELEASE_STATS_BUFFER && r.number == 1;
		});
	};
	for (int spins = 0; spins < 500 && released() < 2; ++spins)
		std::this_thread::sleep_for(std::chrono::milliseconds(2));
	ASSERT_GE(released(), 2);  // one buffer, filled again after each release
	// Each entry holds its window's number in the high byte.
	std::array<uint32_t, 17> got{};
	std::memcpy(got.data(), af.addr, sizeof got);
	for (uint32_t win = 0; win < 16; ++win)
		EXPECT_EQ(got[1 + win] >> 24, win);
	// The bars of the 800-wide frame are 100 pixels wide and so are the
	// windows: each window's right edge meets a bar edge, where the luma
	// steps (white 180 to yellow 162 and so on).
	EXPECT_EQ(got[1] & 0xFFFF, (131u - 112u) * 15);  // cyan to green, 15 sampled lines
	EXPECT_EQ(got[2] & 0xFFFF, (112u - 84u) * 15);   // green to magenta
	stop_preview();
	auto before = released();
	EXPECT_EQ(send(CAMERA_SET_PARM_PREVIEW_MODE, 1).status, 1);
	EXPECT_EQ(released(), before);  // no frames, no statistics
}

}  // namespace
}  // namespace camtest
