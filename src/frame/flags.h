#pragma once

// Process-wide flags, all 0 at load and unguarded.

#include <cstdint>

namespace velk {

// The value of VELK.debug when init0 ran. Nothing reads it: the trace facility alone decides what is traced.
inline std::uint8_t debug = 0;

// Not 0: text passes between Java and native wide text through the engine's conversions instead of a
// plain copy of its 16-bit units. Nothing in the library sets it.
inline std::uint8_t wide_conversion = 0;

// Not 0 once the engine's parser, or its adapter, has started. Each follows its own library's success, so
// that a failed start is tried again by the next parse.
inline std::uint8_t parser_started = 0;
inline std::uint8_t adapter_started = 0;

} // namespace velk
