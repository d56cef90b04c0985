#pragma once

#include "masking/hmac.h"

#include <string_view>

namespace velk::engine {

inline constexpr std::size_t shortest_key = 16; // bytes

// The key that a source names: env:NAME, an environment variable, or file:PATH, a file's bytes less one
// final line end.
HmacKey read_key(std::string_view source);

} // namespace velk::engine
