// The frame path of the simulated driver: the client's pmem buffers, filled
// by the DSP with the synthetic scene at the configured output size.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <sys/eventfd.h>
#include <unistd.h>
#include <vector>

#include "sim/camera_driver.h"
#include "sim/camera_scene.h"
#include "sim/board.h"
#include "sim/pmem.h"

namespace sim::camera {

using namespace cam;

Kernel::Kernel() : frame_fd_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

int Kernel::frame_fd() { return frame_fd_; }

void Kernel::frame_signal()
{
	uint64_t v = 0;
	if (done_.empty()) {
		(void)::read(frame_fd_, &v, sizeof v);  // drain: nothing to take
	} else {
		v = 1;
		(void)::write(frame_fd_, &v, sizeof v);
	}
}

int Kernel::pmem(unsigned long request, const msm_pmem_info *info)
{
	auto *vaddr = static_cast<uint8_t *>(info->vaddr);
	auto same = [&](const Buffer &b) { return b.vaddr == vaddr && b.type == info->type; };
	if (request == MSM_CAM_IOCTL_UNREGISTER_PMEM) {
		auto it = std::find_if(buffers_.begin(), buffers_.end(), same);
		if (it == buffers_.end()) {
			errno = EINVAL;
			return -1;
		}
		buffers_.erase(it);
		free_.clear();
		done_.clear();
		stats_free_.clear();
		af_free_.clear();
		for (size_t i = 0; i < buffers_.size(); ++i) {
			if (buffers_[i].type == PMEM_AF)
				af_free_.push_back(i);
			if (buffers_[i].type == PMEM_PREVIEW)
				free_.push_back(i);
			if (buffers_[i].type == PMEM_AEC_AWB)
				stats_free_.push_back(i);
		}
		frame_signal();
		return 0;
	}
	if (!vaddr || std::any_of(buffers_.begin(), buffers_.end(), same)) {
		errno = EINVAL;
		return -1;
	}
	buffers_.push_back({info->type, info->fd, vaddr, info->y_off, info->cbcr_off});
	if (info->type == PMEM_PREVIEW && info->active)
		free_.push_back(buffers_.size() - 1);
	if (info->type == PMEM_AEC_AWB && info->active)
		stats_free_.push_back(buffers_.size() - 1);
	if (info->type == PMEM_AF && info->active)
		af_free_.push_back(buffers_.size() - 1);
	return 0;
}

// Writes the scene into the next buffer of a type; a buffer too small for
// the picture is left alone, as the DSP would overrun nothing.
void Kernel::render(uint32_t type, uint32_t w, uint32_t h)
{
	size_t index = buffers_.size();
	if (type == PMEM_PREVIEW) {
		if (free_.empty())
			return;  // every buffer is with the client: the frame is dropped
		index = free_.front();
	} else {
		for (size_t i = 0; i < buffers_.size(); ++i)
			if (buffers_[i].type == type)
				index = i;
	}
	if (index >= buffers_.size() || w < 2 || h < 2)
		return;
	Buffer &b = buffers_[index];
	size_t room = pmem_bytes_from(b.vaddr);
	bool bayer = bayer_sensor();
	if (type == PMEM_RAW_MAINIMG) {
		// The Bayer path hands over the VFE's 4:2:2 picture of the whole array.
		if (bayer)
			w = BAYER_FULL_W, h = BAYER_FULL_H;
		if (room < b.y_off + size_t{w} * h * 2)
			return;
		if (bayer)
			bayer_render_uyvy(bayer_board_scene(0), bayer_path_, b.vaddr + b.y_off, w, h);
		else
			render_uyvy(b.vaddr + b.y_off, w, h);
		return;
	}
	size_t need = std::max(b.y_off + size_t{w} * h, b.cbcr_off + size_t{w} * (h / 2));
	if (room < need)
		return;
	if (bayer)
		bayer_render_ycbcr420(bayer_board_scene(0), bayer_path_, b.vaddr + b.y_off, b.vaddr + b.cbcr_off, w, h);
	else
		render_ycbcr420(b.vaddr + b.y_off, b.vaddr + b.cbcr_off, w, h);
	if (type == PMEM_PREVIEW) {
		free_.pop_front();
		done_.push_back(index);
		frame_signal();
	}
}

// Region records as the VFE writes them: a header word, then per region
// Y and Cb, Cr of the pixels in the white box, their count, and the luma sum.
void Kernel::statistics()
{
	uint32_t w = axi_size_[2], h = axi_size_[3];
	if (!stats_on_ || stats_free_.empty() || w < 16 || h < 16)
		return;
	size_t index = stats_free_.front();
	Buffer &b = buffers_[index];
	uint32_t side = stats_256_ ? 16 : 8;
	size_t bytes = 4 + size_t{side} * side * 32;
	if (pmem_bytes_from(b.vaddr) < bytes)
		return;
	stats_free_.pop_front();
	if (!bayer_statistics(b, side)) {
		std::vector<uint32_t> out(bytes / 4, 0);
		out[0] = ++stats_frame_;
		constexpr uint32_t step = 4;  // the model samples every fourth pixel
		for (uint32_t ry = 0; ry < side; ++ry)
			for (uint32_t rx = 0; rx < side; ++rx) {
				uint64_t sy = 0, y_in = 0, cb = 0, cr = 0, count = 0;
				for (uint32_t y = ry * h / side; y < (ry + 1) * h / side; y += step)
					for (uint32_t x = rx * w / side; x < (rx + 1) * w / side; x += step) {
						yuv p = scene_at(x, y, w, h);
						sy += p.y;
						if (p.y > 16 && p.y < 235) {
							y_in += p.y;
							cb += p.cb;
							cr += p.cr;
							++count;
						}
					}
				uint32_t *r = &out[1 + (size_t{ry} * side + rx) * 8];
				r[0] = static_cast<uint32_t>(y_in & 0x1FFFFFF);
				r[1] = static_cast<uint32_t>(cb & 0x1FFFFFF);
				r[2] = static_cast<uint32_t>(cr & 0x1FFFFFF);
				r[3] = static_cast<uint32_t>(count & 0x1FFFF);
				r[4] = static_cast<uint32_t>(sy & 0x1FFFFFF);
			}
		std::memcpy(b.vaddr, out.data(), bytes);
	}
	vfe_stats_msg_t body{0, b.vaddr, b.fd};
	std::vector<uint8_t> raw(sizeof body);
	std::memcpy(raw.data(), &body, sizeof body);
	events_.push_back(Event{RESP_VFE, nullptr, 0, 9, std::move(raw)});  // VFE_STATS_WB_EXP
}

bool Kernel::bayer_statistics(Buffer &b, uint32_t side)
{
	if (!bayer_sensor())
		return false;
	uint32_t regions = side * side;
	std::vector<uint32_t> out(1 + size_t{regions} * 8, 0);
	bayer_scene_t scene = bayer_board_scene(regions);
	bayer_fill_aec_awb(scene, bayer_path_.gain_q8, bayer_path_.lines, led_state_ != 0, static_cast<int>(regions), out);
	bayer_log_frame(scene, bayer_path_, ++bayer_frames_);
	std::memcpy(b.vaddr, out.data(), out.size() * 4);
	return true;
}

bool Kernel::bayer_sensor() { return Board::get().text("camera.sensor", "") == "bayersim"; }

// Focus values of sixteen windows in the centre of the frame, one entry
// each: the window number in the high byte, the value in the low 16 bits.
void Kernel::focus_statistics()
{
	uint32_t w = axi_size_[2], h = axi_size_[3];
	if (!af_on_ || af_free_.empty() || w < 16 || h < 16)
		return;
	size_t index = af_free_.front();
	Buffer &b = buffers_[index];
	constexpr size_t bytes = 4 + 16 * 4;
	if (pmem_bytes_from(b.vaddr) < bytes)
		return;
	af_free_.pop_front();
	std::array<uint32_t, 17> out{};
	out[0] = ++stats_frame_;
	if (bayer_sensor()) {
		// The lens's focus value in each window; with several windows, each
		// value tagged with the window of the grid it came from.
		auto fv = static_cast<uint32_t>(std::clamp(bayer_focus_value(bayer_board_scene(0), bayer_path_.lens), 1.0, 65535.0));
		for (uint32_t k = 0; k < 16; ++k)
			out[1 + k] = (af_windows_ ? uint32_t{af_grid_[k]} << 24 : 0) | fv;
	} else {
		for (uint32_t win = 0; win < 16; ++win) {
			uint32_t x0 = w / 4 + (win % 4) * (w / 8), y0 = h / 4 + (win / 4) * (h / 8);
			uint64_t sharp = 0;
			for (uint32_t y = y0; y < y0 + h / 8; y += 4)
				for (uint32_t x = x0; x < x0 + w / 8; ++x) {  // up to the next window's first pixel
					int d = scene_at(x + 1, y, w, h).y - scene_at(x, y, w, h).y;
					sharp += static_cast<uint64_t>(d < 0 ? -d : d);
				}
			out[1 + win] = win << 24 | static_cast<uint32_t>(std::min<uint64_t>(sharp, 0xFFFF));
		}
	}
	std::memcpy(b.vaddr, out.data(), bytes);
	vfe_stats_msg_t body{0, b.vaddr, b.fd};
	std::vector<uint8_t> raw(sizeof body);
	std::memcpy(raw.data(), &body, sizeof body);
	events_.push_back(Event{RESP_VFE, nullptr, 0, 8, std::move(raw)});  // VFE_STATS_AUTOFOCUS
}

int Kernel::release_stats(const msm_stats_buf *buf)
{
	for (size_t i = 0; i < buffers_.size(); ++i)
		if (buffers_[i].type == (buf->type == 0 ? PMEM_AEC_AWB : PMEM_AF) && buffers_[i].fd == buf->fd) {
			auto &queue = buf->type == 0 ? stats_free_ : af_free_;
			if (std::find(queue.begin(), queue.end(), i) == queue.end())
				queue.push_back(i);
			return 0;
		}
	errno = EINVAL;
	return -1;
}

int Kernel::get_frame(msm_frame *frame)
{
	std::lock_guard lock(mutex_);
	if (done_.empty()) {
		errno = EAGAIN;
		return -1;
	}
	const Buffer &b = buffers_[done_.front()];
	done_.pop_front();
	frame->path = 2;  // preview comes from output 2
	frame->buffer = b.vaddr;
	frame->y_off = b.y_off;
	frame->cbcr_off = b.cbcr_off;
	frame->fd = b.fd;
	if (frame->cropinfo && frame->croplen)
		std::memcpy(frame->cropinfo, crop_.data(), std::min<size_t>(frame->croplen, crop_.size()));
	frame_signal();
	return 0;
}

int Kernel::release_frame(const msm_frame *frame)
{
	std::lock_guard lock(mutex_);
	for (size_t i = 0; i < buffers_.size(); ++i)
		if (buffers_[i].type == PMEM_PREVIEW && buffers_[i].vaddr == frame->buffer) {
			if (std::find(free_.begin(), free_.end(), i) == free_.end())
				free_.push_back(i);
			return 0;
		}
	errno = EINVAL;  // not a buffer of ours
	return -1;
}

int Kernel::get_picture(ctrl_cmd_t *cmd)
{
	if (failing("get_picture")) {
		errno = EIO;
		return -1;
	}
	std::unique_lock lock(mutex_);
	auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(std::max<uint32_t>(1, cmd->timeout_ms));
	if (!changed_.wait_until(lock, deadline, [&] { return picture_ready_; })) {
		errno = ETIMEDOUT;
		return -1;
	}
	picture_ready_ = false;
	if (cmd->value && cmd->length)
		std::memcpy(cmd->value, crop_.data(), std::min<size_t>(cmd->length, crop_.size()));
	cmd->status = 1;
	return 0;
}

}  // namespace sim::camera
