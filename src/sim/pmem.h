// The simulated /dev/pmem_adsp, for tests.
#pragma once

#include <cstddef>
#include <vector>

namespace sim {

// Lengths of the mappings made so far, in order.
std::vector<size_t> pmem_mapped_sizes();
void pmem_clear_log();

}  // namespace sim
