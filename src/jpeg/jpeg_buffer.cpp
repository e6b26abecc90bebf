// JPEG buffers: memory ownership (heap, pmem or a client's) and hand-over.
#include "jpeg/jpeg_buffer.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>

#include "platform/platform.h"

namespace jpeg {
namespace {

constexpr uint32_t round_page(uint32_t n) { return (n + 4095u) & ~4095u; }

uint32_t round_pow2(uint32_t n)
{
	uint32_t p = 1;
	while (p < n && p < 0x80000000u)
		p <<= 1;
	return p;
}

int pmem_phys(int fd, uint32_t *p_phy)
{
	plat::pmem_region region{};
	if (plat::ioctl(fd, PMEM_GET_PHYS, &region) < 0)
		return -1;
	*p_phy = static_cast<uint32_t>(region.offset);
	return 0;
}

}  // namespace

int jpeg_buffer_init(jpeg_buffer_t *p_buffer)
{
	if (!p_buffer)
		return JPEGERR_ENULLPTR;
	auto buf = make_nothrow<jpeg_buf_t>();
	if (!buf)
		return JPEGERR_EMALLOC;
	buf->valid = 1;
	buf->empty = 1;
	*p_buffer = buf.release();
	return JPEGERR_SUCCESS;
}

int jpeg_buffer_allocate(jpeg_buffer_t buffer, uint32_t size, bool use_pmem)
{
	if (!buffer || !buffer->valid || buffer->ptr || size == 0)
		return JPEGERR_EFAILED;
	if (!use_pmem) {
		buffer->ptr = static_cast<uint8_t *>(malloc(size));
		if (!buffer->ptr)
			return JPEGERR_EMALLOC;
	} else {
		int fd = plat::open(PMEM_DEVICE, O_RDWR);
		if (fd < 0) {
			fprintf(stderr, "jpeg_buffer_allocate: failed to open pmem (%d - %s)\n", errno, strerror(errno));
			return JPEGERR_EFAILED;
		}
		void *p = plat::mmap(nullptr, round_pow2(round_page(size)), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
		uint32_t phy = 0;
		if (p == MAP_FAILED || pmem_phys(fd, &phy) < 0) {
			fprintf(stderr, "jpeg_buffer_allocate: pmem mmap()/ioctl failed\n");
			if (p != MAP_FAILED)
				plat::munmap(p, round_pow2(round_page(size)));
			plat::close(fd);
			return JPEGERR_EMALLOC;
		}
		buffer->ptr = static_cast<uint8_t *>(p);
		buffer->pmem_fd = fd;
		buffer->phy_addr = phy;
	}
	buffer->size = size;
	buffer->own = 1;
	buffer->offset = 0;
	return JPEGERR_SUCCESS;
}

int jpeg_buffer_use_external_buffer(jpeg_buffer_t buffer, uint8_t *ptr, uint32_t size, int pmem_fd)
{
	if (!buffer || !buffer->valid || buffer->own || !size || !ptr)
		return JPEGERR_EFAILED;
	if (pmem_fd > 0) {
		if (pmem_phys(pmem_fd, &buffer->phy_addr) < 0)
			return JPEGERR_EFAILED;
		buffer->pmem_fd = pmem_fd;
	}
	buffer->ptr = ptr;
	buffer->size = size;
	return JPEGERR_SUCCESS;
}

int jpeg_buffer_attach_existing(jpeg_buffer_t buffer, jpeg_buffer_t other, uint32_t offset)
{
	if (!buffer || !other || !buffer->valid || offset >= other->size)
		return JPEGERR_EFAILED;
	jpeg_buffer_reset(buffer);
	buffer->ptr = other->ptr + offset;
	buffer->phy_addr = other->phy_addr + offset;
	buffer->size = other->size - offset;
	buffer->pmem_fd = other->pmem_fd;
	buffer->offset = 0;
	buffer->own = 0;
	return JPEGERR_SUCCESS;
}

int jpeg_buffer_reset(jpeg_buffer_t buffer)
{
	if (!buffer)
		return JPEGERR_ENULLPTR;
	int rc = JPEGERR_SUCCESS;
	if (buffer->own && buffer->ptr) {
		if (buffer->pmem_fd > 0) {
			// Only the page-rounded size goes back: a mapping that the power
			// of two enlarged keeps its tail.
			if (plat::munmap(buffer->ptr, round_page(buffer->size)) < 0) {
				fprintf(stderr, "jpeg_buffer_reset: pmem munmap() failed %s\n", strerror(errno));
				rc = JPEGERR_EFAILED;
			}
			plat::close(buffer->pmem_fd);
		} else {
			free(buffer->ptr);
		}
	}
	buffer->ptr = nullptr;
	buffer->phy_addr = 0;
	buffer->offset = 0;
	buffer->pmem_fd = -1;
	buffer->size = 0;
	buffer->own = 0;
	return rc;
}

void jpeg_buffer_destroy(jpeg_buffer_t *p_buffer)
{
	if (!p_buffer || !*p_buffer)
		return;
	jpeg_buffer_reset(*p_buffer);
	std::unique_ptr<jpeg_buf_t>(*p_buffer).reset();
	*p_buffer = nullptr;
}

int jpeg_buffer_get_addr(jpeg_buffer_t buffer, uint8_t **pp_addr)
{
	if (!buffer || !buffer->valid || !pp_addr)
		return JPEGERR_EFAILED;
	*pp_addr = buffer->ptr;
	return JPEGERR_SUCCESS;
}

int jpeg_buffer_get_max_size(jpeg_buffer_t buffer, uint32_t *p_size)
{
	if (!buffer || !buffer->valid || !p_size)
		return JPEGERR_EFAILED;
	*p_size = buffer->size;
	return JPEGERR_SUCCESS;
}

int jpeg_buffer_get_actual_size(jpeg_buffer_t buffer, uint32_t *p_size)
{
	if (!buffer || !buffer->valid || !p_size)
		return JPEGERR_EFAILED;
	*p_size = buffer->offset;
	return JPEGERR_SUCCESS;
}

int jpeg_buffer_get_pmem_fd(jpeg_buffer_t buffer)
{
	if (!buffer || !buffer->valid)
		return -1;
	return buffer->pmem_fd;
}

int jpeg_buffer_set_actual_size(jpeg_buffer_t buffer, uint32_t size)
{
	// A value below the capacity is refused: that is the rule as it stands.
	if (!buffer || !buffer->valid || size < buffer->size)
		return JPEGERR_EFAILED;
	buffer->offset = buffer->size;  // never past the memory
	return JPEGERR_SUCCESS;
}

void jpeg_buffer_mark_empty(jpeg_buffer_t buffer)
{
	std::lock_guard lock(buffer->mutex);
	buffer->empty = 1;
	buffer->busy = 0;
	buffer->cond.notify_all();
}

void jpeg_buffer_mark_filled(jpeg_buffer_t buffer)
{
	std::lock_guard lock(buffer->mutex);
	buffer->empty = 0;
	buffer->busy = 0;
	buffer->cond.notify_all();
}

void jpeg_buffer_mark_busy(jpeg_buffer_t buffer)
{
	std::lock_guard lock(buffer->mutex);
	buffer->busy = 1;
}

void jpeg_buffer_wait_until_empty(jpeg_buffer_t buffer)
{
	std::unique_lock lock(buffer->mutex);
	buffer->cond.wait(lock, [buffer] { return buffer->empty != 0; });
}

void jpeg_buffer_wait_until_filled(jpeg_buffer_t buffer)
{
	std::unique_lock lock(buffer->mutex);
	buffer->cond.wait(lock, [buffer] { return buffer->empty == 0; });
}

}  // namespace jpeg
