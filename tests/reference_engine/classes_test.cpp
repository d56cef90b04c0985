#include "masking/unicode_classes.h"
#include "support.h"
#include "text/unicode.h"

#include <algorithm>
#include <map>

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

// Same class, or in no class and the same character.
bool is_like(char32_t a, char32_t b)
{
    const Membership of_a = membership(a);
    const Membership of_b = membership(b);
    return of_a.of == of_b.of && (of_a.of != nullptr || a == b);
}

std::u16string masked(const std::u16string& value, const std::string& type = "", std::int32_t length = 0)
{
    const Outcome outcome = mask("classes", "", value, type, length);
    EXPECT_EQ(outcome.error, 0) << to_utf8(value);
    return outcome.text.value_or(u"<null>");
}

TEST_F(Classes, every_character_stays_among_its_likes)
{
    for (const std::u16string value :
         {u"Anna Smith, 42", u"Žluťoučký kůň", u"Ελένη Παππά", u"Анна Кузнецова", u"محمد ١٢٣", u"שלום",
          u"अनिता शर्मा ४२", u"山田太郎・ヤマダ ひらがな", u"김민준", u"สมชาย ๔๒", u"a😀👍🏽b", u"𐐀𐐁𐐨",
          u"o'neill@example.com", u"ＦＵＬＬ１２"}) {
        SCOPED_TRACE(to_utf8(value));
        const std::u16string result = masked(value);
        EXPECT_NE(result, value);
        EXPECT_EQ(result.size(), value.size()) << "the length is kept in units";
        const std::vector<char32_t> before = code_points(value);
        const std::vector<char32_t> after = code_points(result);
        ASSERT_EQ(before.size(), after.size());
        for (std::size_t i = 0; i < before.size(); ++i)
            EXPECT_TRUE(is_like(before[i], after[i])) << i << ": " << to_utf8(result);
    }
}

TEST_F(Classes, marks_signs_and_emoji_stay)
{
    for (const std::u16string value :
         {u"😀👍🏽", u"-- // ++", u"\u0301\u0308", u"\u200D", u"€ $ ¥", u"", u" "})
        EXPECT_EQ(masked(value), value);
    const std::u16string result = masked(u"e\u0301l\u0327");
    EXPECT_EQ(result[1], u'\u0301');
    EXPECT_EQ(result[3], u'\u0327');
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
    EXPECT_NE(masked(u"😀ª"), u"😀ª") << "a class of two";
    EXPECT_EQ(masked(u"😀º").substr(0, 2), u"😀");
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
    for (const std::u16string value : {u"5", u"-5", u"42", u"1000", u"-987654321", u"0", u"007", u"-0"}) {
        SCOPED_TRACE(to_utf8(value));
        const std::u16string result = masked(value, "integer", 20);
        EXPECT_NE(result, value);
        ASSERT_EQ(result.size(), value.size());
        const std::size_t first = value.find_first_of(u"123456789");
        const std::size_t start = first == std::u16string::npos ? value.size() - 1 : first;
        EXPECT_EQ(result.substr(0, start), value.substr(0, start)) << "signs and leading zeros stay";
        EXPECT_NE(result[start], u'0');
    }
    for (const std::u16string value : {u"0.12", u"-0.99", u"0.00", u"0.1"}) {
        const std::u16string result = masked(value, "decimal(2,2)", 5);
        EXPECT_NE(result, value);
        EXPECT_EQ(result.substr(0, value.find(u'.') + 1), value.substr(0, value.find(u'.') + 1));
    }
    EXPECT_EQ(masked(u"123.45", "decimal(5,2)", 7).find(u'.'), 3u) << "the scale is kept";
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
    for (const std::u16string value : {u"0", u"-0.50", u"1002.10", u"007"})
        EXPECT_EQ(masked(value, "decimal(6,2)", 8), masked(value)) << to_utf8(value);
}

TEST_F(Classes, an_integer_beyond_64_bits_is_an_error_of_its_field)
{
    int errors = 0;
    for (int i = 0; i < 40; ++i) {
        const std::u16string value = to_utf16(std::to_string(1000000000000000000 + i));
        const Outcome outcome = mask("classes", "", value, "integer", 20);
        if (outcome.error == 0) continue;
        expect_code(outcome.error, result_does_not_fit);
        EXPECT_EQ(outcome.text, u"");
        ++errors;
    }
    EXPECT_GT(errors, 0) << "8 in 100 of such numbers leave the range";
}

TEST(UnicodeClasses, member_and_membership_are_each_others_inverse)
{
    std::map<const CharacterClass*, std::uint32_t> sizes;
    for (char32_t code_point = 0; code_point <= 0x10FFFF; ++code_point) {
        const Membership found = membership(code_point);
        if (found.of == nullptr) continue;
        ASSERT_LT(found.index, found.of->size);
        ASSERT_EQ(member(*found.of, found.index), code_point);
        ++sizes[found.of];
    }
    for (const auto& [of, size] : sizes) {
        EXPECT_EQ(size, of->size);
        EXPECT_GE(size, 2u);
        EXPECT_EQ(member(*of, 0) > 0xFFFF, member(*of, size - 1) > 0xFFFF) << "no class spans both";
    }
    EXPECT_GT(sizes.size(), 300u);
}

TEST(UnicodeClasses, follow_the_standard)
{
    EXPECT_STREQ(classes_version(), "15.0.0");
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
    EXPECT_EQ(size(U'É'), 30u);
    EXPECT_EQ(size(U'é'), 32u);
    for (const char32_t none :
         {U' ', U'-', U'_', U'😀', U'\u0301', U'\uFFFD', char32_t{0xE000}, char32_t{0x378}})
        EXPECT_EQ(size(none), 0u);
    EXPECT_NE(membership('a').of, membership('A').of);
    EXPECT_NE(membership('a').of, membership(U'é').of);
    EXPECT_NE(membership(U'α').of, membership(U'а').of);
}

} // namespace
} // namespace velk::test
