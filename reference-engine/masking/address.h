#pragma once

// What an e-mail address looks like.

#include <cstddef>
#include <string_view>

namespace velk::engine {

inline constexpr std::size_t masked_name_length =
    12; // 26 * 36^11 names: even among millions two hardly ever meet

bool is_domain(std::u16string_view text); // as it stands behind the @
bool is_address(std::u16string_view text);

} // namespace velk::engine
