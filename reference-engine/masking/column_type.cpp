#include "masking/column_type.h"

#include "text/argument.h"
#include "text/excerpt.h"
#include "text/failure.h"
#include "text/unicode.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <string>

namespace velk::engine {

namespace {

constexpr std::array<std::string_view, 7> type_names{"text",    "char", "varchar",  "decimal",
                                                     "integer", "date", "timestamp"};

constexpr std::array<std::string_view, 7> type_forms{"text",    "char(n)", "varchar(n)", "decimal(p,s)",
                                                     "integer", "date",    "timestamp"};

[[noreturn]] void refuse_type(std::string_view text)
{
    throw Failure{type_unknown, shown(text), {}, advice(text, "Types", type_forms)};
}

// A number of at most seven digits that stands between from and to.
int scan_size(Scanner& scanner, std::string_view type, int from, int to)
{
    scan_blanks(scanner);
    int size = 0;
    std::size_t digits = 0;
    for (; !at_end(scanner) && is_digit(static_cast<unsigned char>(scanner.text[scanner.position]));
         ++digits) {
        if (digits == 7) throw Failure{type_out_of_range, shown(type)};
        size = size * 10 + (scanner.text[scanner.position++] - '0');
    }
    if (digits == 0) refuse_type(type);
    if (size < from || size > to) throw Failure{type_out_of_range, shown(type)};
    scan_blanks(scanner);
    return size;
}

void scan_sizes(Scanner& scanner, ColumnType& type)
{
    const bool decimal = type.name == TypeName::decimal;
    if (!scan_character(scanner, '(')) refuse_type(scanner.text);
    type.length = scan_size(scanner, scanner.text, 1, decimal ? largest_precision : longest_type_length);
    if (decimal) {
        if (!scan_character(scanner, ',')) refuse_type(scanner.text);
        type.scale = scan_size(scanner, scanner.text, 0, type.length);
    }
    if (!scan_character(scanner, ')')) refuse_type(scanner.text);
}

// How many digits a text begins with; four units are looked at together, the first one in the lowest bits.
std::size_t count_digits(std::u16string_view text)
{
    std::size_t count = 0;
    for (; text.size() - count >= 4; count += 4) {
        std::uint64_t units;
        std::memcpy(&units, text.data() + count, sizeof units);
        units ^= 0x0030'0030'0030'0030; // digits become 0 to 9
        const std::uint64_t others = (units | (units + 0x7FF6'7FF6'7FF6'7FF6)) & 0x8000'8000'8000'8000;
        if (others != 0) return count + static_cast<std::size_t>(std::countr_zero(others)) / 16;
    }
    while (count < text.size() && is_digit(text[count])) ++count;
    return count;
}

// Reads a value unit by unit.
struct Reader {
    std::u16string_view text;

    bool take(char16_t unit)
    {
        if (!text.starts_with(unit)) return false;
        text.remove_prefix(1);
        return true;
    }

    std::u16string_view take_digits()
    {
        const auto digits = text.substr(0, count_digits(text));
        text.remove_prefix(digits.size());
        return digits;
    }

    // Exactly count digits, as a number; -1 if there are not so many.
    int take_number(std::size_t count)
    {
        int number = 0;
        for (std::size_t i = 0; i < count; ++i) {
            if (i >= text.size() || !is_digit(text[i])) return -1;
            number = number * 10 + (text[i] - '0');
        }
        text.remove_prefix(count);
        return number;
    }
};

std::u16string_view without_leading_zeros(std::u16string_view digits)
{
    digits.remove_prefix(std::min(digits.find_first_not_of(u'0'), digits.size()));
    return digits;
}

// Far more than any type holds: what follows costs no more than such a number.
bool is_longer_than_any_number(std::u16string_view text)
{
    return text.size() > std::u16string_view(u"-.").size() + largest_precision;
}

bool is_integer(Reader reader)
{
    if (is_longer_than_any_number(reader.text)) return false;
    const bool negative = reader.take('-');
    const std::u16string_view digits = reader.take_digits();
    if (digits.empty() || !reader.text.empty()) return false;
    const std::u16string_view significant = without_leading_zeros(digits);
    const std::u16string_view largest = negative ? u"9223372036854775808" : u"9223372036854775807";
    return significant.size() < largest.size() ||
           (significant.size() == largest.size() && significant <= largest);
}

bool is_decimal(Reader reader, const ColumnType& type)
{
    if (is_longer_than_any_number(reader.text)) return false;
    reader.take('-');
    const std::u16string_view whole = reader.take_digits();
    if (whole.empty()) return false;
    std::u16string_view fraction;
    if (reader.take('.')) {
        fraction = reader.take_digits();
        if (fraction.empty()) return false;
    }
    return reader.text.empty() && fraction.size() <= static_cast<std::size_t>(type.scale) &&
           without_leading_zeros(whole).size() <= static_cast<std::size_t>(type.length - type.scale);
}

int days_in(int year, int month)
{
    constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    return month == 2 && leap ? 29 : days[month - 1];
}

bool take_date(Reader& reader)
{
    const int year = reader.take_number(4);
    if (year < 1 || !reader.take('-')) return false;
    const int month = reader.take_number(2);
    if (month < 1 || month > 12 || !reader.take('-')) return false;
    const int day = reader.take_number(2);
    return day > 0 && day <= days_in(year, month);
}

bool take_part(Reader& reader, int limit)
{
    const int number = reader.take_number(2);
    return number >= 0 && number < limit;
}

bool take_time(Reader& reader)
{
    if (!take_part(reader, 24) || !reader.take(':')) return false;
    if (!take_part(reader, 60) || !reader.take(':')) return false;
    if (!take_part(reader, 60)) return false;
    if (!reader.take('.')) return true;
    const std::size_t digits = reader.take_digits().size();
    return digits >= 1 && digits <= 9;
}

bool take_zone(Reader& reader)
{
    if (reader.text.empty() || reader.take('Z')) return true;
    if (!reader.take('+') && !reader.take('-')) return false;
    return take_part(reader, 24) && (!reader.take(':') || take_part(reader, 60));
}

bool is_timestamp(Reader reader)
{
    return take_date(reader) && (reader.take(' ') || reader.take('T')) && take_time(reader) &&
           take_zone(reader) && reader.text.empty();
}

unsigned number_at(std::u16string_view date, std::size_t at, std::size_t digits)
{
    unsigned number = 0;
    for (const char16_t digit : date.substr(at, digits)) number = number * 10 + (digit - u'0');
    return number;
}

} // namespace

ColumnType parse_type(std::string_view text)
{
    Scanner scanner{text};
    scan_blanks(scanner);
    const std::string name = scan_name(scanner);
    const auto found = std::find(type_names.begin(), type_names.end(), name);
    if (found == type_names.end()) refuse_type(text);
    ColumnType type{static_cast<TypeName>(found - type_names.begin())};
    if (type.name == TypeName::character || type.name == TypeName::varying || type.name == TypeName::decimal)
        scan_sizes(scanner, type);
    scan_blanks(scanner);
    if (!at_end(scanner)) refuse_type(text);
    return type;
}

bool is_value_of(const ColumnType& type, std::u16string_view text)
{
    Reader reader{text};
    switch (type.name) {
    case TypeName::integer:
        return is_integer(reader);
    case TypeName::decimal:
        return is_decimal(reader, type);
    case TypeName::date:
        return take_date(reader) && reader.text.empty();
    case TypeName::timestamp:
        return is_timestamp(reader);
    default:
        return true;
    }
}

std::chrono::sys_days to_day(std::u16string_view date)
{
    using namespace std::chrono;
    return year_month_day{year{static_cast<int>(number_at(date, 0, 4))}, month{number_at(date, 5, 2)},
                          day{number_at(date, 8, 2)}};
}

} // namespace velk::engine
