// The simulated MSM camera driver and the VFE behind it: one kernel state
// per process, shared by every open of /dev/msm_camera0 (the client, the
// configuration thread, the frame thread).
//
// Control commands from the client queue to the configuration thread's
// MSM_CAM_IOCTL_GET_STATS and block the client until CTRL_CMD_DONE, bounded
// by the command's timeout_ms. DSP commands are checked, recorded in order,
// and answered with the VFE's messages through the same queue.
#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "camera/msm_camera.h"
#include "sim/bayer_dsp.h"

namespace sim::camera {

// One call the driver took, in order, for tests.
struct Recorded {
	unsigned long request;
	uint32_t cmd_type = 0;  // VFE_COMMAND / AXI_CONFIG; cfgtype for SENSOR_CFG
	uint16_t queue = 0;     // DSP queue; mode for SENSOR_CFG
	uint32_t number = 0;    // first word of the record; the value of SENSOR_CFG, FLASH_LED_CFG
	std::vector<uint8_t> bytes;
	std::string name;  // module of ENABLE_VFE / DISABLE_VFE
};

class Kernel {
public:
	static Kernel &get();

	// Forgets queued events, waiting commands, loaded modules and the log.
	// Clients still waiting are released with an error.
	void reset();

	// Client side: MSM_CAM_IOCTL_CTRL_COMMAND (resptype 0) or a V4L2
	// request (resptype 2); blocks until answered or timed out.
	int control(cam::ctrl_cmd_t *cmd, uint32_t resptype);
	// Configuration side.
	int get_stats(cam::stats_event_t *event);
	int ctrl_cmd_done(const cam::ctrl_cmd_t *cmd);
	int ioctl(unsigned long request, uintptr_t arg);

	// Tests: an event of any kind, as if the kernel had queued it.
	void post(uint32_t resptype, uint16_t msg_type, uint16_t msg_id, std::vector<uint8_t> body = {});
	std::vector<Recorded> log();
	void clear_log();
	uint32_t led_state();
	// Commands delivered to the configuration thread and not yet answered.
	size_t unanswered();
	// Waits (at most timeout_ms) until the configuration thread sits in
	// GET_STATS with nothing queued: everything sent so far is handled.
	bool wait_idle(int timeout_ms = 5000);
	// Calls of GET_STATS so far.
	uint64_t stats_calls();
	// Readable while a finished frame waits for MSM_CAM_IOCTL_GETFRAME.
	int frame_fd();
	// Handles on the driver: the first open starts a session, in which
	// control commands are counted by type for camera.fail's "ctrl_T:N".
	void opened();
	void closed();

private:
	struct Pending {
		cam::ctrl_cmd_t cmd{};
		std::vector<uint8_t> value;
		bool done = false;
		bool dropped = false;
		uint16_t status = 0;
		std::vector<uint8_t> answer;
	};
	struct Event {
		uint32_t resptype = 0;
		std::shared_ptr<Pending> cmd;
		uint16_t msg_type = 0, msg_id = 0;
		std::vector<uint8_t> body;
	};

	int sensor_info(cam::msm_camsensor_info *info);
	int enable_vfe(const cam::camera_enable_cmd_t *cmd, unsigned long request);
	int vfe_command(unsigned long request, const cam::vfe_cfg_cmd_t *cfg);
	void dsp_answer(uint16_t queue, uint32_t number, const std::vector<uint8_t> &record);
	void dsp_message(uint16_t id, int copies = 1);
	bool failing(const char *operation);
	// A control command that camera.fail names by type (ctrl_T) or by type and count (ctrl_T:N).
	bool refused(uint16_t type);
	void record(Recorded r);
	void deliver(const Event &e, cam::stats_event_t *event);
	// Frames: buffers the client registered, filled by the DSP.
	struct Buffer {
		uint32_t type;
		int32_t fd;
		uint8_t *vaddr;
		uint32_t y_off, cbcr_off;
	};
	int pmem(unsigned long request, const cam::msm_pmem_info *info);
	int get_frame(cam::msm_frame *frame);
	int release_frame(const cam::msm_frame *frame);
	int get_picture(cam::ctrl_cmd_t *cmd);
	void render(uint32_t type, uint32_t w, uint32_t h);
	// Statistics of the scene for 3A, while the VFE has them enabled.
	void statistics();
	// The Bayer sensor's statistics: the board's scene as exposed.
	bool bayer_statistics(Buffer &b, uint32_t side);
	static bool bayer_sensor();
	void focus_statistics();
	int release_stats(const cam::msm_stats_buf *buf);
	void frame_signal();

	Kernel();
	std::vector<Buffer> buffers_;
	std::deque<size_t> free_, done_;  // preview buffers by index
	std::deque<size_t> stats_free_;   // statistics buffers the DSP may fill
	std::deque<size_t> af_free_;
	bool stats_on_ = false;
	bool af_on_ = false;
	bool af_windows_ = false;  // multi-window: each value carries its window
	std::array<uint8_t, 16> af_grid_{};
	bool stats_256_ = false;  // 16 x 16 regions, else 8 x 8
	uint32_t stats_frame_ = 0;
	bool picture_ready_ = false;
	std::array<uint32_t, 4> axi_size_{};  // output 1 w, h, output 2 w, h of the last AXI set-up
	uint32_t axi_type_ = 0;
	std::array<uint8_t, 36> crop_{};
	int frame_fd_ = -1;

	std::mutex mutex_;
	std::condition_variable changed_;
	std::deque<Event> events_;
	std::deque<std::shared_ptr<Pending>> in_service_;
	std::vector<Recorded> log_;
	uint64_t generation_ = 0;
	bool qcam_loaded_ = false, vfe_loaded_ = false;
	bool streaming_ = false;
	int64_t next_frame_ms_ = 0;
	uint32_t led_state_ = 0;
	int waiting_ = 0;  // configuration threads blocked in GET_STATS
	uint64_t stats_calls_ = 0;
	int opens_ = 0;
	std::array<uint32_t, 64> ctrl_counts_{};
	bool probed_ = false;  // the session's first sensor probe is done
	uint64_t bayer_frames_ = 0;  // statistics frames of the Bayer path, for its log
	bayer_path_t bayer_path_;  // what the Bayer sensor and its VFE were last told
};

}  // namespace sim::camera
