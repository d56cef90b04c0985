#pragma once

// Classes of exchangeable characters: those of one Unicode block, one script and one category, one set of the
// digits 0 to 9, the letters that flags are written with. White space, punctuation, currency and format
// characters stay as they are: they have the class of size 1. A character that is not assigned or has no like
// is in none.

#include <cstdint>

namespace velk::engine {

struct CharacterClass {
    std::uint32_t size;
    char32_t first;          // its first member
    std::uint16_t first_run; // in the table that unicode_classes.cpp keeps
    std::uint16_t run_count;
};

struct Membership {
    const CharacterClass* of; // null: none
    std::uint32_t index;      // below of->size, unless the character stays
};

inline bool stays(const Membership& membership)
{
    return membership.of != nullptr && membership.of->size == 1;
}

Membership membership(char32_t code_point);

// Of a class with more than one member. All members of a class take the same number of UTF-16 units.
char32_t member(const CharacterClass& of, std::uint32_t index);

// The version of the standard that the classes come from, "17.0.0".
const char* classes_version();

} // namespace velk::engine
