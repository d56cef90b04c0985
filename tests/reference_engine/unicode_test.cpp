#include "text/unicode.h"

#include <gtest/gtest.h>

namespace velk::engine {
namespace {

// Whatever is copied in blocks ends where the text does, and goes on behind a character that is not ASCII.
TEST(Unicode, text_of_any_length_becomes_utf8)
{
    const std::pair<std::u16string, std::string> characters[] = {
        {u"\u007F", "\x7F"}, {u"\u0080", "\xC2\x80"}, {u"\u07FF", "\xDF\xBF"},
        {u"中", "中"},       {u"😀", "😀"},           {u"\xD83D", "\xEF\xBF\xBD"},
    };
    for (std::size_t size = 0; size < 40; ++size) {
        EXPECT_EQ(to_utf8(std::u16string(size, u'a')), std::string(size, 'a'));
        for (std::size_t at = 0; at <= size; ++at)
            for (const auto& [units, bytes] : characters) {
                const std::u16string text =
                    std::u16string(at, u'a') + units + std::u16string(size - at, u'b');
                EXPECT_EQ(to_utf8(text), std::string(at, 'a') + bytes + std::string(size - at, 'b'));
                EXPECT_EQ(is_well_formed(text), units != u"\xD83D");
            }
    }
}

TEST(Unicode, every_character_survives_both_encodings)
{
    for (char32_t code_point = 0; code_point <= 0x10FFFF; ++code_point) {
        if (code_point >= 0xD800 && code_point <= 0xDFFF) continue;
        std::string utf8;
        std::u16string utf16;
        append(utf8, code_point);
        append(utf16, code_point);
        std::size_t position8 = 0;
        std::size_t position16 = 0;
        ASSERT_EQ(next_code_point(utf8, position8), code_point);
        ASSERT_EQ(next_code_point(utf16, position16), code_point);
        ASSERT_EQ(position8, utf8.size());
        ASSERT_EQ(position16, utf16.size());
    }
}

TEST(Unicode, surrogates_and_larger_values_are_no_utf8)
{
    for (const std::string_view text :
         {"\xED\xA0\x80", "\xED\xBF\xBF", "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80", "\xC0\x80", "\xC1\xBF",
          "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xFF"})
        EXPECT_FALSE(is_well_formed(text));
}

TEST(Unicode, lone_surrogates_are_no_utf16)
{
    const std::u16string high(1, u'\xD83D');
    const std::u16string low(1, u'\xDE00');
    EXPECT_FALSE(is_well_formed(high));
    EXPECT_FALSE(is_well_formed(low));
    EXPECT_FALSE(is_well_formed(low + high));
    EXPECT_FALSE(is_well_formed(high + high + low));
    EXPECT_TRUE(is_well_formed(high + low));
}

TEST(Unicode, a_surrogate_pair_counts_as_one_character)
{
    EXPECT_EQ(code_point_count(u""), 0u);
    EXPECT_EQ(code_point_count(u"e\u0301"), 2u);
    EXPECT_EQ(code_point_count(u"a😀b"), 3u);
}

} // namespace
} // namespace velk::engine
