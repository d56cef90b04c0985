#pragma once

// Text in blocks: 16 bytes a step by SSE2 on x86-64, byte by byte elsewhere, with the same results. Nothing
// behind the lengths is read or written. Most values are short, so that what is left of them behind the last
// whole block counts: it is a block as well, whose bytes are put together from words that overlap.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

// Tests compile the plain loops as well.
#if (defined(__x86_64__) || defined(_M_X64)) && !defined(VELK_BULK_PLAIN)
#define VELK_BULK_SSE2
#include <emmintrin.h>
#endif

namespace velk::bulk::blocks {

#if defined(VELK_BULK_SSE2)

inline __m128i load(const void* start)
{
    return _mm_loadu_si128(static_cast<const __m128i*>(start));
}

inline unsigned mask(__m128i bytes)
{
    return static_cast<unsigned>(_mm_movemask_epi8(bytes));
}

template <typename Word> std::uint64_t word(const void* start)
{
    Word word;
    std::memcpy(&word, start, sizeof word);
    return word;
}

// Fewer than 16 bytes, and zeros behind them.
inline __m128i load_part(const void* start, std::size_t bytes)
{
    const char* source = static_cast<const char*>(start);
    std::uint64_t low = 0;
    std::uint64_t high = 0;
    if (bytes >= 8) {
        low = word<std::uint64_t>(source);
        high = bytes == 8 ? 0 : word<std::uint64_t>(source + bytes - 8) >> 8 * (16 - bytes);
    } else if (bytes >= 4) {
        low = word<std::uint32_t>(source) | word<std::uint32_t>(source + bytes - 4) << 8 * (bytes - 4);
    } else if (bytes > 0) {
        low = word<std::uint8_t>(source) | word<std::uint8_t>(source + bytes / 2) << 8 * (bytes / 2) |
              word<std::uint8_t>(source + bytes - 1) << 8 * (bytes - 1);
    }
    return _mm_set_epi64x(static_cast<long long>(high), static_cast<long long>(low));
}

// The bits that stand for so many bytes in front of a block.
inline unsigned front(std::size_t bytes)
{
    return (1U << bytes) - 1;
}

inline std::size_t place(unsigned found)
{
    return static_cast<std::size_t>(std::countr_zero(found));
}

inline void widen(char16_t* target, __m128i bytes)
{
    const __m128i zero = _mm_setzero_si128();
    _mm_storeu_si128(reinterpret_cast<__m128i*>(target), _mm_unpacklo_epi8(bytes, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(target + 8), _mm_unpackhi_epi8(bytes, zero));
}

// Copies eight bytes if all are ASCII.
inline bool widen_eight(char16_t* target, const char* source)
{
    const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(source));
    if (mask(bytes) != 0) return false;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(target), _mm_unpacklo_epi8(bytes, _mm_setzero_si128()));
    return true;
}

// Copies eight units if all are ASCII.
inline bool narrow_eight(char* target, const char16_t* source)
{
    const __m128i units = load(source);
    const __m128i above = _mm_and_si128(units, _mm_set1_epi16(static_cast<short>(0xFF80)));
    if (mask(_mm_cmpeq_epi16(above, _mm_setzero_si128())) != 0xFFFF) return false;
    _mm_storel_epi64(reinterpret_cast<__m128i*>(target), _mm_packus_epi16(units, units));
    return true;
}

#endif

// Copies ASCII up to the first other byte and returns its length.
inline std::size_t widen_ascii(char16_t* target, const char* source, std::size_t bytes)
{
    std::size_t i = 0;
#if defined(VELK_BULK_SSE2)
    for (; bytes - i >= 16; i += 16) {
        const __m128i block = load(source + i);
        if (mask(block) != 0) break;
        widen(target + i, block);
    }
    if (bytes - i >= 8 && widen_eight(target + i, source + i)) i += 8;
    // The last ones once more, with those that are left.
    if (bytes >= 8 && bytes - i < 8 && widen_eight(target + bytes - 8, source + bytes - 8)) return bytes;
#endif
    for (; i < bytes && static_cast<unsigned char>(source[i]) < 0x80; ++i)
        target[i] = static_cast<unsigned char>(source[i]);
    return i;
}

// Copies ASCII up to the first other unit and returns its length.
inline std::size_t narrow_ascii(char* target, const char16_t* source, std::size_t units)
{
    std::size_t i = 0;
#if defined(VELK_BULK_SSE2)
    while (units - i >= 8 && narrow_eight(target + i, source + i)) i += 8;
    if (units >= 8 && units - i < 8 && narrow_eight(target + units - 8, source + units - 8)) return units;
#endif
    for (; i < units && source[i] < 0x80; ++i) target[i] = static_cast<char>(source[i]);
    return i;
}

