// /dev/pmem_adsp: physically contiguous memory shared with the DSP. Here
// each mapping is shared anonymous memory, so the daemon's plain munmap
// releases it as on the phone.
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <vector>

#include "sim/board.h"
#include "sim/models.h"
#include "sim/pmem.h"

namespace sim {

namespace {

std::mutex sizes_mutex;
std::vector<size_t> sizes;
struct Mapping {
	const uint8_t *base;
	size_t len;
};
std::vector<Mapping> mappings;  // the camera's DSP writes only inside these

class Pmem : public Device {
public:
	void *mmap(size_t len, int prot, int flags, off_t off) override
	{
		long most = Board::get().num("pmem.max_mmap", 0);  // 0: no limit
		if (off != 0 || len == 0 || Board::get().num("pmem.fail_mmap", 0) || (most > 0 && len > size_t(most))) {
			errno = EINVAL;
			return MAP_FAILED;
		}
		void *p = ::mmap(nullptr, len, prot, (flags & ~MAP_PRIVATE) | MAP_SHARED | MAP_ANONYMOUS, -1, 0);
		if (p != MAP_FAILED) {
			std::lock_guard lock(sizes_mutex);
			sizes.push_back(len);
			auto *b = static_cast<const uint8_t *>(p);
			std::erase_if(mappings, [&](const Mapping &m) { return m.base < b + len && b < m.base + m.len; });
			mappings.push_back({static_cast<const uint8_t *>(p), len});
		}
		return p;
	}
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
