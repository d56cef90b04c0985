#include "rules.h"
#include "text/unicode.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace velk::test {
namespace {

class Noise : public FrameworkTest {};

const Column integer{"integer", 20};
const Column amount{"decimal(9,2)", 11};

std::int64_t number_of(const std::u16string& text)
{
    std::string digits = to_utf8(text);
    std::erase(digits, '.');
    return std::stoll(digits);
}

std::size_t scale_of(const std::u16string& text)
{
    const std::size_t point = text.find(u'.');
    return point == std::u16string::npos ? 0 : text.size() - point - 1;
}

TEST_F(Noise, moves_every_integer_by_at_most_its_share_and_never_by_nothing)
{
    std::vector<std::u16string> values;
    for (int i = 1; i <= 2000; ++i)
        values.push_back((i % 2 == 0 ? u"-" : u"") + to_text(static_cast<unsigned>(i)));
    for (const int percent : {1, 10, 50, 100}) {
        const auto masked = results("noise", "percent=" + std::to_string(percent), values, integer);
        for (std::size_t i = 0; i < values.size(); ++i) {
            const std::int64_t before = number_of(values[i]);
            const std::int64_t after = number_of(masked[i]);
            EXPECT_NE(after, before);
            EXPECT_LE(std::abs(after - before), std::max<std::int64_t>(std::abs(before) * percent / 100, 1));
            EXPECT_NE(after, 0);
            EXPECT_EQ(after < 0, before < 0) << "the sign stays";
            EXPECT_EQ(to_utf8(masked[i]), std::to_string(after)) << "written plainly";
        }
    }
}

TEST_F(Noise, reaches_every_number_in_its_range)
{
    std::map<std::int64_t, int> counts;
    for (int run = 0; run < 2000; ++run)
        ++counts[number_of(
            results("noise", "percent=5, scope=run" + std::to_string(run), {u"100"}, integer).front())];
    EXPECT_EQ(counts.size(), 10u) << "95 to 105 without 100";
    EXPECT_EQ(counts.begin()->first, 95);
    EXPECT_EQ(counts.rbegin()->first, 105);
    for (const auto& [number, count] : counts) {
        EXPECT_GT(count, 130) << number; // 200 on average
        EXPECT_LT(count, 270) << number;
    }
}

TEST_F(Noise, keeps_the_scale_of_a_decimal)
{
    std::mt19937 random(6);
    std::vector<std::u16string> values{u"0.5", u"12.50", u"1.00", u"-0.01", u"1000000", u"9999.99"};
    for (unsigned i = 0; i < 500; ++i)
        values.push_back(to_text(random() % 1'000'000) + u"." + random_digits(random, 1 + i % 2));
    const auto masked = results("noise", "percent=20", values, amount);
    for (std::size_t i = 0; i < values.size(); ++i) {
        SCOPED_TRACE(to_utf8(values[i]) + " " + to_utf8(masked[i]));
        EXPECT_EQ(scale_of(masked[i]), scale_of(values[i]));
        const std::int64_t before = number_of(values[i]);
        const std::int64_t move = std::abs(number_of(masked[i]) - before);
        EXPECT_GE(move, 1);
        EXPECT_LE(move, std::max<std::int64_t>(std::abs(before) / 5, 1));
    }
}

TEST_F(Noise, changes_at_least_the_last_digit_of_small_numbers)
{
    const auto masked =
        results("noise", "percent=1", {u"0", u"-0", u"00", u"5", u"-5", u"1", u"-1"}, integer);
    EXPECT_EQ(masked[0], u"1");
    EXPECT_EQ(masked[1], u"-1");
    EXPECT_EQ(masked[2], u"01");
    EXPECT_TRUE(masked[3] == u"4" || masked[3] == u"6");
    EXPECT_TRUE(masked[4] == u"-4" || masked[4] == u"-6");
    EXPECT_EQ(masked[5], u"2");
    EXPECT_EQ(masked[6], u"-2");
    EXPECT_EQ(results("noise", "percent=1", {u"0.00"}, amount).front(), u"0.01");
}

TEST_F(Noise, lets_a_number_of_nines_grow_by_a_digit)
{
    for (const std::size_t digits : {9u, 18u, 19u, 27u, 36u}) {
        std::size_t grown = 0;
        for (int run = 0; run < 100; ++run) {
            const std::string arguments = "percent=100, scope=run" + std::to_string(run);
            const auto masked =
                results("noise", arguments, {std::u16string(digits, u'9')}, {"decimal(40,0)", 41});
            if (masked.front().size() > digits) ++grown;
        }
        EXPECT_GE(grown, 25u) << digits << " digits: 50 on average";
        EXPECT_LE(grown, 75u) << digits << " digits: 50 on average";
    }
}

TEST_F(Noise, never_gives_zero)
{
    for (int run = 0; run < 50; ++run) {
        const std::string arguments = "percent=100, scope=run" + std::to_string(run);
        const auto masked = results("noise", arguments, {u"-0.01", u"0.01", u"-0.02", u"0.3"}, amount);
        EXPECT_EQ(masked[0], u"-0.02");
        EXPECT_EQ(masked[1], u"0.02");
        EXPECT_TRUE(masked[2] == u"-0.01" || masked[2] == u"-0.03" || masked[2] == u"-0.04")
            << to_utf8(masked[2]);
        EXPECT_NE(masked[3], u"0.0");
    }
}

TEST_F(Noise, keeps_leading_zeros)
{
    for (int run = 0; run < 20; ++run) {
        const std::string arguments = "percent=100, scope=run" + std::to_string(run);
        const auto masked = results("noise", arguments, {u"007", u"-0099", u"00"}, integer);
        EXPECT_EQ(masked[0].size(), 3u);
        EXPECT_EQ(masked[0][0], u'0');
        EXPECT_EQ(masked[1].size(), 5u);
        EXPECT_EQ(masked[1].substr(0, 2), u"-0");
        EXPECT_EQ(masked[2], u"01");
        EXPECT_EQ(results("noise", arguments, {u"007.50"}, amount).front().find(u'.'), 3u);
    }
    const auto masked = results("noise", "percent=1", {u"007", u"100"}, integer);
    EXPECT_TRUE(masked[0] == u"006" || masked[0] == u"008") << to_utf8(masked[0]);
    EXPECT_TRUE(masked[1] == u"99" || masked[1] == u"101") << to_utf8(masked[1]);
}

TEST_F(Noise, moves_a_number_alike_however_it_is_written)
{
    const Column column{"decimal(12,4)", 14};
    for (unsigned i = 1; i < 500; ++i) {
        const std::u16string number = to_text(7 * i);
        for (const std::u16string sign : {u"", u"-"}) {
            const auto masked = results("noise", "percent=30",
                                        {sign + number, sign + number + u".0", sign + number + u".00",
                                         sign + u"00" + number, sign + u"0" + number + u".0000"},
                                        column);
            const std::int64_t most_exact = number_of(masked[4]);
            EXPECT_LE(std::abs(number_of(masked[0]) * 10'000 - most_exact), 10'000);
            EXPECT_LE(std::abs(number_of(masked[1]) * 1'000 - most_exact), 1'000);
            EXPECT_LE(std::abs(number_of(masked[2]) * 100 - most_exact), 100);
            EXPECT_EQ(number_of(masked[3]), number_of(masked[0]));
        }
    }
    const auto zeros = results("noise", "percent=30", {u"0", u"0.0", u"-0.0", u"00"}, column);
    EXPECT_EQ(zeros, (std::vector<std::u16string>{u"1", u"0.1", u"-0.1", u"01"}));
}

TEST_F(Noise, of_two_releases_shares_nothing)
{
    std::mt19937 random(11);
    std::vector<std::u16string> values;
    for (int i = 0; i < 20'000; ++i) values.push_back(to_text(100'000 + random() % 900'000));
    const auto ten = results("noise", "percent=10", values, integer);
    const auto twenty = results("noise", "percent=20", values, integer);
    std::size_t undone = 0;
    for (std::size_t i = 0; i < values.size(); ++i)
        undone += std::abs(2 * number_of(ten[i]) - number_of(twenty[i]) - number_of(values[i])) <= 1;
    EXPECT_LT(undone, 10u) << "by chance";
}

// Where one share was drawn for both, every number came back from the two results.
TEST_F(Noise, of_two_types_of_which_one_cuts_shares_nothing)
{
    constexpr double largest = 999'999'999;
    std::vector<std::u16string> values;
    for (unsigned i = 0; i < 2'000; ++i) values.push_back(to_text(950'000'000 + 24'001 * i));
    const auto cut = results("noise", "percent=10", values, {"decimal(9,0)", 10});
    const auto whole = results("noise", "percent=10", values, {"decimal(12,0)", 13});
    std::size_t alike = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const double first = 0.9 * static_cast<double>(number_of(values[i]));
        const double of_cut = (static_cast<double>(number_of(cut[i])) - first) / (largest - first);
        const double of_whole = (static_cast<double>(number_of(whole[i])) - first) / (first * 2 / 9);
        alike += std::abs(of_cut - of_whole) < 1e-4 ? 1u : 0u;
        EXPECT_LE(of_cut, 1.0);
    }
    EXPECT_LT(alike, 10u) << "by chance";
}

TEST_F(Noise, moves_a_number_alike_in_all_scales_up_to_one_limit)
{
    for (unsigned number = 950; number < 1000; ++number) {
        const std::u16string text = to_text(number);
        const auto whole = results("noise", "percent=10", {text}, {"decimal(3,0)", 4}).front();
        const auto exact = results("noise", "percent=10", {text + u".00"}, {"decimal(5,2)", 7}).front();
        EXPECT_LE(std::abs(number_of(whole) * 100 - number_of(exact)), 200) << number;
    }
}

TEST_F(Noise, is_as_likely_to_move_by_one_share_as_by_another)
{
    std::vector<std::u16string> values;
    for (unsigned i = 0; i < 20'000; ++i) values.push_back(to_text(1'000'000 + i));
    const auto masked = results("noise", "percent=50", values, integer);
    std::vector<std::size_t> counts(100);
    std::size_t unchanged = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const double before = static_cast<double>(number_of(values[i]));
        const double share = (static_cast<double>(number_of(masked[i])) - before) / before; // -0.5 to 0.5
        ++counts[std::min<std::size_t>(static_cast<std::size_t>((share + 0.5) * 100), 99)];
        unchanged += masked[i] == values[i];
    }
    EXPECT_EQ(unchanged, 0u);
    EXPECT_LT(chi_square(counts), chi_square_limit(99));
}

TEST_F(Noise, stays_in_64_bits)
{
    for (int run = 0; run < 200; ++run) {
        const std::string arguments = "percent=100, scope=run" + std::to_string(run);
        const auto masked = results(
            "noise", arguments,
            {u"9223372036854775807", u"-9223372036854775808", u"9223372036854775806", u"9000000000000000000"},
            integer);
        EXPECT_GT(number_of(masked[0]), 0);
        EXPECT_LT(number_of(masked[0]), std::numeric_limits<std::int64_t>::max());
        EXPECT_LT(number_of(masked[1]), 0);
        EXPECT_GT(number_of(masked[1]), std::numeric_limits<std::int64_t>::min());
        EXPECT_NE(masked[2], u"9223372036854775806");
    }
}

TEST_F(Noise, stays_in_the_precision_of_its_column)
{
    for (int run = 0; run < 100; ++run) {
        const std::string arguments = "percent=100, scope=run" + std::to_string(run);
        const auto masked =
            results("noise", arguments, {u"99.9", u"-99.9", u"99", u"0.9"}, {"decimal(3,1)", 5});
        EXPECT_LT(number_of(masked[0]), 999);
        EXPECT_GT(number_of(masked[1]), -999);
        EXPECT_LT(number_of(masked[2]), 99);
        EXPECT_NE(masked[3], u"0.9");
    }
    EXPECT_EQ(results("noise", "percent=1", {u"0.99"}, {"decimal(2,2)", 5}).front(), u"0.98");
    EXPECT_EQ(results("noise", "percent=1", {u"-0.99"}, {"decimal(2,2)", 5}).front(), u"-0.98");
}

TEST_F(Noise, a_number_that_has_no_other_is_an_error)
{
    expect_errors("noise", "percent=1", {u"0", u"-0"}, result_does_not_fit, {"decimal(2,2)", 5});
}

TEST_F(Noise, a_number_longer_than_its_column_is_an_error)
{
    int errors = 0;
    for (int run = 0; run < 40; ++run) {
        const Outcome outcome =
            mask("noise", "percent=50, scope=run" + std::to_string(run), u"99", "integer", 2);
        if (outcome.error == 0) {
            EXPECT_EQ(outcome.text->size(), 2u);
            continue;
        }
        expect_code(outcome.error, result_does_not_fit);
        EXPECT_EQ(outcome.text, u"");
        ++errors;
    }
    EXPECT_GT(errors, 0);
    EXPECT_LT(errors, 40);
}

TEST_F(Noise, numbers_of_a_thousand_digits_are_masked)
{
    std::mt19937 random(7);
    const std::u16string value = u"1" + random_digits(random, 989) + u"." + random_digits(random, 10);
    const std::u16string masked = results("noise", "percent=10", {value}, {"decimal(1000,10)", 1002}).front();
    EXPECT_NE(masked, value);
    EXPECT_EQ(scale_of(masked), 10u);
    EXPECT_NE(masked.substr(masked.size() - 300), value.substr(value.size() - 300))
        << "down to the last digits";
    EXPECT_TRUE(masked.size() == value.size() || masked.size() == value.size() - 1);
}

// Numbers of nineteen digits and less are computed in a word, others in parts: none may show where.
TEST_F(Noise, of_every_size_moves_within_its_share)
{
    std::mt19937 random(12);
    for (std::size_t size = 15; size <= 40; ++size) {
        const std::string type = "decimal(" + std::to_string(size + 1) + ",0)";
        std::size_t up = 0;
        for (int i = 0; i < 100; ++i) {
            const std::u16string value = u"1" + random_digits(random, size - 1);
            const std::u16string masked =
                results("noise", "percent=40", {value}, {type, static_cast<std::int32_t>(size + 2)}).front();
            const auto first = [size](const std::u16string& number) {
                return std::stod(to_utf8(number)) / std::pow(10.0, static_cast<double>(size - 1));
            };
            EXPECT_LE(std::abs(first(masked) - first(value)), 0.4 * first(value) * (1 + 1e-12));
            EXPECT_NE(masked, value);
            up += first(masked) > first(value);
        }
        EXPECT_GT(up, 25u);
        EXPECT_LT(up, 75u);
    }
}

TEST_F(Noise, a_number_has_a_thousand_digits_at_most)
{
    results("noise", "percent=10", std::vector(200, std::u16string(1000, u'7')), {"decimal(1000,0)", 1002});
    expect_errors("noise", "percent=10", std::vector(50, std::u16string(50'000, u'7')), value_too_long,
                  {"decimal(1000,0)", 1002});
    expect_errors("noise", "percent=10", {std::u16string(1003, u'0')}, value_not_of_type, {"integer", 0});
}

TEST_F(Noise, leaves_what_is_empty_empty)
{
    EXPECT_EQ(results("noise", "percent=5", {u""}, integer).front(), u"");
    EXPECT_EQ(results("noise", "percent=5", {u""}, amount).front(), u"");
}

TEST_F(Noise, whatever_is_no_number_is_an_error)
{
    expect_errors("noise", "percent=5", {u"1.5", u"+1", u"1e3", u"٤٢", u"x", u"9223372036854775808"},
                  value_not_of_type, integer);
    expect_errors("noise", "percent=5", {u"1,5", u".5", u"1.", u"1.234", u"12345678"}, value_not_of_type,
                  amount);
}

TEST_F(Noise, follows_key_and_scope)
{
    expect_keyed("noise", "percent=50", {u"123456", u"-987654321", u"1000000007"}, integer);
    expect_keyed("noise", "percent=50", {u"1234.56", u"-98765.43"}, amount);
}

TEST_F(Noise, unusable_rules_are_refused)
{
    expect_rule_refused("noise", "", argument_missing, u"", integer);
    expect_rule_refused("noise", "5", argument_missing, u"", integer);
    for (const char* percent : {"0", "101", "-5", "5%", "0.5"})
        expect_rule_refused("noise", std::string("percent=") + percent, argument_not_in_range,
                            u"A whole number from 1 to 100.", integer);
    for (const char* type : {"text", "varchar(20)", "char(20)", "date", "timestamp"})
        expect_rule_refused("noise", "percent=5", function_unfit_for_type, u"", {type, 20});
}

} // namespace
} // namespace velk::test
