#include "masking/column_type.h"
#include "support.h"
#include "text/unicode.h"

#include "text/failure.h"
#include <chrono>
#include <cstdio>

namespace velk::test {
namespace {

TEST(ColumnTypes, are_read_with_their_sizes)
{
    struct Row {
        const char* text;
        TypeName name;
        int length;
        int scale;
    };
    const Row rows[] = {{"text", TypeName::text, 0, 0},
                        {"char(2)", TypeName::character, 2, 0},
                        {"varchar( 20 )", TypeName::varying, 20, 0},
                        {"varchar(1000000)", TypeName::varying, 1000000, 0},
                        {" decimal(9,2) ", TypeName::decimal, 9, 2},
                        {"decimal( 1 , 1 )", TypeName::decimal, 1, 1},
                        {"integer", TypeName::integer, 0, 0},
                        {"date", TypeName::date, 0, 0},
                        {"timestamp", TypeName::timestamp, 0, 0}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        const ColumnType type = parse_type(row.text);
        EXPECT_EQ(type.name, row.name);
        EXPECT_EQ(type.length, row.length);
        EXPECT_EQ(type.scale, row.scale);
    }
}

TEST(ColumnTypes, refuse_what_is_no_type)
{
    struct Row {
        const char* text;
        ErrorCode code;
    };
    const Row rows[] = {{"", type_unknown},
                        {"string", type_unknown},
                        {"varchar", type_unknown},
                        {"varchar()", type_unknown},
                        {"varchar(x)", type_unknown},
                        {"varchar(-1)", type_unknown},
                        {"varchar(20", type_unknown},
                        {"varchar(20) x", type_unknown},
                        {"decimal(9)", type_unknown},
                        {"integer(4)", type_unknown},
                        {"Varchar(20)", type_unknown},
                        {"varchar(0)", type_out_of_range},
                        {"varchar(1000001)", type_out_of_range},
                        {"varchar(99999999999999999999)", type_out_of_range},
                        {"decimal(0,0)", type_out_of_range},
                        {"decimal(1001,0)", type_out_of_range},
                        {"decimal(2,3)", type_out_of_range}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        try {
            parse_type(row.text);
            ADD_FAILURE() << "was taken";
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.code, row.code);
        }
    }
}

void expect_values(const char* type, std::initializer_list<const char16_t*> values, bool expected)
{
    for (const char16_t* value : values)
        EXPECT_EQ(is_value_of(parse_type(type), value), expected)
            << type << ": " << testing::PrintToString(std::u16string(value));
}

TEST(ColumnTypes, know_their_values)
{
    expect_values("integer",
                  {u"0", u"-1", u"007", u"9223372036854775807", u"-9223372036854775808",
                   u"-00000000000000000000000001"},
                  true);
    expect_values("integer",
                  {u"", u"-", u"+1", u"1.0", u" 1", u"1 ", u"1e3", u"٣", u"9223372036854775808",
                   u"-9223372036854775809", u"99999999999999999999"},
                  false);
    expect_values("decimal(5,2)", {u"0", u"-0.5", u"123.45", u"00123.4", u"999.99"}, true);
    expect_values("decimal(5,2)", {u"", u".5", u"5.", u"1234", u"1.234", u"1,5", u"--1", u"1.2.3", u"1e2"},
                  false);
    expect_values("decimal(2,2)", {u"0.12", u"-0.1", u"0"}, true);
    expect_values("decimal(2,2)", {u"1", u"1.0"}, false);
    expect_values("date", {u"2024-02-29", u"0001-01-01", u"9999-12-31", u"2000-02-29"}, true);
    expect_values("date",
                  {u"", u"2023-02-29", u"1900-02-29", u"2024-13-01", u"2024-00-01", u"2024-04-31",
                   u"2024-01-00", u"24-01-01", u"2024/01/01", u"2024-1-1", u"0000-01-01", u"2024-01-01 ",
                   u"2024-01-01T00:00:00"},
                  false);
    expect_values("timestamp",
                  {u"2024-02-29 23:59:59", u"2024-02-29T00:00:00", u"2024-02-29 12:00:00.1",
                   u"2024-02-29 12:00:00.123456789"},
                  true);
    expect_values("timestamp",
                  {u"", u"2024-02-29", u"2024-02-29 24:00:00", u"2024-02-29 12:60:00", u"2024-02-29 12:00:60",
                   u"2024-02-29 12:00:00.", u"2024-02-29 12:00:00.1234567890", u"2024-02-29  12:00:00",
                   u"2024-02-30 12:00:00", u"2024-02-29 12:00"},
                  false);
    expect_values("timestamp",
                  {u"2024-02-29 12:00:00Z", u"2024-02-29T12:00:00.5Z", u"2024-02-29 12:00:00+02",
                   u"2024-02-29 12:00:00-11", u"2024-02-29T12:00:00+05:45",
                   u"2024-02-29 12:00:00.123456789-09:30"},
                  true);
    expect_values("timestamp",
                  {u"2024-02-29 12:00:00z", u"2024-02-29 12:00:00 Z", u"2024-02-29 12:00:00+",
                   u"2024-02-29 12:00:00+2", u"2024-02-29 12:00:00+0200", u"2024-02-29 12:00:00+02:",
                   u"2024-02-29 12:00:00+02:6", u"2024-02-29 12:00:00+02:60", u"2024-02-29 12:00:00+24",
                   u"2024-02-29 12:00:00+02:00Z", u"2024-02-29 12:00:00ZZ", u"2024-02-29 12:00:00\u221202",
                   u"2024-02-29 12:00:00 Europe/Paris"},
                  false);
    expect_values("text", {u"", u"anything"}, true);
    expect_values("varchar(2)", {u"", u"longer than that: limits are judged elsewhere"}, true);
}

TEST(ColumnTypes, have_no_unit_but_digits_in_a_number_wherever_it_stands)
{
    const ColumnType decimal = parse_type("decimal(38,0)");
    for (std::size_t length = 1; length <= 18; ++length)
        for (std::size_t at = 0; at < length; ++at)
            for (const char16_t unit :
                 u"\x0000\x002F\x003A\x00B5\x0130\x0660\x7FF6\x8030\x8039\xFF10\xFFCF\xFFFF") {
                std::u16string number(length, u'9');
                ASSERT_TRUE(is_value_of(decimal, number));
                number[at] = unit;
                ASSERT_FALSE(is_value_of(decimal, number)) << length << ", " << at << ", " << int{unit};
            }
}

TEST(ColumnTypes, have_no_numbers_of_more_than_a_thousand_digits)
{
    const ColumnType integer = parse_type("integer");
    const ColumnType decimal = parse_type("decimal(1000,1)");
    EXPECT_TRUE(is_value_of(integer, u"-" + std::u16string(1000, u'0')));
    EXPECT_TRUE(is_value_of(decimal, u"-" + std::u16string(999, u'9') + u".9"));
    EXPECT_FALSE(is_value_of(integer, std::u16string(1003, u'0')));
    EXPECT_FALSE(is_value_of(decimal, std::u16string(1003, u'0')));
}

TEST(ColumnTypes, know_every_day_of_the_calendar)
{
    const ColumnType date = parse_type("date");
    for (int year = 0; year < 10'000; ++year)
        for (int month = 0; month < 14; ++month)
            for (int day = 28; day < 33; ++day) {
                char text[40];
                std::snprintf(text, sizeof text, "%04d-%02d-%02d", year, month, day);
                const std::chrono::year_month_day of{std::chrono::year(year),
                                                     std::chrono::month(static_cast<unsigned>(month)),
                                                     std::chrono::day(static_cast<unsigned>(day))};
                const bool expected = year > 0 && of.ok();
                ASSERT_EQ(is_value_of(date, to_utf16(text)), expected) << text;
            }
}

} // namespace
} // namespace velk::test
