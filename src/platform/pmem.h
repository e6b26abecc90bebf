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

}  // namespace plat
