#include "masking/hmac_pairs.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace velk::engine {
namespace {

std::string bytes(const std::string& hex)
{
    std::string result;
    for (std::size_t i = 0; i < hex.size(); i += 2)
        result += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    return result;
}

std::string hex(const Digest& digest)
{
    std::string result;
    for (const std::uint8_t byte : digest) {
        result += "0123456789abcdef"[byte >> 4];
        result += "0123456789abcdef"[byte & 15];
    }
    return result;
}

std::span<const std::uint8_t> view(const std::string& text)
{
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

struct Vector {
    std::string key;
    std::string data;
    std::string digest;
};

// RFC 4231, test cases 1 to 4, 6 and 7 (5 is about a truncated digest, whose first half it gives).
const Vector vectors[] = {
    {std::string(20, '\x0b'), "Hi There", "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7"},
    {"Jefe", "what do ya want for nothing?",
     "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843"},
    {std::string(20, '\xaa'), std::string(50, '\xdd'),
     "773ea91e36800e46854db8ebd09181a72959098b3ef8c122d9635514ced565fe"},
    {bytes("0102030405060708090a0b0c0d0e0f10111213141516171819"), std::string(50, '\xcd'),
     "82558a389a443c0ea4cc819899f2083a85f0faa3e578f8077a2e3ff46729665b"},
    {std::string(131, '\xaa'), "Test Using Larger Than Block-Size Key - Hash Key First",
     "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54"},
    {std::string(131, '\xaa'),
     "This is a test using a larger than block-size key and a larger than block-size data. The key needs to "
     "be hashed before being used by the HMAC algorithm.",
     "9b09ffa71b942fcb27635fbcd5b0e944bfdc63644f0713938a7f51535c3a35e2"},
};

Digest digest_of(HmacRun& run, const std::string& message)
{
    Digest digest;
    run.digest(view(message), digest);
    return digest;
}

TEST(Hmac, gives_the_published_digests)
{
    for (const Vector& vector : vectors) {
        SCOPED_TRACE(vector.data);
        const HmacKey key(view(vector.key));
        EXPECT_EQ(hex(key.digest(view(vector.data))), vector.digest);
        EXPECT_EQ(hex(key.digest(view(vector.data))), vector.digest) << "a key is used again unchanged";
        HmacRun run(key);
        EXPECT_EQ(hex(digest_of(run, vector.data)), vector.digest);
    }
}

TEST(Hmac, gives_the_first_half_of_the_truncated_digest)
{
    const std::string text(20, '\x0c');
    const HmacKey key(view(text));
    EXPECT_EQ(hex(key.digest(view("Test With Truncation"))).substr(0, 32),
              "a3b6167473100ee06e0c796c2955552b");
}

TEST(Hmac, runs_of_one_key_do_not_meet)
{
    const HmacKey key(view("0123456789abcdef"));
    HmacRun one(key);
    HmacRun other(key);
    const std::string whole = hex(key.digest(view("abc")));
    EXPECT_EQ(hex(digest_of(one, "abc")), whole);
    EXPECT_EQ(hex(digest_of(other, "")), hex(key.digest({})));
    EXPECT_EQ(hex(digest_of(one, "abc")), whole) << "a run goes on with the next message anew";
}

TEST(Hmac, runs_give_the_digests_of_the_key_whatever_the_length)
{
    const HmacKey key(view("0123456789abcdef"));
    HmacRun run(key);
    for (std::size_t size = 0; size < 200; ++size) {
        const std::string message(size, 'x');
        EXPECT_EQ(hex(digest_of(run, message)), hex(key.digest(view(message)))) << size;
    }
}

// By its definition, from whole hashes.
std::string hmac_of(std::string key, const std::string& message)
{
    if (key.size() > 64) key = bytes(hex(sha256(view(key))));
    key.resize(64);
    std::string inner;
    std::string outer;
    for (const char byte : key) {
        inner += static_cast<char>(byte ^ 0x36);
        outer += static_cast<char>(byte ^ 0x5C);
    }
    return hex(sha256(view(outer + bytes(hex(sha256(view(inner + message)))))));
}

TEST(Hmac, is_what_its_definition_says_whatever_the_length)
{
    const std::string text = "0123456789abcdef";
    const HmacKey key(view(text));
    std::string message;
    for (int size = 0; size < 200; ++size) {
        EXPECT_EQ(hex(key.digest(view(message))), hmac_of(text, message)) << size;
        message += static_cast<char>(7 * size);
    }
}

// Digests of all messages in one run.
std::vector<std::string> digests_of(const HmacKey& key, const std::vector<std::string>& messages, bool pairs)
{
    std::vector<Digest> digests(messages.size());
    HmacPairs run(key, pairs);
    for (std::size_t i = 0; i < messages.size(); ++i) run.digest(view(messages[i]), digests[i]);
    run.finish();
    std::vector<std::string> result;
    for (const Digest& digest : digests) result.push_back(hex(digest));
    return result;
}

std::vector<std::string> by_definition(const std::string& key, const std::vector<std::string>& messages)
{
    std::vector<std::string> result;
    for (const std::string& message : messages) result.push_back(hmac_of(key, message));
    return result;
}

TEST(HmacPairs, gives_the_published_digests)
{
    for (const Vector& vector : vectors) {
        const HmacKey key(view(vector.key));
        for (const std::size_t count : {1u, 2u, 3u}) {
            const std::vector<std::string> same(count, vector.data);
            const std::vector<std::string> expected(count, vector.digest);
            EXPECT_EQ(digests_of(key, same, can_hash_pairs()), expected) << count << " of " << vector.data;
            EXPECT_EQ(digests_of(key, same, false), expected) << count << " of " << vector.data;
        }
    }
}

TEST(HmacPairs, are_of_messages_of_any_two_lengths)
{
    const std::string text = "a key of some length";
    const HmacKey key(view(text));
    for (std::size_t one = 0; one < 70; ++one)
        for (std::size_t other = 0; other < 70; ++other) {
            // The block of a shorter message held a longer one before.
            const std::vector<std::string> messages{std::string(one, 'a'), std::string(other, '\xFF'),
                                                    std::string(other, 'b'), std::string(one, '\0')};
            ASSERT_EQ(digests_of(key, messages, can_hash_pairs()), by_definition(text, messages))
                << one << " and " << other;
        }
}

TEST(HmacPairs, keep_their_order_whatever_stands_between)
{
    const std::string text(100, 'k'); // hashed before it is used
    const HmacKey key(view(text));
    const std::string longer(300, 'x');
    const std::vector<std::string> messages{"1",    longer, "2", "3",    longer + "4",
                                            longer, "5",    "",  longer, "7"};
    for (std::size_t count = 0; count <= messages.size(); ++count) {
        const std::vector<std::string> first(messages.begin(),
                                             messages.begin() + static_cast<std::ptrdiff_t>(count));
        EXPECT_EQ(digests_of(key, first, can_hash_pairs()), by_definition(text, first)) << count;
        EXPECT_EQ(digests_of(key, first, false), by_definition(text, first)) << count;
    }
}

TEST(HmacPairs, serve_one_key_on_any_number_of_threads)
{
    const std::string text = "0123456789abcdef";
    const HmacKey key(view(text));
    std::vector<std::string> messages;
    for (int i = 0; i < 1001; ++i) messages.push_back(std::to_string(i));
    const std::vector<std::string> expected = by_definition(text, messages);
    std::vector<std::thread> threads;
    std::atomic<int> wrong = 0;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&] {
            for (int turn = 0; turn < 10; ++turn)
                if (digests_of(key, messages, can_hash_pairs()) != expected) ++wrong;
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
}

#if defined(__x86_64__)

constexpr std::size_t register_count = 16;
#if defined(_WIN32)
constexpr std::size_t call_used = 6; // the others are the caller's
#else
constexpr std::size_t call_used = register_count;
#endif
using Registers = std::array<std::array<std::uint32_t, 4>, register_count>;

// What stands in them as hash_pair returns.
Registers registers_behind(const HashState& start, const HashBlock& one, const HashBlock& other)
{
    HashState one_end;
    HashState other_end;
    Registers registers{};
    hash_pair(start, one, other, one_end, other_end);
    asm volatile("movups %%xmm0, (%0)\n\tmovups %%xmm1, 16(%0)\n\t"
                 "movups %%xmm2, 32(%0)\n\tmovups %%xmm3, 48(%0)\n\t"
                 "movups %%xmm4, 64(%0)\n\tmovups %%xmm5, 80(%0)\n\t"
                 "movups %%xmm6, 96(%0)\n\tmovups %%xmm7, 112(%0)\n\t"
                 "movups %%xmm8, 128(%0)\n\tmovups %%xmm9, 144(%0)\n\t"
                 "movups %%xmm10, 160(%0)\n\tmovups %%xmm11, 176(%0)\n\t"
                 "movups %%xmm12, 192(%0)\n\tmovups %%xmm13, 208(%0)\n\t"
                 "movups %%xmm14, 224(%0)\n\tmovups %%xmm15, 240(%0)"
                 :
                 : "r"(registers.data())
                 : "memory");
    return registers;
}

TEST(HmacPairs, leave_neither_key_nor_message_in_registers)
{
    if (!can_hash_pairs()) GTEST_SKIP() << "no pairs are hashed here";
    const HashState start = sha256(view("a key"));
    HashBlock block;
    for (std::size_t i = 0; i < block.size(); ++i) block[i] = static_cast<std::uint8_t>(7 * i + 1);
    std::set<std::uint32_t> words;
    const auto add_words = [&words](std::span<const std::uint8_t> bytes) {
        for (std::size_t i = 0; i < bytes.size(); i += 4) {
            std::uint32_t word;
            std::memcpy(&word, &bytes[i], sizeof word);
            words.insert({word, __builtin_bswap32(word)});
        }
    };
    add_words(start);
    add_words(block);
    const Registers registers = registers_behind(start, block, block);
    for (std::size_t i = 0; i < call_used; ++i)
        for (const std::uint32_t lane : registers[i]) EXPECT_FALSE(words.contains(lane)) << i;
}

#endif

TEST(Hmac, any_number_of_threads_use_one_key)
{
    const HmacKey key(view("0123456789abcdef"));
    std::vector<std::string> expected;
    for (int i = 0; i < 2000; ++i) expected.push_back(hex(key.digest(view(std::to_string(i)))));
    std::vector<std::thread> threads;
    std::atomic<int> wrong = 0;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&] {
            HmacRun run(key);
            for (std::size_t i = 0; i < expected.size(); ++i) {
                const std::string message = std::to_string(i);
                if (hex(digest_of(run, message)) != expected[i]) ++wrong;
                if (i % 100 == 0 && hex(key.digest(view(message))) != expected[i]) ++wrong;
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
}

TEST(Hmac, hashes_without_a_key)
{
    EXPECT_EQ(hex(sha256({})), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(hex(sha256(view("abc"))), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

} // namespace
} // namespace velk::engine
