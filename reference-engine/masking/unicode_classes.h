#pragma once

// Classes of exchangeable characters: the letters of one Unicode block, one script and one kind (upper
// case, lower case, other letter), or one set of the digits 0 to 9. A character without a like is in none.

#include <cstdint>

namespace velk::engine {

struct CharacterClass {
    std::uint32_t size;
    std::uint16_t first_run; // in the table that unicode_classes.cpp keeps
    std::uint16_t run_count;
};

struct Membership {
    const CharacterClass* of; // null: none
    std::uint32_t index;      // below of->size
};

Membership membership(char32_t code_point);
char32_t member(const CharacterClass& of, std::uint32_t index);

// The version of the standard that the classes come from, "15.0.0".
const char* classes_version();

} // namespace velk::engine
