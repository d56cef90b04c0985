#include "masking/graphemes.h"
#include "text/unicode.h"

#include <gtest/gtest.h>

namespace velk::test {
namespace {

using namespace engine;

// The characters of a text, a bar between them.
std::string parts(const std::u16string& text)
{
    std::u16string result;
    GraphemeScanner scanner;
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t start = position;
        const bool begins = scanner.begins_with(next_code_point(std::u16string_view(text), position));
        if (begins && start > 0) result += u'|';
        result.append(text, start, position - start);
    }
    return to_utf8(result);
}

TEST(Graphemes, are_what_a_reader_takes_for_one_character)
{
    const char16_t* rows[] = {
        u"a|b|c",
        u"e\u0301|e\u0301\u0327|a",
        u"\u0301|a",
        u"a|\r\n|\n|\r|\u0301|b",
        u"👍🏽|👍|a",
        u"👨\u200D👩\u200D👧|👨",
        u"👨🏽\u200D⚕\uFE0F|x",
        u"a\u200D|👧",
        u"🇩🇪|🇫🇷|🇮",
        u"🇩🇪|a|🇫|a|🇷",
        u"🏴\U000E0067\U000E0062\U000E007F|🏴",
        u"한|\u1112\u1161\u11AB|하\u11AB|한\u11AB|\u1112하\u1161\u11AB\u11AB|\u1161|\u1112",
        u"\u0600\u0661|a",
        u"क्ष|क\u094D\u200Dष|क|ष",
        u"नि|हि|न्दी",
        u"\u0E01\u0E33|\u0E01",
        u"1\uFE0F\u20E3|2",
        u"葛\U000E0100|城",
    };
    for (const std::u16string row : rows) {
        std::u16string text = row;
        std::erase(text, u'|');
        EXPECT_EQ(parts(text), to_utf8(row));
    }
}

TEST(Graphemes, what_can_stand_for_others_is_whole)
{
    for (const char32_t code_point : {U'*', U' ', U'•', U'█', U'字', U'한', U'©', U'क', char32_t{0xE000}})
        EXPECT_TRUE(stands_alone(code_point)) << std::hex << std::uint32_t{code_point};
    for (const std::uint32_t code_point :
         {0x00u,   0x0Au,   0x7Fu,   0x85u,    0x9Fu,    0xADu,    0x301u,    0x600u,
          0x1161u, 0x200Bu, 0x200Du, 0x2028u,  0x202Eu,  0xD800u,  0xDFFFu,   0xFDD0u,
          0xFEFFu, 0xFFFEu, 0xFFFFu, 0x1F1E6u, 0x1F3FDu, 0xE0061u, 0x10FFFFu, 0x110000u})
        EXPECT_FALSE(stands_alone(code_point)) << std::hex << code_point;
}

} // namespace
} // namespace velk::test
