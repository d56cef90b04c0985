// `partial` shows the first and the last characters of a value and writes one character over the others.

#include "masking/graphemes.h"
#include "masking/masks.h"
#include "text/unicode.h"

#include <algorithm>

namespace velk::engine {

namespace {

struct Cut {
    std::size_t position = 0;    // units
    std::size_t code_points = 0; // before it
};

struct Hidden {
    Cut from;
    Cut to;
};

// Where every unit is a character.
bool is_plain(std::u16string_view value)
{
    return std::all_of(value.begin(), value.end(), [](char16_t unit) { return unit >= 0x20 && unit < 0x7F; });
}

// What lies between the characters that are shown. A character of several code points is shown whole or not
// at all, so that no more than the rule says is shown and no cut takes a mark from its letter.
Hidden hidden_part(const PartialRule& rule, std::u16string_view value, std::size_t count)
{
    const std::size_t last_shown = count - std::min(rule.keep_last, count);
    if (is_plain(value)) {
        const std::size_t from = std::min(rule.keep_first, count);
        return {{from, from}, {last_shown, last_shown}};
    }
    Hidden hidden{{}, {value.size(), count}};
    GraphemeScanner scanner;
    Cut cut;
    while (cut.position < value.size()) {
        std::size_t next = cut.position;
        if (scanner.begins_with(next_code_point(value, next))) {
            if (cut.code_points <= rule.keep_first) hidden.from = cut;
            if (cut.code_points >= last_shown) return hidden.to = cut, hidden;
        }
        cut = {next, cut.code_points + 1};
    }
    if (count <= rule.keep_first) hidden.from = cut;
    return hidden;
}

void mask_value(const PartialRule& rule, std::u16string_view value, Results& results)
{
    const std::size_t count = code_point_count(value);
    Hidden hidden = hidden_part(rule, value, count);
    // What hides too little would give the rest away.
    if (hidden.from.code_points + rule.hide_least > hidden.to.code_points)
        hidden = {{}, {value.size(), count}};
    const std::size_t offset = results.text.size();
    results.text += value.substr(0, hidden.from.position);
    results.text.append(hidden.to.code_points - hidden.from.code_points, rule.with);
    results.text += value.substr(hidden.to.position);
    close_result(results, offset);
}

} // namespace

Mask mask_of(const PartialRule& rule)
{
    return [rule](const Batch& batch, Results& results) {
        make_room(results, batch.values);
        for (const std::u16string_view value : batch.values) mask_value(rule, value, results);
    };
}

} // namespace velk::engine
