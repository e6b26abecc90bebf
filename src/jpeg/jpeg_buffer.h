// The library's one memory object: heap or pmem, with a small empty / filled
// / busy state for handing it between a producer and a consumer.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "jpeg/jpeg_common.h"

namespace jpeg {

struct jpeg_buf_t {
	uint8_t *ptr = nullptr;
	uint32_t phy_addr = 0;
	uint32_t size = 0;
	uint32_t offset = 0;
	int32_t pmem_fd = -1;
	uint8_t valid = 0;
	uint8_t own = 0;
	uint8_t empty = 0;
	uint8_t busy = 0;
	std::mutex mutex;  // guards empty and busy
	std::condition_variable cond;
};
using jpeg_buffer_t = jpeg_buf_t *;

constexpr const char *PMEM_DEVICE = "/dev/pmem_adsp";
constexpr unsigned long PMEM_GET_PHYS = 0x40047001;

int jpeg_buffer_init(jpeg_buffer_t *p_buffer);
int jpeg_buffer_allocate(jpeg_buffer_t buffer, uint32_t size, bool use_pmem);
int jpeg_buffer_use_external_buffer(jpeg_buffer_t buffer, uint8_t *ptr, uint32_t size, int pmem_fd);
int jpeg_buffer_attach_existing(jpeg_buffer_t buffer, jpeg_buffer_t other, uint32_t offset);
int jpeg_buffer_reset(jpeg_buffer_t buffer);
void jpeg_buffer_destroy(jpeg_buffer_t *p_buffer);

int jpeg_buffer_get_addr(jpeg_buffer_t buffer, uint8_t **pp_addr);
int jpeg_buffer_get_max_size(jpeg_buffer_t buffer, uint32_t *p_size);
int jpeg_buffer_get_actual_size(jpeg_buffer_t buffer, uint32_t *p_size);
int jpeg_buffer_get_pmem_fd(jpeg_buffer_t buffer);
int jpeg_buffer_set_actual_size(jpeg_buffer_t buffer, uint32_t size);

void jpeg_buffer_mark_empty(jpeg_buffer_t buffer);
void jpeg_buffer_mark_filled(jpeg_buffer_t buffer);
void jpeg_buffer_mark_busy(jpeg_buffer_t buffer);
void jpeg_buffer_wait_until_empty(jpeg_buffer_t buffer);
void jpeg_buffer_wait_until_filled(jpeg_buffer_t buffer);

}  // namespace jpeg
