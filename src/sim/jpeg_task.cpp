// /dev/adsp/JPEGTASK: the DSP's JPEG task. It takes the encoder's
// configuration message, reads the input planes and writes the output
// buffers by physical address, and encodes with our software engine, so its
// output is the software engine's to the byte. It sends the output in
// pieces of a destination buffer each and waits for each buffer to be
// consumed before it fills it again, as the DSP does.
//
// What it does not do: upscaling (it encodes the input as it stands) and
// inputs in several fragments (it reads the planes from fragment 0 on).
//
// Board: jpeg_dsp.missing = 1 removes the device; jpeg_dsp.mode = silent
// never acknowledges a start, refuse refuses it.
#include "sim/jpeg_task.h"

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "jpeg/jpege_engine_dsp.h"
#include "jpeg/jpege_engine_sw.h"
#include "sim/board.h"
#include "sim/models.h"
#include "sim/pmem.h"

namespace sim {

namespace {

using namespace jpeg;

std::atomic<uint64_t> jobs{0};
std::mutex last_mutex;
std::array<uint8_t, JPEG_DSP_CFG_BYTES> last_config{};
constexpr auto ENCODE_LIMIT = std::chrono::seconds(20);
constexpr auto CONSUME_LIMIT = std::chrono::seconds(2);

uint32_t get16(const uint8_t *m, size_t off) { return m[off] | m[off + 1] << 8; }
uint32_t get32(const uint8_t *m, size_t off) { return get16(m, off) | get16(m, off + 2) << 16; }

// The software engine run to its end, its output gathered.
struct encoding {
	std::mutex mutex;
	std::condition_variable cond;
	std::vector<uint8_t> bytes;
	bool finished = false, failed = false;
};
std::mutex registry_mutex;
std::map<const jpege_engine_obj_t *, encoding *> registry;

encoding *find(const jpege_engine_obj_t *engine)
{
	std::lock_guard lock(registry_mutex);
	auto it = registry.find(engine);
	return it == registry.end() ? nullptr : it->second;
}

void gathered(jpege_engine_obj_t *engine, jpeg_buffer_t buffer)
{
	if (encoding *enc = find(engine)) {
		std::lock_guard lock(enc->mutex);
		enc->bytes.insert(enc->bytes.end(), buffer->ptr, buffer->ptr + buffer->offset);
	}
	jpeg_buffer_mark_empty(buffer);
}

void ended(jpege_engine_obj_t *engine, int event, const char *)
{
	if (encoding *enc = find(engine)) {
		std::lock_guard lock(enc->mutex);
		enc->finished = true;
		enc->failed = event != JPEG_EVENT_DONE;
		enc->cond.notify_all();
	}
}

class JpegTask : public Device {
public:
	~JpegTask() override
	{
		{
			std::lock_guard lock(mutex_);
			stop_ = true;
			changed_.notify_all();
		}
		if (worker_.joinable())
			worker_.join();
	}

	int ioctl(unsigned long request, uintptr_t arg) override
	{
		switch (request) {
		case ADSP_IOCTL_ENABLE: return 0;
		case ADSP_IOCTL_REGISTER_PMEM:
		case ADSP_IOCTL_UNREGISTER_PMEM: return 0;
		case ADSP_IOCTL_WRITE_COMMAND: return command(reinterpret_cast<const adsp_command_t *>(arg));
		case ADSP_IOCTL_GET_EVENT: return get_event(reinterpret_cast<adsp_event_t *>(arg));
		default: errno = ENOTTY; return -1;
		}
	}

private:
	struct event {
		uint32_t type;
		uint16_t id;
		std::vector<uint32_t> words;
	};

	void post(uint16_t id, std::vector<uint32_t> words = {}, uint32_t type = 0)
	{
		events_.push_back({type, id, std::move(words)});
		changed_.notify_all();
	}

