// The pmem driver's interface: physically contiguous memory shared with the
// DSP, and the one ioctl that tells a mapping's physical address.
#pragma once

namespace plat {

constexpr char PMEM_ADSP_DEVICE[] = "/dev/pmem_adsp";
constexpr unsigned long PMEM_GET_PHYS = 0x40047001;  // _IOW('p', 1, unsigned int)

struct pmem_region {
	unsigned long offset;
	unsigned long len;
};
// The phone's long is 32 bits: the driver reads two words.
static_assert(sizeof(void *) != 4 || sizeof(pmem_region) == 8);

}  // namespace plat
