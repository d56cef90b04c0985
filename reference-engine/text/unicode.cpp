#include "text/unicode.h"

#include <algorithm>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace velk::engine {

namespace {

// What a UTF-8 lead byte announces. The second byte's range excludes overlong forms, surrogates and
// values above U+10FFFF, so that an ill-formed sequence ends as early as the standard says.
struct Lead {
    unsigned length; // 0: no lead byte
    std::uint8_t second_from;
    std::uint8_t second_to;
};

Lead lead_of(std::uint8_t byte)
{
    if (byte < 0xC2 || byte > 0xF4) return {0, 0, 0};
    if (byte < 0xE0) return {2, 0x80, 0xBF};
    if (byte == 0xE0) return {3, 0xA0, 0xBF};
    if (byte == 0xED) return {3, 0x80, 0x9F};
    if (byte < 0xF0) return {3, 0x80, 0xBF};
    if (byte == 0xF0) return {4, 0x90, 0xBF};
    if (byte == 0xF4) return {4, 0x80, 0x8F};
    return {4, 0x80, 0xBF};
}

// Copies the ASCII characters that begin the text and returns their number.
std::size_t copy_ascii(std::u16string_view text, char* bytes)
{
    std::size_t copied = 0;
#if defined(__SSE2__)
    // Blocks of units that have nothing but their low seven bits.
    const __m128i high_bits = _mm_set1_epi16(static_cast<short>(0xFF80));
    constexpr std::size_t block = sizeof(__m128i) / sizeof(char16_t);
    for (; copied + block <= text.size(); copied += block) {
        const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + copied));
        const __m128i ascii = _mm_cmpeq_epi16(_mm_and_si128(units, high_bits), _mm_setzero_si128());
        if (_mm_movemask_epi8(ascii) != 0xFFFF) break;
        _mm_storel_epi64(reinterpret_cast<__m128i*>(bytes + copied), _mm_packus_epi16(units, units));
    }
#endif
    for (; copied < text.size() && text[copied] < 0x80; ++copied)
        bytes[copied] = static_cast<char>(text[copied]);
    return copied;
}

template <typename Text> bool decodes_cleanly(Text text)
{
    for (std::size_t position = 0; position < text.size();)
        if (next_code_point(text, position) == ill_formed) return false;
    return true;
}

} // namespace

char32_t next_code_point(std::string_view text, std::size_t& position)
{
    const auto first = static_cast<std::uint8_t>(text[position++]);
    if (first < 0x80) return first;
    const Lead lead = lead_of(first);
    if (lead.length == 0) return ill_formed;
    char32_t code_point = first & (0x7Fu >> lead.length);
    for (unsigned i = 1; i < lead.length; ++i) {
        if (position == text.size()) return ill_formed;
        const auto byte = static_cast<std::uint8_t>(text[position]);
        if (byte < (i == 1 ? lead.second_from : 0x80) || byte > (i == 1 ? lead.second_to : 0xBF))
            return ill_formed;
        code_point = code_point << 6 | (byte & 0x3Fu);
        ++position;
    }
    return code_point;
}

char32_t next_code_point(std::u16string_view text, std::size_t& position)
{
    const char16_t unit = text[position++];
    if (is_low_surrogate(unit)) return ill_formed;
    if (!is_high_surrogate(unit)) return unit;
    if (position == text.size() || !is_low_surrogate(text[position])) return ill_formed;
    return 0x10000u + ((unit & 0x3FFu) << 10) + (text[position++] & 0x3FFu);
}

std::size_t encode(char32_t code_point, char* units)
{
    const auto put = [units](std::size_t index, std::uint32_t byte) {
        units[index] = static_cast<char>(static_cast<std::uint8_t>(byte));
    };
    if (code_point < 0x80) return put(0, code_point), 1;
    const std::size_t length = code_point < 0x800 ? 2 : code_point < 0x10000 ? 3 : 4;
    for (std::size_t i = length; i-- > 1; code_point >>= 6) put(i, 0x80 | (code_point & 0x3F));
    put(0, (0xF00u >> length) | code_point);
    return length;
}

std::size_t encode(char32_t code_point, char16_t* units)
{
    if (code_point < 0x10000) return units[0] = static_cast<char16_t>(code_point), 1;
    units[0] = static_cast<char16_t>(0xD800 + ((code_point - 0x10000) >> 10));
    units[1] = static_cast<char16_t>(0xDC00 + (code_point & 0x3FF));
    return 2;
}

std::size_t encode(std::u16string_view text, char* bytes)
{
    char* end = bytes;
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t ascii = copy_ascii(text.substr(position), end);
        end += ascii;
        position += ascii;
        if (position == text.size()) break;
        const char32_t code_point = next_code_point(text, position);
        end += encode(code_point == ill_formed ? replacement_character : code_point, end);
    }
    return static_cast<std::size_t>(end - bytes);
}

void append(std::string& text, char32_t code_point)
{
    char units[4];
    text.append(units, encode(code_point == ill_formed ? replacement_character : code_point, units));
}

void append(std::u16string& text, char32_t code_point)
{
    char16_t units[2];
    text.append(units, encode(code_point == ill_formed ? replacement_character : code_point, units));
}

bool is_well_formed(std::string_view text)
{
    return decodes_cleanly(text);
}

bool is_well_formed(std::u16string_view text)
{
    const bool has_surrogates = std::any_of(text.begin(), text.end(), [](char16_t unit) {
        return is_high_surrogate(unit) || is_low_surrogate(unit);
    });
    return !has_surrogates || decodes_cleanly(text);
}

std::string to_utf8(std::u16string_view text)
{
    std::string result(most_bytes(text), '\0');
    result.resize(encode(text, result.data()));
    return result;
}

std::u16string to_utf16(std::string_view text)
{
    std::u16string result;
    result.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) append(result, next_code_point(text, position));
    return result;
}

std::size_t code_point_count(std::u16string_view text)
{
    const auto low_surrogates = std::count_if(text.begin(), text.end(), is_low_surrogate);
    return text.size() - static_cast<std::size_t>(low_surrogates);
}

} // namespace velk::engine
