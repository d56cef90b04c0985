// `dateshift` moves a date by up to so many days back or forth, never by none and never out of the bounds.
// The time of a timestamp stays, and only its date decides, so that a date and the timestamps of that day
// move alike.

#include "masking/draws.h"
#include "masking/keyed.h"
#include "masking/masks.h"
#include "text/unicode.h"

#include <algorithm>
#include <chrono>

namespace velk::engine {

namespace {

using std::chrono::days;
using std::chrono::sys_days;
using std::chrono::year_month_day;

constexpr std::size_t date_length = 10; // YYYY-MM-DD

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

void mask_value(const Digest& hash, days most, const Bounds& bounds, std::u16string_view value,
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
    const std::uint32_t drawn = Draws(hash).below(static_cast<std::uint32_t>(choices));
    sys_days shifted = first + days{drawn};
    if (counts && shifted >= day) shifted += days{1};
    const std::size_t offset = results.text.size();
    append_date(results.text, shifted);
    results.text += value.substr(date_length);
    close_result(results, offset);
}

} // namespace

Mask mask_of(const DateShiftRule& rule, const HmacKey& key)
{
    const days most{rule.days};
    const Bounds bounds{to_day(rule.min), to_day(rule.max)};
    auto own_key = derive_key(key, rule.function, rule.scope,
                              {std::to_string(rule.days), to_utf8(rule.min), to_utf8(rule.max)});
    return [most, bounds, own_key](const Batch& batch, Results& results) {
        std::vector<std::u16string_view> dates;
        for (const std::u16string_view value : batch.values) dates.push_back(value.substr(0, date_length));
        const std::vector<Digest> hashes = digests(*own_key, dates);
        for (std::size_t i = 0; i < hashes.size(); ++i)
            mask_value(hashes[i], most, bounds, batch.values[i], results);
    };
}

} // namespace velk::engine
