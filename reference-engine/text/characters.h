#pragma once

// Single characters: what they are, and how they are written as numbers.

#include <cstdint>
#include <string>
#include <string_view>

namespace velk::engine {

inline constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF"; // in UTF-8

// Where the text behind a byte-order mark starts.
inline std::size_t text_start(std::string_view text)
{
    return text.starts_with(byte_order_mark) ? byte_order_mark.size() : 0;
}

// ASCII alone, of whatever kind the text's units are.
template <typename Character> constexpr bool is_digit(Character character)
{
    return character >= '0' && character <= '9';
}

template <typename Character> constexpr bool is_letter(Character character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

// The first ones of ASCII and of Latin-1, DEL among them.
constexpr bool is_control(char32_t code_point)
{
    return code_point < 0x20 || (code_point >= 0x7F && code_point < 0xA0);
}

inline constexpr std::string_view lower_case_digits = "0123456789abcdef";
inline constexpr std::string_view upper_case_digits = "0123456789ABCDEF";

// At least so many digits.
inline std::string hexadecimal(std::uint64_t number, std::size_t width, std::string_view digits)
{
    std::string text;
    for (; number != 0 || text.size() < width; number >>= 4) text.insert(text.begin(), digits[number & 0xF]);
    return text;
}

} // namespace velk::engine
