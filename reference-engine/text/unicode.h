#pragma once

// Code points in UTF-8 and UTF-16. Ill-formed text decodes to one ill_formed per maximal subpart, that
// is per longest run of units that starts like a well-formed character and could not be continued.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace velk::engine {

inline constexpr char32_t ill_formed = 0xFFFFFFFF;
inline constexpr char32_t replacement_character = 0xFFFD;

// Decode the character at position (below the text's size) and move position behind it.
char32_t next_code_point(std::string_view text, std::size_t& position);
char32_t next_code_point(std::u16string_view text, std::size_t& position);

// Write a code point and return the number of units written: at most 4 bytes, at most 2 units.
std::size_t encode(char32_t code_point, char* units);
std::size_t encode(char32_t code_point, char16_t* units);

// Writes the text in UTF-8, U+FFFD for each ill-formed part, and returns the number of bytes: at most
// most_bytes(text).
std::size_t encode(std::u16string_view text, char* bytes);

inline std::size_t most_bytes(std::u16string_view text)
{
    return 3 * text.size(); // a character of two units has four
}

void append(std::string& text, char32_t code_point);
void append(std::u16string& text, char32_t code_point);

bool is_well_formed(std::string_view text);
bool is_well_formed(std::u16string_view text);

// Ill-formed parts become U+FFFD.
std::string to_utf8(std::u16string_view text);
std::u16string to_utf16(std::string_view text);

// Code points of well-formed text.
std::size_t code_point_count(std::u16string_view text);

// 0 to 9, those of no other script.
inline bool is_digit(char32_t code_point)
{
    return code_point >= '0' && code_point <= '9';
}

inline bool is_high_surrogate(char16_t unit)
{
    return (unit & 0xFC00) == 0xD800;
}
inline bool is_low_surrogate(char16_t unit)
{
    return (unit & 0xFC00) == 0xDC00;
}

} // namespace velk::engine
