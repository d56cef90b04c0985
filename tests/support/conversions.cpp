#include "support/conversions.h"

#include <string>

namespace velk::test {

namespace {

bool is_high_surrogate(char16_t unit)
{
    return unit >= 0xD800 && unit < 0xDC00;
}

bool is_low_surrogate(char16_t unit)
{
    return unit >= 0xDC00 && unit < 0xE000;
}

// The character at the position, which moves behind it.
char32_t next(const char16_t* text, std::int64_t length, std::int64_t& position)
{
    const char16_t unit = text[position++];
    if (!is_high_surrogate(unit) || position == length || !is_low_surrogate(text[position])) return unit;
    const auto low = static_cast<char32_t>(text[position++] - 0xDC00);
    return 0x10000 + (static_cast<char32_t>(unit - 0xD800) << 10) + low;
}

char32_t next(const char* text, std::int64_t length, std::int64_t& position)
{
    const auto first = static_cast<unsigned char>(text[position++]);
    const int following = first < 0xC0 ? 0 : first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
    char32_t character = following == 0 ? first : first & (0x3FU >> following);
    for (int i = 0; i < following && position < length; ++i)
        character = character << 6 | (static_cast<unsigned char>(text[position++]) & 0x3FU);
    return character;
}

std::string utf8(char32_t character)
{
    const auto tail = [character](int shift) {
        return static_cast<char>(0x80 | (character >> shift & 0x3F));
    };
    if (character < 0x80) return {static_cast<char>(character)};
    if (character < 0x800) return {static_cast<char>(0xC0 | character >> 6), tail(0)};
    if (character < 0x10000) return {static_cast<char>(0xE0 | character >> 12), tail(6), tail(0)};
    return {static_cast<char>(0xF0 | character >> 18), tail(12), tail(6), tail(0)};
}

std::u16string utf16(char32_t character)
{
    if (character < 0x10000) return {static_cast<char16_t>(character)};
    return {static_cast<char16_t>(0xD800 + ((character - 0x10000) >> 10)),
            static_cast<char16_t>(0xDC00 + ((character - 0x10000) & 0x3FF))};
}

template <class To, class From, class Encode>
std::int64_t convert(To* destination, std::int64_t capacity, const From* source, std::int64_t length,
                     Encode encode)
{
    std::int64_t written = 0;
    for (std::int64_t position = 0; position < length;) {
        const auto encoded = encode(next(source, length, position));
        if (written + static_cast<std::int64_t>(encoded.size()) > capacity) break;
        for (const To unit : encoded) destination[written++] = unit;
    }
    return written;
}

} // namespace

std::int64_t utf16_to_utf8(char* destination, std::int64_t capacity, const char16_t* source,
                           std::int64_t length)
{
    return convert(destination, capacity, source, length, utf8);
}

std::int64_t utf8_to_utf16(char16_t* destination, std::int64_t capacity, const char* source,
                           std::int64_t length)
{
    return convert(destination, capacity, source, length, utf16);
}

std::int64_t copy_units(char16_t* destination, std::int64_t capacity, const char16_t* source,
                        std::int64_t length)
{
    std::int64_t written = 0;
    for (; written < length && written < capacity; ++written) destination[written] = source[written];
    return written;
}

} // namespace velk::test
