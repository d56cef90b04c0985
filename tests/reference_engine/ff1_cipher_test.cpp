#include "masking/ff1_cipher.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>

namespace velk::test {
namespace {

using namespace engine;
using Bytes = std::vector<std::uint8_t>;

const Bytes key128{0x2B, 0x7E, 0x15, 0x16, 0x28, 0xAE, 0xD2, 0xA6,
                   0xAB, 0xF7, 0x15, 0x88, 0x09, 0xCF, 0x4F, 0x3C};
const Bytes key256{0x2B, 0x7E, 0x15, 0x16, 0x28, 0xAE, 0xD2, 0xA6, 0xAB, 0xF7, 0x15,
                   0x88, 0x09, 0xCF, 0x4F, 0x3C, 0xEF, 0x43, 0x59, 0xD8, 0xD5, 0x80,
                   0xAA, 0x4F, 0x7F, 0x03, 0x6D, 0x6F, 0x04, 0xFC, 0x6A, 0x94};
const Bytes tweak10{0x39, 0x38, 0x37, 0x36, 0x35, 0x34, 0x33, 0x32, 0x31, 0x30};
const Bytes tweak36{0x37, 0x37, 0x37, 0x37, 0x70, 0x71, 0x72, 0x73, 0x37, 0x37, 0x37};
constexpr std::string_view characters = "0123456789abcdefghijklmnopqrstuvwxyz";

Numerals numerals(std::string_view text)
{
    Numerals result;
    for (const char character : text)
        result.push_back(static_cast<std::uint16_t>(characters.find(character)));
    return result;
}

std::string text_of(const Numerals& numerals)
{
    std::string text;
    for (const std::uint16_t numeral : numerals) text += characters[numeral];
    return text;
}

Numerals random_numerals(std::mt19937& random, std::uint32_t radix, std::size_t length)
{
    Numerals result;
    while (result.size() < length) result.push_back(static_cast<std::uint16_t>(random() % radix));
    return result;
}

TEST(Ff1Ciphers, encrypt_and_decrypt_the_published_samples)
{
    const struct {
        Bytes key;
        std::uint32_t radix;
        Bytes tweak;
        const char* plain;
        const char* cipher;
    } samples[] = {
        {key128, 10, {}, "0123456789", "2433477484"},
        {key128, 10, tweak10, "0123456789", "6124200773"},
        {key128, 36, tweak36, "0123456789abcdefghi", "a9tv40mll9kdu509eum"},
        {key256, 10, {}, "0123456789", "6657667009"},
        {key256, 10, tweak10, "0123456789", "1001623463"},
        {key256, 36, tweak36, "0123456789abcdefghi", "xs8a0azh2avyalyzuwd"},
    };
    for (const auto& [key, radix, tweak, plain, cipher] : samples) {
        const Ff1 ff1(key, radix);
        EXPECT_EQ(text_of(ff1.encrypt(numerals(plain), tweak)), cipher);
        EXPECT_EQ(text_of(ff1.decrypt(numerals(cipher), tweak)), plain);
    }
}

TEST(Ff1Ciphers, give_back_what_they_encrypted)
{
    std::mt19937 random(8);
    for (const std::uint32_t radix : {2u, 3u, 10u, 16u, 26u, 62u, 255u, 256u, 257u, 1000u, 65535u, 65536u}) {
        const Ff1 ff1(key256, radix);
        for (const std::size_t length : {2u, 3u, 7u, 16u, 17u, 64u, 129u, 257u}) {
            const Numerals plain = random_numerals(random, radix, length);
            const Bytes tweak(random() % 40, static_cast<std::uint8_t>(random()));
            const Numerals cipher = ff1.encrypt(plain, tweak);
            ASSERT_EQ(cipher.size(), length);
            for (const std::uint16_t numeral : cipher) ASSERT_LT(numeral, radix);
            if (length > 7) {
                EXPECT_NE(cipher, plain);
            }
            EXPECT_EQ(ff1.decrypt(cipher, tweak), plain) << radix << " " << length;
        }
    }
}

TEST(Ff1Ciphers, are_permutations_of_small_domains)
{
    for (const auto& [radix, length, count] :
         {std::tuple{10u, 2u, 100u}, {2u, 10u, 1024u}, {10u, 3u, 1000u}, {7u, 4u, 2401u}}) {
        const Ff1 ff1(key128, radix);
        std::set<Numerals> images;
        for (unsigned number = 0; number < count; ++number) {
            Numerals plain(length);
            for (unsigned at = length, rest = number; at-- > 0; rest /= radix)
                plain[at] = static_cast<std::uint16_t>(rest % radix);
            images.insert(ff1.encrypt(plain));
        }
        EXPECT_EQ(images.size(), count);
    }
}

TEST(Ff1Ciphers, follow_key_tweak_and_radix)
{
    const Numerals plain = numerals("0123456789");
    const Numerals cipher = Ff1(key128, 10).encrypt(plain);
    EXPECT_NE(Ff1(key256, 10).encrypt(plain), cipher);
    EXPECT_NE(Ff1(key128, 11).encrypt(plain), cipher);
    EXPECT_NE(Ff1(key128, 10).encrypt(plain, Bytes{0}), cipher);
    EXPECT_NE(Ff1(key128, 10).encrypt(plain, Bytes{0, 0}), Ff1(key128, 10).encrypt(plain, Bytes{0}));
}

std::vector<SplitNumber> split_all(const Ff1& ff1, const std::vector<Numerals>& all, const Bytes& tweak)
{
    std::vector<SplitNumber> numbers;
    for (const Numerals& numerals : all) {
        numbers.push_back(ff1.split(numerals));
        numbers.back().tweak_size = tweak.size();
        for (const std::uint8_t byte : tweak) numbers.back().tweak = numbers.back().tweak << 8 | byte;
    }
    return numbers;
}

Numerals joined(const Ff1& ff1, const SplitNumber& number)
{
    Numerals numerals(number.length);
    ff1.join(number, numerals);
    return numerals;
}

TEST(Ff1Ciphers, of_many_numbers_at_once_give_what_single_ones_give)
{
    std::mt19937 random(10);
    for (const std::uint32_t radix : {2u, 3u, 10u, 16u, 26u, 62u, 255u, 256u, 257u, 1000u, 65535u, 65536u}) {
        SCOPED_TRACE(radix);
        const Ff1 ff1(key256, radix);
        for (std::size_t tweak_size = 0; tweak_size <= 8; ++tweak_size) {
            Bytes tweak;
            while (tweak.size() < tweak_size) tweak.push_back(static_cast<std::uint8_t>(random()));
            std::vector<Numerals> all;
            for (std::size_t length = 2; ff1.can_split(length, tweak_size); ++length) {
                all.push_back(random_numerals(random, radix, length));
                all.push_back(Numerals(length, static_cast<std::uint16_t>(radix - 1)));
                all.push_back(Numerals(length));
            }
            std::vector<SplitNumber> numbers = split_all(ff1, all, tweak);
            ff1.encrypt(numbers);
            for (std::size_t i = 0; i < all.size(); ++i)
                ASSERT_EQ(joined(ff1, numbers[i]), ff1.encrypt(all[i], tweak)) << all[i].size();
            ff1.decrypt(numbers);
            for (std::size_t i = 0; i < all.size(); ++i) ASSERT_EQ(joined(ff1, numbers[i]), all[i]);
        }
    }
}

// A whole domain through the cipher, and there, one on and back, which leaves nothing where it was.
TEST(Ff1Ciphers, of_many_numbers_are_permutations_and_one_without_fixed_points)
{
    const Ff1 ff1(key128, 10);
    std::vector<SplitNumber> numbers(10'000, ff1.split(numerals("0000")));
    for (std::size_t i = 1; i < numbers.size(); ++i) {
        numbers[i] = numbers[i - 1];
        ff1.increment(numbers[i]);
    }
    const auto images = [&] {
        std::vector<std::size_t> found;
        for (const SplitNumber& number : numbers) found.push_back(std::stoul(text_of(joined(ff1, number))));
        return found;
    };
    ff1.encrypt(numbers);
    const std::vector<std::size_t> there = images();
    EXPECT_EQ(std::set(there.begin(), there.end()).size(), numbers.size());
    for (SplitNumber& number : numbers) ff1.increment(number);
    ff1.decrypt(numbers);
    const std::vector<std::size_t> back = images();
    EXPECT_EQ(std::set(back.begin(), back.end()).size(), numbers.size());
    for (std::size_t i = 0; i < back.size(); ++i) EXPECT_NE(back[i], i);
}

TEST(Ff1Ciphers, split_what_one_block_a_round_encrypts)
{
    const struct {
        std::uint32_t radix;
        std::size_t tweak_size;
        std::size_t longest;
    } rows[] = {{10, 0, 56}, {10, 3, 56}, {10, 4, 52}, {10, 8, 32}, {2, 0, 192}, {62, 0, 32}, {65536, 0, 12}};
    for (const auto& [radix, tweak_size, longest] : rows) {
        const Ff1 ff1(key128, radix);
        EXPECT_TRUE(ff1.can_split(2, tweak_size)) << radix;
        EXPECT_TRUE(ff1.can_split(longest, tweak_size)) << radix;
        EXPECT_FALSE(ff1.can_split(longest + 1, tweak_size)) << radix;
        EXPECT_FALSE(ff1.can_split(2, 9)) << radix;
    }
}

TEST(Ff1Ciphers, count_through_a_whole_domain)
{
    const Ff1 ff1(key128, 10);
    SplitNumber number = ff1.split(numerals("000"));
    for (int i = 1; i < 1000; ++i) {
        ff1.increment(number);
        ASSERT_EQ(text_of(joined(ff1, number)), std::to_string(1000 + i).substr(1));
    }
    ff1.increment(number);
    EXPECT_EQ(text_of(joined(ff1, number)), "000");
}

TEST(AesKeys, encrypt_the_published_blocks)
{
    // 00112233445566778899aabbccddeeff under 000102... of 16, 24 and 32 bytes.
    const CipherBlock expected[] = {
        {0x69, 0xC4, 0xE0, 0xD8, 0x6A, 0x7B, 0x04, 0x30, 0xD8, 0xCD, 0xB7, 0x80, 0x70, 0xB4, 0xC5, 0x5A},
        {0xDD, 0xA9, 0x7C, 0xA4, 0x86, 0x4C, 0xDF, 0xE0, 0x6E, 0xAF, 0x70, 0xA0, 0xEC, 0x0D, 0x71, 0x91},
        {0x8E, 0xA2, 0xB7, 0xCA, 0x51, 0x67, 0x45, 0xBF, 0xEA, 0xFC, 0x49, 0x90, 0x4B, 0x49, 0x60, 0x89}};
    for (std::size_t i = 0; i < 3; ++i) {
        Bytes key;
        while (key.size() < 16 + 8 * i) key.push_back(static_cast<std::uint8_t>(key.size()));
        CipherBlock block;
        for (std::size_t at = 0; at < block.size(); ++at) block[at] = static_cast<std::uint8_t>(0x11 * at);
        const AesKey aes(key);
        AesContext(aes).encrypt(block);
        EXPECT_EQ(block, expected[i]);
    }
}

TEST(AesKeys, encrypt_each_block_by_itself)
{
    std::mt19937 random(9);
    const AesKey key(key256);
    std::vector<CipherBlock> blocks(1000);
    for (CipherBlock& block : blocks)
        for (std::uint8_t& byte : block) byte = static_cast<std::uint8_t>(random());
    std::vector<CipherBlock> expected = blocks;
    for (CipherBlock& block : expected) AesContext(key).encrypt(block);
    AesContext context(key);
    context.encrypt(blocks);
    EXPECT_EQ(blocks, expected);
    context.encrypt(std::span<CipherBlock>());
    context.encrypt(std::span(blocks).first(1));
    AesContext(key).encrypt(expected.front());
    EXPECT_EQ(blocks, expected) << "a context can be used again";
}

TEST(AesKeys, serve_several_threads_at_once)
{
    const AesKey key(key128);
    CipherBlock expected{};
    for (int i = 0; i < 1000; ++i) AesContext(key).encrypt(expected);
    std::vector<CipherBlock> results(4);
    std::vector<std::thread> threads;
    for (CipherBlock& result : results)
        threads.emplace_back([&key, &result] {
            for (int i = 0; i < 1000; ++i) AesContext(key).encrypt(result);
        });
    for (std::thread& thread : threads) thread.join();
    for (const CipherBlock& result : results) EXPECT_EQ(result, expected);
}

TEST(AesKeys, of_another_size_are_refused)
{
    for (const std::size_t size : {0u, 15u, 17u, 33u})
        EXPECT_THROW(AesKey{Bytes(size)}, std::invalid_argument);
}

} // namespace
} // namespace velk::test
