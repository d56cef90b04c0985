#pragma once

// What callers may ask about threads: an operation outside the contract, found by its name. An engine that
// has none is called by one thread at a time.

#include "engine/linkage.h"

#include <cstdint>

namespace velk {

// 1: operations on different providers may run on several threads at the same time. Those on the same one
// take turns.
VELK_ENGINE_OPERATION std::int32_t Provider_AllowsThreads();

} // namespace velk
