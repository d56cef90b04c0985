#pragma once

// Lets the engine run out of memory: allocations by new fail from the n-th one on.

#include <cstddef>

namespace velk::test {

void fail_allocations_after(std::size_t count);
void allow_allocations();

} // namespace velk::test
