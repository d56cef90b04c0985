#include "rules.h"
#include "text/unicode.h"

#include <algorithm>

namespace velk::test {
namespace {

class Partial : public FrameworkTest {};

std::u16string shown(const std::string& arguments, const std::u16string& value)
{
    const Outcome outcome = mask("partial", arguments, value);
    EXPECT_EQ(outcome.error, 0) << to_utf8(value);
    return outcome.text.value_or(u"<null>");
}

TEST_F(Partial, shows_the_ends_of_a_value)
{
    const struct {
        const char* arguments;
        std::u16string value;
        std::u16string result;
    } rows[] = {
        {"", u"secret", u"******"},
        {"keep_last=4", u"4111111111111234", u"************1234"},
        {"keep_first=1", u"Maria", u"M****"},
        {"keep_first=2, keep_last=1, with='#'", u"abcdefg", u"ab####g"},
        {"keep_first=1, with=•", u"Ελένη", u"Ε••••"},
        {"keep_last=1", u"abcd😀", u"****😀"},
        {"keep_first=1, keep_last=1", u"😀abcd😀", u"😀****😀"},
        {"keep_first=0, keep_last=0", u"x", u"*"},
        {"keep_first=1000000, keep_last=1000000", u"short", u"*****"},
        {"keep_first=1", u"", u""},
        {"with=' '", u"abc", u"   "},
    };
    for (const auto& [arguments, value, result] : rows)
        EXPECT_EQ(shown(arguments, value), result) << arguments << ": " << to_utf8(value);
}

TEST_F(Partial, a_value_of_which_less_than_four_characters_would_be_hidden_is_masked_whole)
{
    EXPECT_EQ(shown("keep_last=4", u"12345"), u"*****");
    EXPECT_EQ(shown("keep_last=4", u"1234567"), u"*******");
    EXPECT_EQ(shown("keep_last=4", u"12345678"), u"****5678");
    EXPECT_EQ(shown("keep_first=2, keep_last=2", u"abcd"), u"****");
    EXPECT_EQ(shown("keep_first=2, keep_last=2", u"abcdefg"), u"*******");
    EXPECT_EQ(shown("keep_first=2, keep_last=2", u"abcdefgh"), u"ab****gh");
    EXPECT_EQ(shown("keep_first=1", u"😀"), u"*");
}

TEST_F(Partial, hide_least_says_how_much_is_hidden_at_least)
{
    EXPECT_EQ(shown("keep_last=4, hide_least=1", u"12345"), u"*2345");
    EXPECT_EQ(shown("keep_last=4, hide_least=1", u"1234"), u"****");
    EXPECT_EQ(shown("keep_last=4, hide_least=12", u"4111111111111234"), u"************1234");
    EXPECT_EQ(shown("keep_last=4, hide_least=13", u"4111111111111234"), u"****************");
    EXPECT_EQ(shown("keep_first=1, hide_least=1000000", u"Maria"), u"*****");
}

TEST_F(Partial, a_cut_takes_no_mark_from_its_letter)
{
    EXPECT_EQ(shown("keep_first=1", u"e\u0301abcd"), u"******") << "the letter has no room with its accent";
    EXPECT_EQ(shown("keep_first=2", u"e\u0301abcd"), u"e\u0301****");
    EXPECT_EQ(shown("keep_last=1", u"abcde\u0301"), u"******");
    EXPECT_EQ(shown("keep_last=2", u"abcde\u0301"), u"****e\u0301");
    EXPECT_EQ(shown("keep_first=1", u"हिन्दी भाषा"), u"***********");
    EXPECT_EQ(shown("keep_first=5", u"हिन्दी भाषा"), u"हि*********") << "न्दी is one character";
    EXPECT_EQ(shown("keep_first=6", u"हिन्दी भाषा"), u"हिन्दी*****");
    EXPECT_EQ(shown("keep_first=1", u"\u0BA8\u0BBFabcde"), u"*******") << "a spacing mark";
    EXPECT_EQ(shown("keep_first=1", u"\u1000\u102Babcde"), u"*******")
        << "a mark that lines may break before";
}

TEST_F(Partial, a_cut_goes_through_no_joined_emoji)
{
    const std::u16string family = u"👨\u200D👩\u200D👧"; // five code points
    EXPECT_EQ(shown("keep_first=1", family + u"abcd"), u"*********");
    EXPECT_EQ(shown("keep_first=4", family + u"abcd"), u"*********");
    EXPECT_EQ(shown("keep_first=5", family + u"abcd"), family + u"****");
    EXPECT_EQ(shown("keep_last=4", u"abcd" + family), u"*********");
    EXPECT_EQ(shown("keep_last=5", u"abcd" + family), u"****" + family);
    EXPECT_EQ(shown("keep_first=1", u"👍🏽abcd"), u"******") << "a skin tone";
    EXPECT_EQ(shown("keep_first=2", u"👍🏽abcd"), u"👍🏽****");
    EXPECT_EQ(shown("keep_first=1", u"❤\uFE0Fabcd"), u"******") << "a variation selector";
    EXPECT_EQ(shown("keep_last=2", u"abcd1\uFE0F\u20E3"), u"*******") << "a keycap";
}

TEST_F(Partial, a_cut_goes_through_no_flag)
{
    EXPECT_EQ(shown("keep_first=1", u"🇩🇪🇫🇷🇮🇹"), u"******");
    EXPECT_EQ(shown("keep_first=2", u"🇩🇪🇫🇷🇮🇹"), u"🇩🇪****");
    EXPECT_EQ(shown("keep_first=3, hide_least=1", u"🇩🇪🇫🇷🇮🇹"), u"🇩🇪****");
    EXPECT_EQ(shown("keep_last=3, hide_least=1", u"🇩🇪🇫🇷🇮🇹"), u"****🇮🇹");
}

TEST_F(Partial, a_cut_goes_through_no_syllable)
{
    EXPECT_EQ(shown("keep_first=2", u"\u1112\u1161\u11ABabcd"), u"*******");
    EXPECT_EQ(shown("keep_first=3", u"\u1112\u1161\u11ABabcd"), u"\u1112\u1161\u11AB****");
    EXPECT_EQ(shown("keep_first=1", u"하\u11ABabcd"), u"******");
    EXPECT_EQ(shown("keep_first=1", u"한국abcd"), u"한*****");
    EXPECT_EQ(shown("keep_last=1", u"abcd\r\n"), u"******") << "nor through a line end of two";
}

// Whatever the text, no more is shown than the rule says, and at least four characters are not.
TEST_F(Partial, any_text_shows_no_more_than_is_said)
{
    std::mt19937 random(7);
    const std::u16string pieces[] = {u"a",   u"e\u0301", u"👍🏽",   u"👨\u200D👩", u"🇩🇪",
                                     u"न्दी", u"한",      u"\u11AB", u"\u200D",     u"\uFE0F",
                                     u"\r",  u"\n",      u"中",     u"\u0600"};
    std::vector<std::u16string> values;
    while (values.size() < 5'000) {
        std::u16string value;
        for (std::size_t left = random() % 12; left > 0; --left)
            value += pieces[random() % std::size(pieces)];
        values.push_back(value);
    }
    const std::vector<std::u16string> shown_values =
        results("partial", "keep_first=3, keep_last=2, with=█", values);
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::u16string& text = shown_values[i];
        const std::size_t count = code_point_count(values[i]);
        const auto hidden = static_cast<std::size_t>(std::count(text.begin(), text.end(), u'█'));
        ASSERT_EQ(code_point_count(text), count);
        ASSERT_TRUE(hidden == count || hidden >= 4) << to_utf8(text);
        const std::size_t first = std::min(text.find(u'█'), text.size());
        const std::size_t behind = text.find_last_of(u'█') + 1;
        ASSERT_EQ(text.substr(0, first), values[i].substr(0, first));
        ASSERT_EQ(text.substr(behind), values[i].substr(values[i].size() - (text.size() - behind)));
        ASSERT_LE(code_point_count(text.substr(0, first)), 3u);
        ASSERT_LE(code_point_count(text.substr(behind)), 2u);
    }
}

TEST_F(Partial, its_character_is_one_that_stands_alone)
{
    constexpr char16_t advice[] = u"One character up to U+FFFF, no mark, no control or format character.";
    for (const char* with : {"ab",
                             "''",
                             "😀",
                             "\"\\n\"",
                             "\"\\u{85}\"",
                             "\"\\u{202E}\"",
                             "\"\\u{200B}\"",
                             "\"\\u{200D}\"",
                             "\"\\u{2028}\"",
                             "\"\\u{2029}\"",
                             "\"\\u{FEFF}\"",
                             "\"\\u{AD}\"",
                             "\"\\u{600}\"",
                             "\"\\u{301}\"",
                             "\"\\u{93F}\"",
                             "\"\\u{20E3}\"",
                             "\"\\u{FE0F}\"",
                             "\"\\u{FFFE}\"",
                             "\"\\u{FFFF}\"",
                             "\"\\u{FDD0}\"",
                             "\"\\u{FDEF}\"",
                             "\"\\u{1161}\"",
                             "\"\\u{7F}\""})
        expect_rule_refused("partial", std::string("with=") + with, argument_unusable, advice);
    for (const char16_t with : std::u16string(u"#•█Xя한字\u00A0\uFFFD"))
        EXPECT_EQ(shown("with='" + to_utf8(std::u16string(1, with)) + "'", u"abc"), std::u16string(3, with));
    expect_rule_refused("partial", "with=#", number_sign_unquoted, u"'#'");
}

TEST_F(Partial, numbers_out_of_their_range_are_refused)
{
    expect_rule_refused("partial", "keep_first=1000001", argument_not_in_range);
    expect_rule_refused("partial", "keep_first=x", argument_not_in_range);
    expect_rule_refused("partial", "hide_least=0", argument_not_in_range,
                        u"A whole number from 1 to 1000000.");
}

} // namespace
} // namespace velk::test
