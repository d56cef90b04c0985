#pragma once

// The declared type of a column: which texts are values of it.

#include <chrono>
#include <cstdint>
#include <string_view>

namespace velk::engine {

enum class TypeName : std::uint8_t { text, character, varying, decimal, integer, date, timestamp };

struct ColumnType {
    TypeName name = TypeName::text;
    int length = 0; // n of char(n) and varchar(n), code points; p of decimal(p,s), digits
    int scale = 0;  // s of decimal(p,s)
};

inline constexpr int longest_type_length = 1'000'000;
inline constexpr int largest_precision = 1'000;

// Throws a Failure if the text names no type.
ColumnType parse_type(std::string_view text);

inline bool is_character_type(const ColumnType& type)
{
    return type.name <= TypeName::varying;
}

inline bool is_number_type(const ColumnType& type)
{
    return type.name == TypeName::decimal || type.name == TypeName::integer;
}

inline bool is_date_type(const ColumnType& type)
{
    return type.name == TypeName::date || type.name == TypeName::timestamp;
}

// Whether the text is written as a value of the type is. Its length is not looked at: a column's limit
// stands in its definition.
//   integer    [-]digits, 64 bits signed
//   decimal    [-]digits[.digits], at most s digits behind the point, p - s before it; a lone 0 before
//              the point does not count; no number is written with more than largest_precision digits
//   date       YYYY-MM-DD, a day of the calendar
//   timestamp  YYYY-MM-DD[ T]hh:mm:ss[.f{1,9}], behind it Z, +hh, -hh, +hh:mm or -hh:mm where it has a zone
// An empty text is a value of the character types alone.
bool is_value_of(const ColumnType& type, std::u16string_view text);

// Of a text that is or begins with a date.
std::chrono::sys_days to_day(std::u16string_view date);

} // namespace velk::engine
