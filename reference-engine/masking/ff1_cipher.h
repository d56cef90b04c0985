#pragma once

// FF1, the format-preserving encryption of NIST SP 800-38G: numerals in, as many numerals out.

#include "masking/aes.h"

#include <cstdint>
#include <span>
#include <vector>

namespace velk::engine {

// Numbers below the radix, the most significant first.
using Numerals = std::vector<std::uint16_t>;

inline constexpr std::uint32_t largest_radix = 65'536;
inline constexpr std::size_t fewest_numerals = 2;

__extension__ using Word = unsigned __int128;

// A number whose halves are words, with its tweak: up to eight bytes, the last one in the lowest bits.
struct SplitNumber {
    Word left = 0;
    Word right = 0;         // of an odd number of numerals the longer half
    std::size_t length = 0; // numerals of both
    std::uint64_t tweak = 0;
    std::size_t tweak_size = 0; // bytes
};

class Ff1 {
public:
    // An AES key of 16, 24 or 32 bytes; a radix from 2 to largest_radix.
    Ff1(std::span<const std::uint8_t> key, std::uint32_t radix);

    // At least fewest_numerals. The cost grows with the square of their number. That there are values enough
    // to be worth encrypting is for the caller to see to.
    Numerals encrypt(const Numerals& plain, std::span<const std::uint8_t> tweak = {}) const;
    Numerals decrypt(const Numerals& cipher, std::span<const std::uint8_t> tweak = {}) const;

    // The same of many numbers at once and in place, round by round, so that the cipher is called once for a
    // round of all of them. Each has a length that can_split.
    void encrypt(std::span<SplitNumber> numbers) const;
    void decrypt(std::span<SplitNumber> numbers) const;

    // Whether a number of so many numerals is encrypted with one block a round, its tweak included: up to 56
    // decimal digits without a tweak.
    bool can_split(std::size_t length, std::size_t tweak_size) const;

    SplitNumber split(std::span<const std::uint16_t> numerals) const;
    // As many numerals as the number has.
    void join(const SplitNumber& number, std::span<std::uint16_t> numerals) const;

    // The number that follows; the largest is followed by 0.
    void increment(SplitNumber& number) const;

private:
    // What numbers of one length have in common.
    struct Shape {
        std::size_t left_size; // numerals
        std::size_t right_size;
        Word left_limit; // the radix to the power of left_size
        Word right_limit;
        unsigned number_bits; // of the bytes that hold every number of the right size
        unsigned output_bits; // of the bytes that a round's number is made of
    };

    enum class Direction { forward, backward };

    void run(std::span<SplitNumber> numbers, Direction direction) const;
    void run_group(AesContext& cipher, std::span<SplitNumber> numbers, Direction direction) const;
    CipherBlock first_block(const SplitNumber& number) const;
    Word round_word(const SplitNumber& number, unsigned round) const;
    void move(SplitNumber& number, unsigned round, const CipherBlock& block, Direction direction) const;
    const Shape& shape_of(const SplitNumber& number) const { return shapes_[number.length]; }

    AesKey key_;
    std::uint32_t radix_;
    std::vector<Shape> shapes_; // by length; those below fewest_numerals stay unused
};

} // namespace velk::engine
