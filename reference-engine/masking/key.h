#pragma once

#include "masking/hmac.h"
#include "masking/secret.h"

#include <string_view>

namespace velk::engine {

inline constexpr std::size_t shortest_key = 16;        // bytes
inline constexpr std::size_t largest_key_file = 65536; // bytes

// The key that a source names: env:NAME, an environment variable, or file:PATH, a file; of both the bytes
// less one final line end. Throws a Failure where there is none, or none that could be a key. What was read
// of it is wiped.
HmacKey read_key(std::string_view source);

// Whether the source is a file that others than its owner may read. It is a key all the same: secrets are
// often mounted so.
bool others_may_read_key(std::string_view source);

// What is read of a key without a final line end. Throws a Failure where it cannot be one.
std::span<const std::uint8_t> usable_key(std::span<const std::uint8_t> bytes, std::string_view source);

} // namespace velk::engine
