// The kernel's adsp interface to the DSP's JPEG task: configuration and
// action commands out, events in on a listener thread.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <thread>

#include "jpeg/jpeg_buffer.h"

namespace jpeg {

constexpr const char *JPEG_DSP_DEVICE = "/dev/adsp/JPEGTASK";
constexpr unsigned long ADSP_IOCTL_ENABLE = 0x80047101;
constexpr unsigned long ADSP_IOCTL_WRITE_COMMAND = 0x80047104;
constexpr unsigned long ADSP_IOCTL_GET_EVENT = 0xC0047105;
constexpr unsigned long ADSP_IOCTL_REGISTER_PMEM = 0x4004710D;
constexpr unsigned long ADSP_IOCTL_UNREGISTER_PMEM = 0x4004710E;
constexpr uint16_t JPEG_DSP_CFG_QUEUE = 23;
constexpr uint16_t JPEG_DSP_ACTION_QUEUE = 22;
// A listener that hears nothing waits this long in each read.
constexpr uint32_t JPEG_DSP_EVENT_TIMEOUT_MS = 500;
constexpr uint32_t JPEG_DSP_EVENT_BYTES = 200;
constexpr uint16_t JPEG_DSP_LISTENER_FAILED = 65535;

struct adsp_command_t {
	uint32_t queue;
	uint32_t length;
	const void *data;
};
struct adsp_event_t {
	uint32_t type;  // 0 a message of the task
	uint32_t timeout_ms;
	uint16_t msg_id;
	uint16_t flag;  // set: the data is in 32-bit words
	uint32_t size;  // bytes
	void *data;
};
struct adsp_pmem_info_t {
	int32_t fd;
	void *vaddr;
};
// The DSP driver's records on the phone, where a pointer is 32 bits.
static_assert(offsetof(adsp_command_t, length) == 4 && offsetof(adsp_command_t, data) == 8);
static_assert(offsetof(adsp_event_t, msg_id) == 8 && offsetof(adsp_event_t, flag) == 10 &&
              offsetof(adsp_event_t, size) == 12 && offsetof(adsp_event_t, data) == 16);
static_assert(sizeof(void *) != 4 || (sizeof(adsp_command_t) == 12 && sizeof(adsp_event_t) == 20 &&
                                      sizeof(adsp_pmem_info_t) == 8 && offsetof(adsp_pmem_info_t, vaddr) == 4));

using jpeg_dsp_event_handler_t = void (*)(void *user, uint16_t id, const uint32_t *data, uint32_t words);

enum : uint32_t { JPEG_DSP_HELPER_RUNNING = 1, JPEG_DSP_HELPER_STOPPING = 2 };

struct jpeg_dsp_helper_t {
	int fd = -1;
	std::mutex mutex;
	std::condition_variable cond;
	std::thread listener;
	void *owner = nullptr;
	jpeg_dsp_event_handler_t handler = nullptr;
	uint32_t state = 0;
	bool listening = false;
};

int jpeg_dsp_helper_init(jpeg_dsp_helper_t *helper, void *user, jpeg_dsp_event_handler_t handler);
int jpeg_dsp_helper_register_pmem(jpeg_dsp_helper_t *helper, jpeg_buffer_t buffer);
int jpeg_dsp_helper_unregister_pmem(jpeg_dsp_helper_t *helper);
int jpeg_dsp_helper_send_cfg_command(jpeg_dsp_helper_t *helper, const void *data, uint32_t length);
int jpeg_dsp_helper_send_action_command(jpeg_dsp_helper_t *helper, const void *data, uint32_t length);
void jpeg_dsp_helper_destroy(jpeg_dsp_helper_t *helper);

}  // namespace jpeg
