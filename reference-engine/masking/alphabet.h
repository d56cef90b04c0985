#pragma once

// The characters that `ff1` encrypts.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace velk::engine {

inline constexpr std::size_t fewest_encrypted_values = 1'000'000; // fewer are found by trying

struct Alphabet {
    std::u32string characters;          // at least 2; all of one unit in UTF-16 or all of two
    std::size_t fewest;                 // characters that have enough values
    char32_t lowest;                    // of the characters
    std::vector<std::int32_t> numerals; // places of characters, by their distance from the lowest; or -1

    // The place of a character of the alphabet; -1 of another one.
    std::int32_t numeral_of(char32_t character) const
    {
        const std::size_t distance = character - lowest; // a huge one from below
        return distance < numerals.size() ? numerals[distance] : -1;
    }
};

// One that is named, or the characters themselves. Throws a Failure where they make no alphabet.
Alphabet make_alphabet(const std::string& text);

} // namespace velk::engine
