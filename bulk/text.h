#pragma once

// UTF-8 and UTF-16, checked while they are converted: a text is well-formed or it is refused at the place
// where it is not. Lengths are in bytes of UTF-8 and in 16-bit units. No text has a terminator.

#include <cstddef>

namespace velk::bulk::text {

// How far a conversion came: all of its source, or up to where that is ill-formed.
struct Progress {
    std::size_t read;    // of the source
    std::size_t written; // of the target
};

// The target has room for as many units as there are bytes.
Progress to_utf16(char16_t* target, const char* source, std::size_t bytes);

// The target has room for three bytes a unit.
Progress to_utf8(char* target, const char16_t* source, std::size_t units);

// Bytes in front of the first ill-formed sequence.
std::size_t well_formed(const char* source, std::size_t bytes);

// Bytes in front of a last character whose bytes have not all come yet.
std::size_t whole_characters(const char* source, std::size_t bytes);

// Units that a well-formed text has in UTF-16.
std::size_t utf16_length(const char* source, std::size_t bytes);

// The place of the first such byte or unit; the length where there is none.
std::size_t find(const char* source, std::size_t bytes, char byte);
std::size_t find_zero(const char16_t* source, std::size_t units);

} // namespace velk::bulk::text
