#include "jpeg/jpeg_dsp_helper.h"

#include <array>
#include <chrono>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>

#include "platform/platform.h"

namespace jpeg {

namespace {

bool stopping(jpeg_dsp_helper_t *h)
{
	std::lock_guard lock(h->mutex);
	return h->state == JPEG_DSP_HELPER_STOPPING;
}

void jpeg_dsp_event_listener(jpeg_dsp_helper_t *h)
{
	{
		std::lock_guard lock(h->mutex);
		h->listening = true;
		h->cond.notify_all();
	}
	std::array<uint32_t, JPEG_DSP_EVENT_BYTES / 4> buffer{};
	for (;;) {
		adsp_event_t event{};
		event.timeout_ms = JPEG_DSP_EVENT_TIMEOUT_MS;
		event.size = JPEG_DSP_EVENT_BYTES;
		event.data = buffer.data();
		int rc = plat::ioctl(h->fd, ADSP_IOCTL_GET_EVENT, &event);
		if (stopping(h))
			return;
		if (rc >= 0) {
			if (event.type != 0)
				continue;
			uint32_t words = std::min<uint32_t>(event.size, JPEG_DSP_EVENT_BYTES) >> 1;
			if (event.flag)
				words >>= 1;
			h->handler(h->owner, event.msg_id, buffer.data(), words);
			continue;
		}
		if (errno == ETIMEDOUT)
			continue;
		int err = errno;
		std::fprintf(stderr, "jpeg_dsp_event_listener: dsp ioctl failed (%d - %s)\n", err, std::strerror(err));
		h->handler(h->owner, JPEG_DSP_LISTENER_FAILED, nullptr, 0);
		std::lock_guard lock(h->mutex);
		h->state = JPEG_DSP_HELPER_STOPPING;
		return;
	}
}

int send(jpeg_dsp_helper_t *h, uint32_t queue, const void *data, uint32_t length)
{
	adsp_command_t cmd{queue, length, data};
	return plat::ioctl(h->fd, ADSP_IOCTL_WRITE_COMMAND, &cmd) < 0 ? JPEGERR_EFAILED : JPEGERR_SUCCESS;
}

}  // namespace

int jpeg_dsp_helper_init(jpeg_dsp_helper_t *h, void *user, jpeg_dsp_event_handler_t handler)
{
	h->fd = plat::open(JPEG_DSP_DEVICE, O_RDWR);
	if (h->fd < 0)
		return JPEGERR_EFAILED;
	if (plat::ioctl(h->fd, ADSP_IOCTL_ENABLE, uintptr_t{0}) < 0) {
		plat::close(h->fd);
		h->fd = -1;
		return JPEGERR_EFAILED;
	}
	h->owner = user;
	h->handler = handler;
	h->state = JPEG_DSP_HELPER_RUNNING;
	std::unique_lock lock(h->mutex);
	h->listener = std::thread(jpeg_dsp_event_listener, h);
	// The listener signals as its first act; the bound only guards the wait.
	h->cond.wait_for(lock, std::chrono::seconds(2), [h] { return h->listening; });
	return JPEGERR_SUCCESS;
}

int jpeg_dsp_helper_register_pmem(jpeg_dsp_helper_t *h, jpeg_buffer_t buffer)
{
	adsp_pmem_info_t info{buffer->pmem_fd, buffer->ptr};
	return plat::ioctl(h->fd, ADSP_IOCTL_REGISTER_PMEM, &info) < 0 ? JPEGERR_EFAILED : JPEGERR_SUCCESS;
}

int jpeg_dsp_helper_unregister_pmem(jpeg_dsp_helper_t *h)
{
	return plat::ioctl(h->fd, ADSP_IOCTL_UNREGISTER_PMEM, uintptr_t{0}) < 0 ? JPEGERR_EFAILED : JPEGERR_SUCCESS;
}

int jpeg_dsp_helper_send_cfg_command(jpeg_dsp_helper_t *h, const void *data, uint32_t length)
{
	return send(h, JPEG_DSP_CFG_QUEUE, data, length);
}

int jpeg_dsp_helper_send_action_command(jpeg_dsp_helper_t *h, const void *data, uint32_t length)
{
	return send(h, JPEG_DSP_ACTION_QUEUE, data, length);
}

void jpeg_dsp_helper_destroy(jpeg_dsp_helper_t *h)
{
	if (h->fd < 0)
		return;
	{
		std::lock_guard lock(h->mutex);
		h->state = JPEG_DSP_HELPER_STOPPING;
	}
	uint32_t wake = 0;  // leaves the listener's wait
	send(h, JPEG_DSP_ACTION_QUEUE, &wake, sizeof wake);
	if (h->listener.joinable())
		h->listener.join();
	plat::close(h->fd);
	h->fd = -1;
}

}  // namespace jpeg
