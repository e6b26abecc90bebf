// The simulated /dev/pmem_adsp, for tests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace sim {

// Lengths of the mappings made so far, in order.
std::vector<size_t> pmem_mapped_sizes();
void pmem_clear_log();
// Bytes of a live pmem mapping from p to its end; 0 if p is in none.
size_t pmem_bytes_from(const void *p);
// Where n bytes at a physical address of a live mapping are, or null.
uint8_t *pmem_host_address(uint32_t phys, size_t n);

}  // namespace sim
