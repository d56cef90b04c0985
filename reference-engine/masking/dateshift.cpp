// `dateshift` moves a date by up to so many days back or forth, never by none and never out of the bounds.
// The time of a timestamp stays, and only its date decides, so that a date and the timestamps of that day
// move alike.

#include "datacnv/unicode.h"
#include "failure.h"
#include "masking/draws.h"
#include "masking/functions.h"
#include "parser/excerpt.h"

#include <algorithm>
#include <chrono>

namespace velk::engine {

namespace {

using std::chrono::days;
using std::chrono::sys_days;
using std::chrono::year_month_day;

constexpr std::size_t date_length = 10;      // YYYY-MM-DD
constexpr std::size_t most_days = 3'652'058; // from the first date to the last

struct Bounds {
    sys_days first;
    sys_days last;
};

unsigned number_at(std::u16string_view date, std::size_t at, std::size_t digits)
{
    unsigned number = 0;
    for (const char16_t digit : date.substr(at, digits)) number = number * 10 + (digit - u'0');
    return number;
}

sys_days to_day(std::u16string_view date)
{
    using namespace std::chrono;
    return year_month_day{year{static_cast<int>(number_at(date, 0, 4))}, month{number_at(date, 5, 2)},
                          day{number_at(date, 8, 2)}};
}

void append_number(std::u16string& text, unsigned number, unsigned place)
{
    for (; place > 0; place /= 10) text += static_cast<char16_t>('0' + number / place % 10);
}

void append_date(std::u16string& text, sys_days day)
{
    const year_month_day date{day};
    append_number(text, static_cast<unsigned>(static_cast<int>(date.year())), 1000);
    text += u'-';
    append_number(text, static_cast<unsigned>(date.month()), 10);
    text += u'-';
    append_number(text, static_cast<unsigned>(date.day()), 10);
}

sys_days take_date(RuleArguments& arguments, std::string_view name, std::u16string_view unsaid)
{
    const std::optional<std::string> said = take_text(arguments, name);
    const std::u16string text = said ? to_utf16(*said) : std::u16string(unsaid);
    if (is_value_of({TypeName::date}, text)) return to_day(text);
    throw Failure{argument_unusable,
                  std::string(name) + "=" + shown(*said),
                  {},
                  "A date of the calendar, written YYYY-MM-DD."};
}

Bounds take_bounds(RuleArguments& arguments)
{
    const Bounds bounds{take_date(arguments, "min", u"0001-01-01"),
                        take_date(arguments, "max", u"9999-12-31")};
    if (bounds.first < bounds.last) return bounds;
    throw Failure{argument_unusable, "min and max", {}, "min must be before max."};
}

void mask_value(KeyedInput& input, days most, const Bounds& bounds, std::u16string_view value,
                Results& results)
{
    if (value.empty()) return add_result(results, value);
    const std::u16string_view date = value.substr(0, date_length);
    const sys_days day = to_day(date);
    const sys_days first = std::max(day - most, bounds.first);
    const sys_days last = std::min(day + most, bounds.last);
    const bool counts = first <= day && day <= last; // among the dates from first to last
    const auto choices = (last - first).count() + (counts ? 0 : 1);
    if (choices < 1) return add_error(results, date_without_choice);
    const std::uint32_t drawn = Draws(input.digest(date)).below(static_cast<std::uint32_t>(choices));
    sys_days shifted = first + days{drawn};
    if (counts && shifted >= day) shifted += days{1};
    const std::size_t offset = results.text.size();
    append_date(results.text, shifted);
    results.text += value.substr(date_length);
    close_result(results, offset);
}

} // namespace

Mask make_dateshift(RuleArguments& arguments, const RuleContext& context)
{
    const days most{take_needed_number(arguments, "days", 1, most_days)};
    const Bounds bounds = take_bounds(arguments);
    KeyedInput input(*context.key, "dateshift", take_scope(arguments, "dateshift"));
    return [most, bounds, input](Values values, Results& results) mutable {
        for (const std::u16string_view value : values) mask_value(input, most, bounds, value, results);
    };
}

} // namespace velk::engine
