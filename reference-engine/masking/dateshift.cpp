// `dateshift` moves a date by up to so many days back or forth, never by none and never out of the bounds.
// The time and the zone of a timestamp stay.
//
// How far is decided by the date alone, so that a date and the timestamps of that day move alike, or by the
// value beside it in another column: then all dates with the same value there move by the same number of
// days, in whatever column, within whatever bounds, and keep their distances.

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

struct Shift {
    days most;
    sys_days first; // to be reached, and last
    sys_days last;
};

void write_number(char16_t* text, unsigned number, std::size_t digits)
{
    for (; digits > 0; number /= 10) text[--digits] = static_cast<char16_t>('0' + number % 10);
}

// The value with another date.
void add_moved(std::u16string_view value, sys_days day, Results& results)
{
    const std::size_t offset = results.text.size();
    results.text += value;
    char16_t* text = results.text.data() + offset;
    const year_month_day date{day};
    write_number(text, static_cast<unsigned>(static_cast<int>(date.year())), 4);
    write_number(text + 5, static_cast<unsigned>(date.month()), 2);
    write_number(text + 8, static_cast<unsigned>(date.day()), 2);
    close_result(results, offset);
}

// To one of all other dates within reach and bounds.
void move_by_itself(const Shift& shift, const Digest& hash, std::u16string_view value, Results& results)
{
    const sys_days day = to_day(value);
    const sys_days first = std::max(day - shift.most, shift.first);
    const sys_days last = std::min(day + shift.most, shift.last);
    const bool counts = first <= day && day <= last; // among the dates from first to last
    const auto choices = (last - first).count() + (counts ? 0 : 1);
    if (choices < 1) return add_error(results, date_without_choice);
    const std::uint32_t drawn = Draws(hash).below(static_cast<std::uint32_t>(choices));
    const sys_days moved = first + days{drawn};
    add_moved(value, counts && moved >= day ? moved + days{1} : moved, results);
}

// As far as the hash of the other value says, whatever the date is.
void move_with_others(const Shift& shift, const Digest& hash, std::u16string_view value, Results& results)
{
    const auto most = static_cast<std::int32_t>(shift.most.count());
    const auto drawn = static_cast<std::int32_t>(Draws(hash).below(static_cast<std::uint32_t>(2 * most)));
    const sys_days moved = to_day(value) + days{drawn < most ? drawn - most : drawn - most + 1};
    if (moved < shift.first || moved > shift.last) return add_error(results, date_moved_out_of_bounds);
    add_moved(value, moved, results);
}

Mask mask_by_itself(const Shift& shift, std::shared_ptr<const HmacKey> key)
{
    return [shift, key = std::move(key)](const Batch& batch, Results& results) {
        make_room(results, batch.values);
        std::vector<std::u16string_view> dates;
        dates.reserve(batch.values.size());
        for (const std::u16string_view value : batch.values) dates.push_back(value.substr(0, date_length));
        const std::vector<Digest> hashes = digests(*key, dates);
        for (std::size_t i = 0; i < hashes.size(); ++i) {
            if (dates[i].empty())
                add_result(results, dates[i]);
            else
                move_by_itself(shift, hashes[i], batch.values[i], results);
        }
    };
}

Mask mask_with_others(const Shift& shift, std::shared_ptr<const HmacKey> key)
{
    return [shift, key = std::move(key)](const Batch& batch, Results& results) {
        make_room(results, batch.values);
        const std::vector<Digest> hashes = digests(*key, batch.by);
        for (std::size_t i = 0; i < batch.values.size(); ++i) {
            if (batch.values[i].empty())
                add_result(results, batch.values[i]);
            else if (i >= batch.by.size() || batch.by[i].empty())
                add_error(results, other_value_missing);
            else
                move_with_others(shift, hashes[i], batch.values[i], results);
        }
    };
}

} // namespace

Mask mask_of(const DateShiftRule& rule, const HmacKey& key)
{
    const Shift shift{days{rule.days}, to_day(rule.min), to_day(rule.max)};
    const std::string most = std::to_string(rule.days);
    // What another value decides is the same within all bounds.
    if (!rule.by.empty())
        return mask_with_others(shift, derive_key(key, rule.function, rule.scope, {most, "by"}));
    return mask_by_itself(
        shift, derive_key(key, rule.function, rule.scope, {most, to_utf8(rule.min), to_utf8(rule.max)}));
}

} // namespace velk::engine
