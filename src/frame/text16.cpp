#include "frame/text16.h"

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

std::size_t length(const char16_t* text, std::size_t limit)
{
    std::size_t i = 0;
#if defined(__x86_64__) || defined(_M_X64)
    // Eight units a step, never past the limit. Two bits of the mask stand for one unit.
    const __m128i zero = _mm_setzero_si128();
    for (; limit - i >= 8; i += 8) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i));
        const auto mask = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi16(block, zero)));
        if (mask != 0) return i + static_cast<std::size_t>(std::countr_zero(mask)) / 2;
    }
#endif
    while (i < limit && text[i] != 0) ++i;
    return i;
}

std::size_t copy_text(char16_t* destination, const char16_t* source, std::size_t limit)
{
    const std::size_t units = length(source, limit);
    std::memcpy(destination, source, units * sizeof(char16_t));
    return units;
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
