// /dev/pmem_adsp: physically contiguous memory shared with the DSP. Each
// open is a memory file, so the descriptor itself names the memory (the
// framebuffer's blit reads a frame by its pmem descriptor, as the MDP does)
// and the daemon's plain munmap releases a mapping as on the phone. Each
// region gets a made-up physical address for PMEM_GET_PHYS, which the
// simulated DSP tasks translate back.
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include "platform/pmem.h"
#include "sim/board.h"
#include "sim/models.h"
#include "sim/pmem.h"

namespace sim {

namespace {

using plat::PMEM_GET_PHYS;
using plat::pmem_region;
constexpr uint32_t PHYS_BASE = 0x10000000;

std::mutex sizes_mutex;
std::vector<size_t> sizes;
struct Mapping {
	const uint8_t *base;
	size_t len;
	uint32_t phys;
};
std::vector<Mapping> mappings;  // the DSP writes only inside these
uint32_t next_phys = PHYS_BASE;

class Pmem : public Device {
public:
	Pmem() : memory_(::memfd_create("pmem_adsp", MFD_CLOEXEC)) {}
	~Pmem() override
	{
		if (memory_ >= 0)
			::close(memory_);
	}
	Pmem(const Pmem &) = delete;
	Pmem &operator=(const Pmem &) = delete;

	int stream_fd() override { return memory_; }

	void *mmap(size_t len, int prot, int flags, off_t off) override
	{
		long most = Board::get().num("pmem.max_mmap", 0);  // 0: no limit
		if (off != 0 || len == 0 || Board::get().num("pmem.fail_mmap", 0) || (most > 0 && len > size_t(most)) ||
		    memory_ < 0 || ::ftruncate(memory_, static_cast<off_t>(len)) != 0) {
			errno = EINVAL;
			return MAP_FAILED;
		}
		void *p = ::mmap(nullptr, len, prot, (flags & ~MAP_PRIVATE) | MAP_SHARED, memory_, 0);
		if (p != MAP_FAILED) {
			std::lock_guard lock(sizes_mutex);
			sizes.push_back(len);
			auto *b = static_cast<const uint8_t *>(p);
			std::erase_if(mappings, [&](const Mapping &m) { return m.base < b + len && b < m.base + m.len; });
			phys_ = next_phys;
			next_phys += static_cast<uint32_t>((len + 0xFFFFF) & ~size_t{0xFFFFF});
			if (next_phys < PHYS_BASE)
				next_phys = PHYS_BASE;  // wrapped: addresses are only names
			mappings.push_back({b, len, phys_});
			len_ = len;
		}
		return p;
	}

	int ioctl(unsigned long request, uintptr_t arg) override
	{
		if (request != PMEM_GET_PHYS || !arg || !len_) {
			errno = request == PMEM_GET_PHYS ? EINVAL : ENOTTY;
			return -1;
		}
		auto *region = reinterpret_cast<pmem_region *>(arg);
		region->offset = phys_;
		region->len = len_;
		return 0;
	}

private:
	int memory_;
	uint32_t phys_ = 0;
	size_t len_ = 0;
};

}  // namespace

std::vector<size_t> pmem_mapped_sizes()
{
	std::lock_guard lock(sizes_mutex);
	return sizes;
}

size_t pmem_bytes_from(const void *p)
{
	auto *b = static_cast<const uint8_t *>(p);
	std::lock_guard lock(sizes_mutex);
	for (const Mapping &m : mappings)
		if (b >= m.base && b < m.base + m.len)
			return static_cast<size_t>(m.base + m.len - b);
	return 0;
}

uint8_t *pmem_host_address(uint32_t phys, size_t n)
{
	std::lock_guard lock(sizes_mutex);
	for (const Mapping &m : mappings)
		if (phys >= m.phys && size_t{phys - m.phys} + n <= m.len)
			return const_cast<uint8_t *>(m.base) + (phys - m.phys);
	return nullptr;
}

void pmem_clear_log()
{
	std::lock_guard lock(sizes_mutex);
	sizes.clear();
}

std::unique_ptr<Device> open_pmem_adsp(Board &board, int)
{
	if (board.num("pmem.missing", 0)) {
		errno = ENOENT;
		return nullptr;
	}
	return std::make_unique<Pmem>();
}

}  // namespace sim
