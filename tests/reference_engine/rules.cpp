#include "rules.h"

#include "text/unicode.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace velk::test {

std::vector<Outcome> mask_all(const std::string& rule, const std::string& arguments,
                              const std::vector<std::u16string>& values, const Column& column,
                              const std::string& key)
{
    Service service;
    service.operand(0, "key", "env:" + key);
    service.column("value", rule, arguments, column.length, column.type);
    Rows rows(1);
    for (const std::u16string& value : values)
        rows.add({value}, std::max(value.size(), 2 * static_cast<std::size_t>(column.length)) + 1);
    const std::int32_t handle = start(service);
    EXPECT_EQ(run(handle, service, rows), 0);
    EXPECT_EQ(Provider_Term(handle), 0);
    std::vector<Outcome> outcomes;
    for (std::size_t row = 0; row < values.size(); ++row)
        outcomes.push_back(
            {rows.is_null(row, 0) ? Value{} : Value{rows.text(row)}, rows.field(row, 0).errorCode});
    return outcomes;
}

std::vector<std::u16string> results(const std::string& rule, const std::string& arguments,
                                    const std::vector<std::u16string>& values, const Column& column,
                                    const std::string& key)
{
    std::vector<std::u16string> texts;
    const std::vector<Outcome> outcomes = mask_all(rule, arguments, values, column, key);
    for (std::size_t i = 0; i < values.size(); ++i) {
        EXPECT_EQ(outcomes[i].error, 0) << to_utf8(values[i]);
        texts.push_back(outcomes[i].text.value_or(u"<null>"));
        EXPECT_TRUE(is_well_formed(texts.back())) << to_utf8(values[i]);
    }
    return texts;
}

void expect_errors(const std::string& rule, const std::string& arguments,
                   const std::vector<std::u16string>& values, ErrorCode code, const Column& column)
{
    const std::vector<Outcome> outcomes = mask_all(rule, arguments, values, column);
    for (std::size_t i = 0; i < values.size(); ++i) {
        SCOPED_TRACE(to_utf8(values[i]));
        expect_code(outcomes[i].error, code);
        EXPECT_EQ(outcomes[i].text, u"");
    }
}

void expect_rule_refused(const std::string& rule, const std::string& arguments, ErrorCode code,
                         const std::u16string& advice, const Column& column)
{
    SCOPED_TRACE(rule + "(" + arguments + ") " + column.type);
    Service service;
    service.operand(0, "key", "env:VELK_TEST_KEY");
    service.column("the column", rule, arguments, column.length, column.type);
    expect_code(try_start(service), code);
    const Texts texts = texts_of(code);
    EXPECT_TRUE(contains(texts.detail, u"column \"the column\"")) << to_utf8(texts.detail);
    EXPECT_TRUE(contains(texts.detail, u"rule " + to_utf16(rule) + u"(")) << to_utf8(texts.detail);
    EXPECT_TRUE(contains(texts.detail + texts.trailing, advice)) << to_utf8(texts.detail + texts.trailing);
}

void expect_keyed(const std::string& rule, const std::string& arguments,
                  const std::vector<std::u16string>& values, const Column& column)
{
    const auto scoped = [&](const std::string& scope) {
        return (arguments.empty() ? "" : arguments + ", ") + "scope=" + scope;
    };
    const std::vector<std::u16string> masked = results(rule, arguments, values, column);
    EXPECT_NE(masked, values);
    EXPECT_EQ(results(rule, arguments, values, column), masked) << "the same in another run";
    EXPECT_NE(results(rule, arguments, values, column, "VELK_OTHER_KEY"), masked) << "another key";
    EXPECT_NE(results(rule, scoped("other"), values, column), masked) << "another scope";
    EXPECT_EQ(results(rule, scoped("other"), values, column), results(rule, scoped("other"), values, column));
    EXPECT_EQ(results(rule, scoped(rule), values, column), masked)
        << "unsaid, the scope is the function's name";
    for (std::size_t i = 0; i < values.size(); ++i)
        EXPECT_EQ(results(rule, arguments, {values[i]}, column).front(), masked[i])
            << "its neighbours matter";
    EXPECT_EQ(mask(rule, arguments, Value{}, column.type, column.length).text, Value{});
    if (column.type.empty()) {
        EXPECT_EQ(mask(rule, arguments, u"", column.type, column.length).text, u"");
    }
    Service service;
    service.column("value", rule, arguments, column.length, column.type);
    expect_code(try_start(service), key_missing);
}

std::u16string to_text(std::uint64_t number, std::size_t digits)
{
    const std::string text = std::to_string(number);
    return std::u16string(digits > text.size() ? digits - text.size() : 0, u'0') + to_utf16(text);
}

double chi_square(const std::vector<std::size_t>& counts)
{
    const double expected =
        static_cast<double>(std::accumulate(counts.begin(), counts.end(), std::size_t{})) /
        static_cast<double>(counts.size());
    double sum = 0;
    for (const std::size_t count : counts) {
        const double difference = static_cast<double>(count) - expected;
        sum += difference * difference / expected;
    }
    return sum;
}

// Wilson and Hilferty's approximation.
double chi_square_limit(std::size_t freedom)
{
    constexpr double deviations = 4.265; // of the normal distribution, for 1 in 100,000
    const double part = 2.0 / (9.0 * static_cast<double>(freedom));
    return static_cast<double>(freedom) * std::pow(1 - part + deviations * std::sqrt(part), 3);
}

std::u16string random_digits(std::mt19937& random, std::size_t count)
{
    std::u16string digits;
    while (digits.size() < count) digits += static_cast<char16_t>(u'0' + random() % 10);
    return digits;
}

} // namespace velk::test
