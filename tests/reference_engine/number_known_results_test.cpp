// What the keyed functions for numbers, dates and codes make of some values, worked out by another program
// from the words that their sources describe them with. Whoever changes a result here changes it for everyone
// who has masked data.

#include "masking/masks.h"
#include "support.h"
#include "text/unicode.h"

namespace velk::test {
namespace {

class NumberKnownResults : public FrameworkTest {};

TEST_F(NumberKnownResults, are_the_same_in_every_release_and_on_every_platform)
{
    const struct {
        const char* rule;
        const char* arguments;
        const char* type;
        std::int32_t length;
        const char* value;
        const char* result;
    } rows[] = {
        {"dateshift", "days=30", "date", 10, "2024-02-29", "2024-02-17"},
        {"dateshift", "days=1000", "timestamp", 35, "1999-12-31T23:59:59.5+05:45",
         "1999-01-21T23:59:59.5+05:45"},
        {"dateshift", "days=90, min=2000-01-01, max=2024-12-31, scope=s", "date", 10, "2024-11-30",
         "2024-11-06"},
        {"noise", "percent=10", "integer", 20, "123456", "117097"},
        {"noise", "percent=10", "integer", 20, "00123456", "00117097"},
        {"noise", "percent=50", "decimal(9,2)", 11, "-98765.43", "-61445.69"},
        {"noise", "percent=100", "integer", 20, "-9223372036854775808", "-8652240406745579113"},
        {"noise", "percent=25", "decimal(40,2)", 42, "12345678901234567890123456789.50",
         "10325391217846628814529290267.69"},
        {"card", "keep_first=6", "", 0, "4012 8888 8888 1881", "4012 8853 9213 1761"},
        {"card", "", "", 0, "4012888888881881", "6500135376895773"},
        {"ff1", "", "", 0, "123-45-6789", "992-54-7748"},
        {"ff1", "scope=s", "", 0, "9999999999999999999999999999999999999999999999999999999999",
         "4620311806701390132770028805012737791944987468189072093256"},
        {"ff1", "alphabet=letters", "", 0, "Anna Maria", "hRuc EMMBE"},
    };
    for (const auto& [rule, arguments, type, length, value, result] : rows) {
        const Outcome outcome = mask(rule, arguments, to_utf16(value), type, length);
        EXPECT_EQ(outcome.error, 0);
        EXPECT_EQ(to_utf8(outcome.text.value_or(u"<null>")), result) << rule << "(" << arguments << ")";
    }
}

TEST_F(NumberKnownResults, of_a_date_moved_by_another_value)
{
    const std::string_view secret(test_key);
    const HmacKey key({reinterpret_cast<const std::uint8_t*>(secret.data()), secret.size()});
    const std::u16string_view date = u"2024-02-29";
    const std::u16string_view person = u"patient 17";
    Results results;
    make_mask(read_rule("dateshift", "days=365, by=id", {TypeName::date}),
              &key)({std::span(&date, 1), std::span(&person, 1)}, results);
    EXPECT_EQ(results.text, u"2023-06-09");
}

} // namespace
} // namespace velk::test
