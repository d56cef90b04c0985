#include "masking/masks.h"
#include "rules.h"
#include "text/unicode.h"

#include <algorithm>
#include <chrono>
#include <map>

namespace velk::test {
namespace {

class DateShifts : public FrameworkTest {};

const Column date{"date", 10};
const Column timestamp{"timestamp", 35};

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

TEST_F(DateShifts, leave_what_is_empty_empty)
{
    EXPECT_EQ(results("dateshift", "days=30", {u""}, date).front(), u"");
    EXPECT_EQ(results("dateshift", "days=30", {u""}, timestamp).front(), u"");
}

TEST_F(DateShifts, keep_the_zone_of_a_timestamp)
{
    const std::vector<std::u16string> ends{u" 12:30:00Z", u"T12:30:00.25+02:00", u" 23:59:59-11",
                                           u" 00:00:00+05:45"};
    std::vector<std::u16string> values;
    for (const std::u16string& end : ends) values.push_back(u"2024-02-29" + end);
    const std::u16string moved = results("dateshift", "days=30", {u"2024-02-29"}, date).front();
    const auto masked = results("dateshift", "days=30", values, timestamp);
    for (std::size_t i = 0; i < values.size(); ++i) EXPECT_EQ(masked[i], moved + ends[i]);
}

// Dates of one run of twenty thousand, each in a column with the other days.
TEST_F(DateShifts, of_two_releases_share_nothing)
{
    const auto dates = days_from(u"1950-01-01", 20'000);
    const auto near = results("dateshift", "days=30", dates, date);
    const auto far = results("dateshift", "days=60", dates, date);
    const auto bounded = results("dateshift", "days=30, max=2199-12-31", dates, date);
    std::size_t undone = 0;
    std::size_t alike = 0;
    for (std::size_t i = 0; i < dates.size(); ++i) {
        // Were one move twice the other, the date would stand as far before the near one as that before the
        // far one.
        const std::int64_t guess = 2 * days_between(dates[i], near[i]) - days_between(dates[i], far[i]);
        undone += std::abs(guess) <= 1;
        alike += near[i] == bounded[i];
    }
    EXPECT_LT(undone, dates.size() / 40) << "of some 1 in 60 by chance";
    EXPECT_LT(alike, dates.size() / 40);
}

TEST_F(DateShifts, move_by_each_number_of_days_alike)
{
    const auto dates = days_from(u"1950-01-01", 20'000);
    const auto masked = results("dateshift", "days=30", dates, date);
    std::map<std::int64_t, std::size_t> moves;
    for (std::size_t i = 0; i < dates.size(); ++i) ++moves[days_between(dates[i], masked[i])];
    std::vector<std::size_t> counts;
    for (const auto& [move, count] : moves) counts.push_back(count);
    EXPECT_EQ(counts.size(), 60u);
    EXPECT_FALSE(moves.contains(0));
    EXPECT_LT(chi_square(counts), chi_square_limit(59));
}

// Masks values beside the others of their rows.
std::vector<Outcome> move_by(const std::string& arguments, const std::vector<std::u16string_view>& values,
                             const std::vector<std::u16string_view>& by, TypeName type = TypeName::date)
{
    const HmacKey key(std::vector<std::uint8_t>(32, 7));
    Results masked;
    make_mask(read_rule("dateshift", arguments, {type}), &key)({values, by}, masked);
    std::vector<Outcome> outcomes;
    for (const Result& result : masked.list)
        outcomes.push_back({std::u16string(text_of(masked, result)), result.error});
    return outcomes;
}

TEST_F(DateShifts, by_another_column_keep_the_intervals_of_each_person)
{
    std::set<std::int64_t> moves;
    for (unsigned person = 0; person < 500; ++person) {
        const std::u16string name = u"patient " + to_text(person);
        const std::vector<std::u16string_view> by(3, name);
        const auto visits = move_by("days=30, by=name", {u"2023-12-24", u"2024-01-02", u"2024-03-01"}, by);
        const std::int64_t move = days_between(u"2023-12-24", *visits[0].text);
        EXPECT_EQ(days_between(u"2024-01-02", *visits[1].text), move);
        EXPECT_EQ(days_between(u"2024-03-01", *visits[2].text), move);
        // Whatever the column, the bounds, the table and the time of day.
        const auto elsewhere = move_by("days=30, by=patient, min=1900-01-01, max=2199-12-31",
                                       {u"1999-05-05T10:00:00Z"}, {name}, TypeName::timestamp);
        EXPECT_EQ(days_between(u"1999-05-05", elsewhere[0].text->substr(0, 10)), move);
        EXPECT_EQ(elsewhere[0].text->substr(10), u"T10:00:00Z");
        moves.insert(move);
    }
    EXPECT_FALSE(moves.contains(0));
    EXPECT_EQ(moves.size(), 60u);
    EXPECT_EQ(*moves.begin(), -30);
    EXPECT_EQ(*moves.rbegin(), 30);
}

TEST_F(DateShifts, by_another_column_move_by_each_number_of_days_alike_and_each_release_by_its_own)
{
    std::vector<std::u16string> persons;
    for (unsigned i = 0; i < 20'000; ++i) persons.push_back(to_text(i));
    const std::vector<std::u16string_view> by(persons.begin(), persons.end());
    const std::vector<std::u16string_view> dates(persons.size(), u"2024-02-29");
    const auto near = move_by("days=30, by=id", dates, by);
    const auto far = move_by("days=60, by=id", dates, by);
    std::map<std::int64_t, std::size_t> moves;
    std::size_t undone = 0;
    for (std::size_t i = 0; i < dates.size(); ++i) {
        const std::int64_t move = days_between(u"2024-02-29", *near[i].text);
        ++moves[move];
        undone += std::abs(2 * move - days_between(u"2024-02-29", *far[i].text)) <= 1;
    }
    std::vector<std::size_t> counts;
    for (const auto& [move, count] : moves) counts.push_back(count);
    EXPECT_EQ(counts.size(), 60u);
    EXPECT_LT(chi_square(counts), chi_square_limit(59));
    EXPECT_LT(undone, dates.size() / 40) << "of some 1 in 60 by chance";
}

TEST_F(DateShifts, by_another_column_follow_its_value_the_days_and_the_scope_alone)
{
    const auto move = [](const std::string& arguments, std::u16string_view value) {
        return days_between(u"2024-02-29", *move_by(arguments, {u"2024-02-29"}, {value})[0].text);
    };
    EXPECT_NE(move("days=1000, by=id", u"17"), move("days=1000, by=id", u"18"));
    EXPECT_NE(move("days=1000, by=id", u"17"), move("days=1000, by=id, scope=s", u"17"));
    EXPECT_NE(move("days=1000, by=id", u"17"), move("days=1001, by=id", u"17"));
    EXPECT_NE(move("days=1000, by=id", u"2024-02-29"), move("days=1000", u"")) << "another key than without";
}

TEST_F(DateShifts, by_another_column_out_of_the_bounds_are_an_error)
{
    std::size_t inside = 0;
    for (unsigned id = 0; id < 200; ++id) {
        const std::u16string text = to_text(id);
        const auto masked = move_by("days=5, by=id, min=2024-01-01, max=2024-01-31",
                                    {u"2024-01-03", u"2024-01-16"}, {text, text});
        EXPECT_EQ(masked[1].error, 0);
        const std::int64_t move = days_between(u"2024-01-16", *masked[1].text);
        EXPECT_EQ(masked[0].error, move >= -2 ? 0 : date_moved_out_of_bounds);
        EXPECT_EQ(masked[0].text,
                  move >= -2 ? date_of(day_of(u"2024-01-03") + std::chrono::days{move}) : u"");
        inside += masked[0].error == 0;
    }
    EXPECT_GT(inside, 100u);
    EXPECT_LT(inside, 200u);
    const auto ends = move_by("days=1, by=id", {u"0001-01-01", u"9999-12-31"}, {u"a", u"a"});
    EXPECT_EQ((ends[0].error == 0) + (ends[1].error == 0), 1) << "one would leave the calendar";
    expect_code(ends[0].error == 0 ? ends[1].error : ends[0].error, date_moved_out_of_bounds);
}

TEST_F(DateShifts, by_another_column_without_its_value_are_an_error)
{
    const auto masked = move_by("days=5, by=id", {u"2024-01-03", u"", u"2024-01-03"}, {u"", u"", u"1"});
    expect_code(masked[0].error, other_value_missing);
    EXPECT_EQ(masked[0].text, u"");
    EXPECT_EQ(masked[1].error, 0) << "empty stays empty";
    EXPECT_EQ(masked[1].text, u"");
    EXPECT_EQ(masked[2].error, 0);
    EXPECT_EQ(move_by("days=5, by=id", {u"2024-01-03"}, {})[0].error, other_value_missing);
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
    for (const char* max : {"2024-02-27", "2024-02-28", "2024-02-29"})
        expect_rule_refused("dateshift", std::string("days=1, min=2024-02-28, max=") + max, argument_unusable,
                            u"max must be at least two days after min.", date);
    results("dateshift", "days=1, min=2024-02-28, max=2024-03-01", {u"2024-02-28"}, date);
    for (const char* type : {"text", "varchar(20)", "char(20)", "integer", "decimal(20,0)"})
        expect_rule_refused("dateshift", "days=1", function_unfit_for_type, u"", {type, 20});
}

} // namespace
} // namespace velk::test
