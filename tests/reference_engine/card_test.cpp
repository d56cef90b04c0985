#include "masking/masks.h"
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

std::size_t number_of(std::u16string_view digits)
{
    std::size_t number = 0;
    for (const char16_t digit : digits) number = number * 10 + (digit - u'0');
    return number;
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
            const std::size_t fewest = std::max<std::size_t>(12, keep + 7);
            std::u16string value = random_digits(random, fewest + random() % (20 - fewest));
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
    // Of the smallest domain that is masked, a part; smaller ones as a whole are tested with the cipher.
    std::vector<std::u16string> texts;
    for (unsigned i = 0; i < 50'000; ++i) texts.push_back(u"40128" + to_text(i, 6) + u"0");
    const std::vector<std::u16string_view> values(texts.begin(), texts.end());
    const HmacKey key(std::vector<std::uint8_t>(32, 7));
    Results masked;
    make_mask(read_rule("card", "keep_first=5", {}), &key)({values}, masked);
    std::size_t unchanged = 0;
    std::vector<bool> reached(1'000'000);
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::size_t number = number_of(text_of(masked, masked.list[i]).substr(5, 6));
        unchanged += number == i;
        EXPECT_FALSE(reached[number]) << number;
        reached[number] = true;
    }
    EXPECT_EQ(unchanged, 0u);
}

TEST_F(Cards, each_hidden_digit_is_as_likely_as_any_other)
{
    std::vector<std::u16string> values;
    for (unsigned i = 0; i < 10'000; ++i) values.push_back(numbered(u"411111" + to_text(i, 9)));
    const auto masked = results("card", "keep_first=6", values);
    for (std::size_t at = 6; at < 16; ++at) {
        std::vector<std::size_t> counts(10);
        for (const std::u16string& number : masked) ++counts[number[at] - u'0'];
        EXPECT_LT(chi_square(counts), chi_square_limit(9)) << at;
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

TEST_F(Cards, of_twelve_to_nineteen_digits_are_masked)
{
    std::mt19937 random(5);
    for (std::size_t length = 12; length <= 19; ++length) {
        const std::u16string value = random_digits(random, length);
        const std::u16string masked = results("card", "", {value}).front();
        EXPECT_EQ(masked.size(), length);
        EXPECT_NE(masked, value);
        EXPECT_TRUE(has_right_check_digit(masked));
    }
}

TEST_F(Cards, of_another_length_are_an_error)
{
    expect_errors("card", "", {u"401", u"1", u"12345678901", u"1234-5678-901", u"12345678901234567890"},
                  value_no_card_number);
    expect_errors("card", "", {u"----", u" ", u"1-2"}, value_no_card_number);
}

TEST_F(Cards, with_fewer_than_six_hidden_digits_are_an_error)
{
    expect_errors("card", "keep_first=6", {u"401288888888"}, value_no_card_number);
    EXPECT_EQ(mask("card", "keep_first=6", u"4012888888881").error, 0);
    expect_errors("card", "keep_first=8", {u"40128888888818", u"4012-8888-8888-18"}, value_no_card_number);
    EXPECT_EQ(mask("card", "keep_first=8", u"401288888888188").error, 0);
    EXPECT_EQ(mask("card", "keep_first=5", u"401288888888").error, 0);
}

TEST_F(Cards, of_any_number_of_digits_beyond_nineteen_are_an_error)
{
    const std::u16string eight_thousand(8'000, u'4');
    expect_errors("card", "", std::vector(50, eight_thousand), value_no_card_number);
    expect_errors("card", "", {std::u16string(1'000'000, u'4')}, value_no_card_number);
}

TEST_F(Cards, of_one_beginning_kept_whole_or_in_part_share_nothing)
{
    const std::u16string value = numbered(u"000000123456789");
    std::set<std::u16string> ends;
    for (const char* keep : {"1", "2", "3", "4", "5", "6"})
        ends.insert(results("card", std::string("keep_first=") + keep, {value}).front().substr(6));
    EXPECT_EQ(ends.size(), 6u);
}

TEST_F(Cards, whatever_is_no_card_number_is_an_error)
{
    expect_errors("card", "",
                  {u"Anna 4111111111111111", u"4111111111111111x", u"٤١١١١١١١١١١١١١١١",
                   u"４１１１１１１１１１１１", u"4111 1111 😀 1111", u"4111\u00A01111\u00A01111",
                   u"4111\t11111111", u"日本語", u"Ж123456789012"},
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
    expect_rule_refused("card", "keep_first=9", argument_not_in_range, u"A whole number from 0 to 8.");
    expect_rule_refused("card", "keep_first=13", argument_not_in_range);
    expect_rule_refused("card", "keep_last=4", argument_unknown, u"Arguments: keep_first, scope.");
    expect_rule_refused("card", "6", argument_unknown);
    for (const char* type : {"integer", "decimal(20,0)", "date", "timestamp"})
        expect_rule_refused("card", "", function_unfit_for_type, u"", {type, 29});
}

} // namespace
} // namespace velk::test
