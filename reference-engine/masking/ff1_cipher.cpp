#include "masking/ff1_cipher.h"

#include <algorithm>

namespace velk::engine {

namespace {

constexpr std::size_t rounds = 10;

using Bytes = std::vector<std::uint8_t>;

// Multiplies the number that the digits write and adds to it; what leaves at the front is lost. Called for
// each digit of a number in another base, it converts the number, modulo what the digits can hold. One of
// the bases is 256, so that no product exceeds 24 bits.
template <typename Digit>
void multiply_add(std::vector<Digit>& digits, std::uint32_t base, std::uint32_t factor, std::uint32_t addend)
{
    std::uint32_t carry = addend;
    for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit) {
        const std::uint32_t value = *digit * factor + carry;
        *digit = static_cast<Digit>(value % base);
        carry = value / base;
    }
}

// How many bytes hold every number of so many numerals.
std::size_t byte_count(std::size_t numerals, std::uint32_t radix)
{
    Bytes largest(2 * numerals);
    for (std::size_t i = 0; i < numerals; ++i) multiply_add(largest, 256, radix, radix - 1);
    const auto first =
        std::find_if(largest.begin(), largest.end(), [](std::uint8_t byte) { return byte != 0; });
    return static_cast<std::size_t>(largest.end() - first);
}

void append_number(Bytes& bytes, std::uint64_t number, std::size_t size)
{
    while (size-- > 0) bytes.push_back(static_cast<std::uint8_t>(number >> (8 * size)));
}

// The chain of cipher blocks over whole blocks, starting from the given one.
CipherBlock chained(AesContext& cipher, CipherBlock block, const Bytes& bytes)
{
    for (std::size_t at = 0; at < bytes.size(); at += cipher_block_size) {
        for (std::size_t i = 0; i < cipher_block_size; ++i) block[i] ^= bytes[at + i];
        cipher.encrypt(block);
    }
    return block;
}

// What the rounds of one encryption share.
class Network {
public:
    Network(const AesKey& key, std::uint32_t radix, std::size_t length, std::span<const std::uint8_t> tweak)
        : cipher_(key), radix_(radix), number_size_(byte_count(length - length / 2, radix)),
          output_size_(4 * ((number_size_ + 3) / 4) + 4)
    {
        Bytes first{1, 2, 1};
        append_number(first, radix, 3);
        append_number(first, 10, 1);
        append_number(first, length / 2 % 256, 1);
        append_number(first, length, 4);
        append_number(first, tweak.size(), 4);
        start_ = chained(cipher_, {}, first);
        message_.assign(tweak.begin(), tweak.end());
        const std::size_t size = tweak.size() + 1 + number_size_;
        message_.resize((size + cipher_block_size - 1) / cipher_block_size * cipher_block_size);
    }

    // The number that a round adds to one half of the numerals, made of the other half.
    Numerals round_number(std::size_t round, const Numerals& half, std::size_t numerals)
    {
        Bytes number(number_size_);
        for (const std::uint16_t numeral : half) multiply_add(number, 256, radix_, numeral);
        const auto place = message_.end() - static_cast<std::ptrdiff_t>(number_size_);
        std::copy(number.begin(), number.end(), place);
        place[-1] = static_cast<std::uint8_t>(round);
        Numerals result(numerals);
        for (const std::uint8_t byte : stretched(chained(cipher_, start_, message_)))
            multiply_add(result, radix_, 256, byte);
        return result;
    }

private:
    // As many bytes as a round's number is made of.
    Bytes stretched(const CipherBlock& block)
    {
        Bytes bytes(block.begin(), block.end());
        for (std::uint64_t counter = 1; bytes.size() < output_size_; ++counter) {
            CipherBlock next = block;
            for (std::size_t i = 0; i < 8; ++i) next[15 - i] ^= static_cast<std::uint8_t>(counter >> (8 * i));
            cipher_.encrypt(next);
            bytes.insert(bytes.end(), next.begin(), next.end());
        }
        bytes.resize(output_size_);
        return bytes;
    }

    AesContext cipher_;
    std::uint32_t radix_;
    std::size_t number_size_; // bytes of a half's number
    std::size_t output_size_; // bytes of a round's number
    CipherBlock start_;
    Bytes message_; // the tweak, zeros, the round and a half's number
};

void add(Numerals& numerals, const Numerals& other, std::uint32_t radix)
{
    std::uint32_t carry = 0;
    for (std::size_t i = numerals.size(); i-- > 0;) {
        const std::uint32_t sum = numerals[i] + carry + other[i];
        numerals[i] = static_cast<std::uint16_t>(sum % radix);
        carry = sum / radix;
    }
}

void subtract(Numerals& numerals, const Numerals& other, std::uint32_t radix)
{
    std::uint32_t borrow = 0;
    for (std::size_t i = numerals.size(); i-- > 0;) {
        const std::uint32_t difference = radix + numerals[i] - borrow - other[i];
        numerals[i] = static_cast<std::uint16_t>(difference % radix);
        borrow = difference < radix ? 1 : 0;
    }
}

} // namespace

// The halves take turns: round by round the one at hand is changed by what the other gives.
Numerals Ff1::encrypt(const Numerals& plain, std::span<const std::uint8_t> tweak) const
{
    const auto middle = plain.begin() + static_cast<std::ptrdiff_t>(plain.size() / 2);
    Numerals a(plain.begin(), middle);
    Numerals b(middle, plain.end());
    Network network(key_, radix_, plain.size(), tweak);
    for (std::size_t round = 0; round < rounds; ++round) {
        add(a, network.round_number(round, b, a.size()), radix_);
        a.swap(b);
    }
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Numerals Ff1::decrypt(const Numerals& cipher, std::span<const std::uint8_t> tweak) const
{
    const auto middle = cipher.begin() + static_cast<std::ptrdiff_t>(cipher.size() / 2);
    Numerals a(cipher.begin(), middle);
    Numerals b(middle, cipher.end());
    Network network(key_, radix_, cipher.size(), tweak);
    for (std::size_t round = rounds; round-- > 0;) {
        a.swap(b);
        subtract(a, network.round_number(round, b, a.size()), radix_);
    }
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

} // namespace velk::engine
