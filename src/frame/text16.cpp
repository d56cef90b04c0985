#include "frame/text16.h"

#include "frame/avx2.h"

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

constexpr std::size_t step = 64; // units

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

__m128i zeros_of_four(const char16_t* text)
{
    const __m128i first = _mm_or_si128(zeros(text), zeros(text + block_units));
    const __m128i second = _mm_or_si128(zeros(text + 2 * block_units), zeros(text + 3 * block_units));
    return _mm_or_si128(first, second);
}

bool zero_in_step(const char16_t* text)
{
    return mask(_mm_or_si128(zeros_of_four(text), zeros_of_four(text + 4 * block_units))) != 0;
}
#else
bool zero_in_step(const char16_t* text)
{
    return std::find(text, text + step, u'\0') != text + step;
}
#endif

// Units of the whole steps in front of the first zero unit, which are copied if there is a destination.
std::size_t whole_steps(char16_t* destination, const char16_t* text, std::size_t limit)
{
    std::size_t i = 0;
    for (; limit - i >= step && !zero_in_step(text + i); i += step)
        if (destination != nullptr) std::memcpy(destination + i, text + i, step * sizeof(char16_t));
    return i;
}

// Blocks of twice the size halve the time of a long text.
#if defined(VELK_HAS_AVX2)
VELK_AVX2 std::size_t whole_steps_by_avx2(char16_t* destination, const char16_t* text, std::size_t limit)
{
    constexpr int blocks = 4;
    const __m256i zero = _mm256_setzero_si256();
    std::size_t i = 0;
    for (; limit - i >= step; i += step) {
        const auto* from = reinterpret_cast<const __m256i*>(text + i);
        __m256i block[blocks];
        __m256i zeros = zero;
        for (int k = 0; k < blocks; ++k) {
            block[k] = _mm256_loadu_si256(from + k);
            zeros = _mm256_or_si256(zeros, _mm256_cmpeq_epi16(block[k], zero));
        }
        if (_mm256_movemask_epi8(zeros) != 0) break;
        if (destination == nullptr) continue;
        auto* to = reinterpret_cast<__m256i*>(destination + i);
        for (int k = 0; k < blocks; ++k) _mm256_storeu_si256(to + k, block[k]);
    }
    return i;
}

std::size_t skip_steps(char16_t* destination, const char16_t* text, std::size_t limit)
{
    return has_avx2() ? whole_steps_by_avx2(destination, text, limit) : whole_steps(destination, text, limit);
}
#else
std::size_t skip_steps(char16_t* destination, const char16_t* text, std::size_t limit)
{
    return whole_steps(destination, text, limit);
}
#endif

// Of less than a step, or of one that holds a zero unit.
std::size_t rest_length(const char16_t* text, std::size_t limit)
{
    std::size_t i = 0;
#if defined(__x86_64__) || defined(_M_X64)
    for (; limit - i >= block_units; i += block_units) {
        const unsigned found = mask(zeros(text + i));
        if (found != 0) return i + static_cast<std::size_t>(std::countr_zero(found)) / 2;
    }
#endif
    while (i < limit && text[i] != 0) ++i;
    return i;
}

} // namespace

std::size_t length(const char16_t* text, std::size_t limit)
{
    const std::size_t i = limit < step ? 0 : skip_steps(nullptr, text, limit);
    return i + rest_length(text + i, limit - i);
}

std::size_t copy_text(char16_t* destination, const char16_t* source, std::size_t limit)
{
    const std::size_t i = limit < step ? 0 : skip_steps(destination, source, limit);
    const std::size_t rest = rest_length(source + i, limit - i);
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
