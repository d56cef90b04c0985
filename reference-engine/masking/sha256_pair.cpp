#include "masking/sha256_pair.h"

#if defined(__x86_64__) && defined(__GNUC__)
#include <algorithm>
#include <cpuid.h>
#include <immintrin.h>
#include <iterator>
#include <utility>

namespace velk::engine {

namespace {

// Functions of which each caller asks can_hash_pairs first.
#define VELK_SHA [[gnu::target("sha,sse4.1")]]
#define VELK_SHA_INLINE [[gnu::target("sha,sse4.1"), gnu::always_inline]]

// FIPS 180-4: the constants of the rounds, and the first state.
alignas(16) constexpr std::uint32_t round_constants[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};
constexpr std::uint8_t first_state[] = {0x6a, 0x09, 0xe6, 0x67, 0xbb, 0x67, 0xae, 0x85, 0x3c, 0x6e, 0xf3,
                                        0x72, 0xa5, 0x4f, 0xf5, 0x3a, 0x51, 0x0e, 0x52, 0x7f, 0x9b, 0x05,
                                        0x68, 0x8c, 0x1f, 0x83, 0xd9, 0xab, 0x5b, 0xe0, 0xcd, 0x19};

// The eight words of a state as the instructions want them, each register's last word first.
struct Words {
    __m128i abef;
    __m128i cdgh;
};

// A block on its way: the state, and the last sixteen words of its schedule.
struct Lane {
    Words words;
    __m128i schedule[4];
};

// Four words of big-endian bytes.
VELK_SHA_INLINE inline __m128i load_words(const std::uint8_t* bytes)
{
    const __m128i order = _mm_set_epi64x(0x0C0D0E0F08090A0B, 0x0405060700010203);
    return _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)), order);
}

VELK_SHA_INLINE inline void store_words(std::uint8_t* bytes, __m128i words)
{
    const __m128i order = _mm_set_epi64x(0x0C0D0E0F08090A0B, 0x0405060700010203);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), _mm_shuffle_epi8(words, order));
}

VELK_SHA_INLINE inline Words load_state(const HashState& state)
{
    const __m128i badc = _mm_shuffle_epi32(load_words(state.data()), 0xB1);
    const __m128i hgfe = _mm_shuffle_epi32(load_words(state.data() + 16), 0x1B);
    return {_mm_alignr_epi8(badc, hgfe, 8), _mm_blend_epi16(hgfe, badc, 0xF0)};
}

VELK_SHA_INLINE inline void store_state(HashState& state, const Words& words)
{
    const __m128i abef = _mm_shuffle_epi32(words.abef, 0x1B);
    const __m128i ghcd = _mm_shuffle_epi32(words.cdgh, 0xB1);
    store_words(state.data(), _mm_blend_epi16(abef, ghcd, 0xF0));
    store_words(state.data() + 16, _mm_alignr_epi8(ghcd, abef, 8));
}

VELK_SHA_INLINE inline Lane begin(const Words& start, const HashBlock& block)
{
    return {start,
            {load_words(block.data()), load_words(block.data() + 16), load_words(block.data() + 32),
             load_words(block.data() + 48)}};
}

// The step-th four rounds; from the fifth time on the schedule goes on by four words.
template <std::size_t step> VELK_SHA_INLINE inline void run_four_rounds(Lane& lane)
{
    __m128i& next = lane.schedule[step % 4];
    if constexpr (step >= 4) {
        const __m128i last = lane.schedule[(step + 3) % 4];
        const __m128i sum = _mm_add_epi32(_mm_sha256msg1_epu32(next, lane.schedule[(step + 1) % 4]),
                                          _mm_alignr_epi8(last, lane.schedule[(step + 2) % 4], 4));
        next = _mm_sha256msg2_epu32(sum, last);
    }
    const auto* constants = reinterpret_cast<const __m128i*>(round_constants + 4 * step);
    const __m128i added = _mm_add_epi32(next, _mm_load_si128(constants));
    lane.words.cdgh = _mm_sha256rnds2_epu32(lane.words.cdgh, lane.words.abef, added);
    lane.words.abef = _mm_sha256rnds2_epu32(lane.words.abef, lane.words.cdgh, _mm_shuffle_epi32(added, 0x0E));
}

template <std::size_t... steps>
VELK_SHA_INLINE inline void run_rounds(Lane& one, Lane& other, std::index_sequence<steps...>)
{
    ((run_four_rounds<steps>(one), run_four_rounds<steps>(other)), ...);
}

VELK_SHA_INLINE inline void end(const Lane& lane, const Words& start, HashState& state)
{
    store_state(state,
                {_mm_add_epi32(lane.words.abef, start.abef), _mm_add_epi32(lane.words.cdgh, start.cdgh)});
}

bool has_instructions()
{
    constexpr unsigned sha = 1u << 29; // of leaf 7, in the second register
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    return __builtin_cpu_supports("sse4.1") && __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && (b & sha) != 0;
}

} // namespace

bool can_hash_pairs()
{
    static const bool can = has_instructions();
    return can;
}

HashState first_hash_state()
{
    HashState state;
    std::copy(std::begin(first_state), std::end(first_state), state.begin());
    return state;
}

// What is left in registers, the next call may save on the stack: the one that the loader binds, for
// instance.
VELK_SHA [[gnu::zero_call_used_regs("all")]] void hash_pair(const HashState& start, const HashBlock& one,
                                                            const HashBlock& other, HashState& one_end,
                                                            HashState& other_end)
{
    Lane first = begin(load_state(start), one);
    Lane second = begin(load_state(start), other);
    run_rounds(first, second, std::make_index_sequence<16>{});
    // Read anew: all registers are taken, and on the stack a key's state would stay behind.
    asm volatile("" : : : "memory");
    const Words before = load_state(start);
    end(first, before, one_end);
    end(second, before, other_end);
}

} // namespace velk::engine

#else

#include <cstdlib>

namespace velk::engine {

bool can_hash_pairs()
{
    return false;
}

HashState first_hash_state()
{
    return {};
}

void hash_pair(const HashState&, const HashBlock&, const HashBlock&, HashState&, HashState&)
{
    std::abort(); // nobody asked whether it can
}

} // namespace velk::engine

#endif
