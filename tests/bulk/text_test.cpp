#include "bulk/text.h"

#include "bulk/blocks.h"

#include <bit>
#include <cstring>
#include <random>
#include <string>
#include <vector>

// The same functions with plain loops: see plain_text.cpp.
namespace velk::bulk_plain::text {

struct Progress {
    std::size_t read;
    std::size_t written;
};
Progress to_utf16(char16_t* target, const char* source, std::size_t bytes);
Progress to_utf8(char* target, const char16_t* source, std::size_t units);
std::size_t well_formed(const char* source, std::size_t bytes);
std::size_t find(const char* source, std::size_t bytes, char byte);
std::size_t find_zero(const char16_t* source, std::size_t units);

} // namespace velk::bulk_plain::text

namespace velk::bulk::test {
namespace {

using text::Progress;

// A conversion into a piece of memory of just the size that is asked for, the same by blocks and by plain
// loops.
std::pair<std::u16string, std::size_t> widened(const std::string& text)
{
    const std::vector<char> source(text.begin(), text.end());
    std::vector<char16_t> target(text.size());
    const Progress done = text::to_utf16(target.data(), source.data(), source.size());
    return {std::u16string(target.data(), done.written), done.read};
}

std::pair<std::string, std::size_t> narrowed(const std::u16string& text)
{
    const std::vector<char16_t> source(text.begin(), text.end());
    std::vector<char> target(3 * text.size());
    const Progress done = text::to_utf8(target.data(), source.data(), source.size());
    return {std::string(target.data(), done.written), done.read};
}

const struct {
    std::string utf8;
    std::u16string utf16;
} characters[] = {{"a", u"a"},
                  {std::string("\0", 1), std::u16string(1, 0)},
                  {"\x7F", u"\u007F"},
                  {"\xC2\x80", u"\u0080"},
                  {"\xDF\xBF", u"\u07FF"},
                  {"\xE0\xA0\x80", u"\u0800"},
                  {"\xED\x9F\xBF", u"\uD7FF"},
                  {"\xEE\x80\x80", u"\uE000"},
                  {"\xEF\xBF\xBF", u"\uFFFF"},
                  {"\xF0\x90\x80\x80", u"\U00010000"},
                  {"\xF4\x8F\xBF\xBF", u"\U0010FFFF"}};

TEST(Text, the_first_and_the_last_character_of_each_length_go_there_and_back)
{
    for (const auto& [utf8, utf16] : characters) {
        EXPECT_EQ(widened(utf8), std::pair(utf16, utf8.size())) << utf8;
        EXPECT_EQ(narrowed(utf16), std::pair(utf8, utf16.size())) << utf8;
    }
}

TEST(Text, a_character_at_every_place_of_ascii_of_every_length_goes_there_and_back)
{
    for (const auto& [utf8, utf16] : characters) {
        for (std::size_t length = 0; length < 70; ++length) {
            for (std::size_t place = 0; place <= length; ++place) {
                const std::string ascii(length, 'x');
                const std::string text = ascii.substr(0, place) + utf8 + ascii.substr(place);
                const std::u16string units =
                    std::u16string(place, 'x') + utf16 + std::u16string(length - place, 'x');
                ASSERT_EQ(widened(text), std::pair(units, text.size()));
                ASSERT_EQ(narrowed(units), std::pair(text, units.size()));
                ASSERT_EQ(text::well_formed(text.data(), text.size()), text.size());
                ASSERT_EQ(text::utf16_length(text.data(), text.size()), units.size());
            }
        }
    }
}

TEST(Text, what_is_ill_formed_ends_the_text_in_front_of_it)
{
    const char* const ill_formed[] = {"\x80",             // a byte that starts nothing
                                      "\xBF",             //
                                      "\xC3",             // a sequence that breaks off
                                      "\xC3x",            //
                                      "\xE2\x82",         //
                                      "\xE2\x82x",        //
                                      "\xF0\x9F\x98",     //
                                      "\xF0\x9F\x98x",    //
                                      "\xC0\xAF",         // longer than need be
                                      "\xC1\xBF",         //
                                      "\xE0\x9F\xBF",     //
                                      "\xF0\x8F\xBF\xBF", //
                                      "\xED\xA0\x80",     // half a surrogate pair
                                      "\xED\xBF\xBF",     //
                                      "\xF4\x90\x80\x80", // behind the last code point
                                      "\xF5\x80\x80\x80", //
                                      "\xFF",             //
                                      "\xE2\x28\xA1",     // a second byte that is none
                                      "\xF0\x28\x8C\xBC"};
    for (const std::string bad : ill_formed) {
        for (std::size_t length = 0; length < 40; ++length) {
            const std::string text = std::string(length, 'x') + bad;
            ASSERT_EQ(widened(text), std::pair(std::u16string(length, 'x'), length)) << bad;
            ASSERT_EQ(text::well_formed(text.data(), text.size()), length) << bad;
            const std::string more = "ä" + text + "more and more and more";
            ASSERT_EQ(text::well_formed(more.data(), more.size()), length + 2) << bad;
        }
    }
}

TEST(Text, half_a_surrogate_pair_ends_the_text_in_front_of_it)
{
    for (const std::u16string bad : {u"\xD800", u"\xDBFFx", u"\xDC00", u"\xDFFF\xD800", u"\xD800\xD800"})
        for (std::size_t length = 0; length < 20; ++length)
            ASSERT_EQ(narrowed(std::u16string(length, 'x') + bad),
                      std::pair(std::string(length, 'x'), length));
}

TEST(Text, a_character_that_has_not_come_as_a_whole_is_left_out)
{
    const struct {
        std::string text;
        std::size_t bytes;
    } rows[] = {{"", 0},
                {"a", 1},
                {"ä", 2},
                {"a\xC3", 1},
                {"€", 3},
                {"a\xE2\x82", 1},
                {"a\xE2", 1},
                {"😀", 4},
                {"a\xF0\x9F\x98", 1},
                {"a\xF0\x9F", 1},
                {"\x80\x80\x80", 3},
                {"\x80\x80\x80\x80", 4}};
    for (const auto& [text, bytes] : rows) EXPECT_EQ(text::whole_characters(text.data(), text.size()), bytes);
}

TEST(Text, a_byte_is_found_at_every_place)
{
    for (std::size_t length = 0; length < 70; ++length) {
        std::vector<char> text(length, 'x');
        EXPECT_EQ(text::find(text.data(), length, '"'), length);
        for (std::size_t place = 0; place < length; ++place) {
            std::fill(text.begin(), text.end(), 'x');
            text[place] = '"';
            text.back() = '"';
            ASSERT_EQ(text::find(text.data(), length, '"'), place);
            const std::uint64_t marks =
                blocks::mark(text.data(), std::min<std::size_t>(length, 63), {{',', '"', '\r', '\n'}});
            if (place < 63) {
                ASSERT_EQ(marks >> place & 1, 1U);
            }
        }
    }
}

TEST(Text, the_last_of_two_bytes_is_found_at_every_place)
{
    for (std::size_t length = 0; length < 50; ++length) {
        std::vector<char> text(length, 'x');
        EXPECT_EQ(blocks::behind_last(text.data(), length, '\n', '\r'), 0U);
        for (std::size_t place = 0; place < length; ++place) {
            text[place] = place % 3 == 0 ? '\n' : '\r';
            ASSERT_EQ(blocks::behind_last(text.data(), length, '\n', '\r'), place + 1);
        }
    }
}

TEST(Text, a_zero_unit_is_found_at_every_place)
{
    for (std::size_t length = 0; length < 40; ++length) {
        std::vector<char16_t> text(length, u'x');
        EXPECT_EQ(text::find_zero(text.data(), length), length);
        for (std::size_t place = length; place-- > 0;) {
            text[place] = 0;
            ASSERT_EQ(text::find_zero(text.data(), length), place);
        }
    }
}

TEST(Text, marks_of_a_whole_block_are_those_of_its_bytes)
{
    std::mt19937 random(12);
    const blocks::FourBytes wanted{{';', '\'', '\r', '\n'}};
    for (int round = 0; round < 2000; ++round) {
        char bytes[64];
        std::uint64_t expected = 0;
        for (std::size_t i = 0; i < 64; ++i) {
            bytes[i] = ";'\r\n,\"x\xE2"[random() % 8];
            if (std::strchr(";'\r\n", bytes[i]) != nullptr) expected |= std::uint64_t{1} << i;
        }
        ASSERT_EQ(blocks::mark(bytes, wanted), expected);
        const std::vector<char> copy(bytes, bytes + random() % 65);
        const auto in_front = static_cast<std::size_t>(std::countr_zero(expected));
        ASSERT_EQ(blocks::has_any(copy.data(), copy.size(), wanted), in_front < copy.size());
    }
}

TEST(Text, plain_loops_and_blocks_agree)
{
    std::mt19937 random(4);
    const std::string pieces[] = {
        "a", "plain text of some length", "ä", "€", "😀", "\xF0\x9F", "\xFF", std::string(1, 0)};
    for (int round = 0; round < 5000; ++round) {
        std::string text;
        // What is ill-formed is rare, so that some texts are long.
        for (int i = 0; i < 12; ++i) text += pieces[random() % 40 == 0 ? random() % 8 : random() % 5];
        std::vector<char16_t> a(text.size()), b(text.size());
        const Progress blocks = text::to_utf16(a.data(), text.data(), text.size());
        const auto plain = bulk_plain::text::to_utf16(b.data(), text.data(), text.size());
        ASSERT_EQ(std::pair(blocks.read, blocks.written), std::pair(plain.read, plain.written));
        a.resize(blocks.written), b.resize(plain.written);
        ASSERT_EQ(a, b);
        if (!a.empty() && random() % 8 == 0) a[random() % a.size()] = 0xD83D;
        std::vector<char> c(3 * a.size()), d(3 * a.size());
        const Progress back = text::to_utf8(c.data(), a.data(), a.size());
        const auto plain_back = bulk_plain::text::to_utf8(d.data(), a.data(), a.size());
        ASSERT_EQ(std::pair(back.read, back.written), std::pair(plain_back.read, plain_back.written));
        ASSERT_EQ(c, d);
        ASSERT_EQ(text::well_formed(text.data(), text.size()),
                  bulk_plain::text::well_formed(text.data(), text.size()));
        ASSERT_EQ(text::find(text.data(), text.size(), 't'),
                  bulk_plain::text::find(text.data(), text.size(), 't'));
        ASSERT_EQ(text::find_zero(a.data(), a.size()), bulk_plain::text::find_zero(a.data(), a.size()));
    }
}

} // namespace
} // namespace velk::bulk::test
