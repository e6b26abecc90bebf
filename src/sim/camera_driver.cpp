// The simulated camera driver's queues: control commands from the client to
// the configuration thread and their answers, and the event queue that
// MSM_CAM_IOCTL_GET_STATS drains.
#include "sim/camera_driver.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

#include "platform/platform.h"
#include "sim/board.h"

namespace sim::camera {

using namespace cam;

Kernel &Kernel::get()
{
	static Kernel kernel;
	return kernel;
}

void Kernel::reset()
{
	std::lock_guard lock(mutex_);
	for (auto &e : events_)
		if (e.cmd)
			e.cmd->dropped = true;
	for (auto &p : in_service_)
		p->dropped = true;
	events_.clear();
	in_service_.clear();
	log_.clear();
	++generation_;
	qcam_loaded_ = vfe_loaded_ = streaming_ = false;
	led_state_ = 0;
	buffers_.clear();
	free_.clear();
	done_.clear();
	stats_free_.clear();
	af_free_.clear();
	stats_on_ = stats_256_ = af_on_ = false;
	stats_frame_ = 0;
	picture_ready_ = false;
	axi_size_ = {};
	axi_type_ = 0;
	crop_ = {};
	bayer_path_ = {};
	frame_signal();
	changed_.notify_all();
}

bool Kernel::failing(const char *operation)
{
	// camera.fail names the operations that fail, e.g. "enable_vfe,sensor_cfg".
	std::string list = "," + Board::get().text("camera.fail", "") + ",";
	return list.find("," + std::string(operation) + ",") != std::string::npos;
}

bool Kernel::refused(uint16_t type)
{
	uint32_t n = 0;
	{
		std::lock_guard lock(mutex_);
		n = type < ctrl_counts_.size() ? ++ctrl_counts_[type] : 0;
	}
	std::string name = "ctrl_" + std::to_string(type);
	return failing(name.c_str()) || failing((name + ":" + std::to_string(n)).c_str());
}

void Kernel::opened()
{
	std::lock_guard lock(mutex_);
	if (opens_++ == 0) {
		ctrl_counts_ = {};
		probed_ = false;
	}
}

void Kernel::closed()
{
	std::lock_guard lock(mutex_);
	--opens_;
}

void Kernel::record(Recorded r) { log_.push_back(std::move(r)); }

int Kernel::control(ctrl_cmd_t *cmd, uint32_t resptype)
{
	if (!cmd) {
		errno = EFAULT;
		return -1;
	}
	// The configuration thread's value buffer holds 512 bytes.
	if (cmd->length > CTRL_VALUE_MAX || (cmd->length && !cmd->value)) {
		errno = cmd->length > CTRL_VALUE_MAX ? EINVAL : EFAULT;
		return -1;
	}
	if (refused(cmd->type)) {
		// The driver refuses the command: it never reaches cam_conf.
		cmd->status = 0;
		errno = EIO;
		return -1;
	}
	auto pending = std::make_shared<Pending>();
	pending->cmd = *cmd;
	pending->value.assign(static_cast<uint8_t *>(cmd->value), static_cast<uint8_t *>(cmd->value) + cmd->length);
	std::unique_lock lock(mutex_);
	events_.push_back(Event{resptype, pending, 0, 0, {}});
	changed_.notify_all();
	auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(std::max<uint32_t>(1, cmd->timeout_ms));
	changed_.wait_until(lock, deadline, [&] { return pending->done || pending->dropped; });
	if (!pending->done) {
		// Nobody will read the answer any more: forget the command.
		std::erase_if(events_, [&](const Event &e) { return e.cmd == pending; });
		std::erase(in_service_, pending);
		errno = pending->dropped ? EIO : ETIMEDOUT;
		return -1;
	}
	cmd->status = pending->status;
	size_t n = std::min<size_t>(cmd->length, pending->answer.size());
	if (n)
		std::memcpy(cmd->value, pending->answer.data(), n);
	return 0;
}

void Kernel::deliver(const Event &e, stats_event_t *event)
{
	event->resptype = e.resptype;
	if (e.cmd) {
		ctrl_cmd_t &c = event->ctrl_cmd;
		c.timeout_ms = e.cmd->cmd.timeout_ms;
		c.type = e.cmd->cmd.type;
		c.length = e.cmd->cmd.length;
		c.status = e.cmd->cmd.status;
		if (c.value) {
			std::memset(c.value, 0, CTRL_VALUE_MAX);
			if (!e.cmd->value.empty())
				std::memcpy(c.value, e.cmd->value.data(), e.cmd->value.size());
		}
		in_service_.push_back(e.cmd);
	} else if (e.resptype == RESP_VFE) {
		// The ctrl_cmd part is left alone: a held stop still reads from it.
		event->vfe_msg.type = e.msg_type;
		event->vfe_msg.msgId = e.msg_id;
		if (event->vfe_msg.data) {
			std::memset(event->vfe_msg.data, 0, CTRL_VALUE_MAX);
			if (!e.body.empty())
				std::memcpy(event->vfe_msg.data, e.body.data(), std::min<size_t>(e.body.size(), CTRL_VALUE_MAX));
		}
	}
}

int Kernel::get_stats(stats_event_t *event)
{
	if (!event) {
		errno = EFAULT;
		return -1;
	}
	std::string mode = Board::get().text("camera.get_stats", "normal");
	if (mode == "error" || mode == "empty") {
		std::lock_guard lock(mutex_);
		++stats_calls_;
		errno = EIO;
		return mode == "error" ? -1 : 0;
	}
	long frame_ms = Board::get().num("camera.frame_ms", 33);
	std::unique_lock lock(mutex_);
	++stats_calls_;
	auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(event->timeout_ms);
	uint64_t generation = generation_;
	for (;;) {
		if (!events_.empty()) {
			Event e = std::move(events_.front());
			events_.pop_front();
			deliver(e, event);
			return 1;
		}
		if (generation != generation_)
			return 0;
		auto until = deadline;
		if (streaming_ && frame_ms > 0) {
			int64_t now = plat::now_ms();
			if (now >= next_frame_ms_) {
				next_frame_ms_ = now + frame_ms;
				render(PMEM_PREVIEW, axi_size_[2], axi_size_[3]);
				events_.push_back(Event{RESP_VFE, nullptr, 0, 7, {}});  // a frame of output 2
				statistics();
				focus_statistics();
				continue;
			}
			until = std::min(until, std::chrono::steady_clock::now() + std::chrono::milliseconds(next_frame_ms_ - now));
		}
		++waiting_;
		changed_.notify_all();
		auto status = changed_.wait_until(lock, until);
		--waiting_;
		if (status == std::cv_status::timeout && std::chrono::steady_clock::now() >= deadline)
			return 0;
	}
}

int Kernel::ctrl_cmd_done(const ctrl_cmd_t *cmd)
{
	if (!cmd || cmd->length > CTRL_VALUE_MAX || (cmd->length && !cmd->value)) {
		errno = EFAULT;
		return -1;
	}
	if (failing("ctrl_cmd_done")) {
		errno = EIO;
		return -1;
	}
	std::lock_guard lock(mutex_);
	// Stops are answered late, after other commands: match by type.
	auto it = std::find_if(in_service_.begin(), in_service_.end(),
			       [&](const std::shared_ptr<Pending> &p) { return p->cmd.type == cmd->type; });
	if (it == in_service_.end()) {
		errno = EINVAL;
		return -1;
	}
	std::shared_ptr<Pending> p = *it;
	in_service_.erase(it);
	p->status = cmd->status;
	const auto *bytes = static_cast<const uint8_t *>(cmd->value);
	p->answer.assign(bytes, bytes + cmd->length);
	p->done = true;
	changed_.notify_all();
	return 0;
}

void Kernel::post(uint32_t resptype, uint16_t msg_type, uint16_t msg_id, std::vector<uint8_t> body)
{
	std::lock_guard lock(mutex_);
	events_.push_back(Event{resptype, nullptr, msg_type, msg_id, std::move(body)});
	changed_.notify_all();
}

std::vector<Recorded> Kernel::log()
{
	std::lock_guard lock(mutex_);
	return log_;
}

void Kernel::clear_log()
{
	std::lock_guard lock(mutex_);
	log_.clear();
}

uint32_t Kernel::led_state()
{
	std::lock_guard lock(mutex_);
	return led_state_;
}

size_t Kernel::unanswered()
{
	std::lock_guard lock(mutex_);
	return in_service_.size();
}

bool Kernel::wait_idle(int timeout_ms)
{
	std::unique_lock lock(mutex_);
	return changed_.wait_for(lock, std::chrono::milliseconds(timeout_ms),
				 [&] { return waiting_ > 0 && events_.empty(); });
}

uint64_t Kernel::stats_calls()
{
	std::lock_guard lock(mutex_);
	return stats_calls_;
}

}  // namespace sim::camera
