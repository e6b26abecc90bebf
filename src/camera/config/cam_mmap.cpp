// pmem buffers from /dev/pmem_adsp, one descriptor each.
#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>

#include "camera/config/config.h"
#include "platform/platform.h"

namespace cam {

uint32_t cam_mmap_size(uint32_t size)
{
	uint64_t pages = (static_cast<uint64_t>(size) + 4095) & ~uint64_t{4095};
	uint64_t pow2 = std::bit_ceil(pages == 0 ? uint64_t{1} : pages);
	// Beyond 2 GiB nothing fits a 32-bit size; the map will then fail.
	return pow2 > 0x80000000u ? 0x80000000u : static_cast<uint32_t>(size == 0 ? 0 : pow2);
}

void *do_mmap(uint32_t size, int *fd)
{
	int pmem = plat::open("/dev/pmem_adsp", O_RDWR);
	if (pmem < 0) {
		std::fprintf(stderr, "do_mmap: Open device /dev/pmem_adsp failed!\n");
		return nullptr;
	}
	uint32_t len = cam_mmap_size(size);
	std::fprintf(stderr, "do_mmap: pmem mmap size:%u\n", len);
	void *addr = plat::mmap(nullptr, len, PROT_READ | PROT_WRITE, MAP_SHARED, pmem, 0);
	if (addr == MAP_FAILED) {
		int err = errno;
		std::fprintf(stderr, "do_mmap: pmem mmap() failed: %s (%d)\n", std::strerror(err), err);
		// Close it: a failed map must not cost a descriptor.
		plat::close(pmem);
		return nullptr;
	}
	*fd = pmem;
	return addr;
}

int do_munmap(int fd, void *addr, uint32_t size)
{
	uint32_t len = cam_mmap_size(size);
	std::fprintf(stderr, "munmapped size = %d, virt_addr = 0x%p\n", static_cast<int>(len), addr);
	int rc = plat::munmap(addr, len);
	plat::close(fd);
	return rc;
}

}  // namespace cam
