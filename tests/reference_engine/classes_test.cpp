#include "masking/unicode_classes.h"
#include "rules.h"
#include "text/unicode.h"

#include <algorithm>
#include <map>
#include <numeric>

namespace velk::test {
namespace {

class Classes : public FrameworkTest {};

std::vector<char32_t> code_points(const std::u16string& text)
{
    std::vector<char32_t> result;
    for (std::size_t position = 0; position < text.size();)
        result.push_back(next_code_point(std::u16string_view(text), position));
    return result;
}

// Same class, and the same character where it stays.
bool is_like(char32_t a, char32_t b)
{
    const Membership of_a = membership(a);
    return of_a.of != nullptr && of_a.of == membership(b).of && (!stays(of_a) || a == b);
}

std::u16string masked(const std::u16string& value, const std::string& type = "", std::int32_t length = 0)
{
    const Outcome outcome = mask("classes", "", value, type, length);
    EXPECT_EQ(outcome.error, 0) << to_utf8(value);
    return outcome.text.value_or(u"<null>");
}

// With so many scopes every character that can be exchanged is exchanged in one of them at least.
std::vector<std::u16string> masked_in_scopes(const std::u16string& value)
{
    std::vector<std::u16string> texts;
    for (int scope = 0; scope < 12; ++scope)
        texts.push_back(mask("classes", "scope=s" + std::to_string(scope), value).text.value_or(u"<null>"));
    return texts;
}

// Each code point that does not stay is exchanged within its class, none is left out of the exchange, and the
// value never comes back as it was.
void expect_exchanged(const std::u16string& value)
{
    SCOPED_TRACE(to_utf8(value));
    const std::vector<char32_t> before = code_points(value);
    std::vector<bool> changed(before.size());
    for (const std::u16string& result : masked_in_scopes(value)) {
        SCOPED_TRACE(to_utf8(result));
        EXPECT_NE(result, value);
        EXPECT_EQ(result.size(), value.size()) << "the length is kept in units";
        EXPECT_TRUE(is_well_formed(result));
        const std::vector<char32_t> after = code_points(result);
        ASSERT_EQ(after.size(), before.size());
        for (std::size_t i = 0; i < before.size(); ++i) {
            EXPECT_TRUE(is_like(before[i], after[i])) << i;
            changed[i] = changed[i] || before[i] != after[i];
        }
    }
    for (std::size_t i = 0; i < before.size(); ++i)
        EXPECT_NE(changed[i], stays(membership(before[i]))) << "character " << i;
}

TEST_F(Classes, every_character_stays_among_its_likes)
{
    for (const std::u16string value :
         {u"Anna Smith, 42", u"Žluťoučký kůň", u"Ελένη Παππά", u"Анна Кузнецова", u"محمد ١٢٣", u"שלום",
          u"अनिता शर्मा ४२", u"山田太郎・ヤマダ ひらがな", u"김민준", u"สมชาย ๔๒", u"a😀👍🏽b", u"𐐀𐐁𐐨",
          u"o'neill@example.com", u"ＦＵＬＬ１２", u"ヤマダー", u"ๆ", u"ʹ"})
        expect_exchanged(value);
}

TEST_F(Classes, symbols_are_exchanged)
{
    for (const std::u16string value : {u"♀♂", u"☎", u"±×", u"→←", u"★☆☆☆☆", u"©®", u"♯", u"⠓⠑⠇⠇⠕", u"~^+"})
        expect_exchanged(value);
}

TEST_F(Classes, numbers_of_other_kinds_are_exchanged)
{
    for (const std::u16string value :
         {u"①②③④", u"Ⅷ", u"½", u"²³¹", u"x²", u"〇〇", u"二〇二四", u"㊷", u"௰", u"𐄇"})
        expect_exchanged(value);
}

TEST_F(Classes, braille_is_exchanged)
{
    expect_exchanged(u"⠃⠗⠁⠊⠇⠇⠑");
}

TEST_F(Classes, the_micro_sign_is_exchanged)
{
    expect_exchanged(u"µ");
    expect_exchanged(u"5 µm");
}

TEST_F(Classes, ideographs_of_unicode_15_1_are_exchanged)
{
    expect_exchanged(u"\U0002EBF0\U0002EE5D");
    EXPECT_EQ(membership(0x2EBF0).of, membership(0x2EE5D).of);
}

TEST_F(Classes, private_characters_are_exchanged_within_their_area)
{
    expect_exchanged(u"\uE000\uF8FF");
    expect_exchanged(u"\U000F0000\U0010FFFD");
    EXPECT_NE(membership(0xF0000).of, membership(0x100000).of);
}

TEST_F(Classes, vowel_signs_and_accents_are_exchanged)
{
    expect_exchanged(u"हिन्दी");
    expect_exchanged(u"Zoe\u0308");
    expect_exchanged(u"e\u0301l\u0327e\u0300ve");
    expect_exchanged(u"\u0E2B\u0E19\u0E31\u0E07\u0E2A\u0E37\u0E2D");
    expect_exchanged(u"שָׁלוֹם");
}

// What joins to one emoji stays joined, but says nothing of what it was.
TEST_F(Classes, flags_become_flags)
{
    for (const std::u16string& flag : masked_in_scopes(u"🇩🇪"))
        for (const char32_t letter : code_points(flag)) {
            EXPECT_GE(letter, U'🇦');
            EXPECT_LE(letter, U'🇿');
        }
    expect_exchanged(u"🇩🇪🇫🇷");
}

TEST_F(Classes, the_tags_of_a_flag_are_exchanged_and_end_as_they_did)
{
    const std::u16string england = u"🏴\U000E0067\U000E0062\U000E0065\U000E006E\U000E0067\U000E007F";
    expect_exchanged(england);
    for (const std::u16string& flag : masked_in_scopes(england))
        EXPECT_EQ(code_points(flag).back(), char32_t{0xE007F});
}

TEST_F(Classes, skin_tones_become_skin_tones)
{
    expect_exchanged(u"👍🏽");
    for (const std::u16string& thumb : masked_in_scopes(u"👍🏽")) {
        EXPECT_GE(code_points(thumb).back(), char32_t{0x1F3FB});
        EXPECT_LE(code_points(thumb).back(), char32_t{0x1F3FF});
    }
}

TEST_F(Classes, joiners_stay_between_what_they_join)
{
    expect_exchanged(u"👨\u200D👩\u200D👧");
    expect_exchanged(u"क्\u200Dष");
    for (const std::u16string& family : masked_in_scopes(u"👨\u200D👩\u200D👧")) {
        EXPECT_EQ(family[2], u'\u200D');
        EXPECT_EQ(family[5], u'\u200D');
    }
}

TEST_F(Classes, variation_selectors_are_exchanged)
{
    expect_exchanged(u"❤\uFE0F");
    expect_exchanged(u"葛\U000E0100");
    expect_exchanged(u"1\uFE0F\u20E3");
}

TEST_F(Classes, white_space_punctuation_currency_and_format_characters_stay)
{
    for (const std::u16string value : {u"-- // !?", u"€ $ ¥", u"", u" ", u"\t\r\n", u"\u00A0\u2028\u3000",
                                       u"「」・、。", u"_&%#@*", u"«¿»", u"\u200D\u200B\u200E", u"\u00AD"})
        EXPECT_EQ(masked(value), value);
    const std::u16string result = masked(u"(a-b) c€!");
    for (const std::size_t kept : {0u, 2u, 4u, 5u, 7u, 8u}) EXPECT_EQ(result[kept], u"(a-b) c€!"[kept]);
}

TEST_F(Classes, a_character_without_a_like_is_an_error_of_its_value)
{
    expect_errors("classes", "",
                  {u"\u0378", u"Anna \u0378", u"\uFFFF", u"\uFDD0", u"\U0003FFFE", u"\U000E0080", u"\u0001",
                   u"a\u007F", u"\u0092", u"Æ\U0001FFFDΩ"},
                  character_without_like);
    const std::vector<Outcome> outcomes = mask_all("classes", "", {u"Anna", u"a\u0378", u"Bert"});
    EXPECT_EQ(outcomes[0].error, 0);
    EXPECT_EQ(outcomes[1].text, u"");
    EXPECT_EQ(outcomes[2].error, 0) << "its neighbours are masked";
    EXPECT_EQ(outcomes[2].text, masked(u"Bert"));
}

// Any text at all: it is in error exactly where one of its characters has no like, and comes back as it was
// exactly where all of them stay.
TEST_F(Classes, any_text_is_exchanged_or_in_error)
{
    std::mt19937 random(7);
    std::vector<std::u16string> values;
    while (values.size() < 20'000) {
        std::u16string value;
        for (std::size_t left = 1 + random() % 6; left > 0; --left) {
            const char32_t limits[] = {0x80, 0x250, 0x3000, 0x10000, 0x20000, 0x110000};
            const auto code_point = static_cast<char32_t>(1 + random() % (limits[random() % 6] - 1));
            if (code_point < 0xD800 || code_point > 0xDFFF) append(value, code_point);
        }
        values.push_back(value);
    }
    const std::vector<Outcome> outcomes = mask_all("classes", "", values);
    std::size_t exchanged = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::vector<char32_t> before = code_points(values[i]);
        const auto has_no_like = [](char32_t character) { return membership(character).of == nullptr; };
        const auto is_kept = [](char32_t character) { return stays(membership(character)); };
        const auto add_choices = [](std::size_t sum, char32_t character) {
            const Membership of = membership(character);
            return sum + (of.of == nullptr || stays(of) ? 0 : of.of->size);
        };
        const bool error = std::any_of(before.begin(), before.end(), has_no_like) ||
                           std::accumulate(before.begin(), before.end(), std::size_t{}, add_choices) == 2;
        ASSERT_EQ(outcomes[i].error, error ? character_without_like : 0) << to_utf8(values[i]);
        if (error) {
            ASSERT_EQ(outcomes[i].text, u"");
            continue;
        }
        const std::vector<char32_t> after = code_points(*outcomes[i].text);
        ASSERT_EQ(outcomes[i].text == values[i], std::all_of(before.begin(), before.end(), is_kept));
        ASSERT_TRUE(std::equal(before.begin(), before.end(), after.begin(), after.end(), is_like));
        ASSERT_EQ(outcomes[i].text->size(), values[i].size());
        ++exchanged;
    }
    EXPECT_GT(exchanged, 1'000u);
}

TEST_F(Classes, no_value_comes_back_as_it_was_where_it_can_be_changed)
{
    // One character of a class of ten or twenty-six would often be drawn again.
    for (char16_t letter = u'a'; letter <= u'z'; ++letter)
        EXPECT_NE(masked(std::u16string(1, letter)), std::u16string(1, letter));
    for (char16_t digit = u'0'; digit <= u'9'; ++digit) {
        EXPECT_NE(masked(std::u16string(1, digit)), std::u16string(1, digit));
        EXPECT_NE(masked(std::u16string(u"-") + digit), std::u16string(u"-") + digit);
    }
}

// Whoever sees the only other one knows the value.
TEST_F(Classes, a_value_that_has_one_other_alone_is_an_error)
{
    expect_errors("classes", "", {u"ª", u"º", u"(^)", u"`", u"々", u"$ ª,", u"-ª"}, character_without_like);
    for (const std::u16string value : {u"ªª", u"1ª", u"aª", u"佐々木", u"²", u"5", u"0", u"-5"})
        EXPECT_NE(masked(value), value);
}

TEST_F(Classes, long_values_are_masked_to_their_end)
{
    const std::u16string value(5000, u'a');
    const std::u16string result = masked(value);
    ASSERT_EQ(result.size(), value.size());
    std::map<char16_t, int> counts;
    for (const char16_t letter : result) ++counts[letter];
    EXPECT_EQ(counts.size(), 26u);
    for (const auto& [letter, count] : counts) {
        EXPECT_GT(count, 100) << static_cast<char>(letter); // 192 on average
        EXPECT_LT(count, 300) << static_cast<char>(letter);
    }
    EXPECT_NE(result.substr(0, 100), result.substr(100, 100));
}

TEST_F(Classes, numbers_stay_as_wide_as_they_are)
{
    for (const std::u16string value : {u"5", u"-5", u"42", u"1000", u"-987654321", u"0", u"-0"}) {
        SCOPED_TRACE(to_utf8(value));
        const std::u16string result = masked(value, "integer", 20);
        EXPECT_NE(result, value);
        ASSERT_EQ(result.size(), value.size());
        const std::size_t start = value[0] == u'-' ? 1 : 0;
        EXPECT_EQ(result.substr(0, start), value.substr(0, start)) << "the sign stays";
        EXPECT_NE(result[start], u'0');
    }
    for (const std::u16string value : {u"0.12", u"-0.99", u"0.00", u"0.1", u"0.05"}) {
        const std::u16string result = masked(value, "decimal(2,2)", 5);
        EXPECT_NE(result, value);
        EXPECT_EQ(result.substr(0, value.find(u'.') + 1), value.substr(0, value.find(u'.') + 1));
    }
    EXPECT_EQ(masked(u"123.45", "decimal(5,2)", 7).find(u'.'), 3u) << "the scale is kept";
    EXPECT_EQ(masked(u"007.5").substr(0, 2), u"00") << "with a decimal point it is a number all the same";
}

TEST_F(Classes, digits_behind_a_leading_zero_are_an_account_of_which_all_are_exchanged)
{
    for (const std::u16string value : {u"0000000007", u"007", u"00", u"-007"}) {
        expect_exchanged(value);
        EXPECT_EQ(masked(value, "integer", 20), masked(value));
    }
    std::vector<std::u16string> results;
    for (const std::u16string& result : masked_in_scopes(u"0000000007"))
        results.push_back(result.substr(0, 5));
    std::sort(results.begin(), results.end());
    EXPECT_EQ(std::unique(results.begin(), results.end()), results.end())
        << "the zeros are exchanged as well";
}

TEST_F(Classes, a_number_is_masked_alike_in_columns_of_every_type)
{
    for (int number = 1000; number < 2000; ++number) {
        const std::u16string value = to_utf16(std::to_string(number));
        const std::u16string result = masked(value);
        ASSERT_EQ(masked(value, "integer", 20), result) << number;
        ASSERT_EQ(masked(value, "decimal(6,2)", 8), result) << number;
        ASSERT_EQ(masked(value, "varchar(4)", 4), result) << number;
    }
    for (const std::u16string value : {u"0", u"-0.50", u"1002.10"})
        EXPECT_EQ(masked(value, "decimal(6,2)", 8), masked(value)) << to_utf8(value);
}

TEST_F(Classes, integers_of_19_digits_stay_within_64_bits)
{
    std::vector<std::u16string> values{u"9223372036854775807", u"-9223372036854775808",
                                       u"1000000000000000000", u"-1000000000000000000",
                                       u"0123456789012345678"};
    for (std::uint64_t i = 0; i < 2000; ++i) values.push_back(to_text(9'223'372'036'854'770'000 + i));
    const std::vector<std::u16string> masked_values = results("classes", "", values, {"integer", 20});
    EXPECT_EQ(results("classes", "", values), masked_values) << "whatever the column";
    for (std::size_t i = 0; i < values.size(); ++i) {
        EXPECT_EQ(masked_values[i].size(), values[i].size());
        EXPECT_NE(masked_values[i], values[i]);
    }
    // Beyond 64 bits there is nothing to stay within.
    EXPECT_EQ(masked(u"9223372036854775808").size(), 19u);
    EXPECT_EQ(masked(u"99999999999999999999").size(), 20u);
}

TEST(UnicodeClasses, member_and_membership_are_each_others_inverse)
{
    std::map<const CharacterClass*, std::uint32_t> sizes;
    for (char32_t code_point = 0; code_point <= 0x10FFFF; ++code_point) {
        const Membership found = membership(code_point);
        if (found.of == nullptr || stays(found)) continue;
        ASSERT_LT(found.index, found.of->size);
        ASSERT_EQ(member(*found.of, found.index), code_point);
        ++sizes[found.of];
    }
    for (const auto& [of, size] : sizes) {
        EXPECT_EQ(size, of->size);
        EXPECT_GE(size, 2u);
        EXPECT_EQ(member(*of, 0) > 0xFFFF, member(*of, size - 1) > 0xFFFF) << "no class spans both";
    }
    EXPECT_GT(sizes.size(), 700u);
}

TEST(UnicodeClasses, follow_the_standard)
{
    EXPECT_STREQ(classes_version(), "17.0.0");
    const auto size = [](char32_t code_point) {
        const Membership found = membership(code_point);
        return found.of == nullptr ? 0u : found.of->size;
    };
    EXPECT_EQ(size('a'), 26u);
    EXPECT_EQ(size('A'), 26u);
    EXPECT_EQ(size('0'), 10u);
    EXPECT_EQ(size(U'가'), 11172u);
    EXPECT_EQ(size(U'漢'), 20992u);
    EXPECT_EQ(size(U'٣'), 10u);
    EXPECT_NE(membership(U'٣').of, membership(U'۳').of) << "two sets of digits in one block";
    EXPECT_NE(membership(U'𝟎').of, membership(U'𝟗' + 1).of) << "and without anything between them";
    EXPECT_EQ(size(U'É'), 30u);
    EXPECT_EQ(size(U'é'), 33u) << "with the micro sign, which would be alone";
    EXPECT_EQ(size(U'⠓'), 256u);
    EXPECT_EQ(size(U'🇩'), 26u);
    EXPECT_EQ(size(0xE000), 6400u);
    for (const char32_t staying : {U' ', U'-', U'_', U'$', U'€', U'\u200D', U'\u3000', U'。', U'\n'})
        EXPECT_EQ(size(staying), 1u);
    for (const char32_t none :
         {char32_t{0x378}, char32_t{0xFFFF}, char32_t{0xD800}, char32_t{0x1F}, ill_formed})
        EXPECT_EQ(size(none), 0u);
    EXPECT_NE(membership('a').of, membership('A').of);
    EXPECT_NE(membership('a').of, membership(U'é').of);
    EXPECT_NE(membership(U'α').of, membership(U'а').of);
    EXPECT_NE(membership(U'½').of, membership(U'é').of);
}

} // namespace
} // namespace velk::test