	int command(const adsp_command_t *cmd)
	{
		if (!cmd || !cmd->data || cmd->length < 4) {
			errno = EFAULT;
			return -1;
		}
		const auto *data = static_cast<const uint8_t *>(cmd->data);
		std::unique_lock lock(mutex_);
		if (cmd->queue == JPEG_DSP_CFG_QUEUE) {
			if (cmd->length != JPEG_DSP_CFG_BYTES) {
				errno = EINVAL;
				return -1;
			}
			std::memcpy(config_.data(), data, config_.size());
			std::lock_guard last(last_mutex);
			last_config = config_;
			return 0;
		}
		if (cmd->queue != JPEG_DSP_ACTION_QUEUE) {
			errno = EINVAL;
			return -1;
		}
		switch (get32(data, 0)) {
		case JPEG_DSP_ACT_WAKE: post(0, {}, 1); break;
		case JPEG_DSP_ACT_START: {
			std::string mode = Board::get().text("jpeg_dsp.mode", "normal");
			if (mode == "silent")
				break;
			if (mode == "refuse" || busy_) {
				post(JPEG_DSP_EVT_REFUSED);
				break;
			}
			post(JPEG_DSP_EVT_START_ACK);
			busy_ = true;
			abort_ = false;
			consumed_ = {true, true};
			lock.unlock();
			if (worker_.joinable())
				worker_.join();
			worker_ = std::thread(&JpegTask::encode, this, config_);
			break;
		}
		case JPEG_DSP_ACT_OUTPUT_CONSUMED:
			if (cmd->length >= 12) {
				uint32_t address = get32(data, 4);
				for (int i = 0; i < 2; ++i)
					if (dest_[i] == address)
						consumed_[i] = true;
				changed_.notify_all();
			}
			break;
		case JPEG_DSP_ACT_IDLE:
			abort_ = true;
			changed_.notify_all();
			if (!busy_)
				post(JPEG_DSP_EVT_IDLE);
			break;
		default: errno = EINVAL; return -1;
		}
		return 0;
	}

	int get_event(adsp_event_t *e)
	{
		if (!e || !e->data) {
			errno = EFAULT;
			return -1;
		}
		std::unique_lock lock(mutex_);
		if (!changed_.wait_for(lock, std::chrono::milliseconds(e->timeout_ms), [&] { return !events_.empty(); })) {
			errno = ETIMEDOUT;
			return -1;
		}
		event ev = std::move(events_.front());
		events_.pop_front();
		e->type = ev.type;
		e->msg_id = ev.id;
		e->flag = 1;
		uint32_t bytes = std::min<uint32_t>(static_cast<uint32_t>(ev.words.size() * 4), e->size);
		if (bytes)
			std::memcpy(e->data, ev.words.data(), bytes);
		e->size = bytes;
		return 0;
	}

