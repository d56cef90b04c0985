#pragma once

// What may stand in clear between the characters of a number: the ASCII blank and ASCII punctuation.

namespace velk::engine {

inline bool is_separator(char32_t code_point)
{
    if (code_point < 0x20 || code_point > 0x7E) return false;
    const bool digit = code_point >= '0' && code_point <= '9';
    const char32_t lower = code_point | 0x20;
    return !digit && !(lower >= 'a' && lower <= 'z');
}

} // namespace velk::engine
