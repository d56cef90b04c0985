#include "rules.h"
#include "text/unicode.h"

#include <algorithm>
#include <chrono>

namespace velk::test {
namespace {

class DateShifts : public FrameworkTest {};

const Column date{"date", 10};
const Column timestamp{"timestamp", 29};

std::chrono::sys_days day_of(const std::u16string& text)
{
    using namespace std::chrono;
    const std::string utf8 = to_utf8(text);
    return year_month_day{year{std::stoi(utf8.substr(0, 4))},
                          month{static_cast<unsigned>(std::stoi(utf8.substr(5, 2)))},
                          day{static_cast<unsigned>(std::stoi(utf8.substr(8, 2)))}};
}

std::u16string date_of(std::chrono::sys_days day)
{
    const std::chrono::year_month_day date{day};
    return to_text(static_cast<unsigned>(static_cast<int>(date.year())), 4) + u"-" +
           to_text(static_cast<unsigned>(date.month()), 2) + u"-" +
           to_text(static_cast<unsigned>(date.day()), 2);
}

std::int64_t days_between(const std::u16string& a, const std::u16string& b)
{
    return (day_of(b) - day_of(a)).count();
}

std::vector<std::u16string> days_from(const std::u16string& first, int count)
{
    std::vector<std::u16string> dates;
    for (int i = 0; i < count; ++i) dates.push_back(date_of(day_of(first) + std::chrono::days{i}));
    return dates;
}

TEST_F(DateShifts, move_every_date_by_at_most_so_many_days_and_never_by_none)
{
    const auto dates = days_from(u"2023-12-01", 1000); // leap day and ends of years among them
    for (const int most : {1, 2, 30, 400}) {
        const auto masked = results("dateshift", "days=" + std::to_string(most), dates, date);
        std::set<std::int64_t> moves;
        for (std::size_t i = 0; i < dates.size(); ++i) {
            ASSERT_EQ(masked[i].size(), 10u);
            ASSERT_EQ(date_of(day_of(masked[i])), masked[i]) << "a date of the calendar";
            moves.insert(days_between(dates[i], masked[i]));
        }
        EXPECT_FALSE(moves.contains(0));
        EXPECT_GE(*moves.begin(), -most);
        EXPECT_LE(*moves.rbegin(), most);
        if (most <= 30) {
            EXPECT_EQ(moves.size(), 2u * static_cast<std::size_t>(most)) << "every move occurs";
        }
    }
}

TEST_F(DateShifts, know_the_calendar)
{
    // By one day there are but two results.
    const struct {
        const char16_t* value;
        const char16_t* before;
        const char16_t* after;
    } neighbours[] = {
        {u"2024-02-29", u"2024-02-28", u"2024-03-01"}, {u"2023-02-28", u"2023-02-27", u"2023-03-01"},
        {u"1900-03-01", u"1900-02-28", u"1900-03-02"}, {u"2000-03-01", u"2000-02-29", u"2000-03-02"},
        {u"2023-12-31", u"2023-12-30", u"2024-01-01"}, {u"2024-01-01", u"2023-12-31", u"2024-01-02"},
        {u"0004-02-29", u"0004-02-28", u"0004-03-01"}, {u"0999-12-31", u"0999-12-30", u"1000-01-01"}};
    std::set<bool> directions;
    for (const auto& [value, before, after] : neighbours) {
        const std::u16string masked = results("dateshift", "days=1", {value}, date).front();
        EXPECT_TRUE(masked == before || masked == after) << to_utf8(masked);
        directions.insert(masked == before);
    }
    EXPECT_EQ(directions.size(), 2u);
}

TEST_F(DateShifts, stay_inside_the_calendar)
{
    EXPECT_EQ(results("dateshift", "days=1", {u"0001-01-01", u"9999-12-31"}, date),
              (std::vector<std::u16string>{u"0001-01-02", u"9999-12-30"}));
    const std::vector<std::u16string> ends{u"0001-01-01", u"0001-01-02", u"9999-12-30", u"9999-12-31"};
    const auto masked = results("dateshift", "days=3652058", ends, date);
    for (std::size_t i = 0; i < ends.size(); ++i) {
        EXPECT_NE(masked[i], ends[i]);
        EXPECT_EQ(date_of(day_of(masked[i])), masked[i]);
    }
}

TEST_F(DateShifts, stay_inside_the_bounds)
{
    const auto dates = days_from(u"2024-01-01", 60);
    const auto masked = results("dateshift", "days=30, min=2024-01-01, max=2024-02-29", dates, date);
    for (std::size_t i = 0; i < dates.size(); ++i) {
        EXPECT_NE(masked[i], dates[i]);
        EXPECT_LE(std::abs(days_between(dates[i], masked[i])), 30);
        EXPECT_GE(masked[i], u"2024-01-01");
        EXPECT_LE(masked[i], u"2024-02-29");
    }
    EXPECT_EQ(results("dateshift", "days=9, max=2024-01-01", {u"2024-01-09"}, date).front().substr(0, 8),
              u"2024-01-")
        << "a date outside can move in";
    EXPECT_EQ(results("dateshift", "days=8, max=2024-01-01", {u"2024-01-09"}, date).front(), u"2024-01-01");
    EXPECT_EQ(results("dateshift", "days=1, min=2024-01-02", {u"2024-01-01"}, date).front(), u"2024-01-02");
}

TEST_F(DateShifts, without_another_date_in_reach_are_an_error)
{
    expect_errors("dateshift", "days=8, max=2024-01-01", {u"2024-01-10", u"2025-01-01", u"9999-12-31"},
                  date_without_choice, date);
    expect_errors("dateshift", "days=8, min=2024-01-01", {u"2023-12-23", u"0001-01-01"}, date_without_choice,
                  date);
    expect_errors("dateshift", "days=8, min=2024-01-01", {u"2023-12-23 10:00:00"}, date_without_choice,
                  timestamp);
}

TEST_F(DateShifts, keep_the_time_of_a_timestamp)
{
    const std::vector<std::u16string> values{u"2024-02-29 12:30:00", u"2024-02-29T23:59:59.999999999",
                                             u"2024-02-29 00:00:00.5"};
    const std::u16string moved = results("dateshift", "days=30", {u"2024-02-29"}, date).front();
    const auto masked = results("dateshift", "days=30", values, timestamp);
    for (std::size_t i = 0; i < values.size(); ++i)
        EXPECT_EQ(masked[i], moved + values[i].substr(10)) << "a day and its times move alike";
}

TEST_F(DateShifts, whatever_is_no_date_is_an_error)
{
    expect_errors("dateshift", "days=30",
                  {u"2023-02-29", u"1900-02-29", u"0000-01-01", u"24-01-01", u"2024-1-1", u"2024-13-01",
                   u"2024-01-00", u"٢٠٢٤-٠١-٠١"},
                  value_not_of_type, date);
    expect_errors("dateshift", "days=30", {u"2024-01-01", u"2024-01-01 24:00:00", u"2024-01-01 10:00"},
                  value_not_of_type, timestamp);
}

TEST_F(DateShifts, follow_key_and_scope)
{
    expect_keyed("dateshift", "days=365", {u"2024-02-29", u"1999-12-31", u"1970-01-01"}, date);
    expect_keyed("dateshift", "days=365", {u"2024-02-29 10:00:00", u"1999-12-31T23:59:59.1"}, timestamp);
}

TEST_F(DateShifts, unusable_rules_are_refused)
{
    expect_rule_refused("dateshift", "", argument_missing, u"", date);
    expect_rule_refused("dateshift", "30", argument_missing, u"", date);
    for (const char* days : {"0", "-1", "3652059", "x", "1.5"})
        expect_rule_refused("dateshift", std::string("days=") + days, argument_not_in_range,
                            u"A whole number from 1 to 3652058.", date);
    for (const char* bound : {"min=2023-02-29", "max=x", "min=''", "max='2024-01-01 10:00:00'"})
        expect_rule_refused("dateshift", std::string("days=1, ") + bound, argument_unusable,
                            u"A date of the calendar, written YYYY-MM-DD.", date);
    expect_rule_refused("dateshift", "days=1, min=2024-01-01, max=2024-01-01", argument_unusable,
                        u"min must be before max.", date);
    for (const char* type : {"text", "varchar(20)", "char(20)", "integer", "decimal(20,0)"})
        expect_rule_refused("dateshift", "days=1", function_unfit_for_type, u"", {type, 20});
}

} // namespace
} // namespace velk::test
