#pragma once

// 16-bit text: the C library's wide-string functions for units that are 16 bits wide on every platform.
// Lengths count units.

#include <cstddef>

namespace velk::text16 {

// Units before the first zero unit (wcslen).
std::size_t length(const char16_t* text);

// Units before the first zero unit, at most limit (wcsnlen). It reads in blocks: all of limit must be there.
std::size_t length(const char16_t* text, std::size_t limit);

// Copies up to the first zero unit, at most count units, and fills the rest of count with zero units
// (wcsncpy): no terminator where the source has none.
void copy(char16_t* destination, const char16_t* source, std::size_t count);

// Copies up to the first zero unit, at most limit units, and returns how many, in one pass. It reads in
// blocks: all of limit must be there. What stands behind in the destination stays.
std::size_t copy_text(char16_t* destination, const char16_t* source, std::size_t limit);

// Copies the text with its terminator to the end of the destination's text (wcscat).
void append(char16_t* destination, const char16_t* source);

// First occurrence of part in text, or null (wcsstr).
char16_t* find(char16_t* text, const char16_t* part);

} // namespace velk::text16