// The length of the ASCII in front.
inline std::size_t ascii_length(const char* source, std::size_t bytes)
{
    std::size_t i = 0;
#if defined(VELK_BULK_SSE2)
    for (; bytes - i >= 64; i += 64) {
        const __m128i any = _mm_or_si128(_mm_or_si128(load(source + i), load(source + i + 16)),
                                         _mm_or_si128(load(source + i + 32), load(source + i + 48)));
        if (mask(any) != 0) break;
    }
    for (; bytes - i >= 16; i += 16)
        if (const unsigned found = mask(load(source + i))) return i + place(found);
    const unsigned found = mask(load_part(source + i, bytes - i));
    return found != 0 ? i + place(found) : bytes;
#else
    while (i < bytes && static_cast<unsigned char>(source[i]) < 0x80) ++i;
    return i;
#endif
}

inline std::size_t find(const char* source, std::size_t bytes, char byte)
{
    std::size_t i = 0;
#if defined(VELK_BULK_SSE2)
    const __m128i wanted = _mm_set1_epi8(byte);
    for (; bytes - i >= 16; i += 16)
        if (const unsigned found = mask(_mm_cmpeq_epi8(load(source + i), wanted))) return i + place(found);
    const std::size_t rest = bytes - i;
    const unsigned found = mask(_mm_cmpeq_epi8(load_part(source + i, rest), wanted)) & front(rest);
    return found != 0 ? i + place(found) : bytes;
#else
    while (i < bytes && source[i] != byte) ++i;
    return i;
#endif
}

inline std::size_t find_zero(const char16_t* source, std::size_t units)
{
    std::size_t i = 0;
#if defined(VELK_BULK_SSE2)
    const __m128i zero = _mm_setzero_si128();
    for (; units - i >= 8; i += 8)
        if (const unsigned found = mask(_mm_cmpeq_epi16(load(source + i), zero))) return i + place(found) / 2;
    // What is not there is zero.
    return i + place(mask(_mm_cmpeq_epi16(load_part(source + i, 2 * (units - i)), zero))) / 2;
#else
    while (i < units && source[i] != 0) ++i;
    return i;
#endif
}

// The place behind the last byte that is one of two; 0 where there is none.
inline std::size_t behind_last(const char* source, std::size_t bytes, char a, char b)
{
    std::size_t end = bytes;
#if defined(VELK_BULK_SSE2)
    for (; end >= 16; end -= 16) {
        const __m128i block = load(source + end - 16);
        const __m128i either =
            _mm_or_si128(_mm_cmpeq_epi8(block, _mm_set1_epi8(a)), _mm_cmpeq_epi8(block, _mm_set1_epi8(b)));
        if (const unsigned found = mask(either))
            return end - 16 + static_cast<std::size_t>(std::bit_width(found));
    }
#endif
    while (end > 0 && source[end - 1] != a && source[end - 1] != b) --end;
    return end;
}

// Bytes of which four are looked for.
struct FourBytes {
    char bytes[4];
};

inline bool is_one_of(char byte, const FourBytes& wanted)
{
    return byte == wanted.bytes[0] || byte == wanted.bytes[1] || byte == wanted.bytes[2] ||
           byte == wanted.bytes[3];
}

#if defined(VELK_BULK_SSE2)

inline __m128i one_of(__m128i block, const FourBytes& wanted)
{
    const auto equal = [block](char byte) { return _mm_cmpeq_epi8(block, _mm_set1_epi8(byte)); };
    return _mm_or_si128(_mm_or_si128(equal(wanted.bytes[0]), equal(wanted.bytes[1])),
                        _mm_or_si128(equal(wanted.bytes[2]), equal(wanted.bytes[3])));
}

#endif

// Which of 64 bytes are one of four: bit k stands for byte k.
inline std::uint64_t mark(const char* source, const FourBytes& wanted)
{
    std::uint64_t marked = 0;
#if defined(VELK_BULK_SSE2)
    for (unsigned i = 0; i < 64; i += 16)
        marked |= static_cast<std::uint64_t>(mask(one_of(load(source + i), wanted))) << i;
#else
    for (unsigned i = 0; i < 64; ++i)
        if (is_one_of(source[i], wanted)) marked |= std::uint64_t{1} << i;
#endif
    return marked;
}

// The same of fewer than 64 bytes.
inline std::uint64_t mark(const char* source, std::size_t bytes, const FourBytes& wanted)
{
    std::uint64_t marked = 0;
    for (std::size_t i = 0; i < bytes; ++i)
        if (is_one_of(source[i], wanted)) marked |= std::uint64_t{1} << i;
    return marked;
}

// Whether any byte is one of four.
inline bool has_any(const char* source, std::size_t bytes, const FourBytes& wanted)
{
    std::size_t i = 0;
#if defined(VELK_BULK_SSE2)
    for (; bytes - i >= 16; i += 16)
        if (mask(one_of(load(source + i), wanted)) != 0) return true;
    const std::size_t rest = bytes - i;
    return (mask(one_of(load_part(source + i, rest), wanted)) & front(rest)) != 0;
#else
    for (; i < bytes; ++i)
        if (is_one_of(source[i], wanted)) return true;
    return false;
#endif
}

} // namespace velk::bulk::blocks
