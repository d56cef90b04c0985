#include "rules.h"
#include "text/unicode.h"

#include <algorithm>

namespace velk::test {
namespace {

class Cards : public FrameworkTest {};

bool is_digit(char16_t unit)
{
    return unit >= u'0' && unit <= u'9';
}

std::u16string digits_of(const std::u16string& text)
{
    std::u16string digits;
    std::copy_if(text.begin(), text.end(), std::back_inserter(digits), is_digit);
    return digits;
}

bool has_right_check_digit(const std::u16string& text)
{
    constexpr int doubled[] = {0, 2, 4, 6, 8, 1, 3, 5, 7, 9};
    const std::u16string digits = digits_of(text);
    int sum = 0;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        const int digit = digits[digits.size() - 1 - i] - u'0';
        sum += i % 2 == 1 ? doubled[digit] : digit;
    }
    return sum % 10 == 0;
}

// With the check digit that makes the number right.
std::u16string numbered(std::u16string digits)
{
    for (char16_t check = u'0'; check <= u'9'; ++check)
        if (has_right_check_digit(digits + check)) return digits + check;
    return digits;
}

TEST(CheckDigits, are_told_right_from_wrong)
{
    for (const std::u16string number : {u"4111111111111111", u"378282246310005", u"79927398713", u"0"})
        EXPECT_TRUE(has_right_check_digit(number)) << to_utf8(number);
    for (const std::u16string number : {u"4111111111111112", u"79927398710", u"5"})
        EXPECT_FALSE(has_right_check_digit(number)) << to_utf8(number);
}

TEST_F(Cards, every_result_has_a_right_check_digit_and_the_shape_of_its_value)
{
    std::mt19937 random(4);
    for (const std::size_t keep : {0u, 1u, 4u, 6u, 8u}) {
        std::vector<std::u16string> values;
        for (int i = 0; i < 1000; ++i) {
            std::u16string value = random_digits(random, 12 + random() % 8);
            for (std::size_t at = 4; at < value.size(); at += 5) value.insert(at, 1, u" -./"[random() % 4]);
            values.push_back(value);
        }
        const auto masked = results("card", "keep_first=" + std::to_string(keep), values);
        for (std::size_t i = 0; i < values.size(); ++i) {
            SCOPED_TRACE(to_utf8(values[i]));
            ASSERT_EQ(masked[i].size(), values[i].size());
            EXPECT_TRUE(has_right_check_digit(masked[i])) << to_utf8(masked[i]);
            for (std::size_t at = 0; at < values[i].size(); ++at)
                ASSERT_EQ(is_digit(masked[i][at]) ? u'0' : masked[i][at],
                          is_digit(values[i][at]) ? u'0' : values[i][at]);
            const std::u16string before = digits_of(values[i]);
            const std::u16string after = digits_of(masked[i]);
            EXPECT_EQ(after.substr(0, keep), before.substr(0, keep));
            EXPECT_NE(after.substr(keep, after.size() - keep - 1),
                      before.substr(keep, before.size() - keep - 1))
                << "more than the check digit changes";
        }
    }
}

TEST_F(Cards, different_numbers_get_different_numbers_and_none_its_own)
{
    for (const auto& [digits, count] : {std::pair{2u, 100u}, {3u, 1000u}, {4u, 10000u}}) {
        std::vector<std::u16string> values;
        for (unsigned i = 0; i < count; ++i) values.push_back(numbered(u"4567" + to_text(i, digits)));
        const auto masked = results("card", "keep_first=4", values);
        EXPECT_EQ(std::set(masked.begin(), masked.end()).size(), count);
        EXPECT_EQ(std::set(masked.begin(), masked.end()), std::set(values.begin(), values.end()));
        for (unsigned i = 0; i < count; ++i) EXPECT_NE(masked[i], values[i]);
    }
}

TEST_F(Cards, the_digits_alone_decide)
{
    const auto masked =
        results("card", "", {u"4111111111111111", u"4111 1111 1111 1111", u"(4111)-1111-1111-1111"});
    EXPECT_EQ(digits_of(masked[1]), masked[0]);
    EXPECT_EQ(digits_of(masked[2]), masked[0]);
    EXPECT_EQ(masked[2][0], u'(');
}

TEST_F(Cards, each_beginning_has_a_mapping_of_its_own)
{
    const auto masked =
        results("card", "keep_first=6", {numbered(u"411111234567890"), numbered(u"411112234567890")});
    EXPECT_EQ(masked[0].substr(0, 6), u"411111");
    EXPECT_EQ(masked[1].substr(0, 6), u"411112");
    EXPECT_NE(masked[0].substr(6, 9), masked[1].substr(6, 9));
}

TEST_F(Cards, a_wrong_check_digit_is_put_right)
{
    const auto masked = results("card", "", {u"4111111111111111", u"4111111111111112"});
    EXPECT_EQ(masked[0], masked[1]);
    EXPECT_TRUE(has_right_check_digit(masked[1]));
}

TEST_F(Cards, numbers_of_any_length_are_masked)
{
    std::mt19937 random(5);
    for (const std::size_t length : {3u, 4u, 19u, 20u, 40u, 100u}) {
        const std::u16string value = random_digits(random, length);
        const std::u16string masked = results("card", "", {value}).front();
        EXPECT_EQ(masked.size(), length);
        EXPECT_NE(masked, value);
        EXPECT_TRUE(has_right_check_digit(masked));
    }
}

TEST_F(Cards, too_few_digits_are_an_error)
{
    expect_errors("card", "", {u"1", u"12", u"1-2", u"----", u" "}, value_no_card_number);
    expect_errors("card", "keep_first=6", {u"12345678", u"1234 5678", u"123456"}, value_no_card_number);
    EXPECT_EQ(mask("card", "keep_first=6", u"123456789").error, 0);
}

TEST_F(Cards, whatever_is_no_card_number_is_an_error)
{
    expect_errors("card", "",
                  {u"Anna 4111111111111111", u"4111111111111111x", u"٤١١١١١١١١١١١١١١١", u"４１１１１１１１",
                   u"4111 1111 😀 1111", u"4111\u00A01111\u00A01111", u"4111\t11111111", u"日本語",
                   u"Ж123456789"},
                  value_no_card_number);
}

TEST_F(Cards, follow_key_and_scope)
{
    expect_keyed("card", "keep_first=6",
                 {u"4111 1111 1111 1111", u"5500-0000-0000-0004", u"378282246310005"});
    expect_keyed("card", "", {u"4111 1111 1111 1111"}, {"varchar(19)", 19});
}

TEST_F(Cards, unusable_rules_are_refused)
{
    expect_rule_refused("card", "keep_first=65", argument_not_in_range, u"A whole number from 0 to 64.");
    expect_rule_refused("card", "keep_last=4", argument_unknown, u"Arguments: keep_first, scope.");
    expect_rule_refused("card", "6", argument_unknown);
    for (const char* type : {"integer", "decimal(20,0)", "date", "timestamp"})
        expect_rule_refused("card", "", function_unfit_for_type, u"", {type, 29});
}

} // namespace
} // namespace velk::test
