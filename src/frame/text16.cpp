#include "frame/text16.h"

#include <algorithm>
#include <cstring>

#if defined(__x86_64__) || defined(_M_X64)
#include <bit>
#include <emmintrin.h>
#endif

namespace velk::text16 {

std::size_t length(const char16_t* text)
{
    std::size_t units = 0;
    while (text[units] != 0) ++units;
    return units;
}

namespace {

constexpr std::size_t step = 32; // units

#if defined(__x86_64__) || defined(_M_X64)
constexpr std::size_t block_units = 8;

// Which of eight units are zero.
__m128i zeros(const char16_t* text)
{
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
    return _mm_cmpeq_epi16(block, _mm_setzero_si128());
}

// Two bits stand for one unit.
unsigned mask(__m128i zeros)
{
    return static_cast<unsigned>(_mm_movemask_epi8(zeros));
}

bool zero_in_step(const char16_t* text)
{
    const __m128i first = _mm_or_si128(zeros(text), zeros(text + block_units));
    const __m128i second = _mm_or_si128(zeros(text + 2 * block_units), zeros(text + 3 * block_units));
    return mask(_mm_or_si128(first, second)) != 0;
}
#else
bool zero_in_step(const char16_t* text)
{
    return std::find(text, text + step, u'\0') != text + step;
}
#endif

} // namespace

std::size_t length(const char16_t* text, std::size_t limit)
{
    std::size_t i = 0;
    while (limit - i >= step && !zero_in_step(text + i)) i += step;
#if defined(__x86_64__) || defined(_M_X64)
    for (; limit - i >= block_units; i += block_units) {
        const unsigned found = mask(zeros(text + i));
        if (found != 0) return i + static_cast<std::size_t>(std::countr_zero(found)) / 2;
    }
#endif
    while (i < limit && text[i] != 0) ++i;
    return i;
}

std::size_t copy_text(char16_t* destination, const char16_t* source, std::size_t limit)
{
    std::size_t i = 0;
    for (; limit - i >= step && !zero_in_step(source + i); i += step)
        std::memcpy(destination + i, source + i, step * sizeof(char16_t));
    const std::size_t rest = length(source + i, limit - i);
    std::memcpy(destination + i, source + i, rest * sizeof(char16_t));
    return i + rest;
}

void copy(char16_t* destination, const char16_t* source, std::size_t count)
{
    // Unit by unit: nothing behind the first zero unit may be read, for there may be no memory behind it.
    std::size_t units = 0;
    while (units < count && source[units] != 0) ++units;
    std::memcpy(destination, source, units * sizeof(char16_t));
    std::memset(destination + units, 0, (count - units) * sizeof(char16_t));
}

void append(char16_t* destination, const char16_t* source)
{
    std::memcpy(destination + length(destination), source, (length(source) + 1) * sizeof(char16_t));
}

char16_t* find(char16_t* text, const char16_t* part)
{
    const std::size_t units = length(part);
    for (;; ++text) {
        std::size_t matched = 0;
        while (matched < units && text[matched] == part[matched]) ++matched;
        if (matched == units) return text;
        if (*text == 0) return nullptr;
    }
}

} // namespace velk::text16
