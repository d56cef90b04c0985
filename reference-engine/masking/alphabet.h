#pragma once

// The characters that `ff1` encrypts.

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace velk::engine {

inline constexpr std::size_t fewest_encrypted_values = 1'000'000; // fewer are found by trying

struct Alphabet {
    std::u32string characters;                  // at least 2; all of one unit in UTF-16 or all of two
    std::map<char32_t, std::uint16_t> numerals; // by character
    std::size_t fewest;                         // characters that have enough values
};

// One that is named, or the characters themselves. Throws a Failure where they make no alphabet.
Alphabet make_alphabet(const std::string& text);

} // namespace velk::engine