	// The picture the message describes, encoded by the software engine.
	static bool run_engine(const std::array<uint8_t, JPEG_DSP_CFG_BYTES> &m, std::vector<uint8_t> *out)
	{
		uint32_t sub = m[4] & 3, height = get16(m.data(), 8), width = get16(m.data(), 10);
		size_t luma = size_t{width} * height, chroma = sub == JPEG_H2V2 ? luma / 2 : luma;
		uint8_t *y = pmem_host_address(get32(m.data(), 20), luma);
		uint8_t *c = pmem_host_address(get32(m.data(), 24), chroma);
		if (!y || !c || !width || !height)
			return false;
		std::array<uint16_t, 64> lq{}, cq{};
		for (int i = 0; i < 64; ++i) {
			lq[i] = static_cast<uint16_t>(65535 / std::max<uint32_t>(1, get16(m.data(), 104 + i * 2)));
			cq[i] = static_cast<uint16_t>(65535 / std::max<uint32_t>(1, get16(m.data(), 232 + i * 2)));
		}
		jpege_img_cfg_t cfg{};
		jpege_get_default_img_cfg(&cfg);
		cfg.quality = 50;
		cfg.rotation = (m[5] & 3) * 90;
		cfg.restart_interval = get16(m.data(), 6);
		cfg.luma_quant_tbl = lq.data();
		cfg.chroma_quant_tbl = cq.data();

		std::array<jpeg_buffer_t, 4> b{};
		bool ok = true;
		for (jpeg_buffer_t &x : b)
			ok = ok && jpeg_buffer_init(&x) == 0;
		ok = ok && jpeg_buffer_use_external_buffer(b[0], y, static_cast<uint32_t>(luma), -1) == 0 &&
		     jpeg_buffer_use_external_buffer(b[1], c, static_cast<uint32_t>(chroma), -1) == 0 &&
		     jpeg_buffer_allocate(b[2], 8192, false) == 0 && jpeg_buffer_allocate(b[3], 8192, false) == 0;
		encoding enc;
		jpege_engine_obj_t engine{};
		if (ok) {
			jpege_img_data_t img{};
			img.color_format = sub * 2;
			img.width = width;
			img.height = height;
			img.fragment_cnt = 1;
			img.fragment[0] = {b[0], b[1], width, height};
			jpege_engine_dst_t dst{gathered, 2, {b[2], b[3]}};
			jpeg_buffer_mark_empty(b[2]);
			jpeg_buffer_mark_empty(b[3]);
			{
				std::lock_guard lock(registry_mutex);
				registry[&engine] = &enc;
			}
			jpege_engine_sw_profile.create(&engine, nullptr);
			ok = engine.init(&engine, ended) == 0 && engine.start(&engine, &cfg, &img, &dst) == 0;
			if (ok) {
				std::unique_lock lock(enc.mutex);
				ok = enc.cond.wait_for(lock, ENCODE_LIMIT, [&] { return enc.finished; }) && !enc.failed;
			}
			if (engine.destroy)
				engine.destroy(&engine);
			std::lock_guard lock(registry_mutex);
			registry.erase(&engine);
		}
		for (jpeg_buffer_t &x : b)
			jpeg_buffer_destroy(&x);
		*out = std::move(enc.bytes);
		return ok;
	}

	void encode(std::array<uint8_t, JPEG_DSP_CFG_BYTES> m)
	{
		std::vector<uint8_t> bytes;
		bool ok = run_engine(m, &bytes);
		++jobs;
		std::unique_lock lock(mutex_);
		dest_ = {get32(m.data(), 88), get32(m.data(), 96)};
		std::array<uint32_t, 2> room = {get32(m.data(), 92), get32(m.data(), 100)};
		size_t sent = 0;
		for (int i = 0; ok && !abort_ && !stop_; i ^= 1) {
			if (!changed_.wait_for(lock, CONSUME_LIMIT, [&] { return consumed_[i] || abort_ || stop_; }) ||
			    abort_ || stop_)
				break;
			uint8_t *out = pmem_host_address(dest_[i], room[i]);
			if (!out || room[i] == 0)
				break;
			size_t n = std::min<size_t>(room[i], bytes.size() - sent);
			std::memcpy(out, bytes.data() + sent, n);
			sent += n;
			consumed_[i] = false;
			bool last = sent == bytes.size();
			post(JPEG_DSP_EVT_OUTPUT, {dest_[i], static_cast<uint32_t>(n), last ? 1u : 0u});
			if (last) {
				// The encoder answers the last piece with idle.
				changed_.wait_for(lock, CONSUME_LIMIT, [&] { return abort_ || stop_; });
				break;
			}
		}
		busy_ = false;
		post(JPEG_DSP_EVT_IDLE);
	}

	std::mutex mutex_;
	std::condition_variable changed_;
	std::deque<event> events_;
	std::array<uint8_t, JPEG_DSP_CFG_BYTES> config_{};
	std::array<uint32_t, 2> dest_{};
	std::array<bool, 2> consumed_{true, true};
	bool busy_ = false, abort_ = false, stop_ = false;
	std::thread worker_;
};

}  // namespace

uint64_t jpeg_task_jobs() { return jobs; }

std::array<uint8_t, 624> jpeg_task_last_config()
{
	std::lock_guard lock(last_mutex);
	return last_config;
}

std::unique_ptr<Device> open_jpeg_task(Board &board, int)
{
	if (board.num("jpeg_dsp.missing", 0)) {
		errno = ENOENT;
		return nullptr;
	}
	return std::make_unique<JpegTask>();
}

}  // namespace sim
