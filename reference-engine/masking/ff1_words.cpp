// FF1 on numbers whose halves are words: what a round adds is made of one cipher block, and the blocks of all
// numbers are encrypted by one call.

#include "masking/ff1_cipher.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace velk::engine {

namespace {

constexpr unsigned rounds = 10;
constexpr unsigned block_bits = 8 * cipher_block_size;
// Longer halves need a second block for what a round adds.
constexpr unsigned most_number_bits = 96;
// So many numbers and their blocks stay in the processor's first cache.
constexpr std::size_t group_size = 128;

std::uint64_t big_endian(std::uint64_t word)
{
    return std::endian::native == std::endian::big ? word : __builtin_bswap64(word);
}

CipherBlock to_block(Word word)
{
    const std::uint64_t halves[] = {big_endian(static_cast<std::uint64_t>(word >> 64)),
                                    big_endian(static_cast<std::uint64_t>(word))};
    return std::bit_cast<CipherBlock>(halves);
}

Word to_word(const CipherBlock& block)
{
    std::uint64_t halves[2];
    std::memcpy(halves, block.data(), sizeof halves);
    return Word{big_endian(halves[0])} << 64 | big_endian(halves[1]);
}

unsigned bit_width(Word word)
{
    const auto high = static_cast<std::uint64_t>(word >> 64);
    return static_cast<unsigned>(high != 0 ? 64 + std::bit_width(high)
                                           : std::bit_width(static_cast<std::uint64_t>(word)));
}

// Adds a number below the limit to another, or takes it off, modulo the limit. Without a branch: which
// way it went could not be foreseen.
template <typename Unsigned> Unsigned moved(Unsigned half, Unsigned step, Unsigned limit, bool forward)
{
    const Unsigned sum = half + (forward ? step : limit - step);
    return sum - (limit & (Unsigned{0} - static_cast<Unsigned>(sum >= limit)));
}

std::uint64_t small_remainder(Word number, std::uint64_t limit)
{
    if (number >> 64 == 0) return static_cast<std::uint64_t>(number) % limit;
    return static_cast<std::uint64_t>(number % limit);
}

// The tweak stands at the front of each block.
Word tweak_word(const SplitNumber& number)
{
    return number.tweak_size == 0 ? 0 : Word{number.tweak} << (block_bits - 8 * number.tweak_size);
}

Word number_of(std::span<const std::uint16_t> numerals, std::uint32_t radix)
{
    // Most numbers fit half a word, which is multiplied in a fraction of the time.
    if (std::bit_width(radix) * numerals.size() <= 64) {
        std::uint64_t number = 0;
        for (const std::uint16_t numeral : numerals) number = number * radix + numeral;
        return number;
    }
    Word number = 0;
    for (const std::uint16_t numeral : numerals) number = number * radix + numeral;
    return number;
}

// The radix as a constant divides in a fraction of the time.
template <typename Radix>
void write_small(std::uint64_t number, Radix radix, std::span<std::uint16_t> numerals)
{
    for (auto numeral = numerals.rbegin(); numeral != numerals.rend(); ++numeral, number /= radix)
        *numeral = static_cast<std::uint16_t>(number % radix);
}

void write_numerals(Word number, std::uint32_t radix, std::span<std::uint16_t> numerals)
{
    for (; number >> 64 != 0; numerals = numerals.first(numerals.size() - 1), number /= radix)
        numerals.back() = static_cast<std::uint16_t>(number % radix);
    const auto small = static_cast<std::uint64_t>(number);
    if (radix == 10)
        write_small(small, std::integral_constant<std::uint32_t, 10>{}, numerals);
    else
        write_small(small, radix, numerals);
}

} // namespace

Ff1::Ff1(std::span<const std::uint8_t> key, std::uint32_t radix) : key_(key), radix_(radix)
{
    const auto power = [radix](std::size_t exponent) {
        Word result = 1;
        while (exponent-- > 0) result *= radix;
        return result;
    };
    for (std::size_t length = 0;; ++length) {
        const std::size_t right = length - length / 2;
        const Word limit = power(right);
        const unsigned bits = bit_width(limit - 1);
        if (bits > most_number_bits) break;
        const unsigned number_bits = 8 * ((bits + 7) / 8);
        const unsigned output_bits = 32 * ((number_bits + 31) / 32) + 32;
        shapes_.push_back({length / 2, right, power(length / 2), limit, number_bits, output_bits});
    }
}

