// The rest of the simulated camera driver: the sensor, the flash LED and the
// DSP's VFE, which checks each command record, records it and answers as
// the VFE does.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "platform/platform.h"
#include "camera/sensor/bayersim.h"
#include "camera/vfe/vfe_cmd.h"
#include "sim/board.h"
#include "sim/camera_driver.h"

namespace sim::camera {

using namespace cam;

namespace {

// Record sizes the VFE accepts, by queue and command number (0: unknown).
constexpr std::array<uint16_t, 32> cmd_queue_sizes = {4,  16, 4,  4,  36, 12, 24, 16, 12, 8, 20,
						      8,  60, 32, 12, 12, 56, 40, 24, 12, 12, 8,
						      8,  4,  4,  0,  0,  0,  0,  0,  0,  20};

size_t expected_size(uint16_t queue, uint32_t number)
{
	switch (queue) {
	case 25: return number < cmd_queue_sizes.size() ? cmd_queue_sizes[number] : 0;
	case 26: return number <= 1 ? 292 : 0;
	case 27: return number == 2 || number == 3 ? 1032 : number == 4 ? 520 : 0;
	default: return 0;
	}
}

enum : uint16_t { MSG_RESET_ACK = 0, MSG_STOP_ACK = 1, MSG_SNAPSHOT_DONE = 2, MSG_START_ACK = 4,
		  MSG_UPDATE_ACK = 5, MSG_OUTPUT1 = 6, MSG_OUTPUT2 = 7 };

std::vector<uint8_t> bytes_of(const void *p, size_t n)
{
	const auto *b = static_cast<const uint8_t *>(p);
	return {b, b + n};
}

}  // namespace

int Kernel::sensor_info(msm_camsensor_info *info)
{
	if (failing("sensor_info")) {
		errno = EIO;
		return -1;
	}
	// The sensor powers up on the session's first probe (the configuration
	// thread's), which camera.probe_ms makes slow.
	bool first = false;
	{
		std::lock_guard lock(mutex_);
		first = !probed_;
		probed_ = true;
	}
	long probe_ms = Board::get().num("camera.probe_ms", 0);
	if (first && probe_ms > 0)
		plat::usleep(static_cast<unsigned>(std::min(probe_ms, 1000000L)) * 1000u);
	std::string name = Board::get().text("camera.sensor", "ov5642");
	std::memset(info->name, 0, sizeof info->name);
	std::memcpy(info->name, name.data(), std::min(name.size(), sizeof info->name - 1));
	info->flash_enabled = Board::get().num("camera.flash", 1) ? 1 : 0;
	return 0;
}

void Kernel::dsp_message(uint16_t id, int copies)
{
	std::string mode = Board::get().text("camera.dsp", "normal");
	if (mode == "silent")
		return;
	if (mode == "double")
		copies *= 2;
	for (int i = 0; i < copies; ++i)
		events_.push_back(Event{RESP_VFE, nullptr, 0, id, {}});
	changed_.notify_all();
}

int Kernel::enable_vfe(const camera_enable_cmd_t *cmd, unsigned long request)
{
	if (!cmd->name || cmd->length > 32) {
		errno = EFAULT;
		return -1;
	}
	std::string name(cmd->name, strnlen(cmd->name, cmd->length));
	std::lock_guard lock(mutex_);
	record(Recorded{request, 0, 0, 0, {}, name});
	if (name != "QCAMTASK" && name != "VFETASK") {
		errno = EINVAL;
		return -1;
	}
	if (request == MSM_CAM_IOCTL_DISABLE_VFE) {
		(name == "QCAMTASK" ? qcam_loaded_ : vfe_loaded_) = false;
		return 0;
	}
	if (failing("enable_vfe")) {
		errno = EIO;
		return -1;
	}
	(name == "QCAMTASK" ? qcam_loaded_ : vfe_loaded_) = true;
	events_.push_back(Event{RESP_VFE, nullptr, 1, 0, {}});  // ADSP_RTOS_MOD_READY
	if (Board::get().text("camera.dsp", "normal") == "double")
		events_.push_back(Event{RESP_VFE, nullptr, 1, 0, {}});
	changed_.notify_all();
	return 0;
}

int Kernel::vfe_command(unsigned long request, const vfe_cfg_cmd_t *cfg)
{
	const auto *command = static_cast<const vfe_command_t *>(cfg->value);
	if (!command || !command->value || command->length < 4) {
		errno = EFAULT;
		return -1;
	}
	uint32_t number = 0;
	std::memcpy(&number, command->value, sizeof number);
	bool axi = request == MSM_CAM_IOCTL_AXI_CONFIG;
	size_t want = axi ? 168 : expected_size(command->queue, number);
	std::lock_guard lock(mutex_);
	record(Recorded{request, cfg->cmd_type, command->queue, number, bytes_of(command->value, command->length), {}});
	if (want == 0 || command->length != want) {
		errno = EINVAL;  // the DSP refuses a record of the wrong size
		return -1;
	}
	if (!vfe_loaded_ || failing(axi ? "axi_config" : "vfe_command")) {
		errno = ENODEV;
		return -1;
	}
	if (axi) {
		// The output sizes the DSP writes: Y blocks of outputs 1 and 2.
		const auto &b = log_.back().bytes;
		auto word = [&](size_t off) {
			uint32_t w = 0;
			std::memcpy(&w, b.data() + off, 4);
			return w;
		};
		axi_size_ = {((word(8) >> 16) & 0x3FF) * 8, word(8) & 0xFFF, ((word(24) >> 16) & 0x3FF) * 8, word(24) & 0xFFF};
		axi_type_ = cfg->cmd_type;
		// A raw line is the sensor's bytes, which in this model are U Y V Y:
		// two to a pixel.
		if (axi_type_ == 6)
			axi_size_[2] /= 2;
	} else if (command->queue == 25) {
		const auto &b = log_.back().bytes;
		if ((cfg->cmd_type == 14 || cfg->cmd_type == 13) && b.size() > 4) {  // statistics on or off
			stats_on_ = cfg->cmd_type == 14 && (b[4] & 1);
			stats_256_ = (b[4] & 0x80) != 0;
		}
		if (cfg->cmd_type == 15 && number == 16 && b.size() > 11) {
			af_on_ = (b[4] & 1) != 0;        // af_enable
			af_windows_ = (b[11] & 0x80) != 0;  // af_winmode
			if (b.size() >= 32)
				std::copy(b.begin() + 16, b.begin() + 32, af_grid_.begin());  // the windows it reads
		}
		if (number == 0)
			stats_on_ = af_on_ = false;  // a reset clears the statistics set-up
		// The raw snapshot's start record comes with no processing record
		// and names no stages: its picture is developed as the preview ran.
		if (!(number == VFE_CMD_START && axi_type_ == 6))
			bayer_take_record(bayer_path_, command->queue, number, b);
		dsp_answer(command->queue, number, b);
	} else {
		bayer_take_record(bayer_path_, command->queue, number, log_.back().bytes);
	}
	return 0;
}

// The VFE's answers to the commands of its command queue.
void Kernel::dsp_answer(uint16_t, uint32_t number, const std::vector<uint8_t> &record)
{
	switch (number) {
	case 0:  // reset
		streaming_ = false;
		dsp_message(MSG_RESET_ACK);
		break;
	case 1: {  // start: continuous frames, or one picture
		dsp_message(MSG_START_ACK);
		bool snapshot = record.size() > 4 && (record[4] & 0x02);
		if (!snapshot) {
			streaming_ = true;
			next_frame_ms_ = plat::now_ms();
		} else if (axi_type_ == 6) {
			render(PMEM_RAW_MAINIMG, axi_size_[2], axi_size_[3]);
			dsp_message(MSG_OUTPUT2);
			dsp_message(MSG_SNAPSHOT_DONE);
			picture_ready_ = true;
		} else {
			render(PMEM_THUMBNAIL, axi_size_[0], axi_size_[1]);
			render(PMEM_MAINIMG, axi_size_[2], axi_size_[3]);
			dsp_message(MSG_OUTPUT1);
			dsp_message(MSG_OUTPUT2);
			dsp_message(MSG_SNAPSHOT_DONE);
			picture_ready_ = true;
		}
		break;
	}
	case 2:  // stop
		streaming_ = false;
		dsp_message(MSG_STOP_ACK);
		break;
	case 3:  // update
		dsp_message(MSG_UPDATE_ACK);
		break;
	default:
		break;
	}
}

int Kernel::ioctl(unsigned long request, uintptr_t arg)
{
	void *p = reinterpret_cast<void *>(arg);
	if (!p && request != MSM_CAM_IOCTL_SNAPSHOT_BEGIN) {
		errno = EFAULT;
		return -1;
	}
	switch (request) {
	case MSM_CAM_IOCTL_GET_SENSOR_INFO: return sensor_info(static_cast<msm_camsensor_info *>(p));
	case MSM_CAM_IOCTL_CTRL_COMMAND: return control(static_cast<ctrl_cmd_t *>(p), RESP_CTRL);
	case MSM_CAM_IOCTL_GET_STATS: return get_stats(static_cast<stats_event_t *>(p));
	case MSM_CAM_IOCTL_CTRL_CMD_DONE: return ctrl_cmd_done(static_cast<ctrl_cmd_t *>(p));
	case MSM_CAM_IOCTL_ENABLE_VFE:
	case MSM_CAM_IOCTL_DISABLE_VFE: return enable_vfe(static_cast<camera_enable_cmd_t *>(p), request);
	case MSM_CAM_IOCTL_VFE_COMMAND:
	case MSM_CAM_IOCTL_AXI_CONFIG: return vfe_command(request, static_cast<vfe_cfg_cmd_t *>(p));
	case MSM_CAM_IOCTL_GETFRAME: return get_frame(static_cast<msm_frame *>(p));
	case MSM_CAM_IOCTL_RELEASE_FRAME_BUFFER: return release_frame(static_cast<msm_frame *>(p));
	case MSM_CAM_IOCTL_GET_PICTURE: return get_picture(static_cast<ctrl_cmd_t *>(p));
	default: break;
	}
	std::lock_guard lock(mutex_);
	Recorded r{request};
	const char *operation = "";
	switch (request) {
	case MSM_CAM_IOCTL_SENSOR_CFG: {
		const auto *cfg = static_cast<const sensor_cfg_data *>(p);
		r.cmd_type = static_cast<uint32_t>(cfg->cfgtype);
		r.queue = static_cast<uint16_t>(cfg->mode);
		r.number = static_cast<uint32_t>(cfg->value);
		operation = "sensor_cfg";
		if (cfg->cfgtype == CFG_SET_EXP_GAIN && !failing(operation)) {
			bayer_path_.gain_q8 = r.queue;
			bayer_path_.lines = r.number;
		}
		if (cfg->cfgtype == CFG_SET_DEFAULT_FOCUS && !failing(operation))
			bayer_lens_default(bayer_path_);
		if (cfg->cfgtype == CFG_MOVE_FOCUS && !failing(operation))
			bayer_lens_move(bayer_path_, cfg->mode, cfg->value);
		break;
	}
	case MSM_CAM_IOCTL_FLASH_LED_CFG:
		std::memcpy(&r.number, p, sizeof r.number);
		operation = "flash_led";
		break;
	case MSM_CAM_IOCTL_SET_CROP: {
		const auto *crop = static_cast<const crop_info_t *>(p);
		if (!crop->info || crop->len != 36) {
			errno = EINVAL;
			return -1;
		}
		r.bytes = bytes_of(crop->info, crop->len);
		std::memcpy(crop_.data(), crop->info, crop_.size());
		operation = "set_crop";
		break;
	}
	case MSM_CAM_IOCTL_SNAPSHOT_BEGIN: operation = "snapshot_begin"; break;
	case MSM_CAM_IOCTL_PICT_PP: r.number = *static_cast<uint8_t *>(p); break;
	case MSM_CAM_IOCTL_RELEASE_STATS_BUFFER:
		r.number = static_cast<uint32_t>(static_cast<msm_stats_buf *>(p)->type);
		record(r);
		return release_stats(static_cast<msm_stats_buf *>(p));
	case MSM_CAM_IOCTL_REGISTER_PMEM:
	case MSM_CAM_IOCTL_UNREGISTER_PMEM:
		r.number = static_cast<msm_pmem_info *>(p)->type;
		record(r);
		return pmem(request, static_cast<msm_pmem_info *>(p));
	default:
		errno = ENOTTY;
		return -1;
	}
	record(r);
	if (*operation && failing(operation)) {
		errno = EIO;
		return -1;
	}
	if (request == MSM_CAM_IOCTL_FLASH_LED_CFG)
		led_state_ = r.number;
	return 0;
}

}  // namespace sim::camera
