#pragma once

// What the natives of the tests and each system's way of getting between the libraries need of each other.

#include <cstdint>
#include <iterator>

namespace helpers {

// The bridge, then the engine's four.
constexpr const char* library_names[] = {"VELKJNI", "VELKProvider", "VELKDataCnvLib", "VELKParser",
                                         "VELKAdapter"};
constexpr int library_count = static_cast<int>(std::size(library_names));
constexpr int bridge = 0;
constexpr int provider = 1;
constexpr int none = -1;

// Counts what each library allocates and frees from here on; false unless all five are loaded and can be
// counted.
bool watch_libraries();

// A library took a block, or gives one back. Null is no block, and what other code takes is not counted.
void note_allocation(int library, void* block);
void note_release(int library, void* block);

// What the bridge is to be answered that opens a trace scope: what the engine answers, or the failure asked
// for.
using TraceBegin = std::int32_t (*)(void* context, void* block);
std::int32_t begin_or_fail(TraceBegin begin, void* context, void* block);

} // namespace helpers
