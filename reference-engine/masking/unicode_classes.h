#pragma once

// Classes of exchangeable characters: the letters or digits of one Unicode block, one script and one kind
// (upper case, lower case, other letter, digit). A character that has no like is in no class.

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
