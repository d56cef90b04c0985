#include "text.h"

#include "blocks.h"

namespace velk::bulk::text {

namespace {

using Byte = unsigned char;

bool continues(const char* source, std::size_t bytes, std::size_t i)
{
    return i < bytes && (static_cast<Byte>(source[i]) & 0xC0) == 0x80;
}

// What the second byte must be beside one that continues: nothing longer than need be, no surrogate, nothing
// behind the last code point.
bool second_fits(Byte first, Byte second)
{
    switch (first) {
    case 0xE0:
        return second >= 0xA0;
    case 0xED:
        return second <= 0x9F;
    case 0xF0:
        return second >= 0x90;
    case 0xF4:
        return second <= 0x8F;
    default:
        return true;
    }
}

// Bytes of the well-formed character of more than one byte at the start; 0: there is none.
std::size_t character(const char* source, std::size_t bytes)
{
    const auto first = static_cast<Byte>(source[0]);
    if (first < 0xC2 || first > 0xF4) return 0;
    const std::size_t length = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    for (std::size_t i = 1; i < length; ++i)
        if (!continues(source, bytes, i)) return 0;
    return second_fits(first, static_cast<Byte>(source[1])) ? length : 0;
}

char32_t decode(const char* source, std::size_t length)
{
    auto code = static_cast<char32_t>(static_cast<Byte>(source[0]) & (0xFF >> (length + 1)));
    for (std::size_t i = 1; i < length; ++i)
        code = code << 6 | (static_cast<char32_t>(static_cast<Byte>(source[i])) & 0x3F);
    return code;
}

std::size_t put(char16_t* target, char32_t code)
{
    if (code < 0x10000) {
        target[0] = static_cast<char16_t>(code);
        return 1;
    }
    target[0] = static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10));
    target[1] = static_cast<char16_t>(0xDC00 + (code & 0x3FF));
    return 2;
}

std::size_t put(char* target, char32_t code)
{
    const std::size_t length = code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
    for (std::size_t i = length - 1; i > 0; --i, code >>= 6)
        target[i] = static_cast<char>(0x80 | (code & 0x3F));
    constexpr Byte first[] = {0, 0, 0xC0, 0xE0, 0xF0};
    target[0] = static_cast<char>(first[length] | code);
    return length;
}

struct Character {
    char32_t code;
    std::size_t units; // 0: half a surrogate pair
};

Character next(const char16_t* source, std::size_t units)
{
    const char32_t first = source[0];
    if ((first & 0xF800) != 0xD800) return {first, 1};
    const bool paired = first < 0xDC00 && units > 1 && (source[1] & 0xFC00) == 0xDC00;
    if (!paired) return {0, 0};
    return {0x10000 + ((first & 0x3FF) << 10 | (source[1] & 0x3FFU)), 2};
}

} // namespace

Progress to_utf16(char16_t* target, const char* source, std::size_t bytes)
{
    Progress at{};
    while (at.read < bytes) {
        const std::size_t ascii = blocks::widen_ascii(target + at.written, source + at.read, bytes - at.read);
        at = {at.read + ascii, at.written + ascii};
        // Where one character is not ASCII the next ones are often neither.
        while (at.read < bytes && static_cast<Byte>(source[at.read]) >= 0x80) {
            const std::size_t length = character(source + at.read, bytes - at.read);
            if (length == 0) return at;
            at.written += put(target + at.written, decode(source + at.read, length));
            at.read += length;
        }
    }
    return at;
}

Progress to_utf8(char* target, const char16_t* source, std::size_t units)
{
    Progress at{};
    while (at.read < units) {
        const std::size_t ascii =
            blocks::narrow_ascii(target + at.written, source + at.read, units - at.read);
        at = {at.read + ascii, at.written + ascii};
        while (at.read < units && source[at.read] >= 0x80) {
            const Character character = next(source + at.read, units - at.read);
            if (character.units == 0) return at;
            at.written += put(target + at.written, character.code);
            at.read += character.units;
        }
    }
    return at;
}

std::size_t well_formed(const char* source, std::size_t bytes)
{
    std::size_t i = 0;
    while (i < bytes) {
        i += blocks::ascii_length(source + i, bytes - i);
        for (std::size_t length = 0; i < bytes && static_cast<Byte>(source[i]) >= 0x80; i += length) {
            length = character(source + i, bytes - i);
            if (length == 0) return i;
        }
    }
    return bytes;
}

std::size_t whole_characters(const char* source, std::size_t bytes)
{
    for (std::size_t back = 1; back <= 3 && back <= bytes; ++back) {
        const auto byte = static_cast<Byte>(source[bytes - back]);
        if ((byte & 0xC0) == 0x80) continue;
        const std::size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
        return length > back ? bytes - back : bytes;
    }
    return bytes;
}

std::size_t utf16_length(const char* source, std::size_t bytes)
{
    std::size_t units = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
        const auto byte = static_cast<Byte>(source[i]);
        units += (byte & 0xC0) != 0x80; // each character by its first byte
        units += byte >= 0xF0;          // and once more where it takes a pair
    }
    return units;
}

std::size_t find(const char* source, std::size_t bytes, char byte)
{
    return blocks::find(source, bytes, byte);
}

std::size_t find_zero(const char16_t* source, std::size_t units)
{
    return blocks::find_zero(source, units);
}

} // namespace velk::bulk::text