bool Ff1::can_split(std::size_t length, std::size_t tweak_size) const
{
    // A byte of the block is the round's.
    return length < shapes_.size() && tweak_size <= sizeof(SplitNumber::tweak) &&
           8 * (tweak_size + 1) + shapes_[length].number_bits <= block_bits;
}

SplitNumber Ff1::split(std::span<const std::uint16_t> numerals) const
{
    const std::size_t middle = numerals.size() / 2;
    return {number_of(numerals.first(middle), radix_), number_of(numerals.subspan(middle), radix_),
            numerals.size()};
}

void Ff1::join(const SplitNumber& number, std::span<std::uint16_t> numerals) const
{
    const std::size_t middle = number.length / 2;
    write_numerals(number.left, radix_, numerals.first(middle));
    write_numerals(number.right, radix_, numerals.subspan(middle, number.length - middle));
}

void Ff1::increment(SplitNumber& number) const
{
    const Shape& shape = shape_of(number);
    if (++number.right != shape.right_limit) return;
    number.right = 0;
    if (++number.left == shape.left_limit) number.left = 0;
}

void Ff1::encrypt(std::span<SplitNumber> numbers) const
{
    run(numbers, Direction::forward);
}

void Ff1::decrypt(std::span<SplitNumber> numbers) const
{
    run(numbers, Direction::backward);
}

void Ff1::run(std::span<SplitNumber> numbers, Direction direction) const
{
    AesContext cipher(key_);
    for (; !numbers.empty(); numbers = numbers.subspan(std::min(group_size, numbers.size())))
        run_group(cipher, numbers.first(std::min(group_size, numbers.size())), direction);
}

void Ff1::run_group(AesContext& cipher, std::span<SplitNumber> numbers, Direction direction) const
{
    std::array<CipherBlock, group_size> room;
    const std::span blocks = std::span(room).first(numbers.size());
    for (std::size_t i = 0; i < numbers.size(); ++i) blocks[i] = first_block(numbers[i]);
    cipher.encrypt(blocks);
    std::array<Word, group_size> starts;
    for (std::size_t i = 0; i < numbers.size(); ++i) starts[i] = to_word(blocks[i]) ^ tweak_word(numbers[i]);
    for (unsigned turn = 0; turn < rounds; ++turn) {
        const unsigned round = direction == Direction::forward ? turn : rounds - 1 - turn;
        for (std::size_t i = 0; i < numbers.size(); ++i)
            blocks[i] = to_block(starts[i] ^ round_word(numbers[i], round));
        cipher.encrypt(blocks);
        for (std::size_t i = 0; i < numbers.size(); ++i) move(numbers[i], round, blocks[i], direction);
    }
}

// The block that the cipher starts with; it depends on lengths alone.
CipherBlock Ff1::first_block(const SplitNumber& number) const
{
    const Shape& shape = shape_of(number);
    const Word head = Word{0x010201} << 104 | Word{radix_} << 80 | Word{rounds} << 72;
    const Word lengths = Word{shape.left_size % 256} << 64 | Word{number.length} << 32 | number.tweak_size;
    return to_block(head | lengths);
}

// What is new in a round's block: the round and the half that stays. Before it stand the tweak and zeros.
Word Ff1::round_word(const SplitNumber& number, unsigned round) const
{
    return Word{round} << shape_of(number).number_bits | (round % 2 == 0 ? number.right : number.left);
}

// Adds a round's number to a half or takes it off again; the halves take turns.
void Ff1::move(SplitNumber& number, unsigned round, const CipherBlock& block, Direction direction) const
{
    const Shape& shape = shape_of(number);
    Word& half = round % 2 == 0 ? number.left : number.right;
    const Word limit = round % 2 == 0 ? shape.left_limit : shape.right_limit;
    const Word drawn = to_word(block) >> (block_bits - shape.output_bits);
    const bool forward = direction == Direction::forward;
    if (limit >> 63 == 0) // half a word, in half the time
        half =
            moved(static_cast<std::uint64_t>(half), small_remainder(drawn, static_cast<std::uint64_t>(limit)),
                  static_cast<std::uint64_t>(limit), forward);
    else
        half = moved(half, drawn % limit, limit, forward);
}

} // namespace velk::engine
