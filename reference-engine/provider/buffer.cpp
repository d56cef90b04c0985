#include "provider/buffer.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace velk::engine {

namespace {

// Four units of text are looked at side by side, in the order of memory: the lowest bits hold the first.
static_assert(std::endian::native == std::endian::little);
using Group = std::uint64_t;
constexpr std::size_t group_units = sizeof(Group) / sizeof(char16_t);
constexpr Group ones = 0x0001'0001'0001'0001;

Group read_group(const char* text, std::size_t units = group_units)
{
    Group group = 0;
    std::memcpy(&group, text, units * sizeof(char16_t));
    return group;
}

// The top bit of the first unit that is zero, and of none before it.
constexpr Group zero_units(Group group)
{
    return (group - ones) & ~group & 0x8000 * ones;
}

constexpr bool has_surrogate(Group group)
{
    return zero_units((group & 0xF800 * ones) ^ 0xD800 * ones) != 0;
}

constexpr std::size_t first_zero_unit(Group zeros)
{
    return static_cast<std::size_t>(std::countr_zero(zeros)) / 16;
}

// All units, by blocks of eight of which the last overlaps the one before it; false where there are fewer.
bool measure_blocks([[maybe_unused]] const char* text, [[maybe_unused]] std::size_t units,
                    [[maybe_unused]] BufferText& found)
{
#if defined(__SSE2__)
    constexpr std::size_t block_units = sizeof(__m128i) / sizeof(char16_t);
    if (units < block_units) return false;
    const __m128i top_bits = _mm_set1_epi16(static_cast<short>(0xF800));
    const __m128i surrogate = _mm_set1_epi16(static_cast<short>(0xD800));
    __m128i surrogates = _mm_setzero_si128();
    unsigned zeros = 0;
    while (found.length < units && zeros == 0) {
        const std::size_t start = std::min(found.length, units - block_units);
        const __m128i block =
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + start * sizeof(char16_t)));
        surrogates = _mm_or_si128(surrogates, _mm_cmpeq_epi16(_mm_and_si128(block, top_bits), surrogate));
        zeros = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi16(block, _mm_setzero_si128())));
        found.length =
            start + (zeros != 0 ? static_cast<std::size_t>(std::countr_zero(zeros)) / 2 : block_units);
    }
    found.has_surrogates = _mm_movemask_epi8(surrogates) != 0;
    return true;
#else
    return false;
#endif
}

} // namespace

std::size_t capacity(const DATA& field)
{
    return field.bufferSize > 0 && field.buffer != nullptr
               ? static_cast<std::size_t>(field.bufferSize) / sizeof(char16_t)
               : 0;
}

BufferText measure_text(const DATA& field)
{
    const std::size_t units = capacity(field);
    const char* text = static_cast<const char*>(field.buffer);
    BufferText found{0, false};
    if (measure_blocks(text, units, found)) return found;
    for (; units - found.length >= group_units; found.length += group_units) {
        const Group group = read_group(text + found.length * sizeof(char16_t));
        found.has_surrogates |= has_surrogate(group);
        if (const Group zeros = zero_units(group)) {
            found.length += first_zero_unit(zeros);
            return found;
        }
    }
    const std::size_t rest = units - found.length;
    if (rest == 0) return found;
    const Group group = read_group(text + found.length * sizeof(char16_t), rest); // with zero units behind it
    return {found.length + std::min(rest, first_zero_unit(zero_units(group))),
            found.has_surrogates || has_surrogate(group)};
}

void clear_buffer(DATA& field)
{
    if (field.bufferSize > 0 && field.buffer != nullptr)
        std::memset(field.buffer, 0, static_cast<std::size_t>(field.bufferSize));
}

bool write_text(DATA& field, std::u16string_view text)
{
    if (text.empty()) return clear_buffer(field), true;
    if (text.size() >= capacity(field)) return false;
    std::memcpy(field.buffer, text.data(), text.size() * sizeof(char16_t));
    end_text(field, text.size());
    return true;
}

void end_text(DATA& field, std::size_t units)
{
    const std::size_t bytes = units * sizeof(char16_t);
    std::memset(static_cast<char*>(field.buffer) + bytes, 0,
                static_cast<std::size_t>(field.bufferSize) - bytes);
}

} // namespace velk::engine
