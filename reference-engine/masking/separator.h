#pragma once

// What may stand in clear between the characters of a number: the ASCII blank and ASCII punctuation.

#include "text/unicode.h"

namespace velk::engine {

inline bool is_separator(char32_t code_point)
{
    if (code_point < 0x20 || code_point > 0x7E) return false;
    const char32_t lower = code_point | 0x20;
    return !is_digit(code_point) && !(lower >= 'a' && lower <= 'z');
}

} // namespace velk::engine
