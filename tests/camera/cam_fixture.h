// A configuration thread on the simulated driver, with the test playing the
// camera client: commands go through MSM_CAM_IOCTL_CTRL_COMMAND and the
// answer's status is what the test sees.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fcntl.h>
#include <map>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "camera/config/config.h"
#include "platform/platform.h"
#include "sim/board.h"
#include "sim/camera_driver.h"
#include "station/board.h"

namespace camtest {

// One board for the whole test binary: the simulated board is chosen by
// FTM_BOARD before the first platform call. Sleeps run a hundred times
// faster (time.scale 0.01), so the sensor's 700 ms settle takes 7 ms.
inline const std::string &board_dir()
{
	static const std::string dir = [] {
		char tmpl[] = "/tmp/ftm-camera-XXXXXX";
		std::string d = ::mkdtemp(tmpl) ? tmpl : "/tmp/ftm-camera";
		station::init_board(d);
		station::set_board_value(d, "time.scale", "0.01");
		::setenv("FTM_BOARD", d.c_str(), 1);
		static std::string remove_at_exit = d;
		std::atexit([] {
			std::error_code ignored;
			std::filesystem::remove_all(remove_at_exit, ignored);
		});
		return d;
	}();
	return dir;
}

inline const std::map<std::string, std::string> &camera_defaults()
{
	static const std::map<std::string, std::string> d = {
	    {"camera.sensor", "ov5642"},    {"camera.flash", "1"},  {"camera.fail", ""},
	    {"camera.get_stats", "normal"}, {"camera.dsp", "normal"}, {"camera.frame_ms", "0"},
	    {"pmem.missing", "0"},          {"pmem.fail_mmap", "0"}};
	return d;
}

inline void set_board(const std::string &key, const std::string &value)
{
	station::set_board_value(board_dir(), key, value);
}

inline void reset_board(const std::map<std::string, std::string> &overrides = {})
{
	for (auto [k, v] : camera_defaults()) {
		if (auto it = overrides.find(k); it != overrides.end())
			v = it->second;
		set_board(k, v);
	}
}

inline sim::camera::Kernel &kernel() { return sim::camera::Kernel::get(); }

struct Answer {
	int rc = -1;
	uint16_t status = 0;
	std::array<uint8_t, 512> value{};
};

// The client's side of a control command.
inline Answer command(int fd, uint16_t type, const void *arg, uint16_t length, uint16_t status_in = 0xAB,
		      uint32_t timeout_ms = 5000)
{
	Answer a;
	if (arg && length)
		std::memcpy(a.value.data(), arg, std::min<size_t>(length, a.value.size()));
	cam::ctrl_cmd_t cmd{timeout_ms, type, length, a.value.data(), status_in, 0};
	a.rc = plat::ioctl(fd, cam::MSM_CAM_IOCTL_CTRL_COMMAND, &cmd);
	a.status = cmd.status;
	return a;
}

inline Answer command(int fd, uint16_t type, int32_t value = 0)
{
	return command(fd, type, &value, sizeof value);
}

// Commands the configuration thread sent to the DSP's command queue.
inline std::vector<uint32_t> vfe_numbers(const std::vector<sim::camera::Recorded> &log, uint16_t queue = 25)
{
	std::vector<uint32_t> out;
	for (const auto &r : log)
		if (r.request == cam::MSM_CAM_IOCTL_VFE_COMMAND && r.queue == queue)
			out.push_back(r.number);
	return out;
}

inline size_t count_requests(const std::vector<sim::camera::Recorded> &log, unsigned long request)
{
	return static_cast<size_t>(std::count_if(log.begin(), log.end(), [&](auto &r) { return r.request == request; }));
}

class CamConf : public ::testing::Test {
protected:
	// Board values to change before the thread starts.
	virtual std::map<std::string, std::string> board() const { return {}; }

	void SetUp() override
	{
		board_dir();
		reset_board(board());
		kernel().reset();
		cam::config_reset();
		fd_ = plat::open("/dev/msm_camera0", O_RDWR);
		ASSERT_GE(fd_, 0);
		thread_ = std::thread([] { cam::cam_conf(nullptr); });
	}

	void TearDown() override
	{
		reset_board(board());
		if (!exited_)
			command(fd_, cam::CAMERA_EXIT, nullptr, 0, 0, 2000);
		if (thread_.joinable())
			thread_.join();
		plat::close(fd_);
	}

	Answer send(uint16_t type, int32_t value = 0) { return command(fd_, type, value); }
	Answer send_bytes(uint16_t type, const void *arg, uint16_t length) { return command(fd_, type, arg, length); }
	void idle() { ASSERT_TRUE(kernel().wait_idle()); }
	uint32_t state()
	{
		idle();  // the thread sits in GET_STATS: its writes are visible
		return cam::cfgctrl.state;
	}
	void exit_thread()
	{
		Answer a = command(fd_, cam::CAMERA_EXIT, nullptr, 0, 0x55);
		EXPECT_EQ(a.rc, 0);
		EXPECT_EQ(a.status, 0x55);  // answered untouched
		exited_ = true;
	}
	// Picture and display sizes through the dimension command; its status.
	int32_t set_dimension(uint16_t picture_width, uint16_t picture_height, uint16_t display_width,
			      uint16_t display_height)
	{
		cam::cam_ctrl_dimension_t d{};
		d.picture_width = picture_width;
		d.picture_height = picture_height;
		d.display_width = display_width;
		d.display_height = display_height;
		return send_bytes(cam::CAMERA_SET_PARM_DIMENSION, &d, sizeof d).status;
	}
	// Preview running: status of the start and the state reached.
	void start_preview()
	{
		Answer a = send(cam::CAMERA_START_PREVIEW);
		ASSERT_EQ(a.rc, 0);
		ASSERT_EQ(a.status, 1);
		ASSERT_EQ(state(), cam::CAMERA_STATE_PREVIEW_RUNNING);
	}
	void stop_preview()
	{
		Answer a = send(cam::CAMERA_STOP_PREVIEW);
		ASSERT_EQ(a.rc, 0);
		ASSERT_EQ(a.status, 1);
		ASSERT_EQ(state(), cam::CAMERA_STATE_PREVIEW_STOPPED);
	}

	int fd_ = -1;
	bool exited_ = false;
	std::thread thread_;
};

}  // namespace camtest
