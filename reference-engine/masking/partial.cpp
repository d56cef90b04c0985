// `partial` shows the first and the last characters of a value and writes one character over the others.

#include "masking/masks.h"
#include "text/excerpt.h"
#include "text/failure.h"
#include "text/unicode.h"

namespace velk::engine {

namespace {

void mask_value(const PartialRule& partial, std::u16string_view value, Results& results)
{
    const std::size_t count = code_point_count(value);
    const std::size_t offset = results.text.size();
    // A value too short to hide anything is masked whole.
    const bool shows = partial.keep_first + partial.keep_last < count;
    const std::size_t hidden_from = shows ? partial.keep_first : 0;
    const std::size_t hidden_to = shows ? count - partial.keep_last : count;
    for (std::size_t position = 0, index = 0; position < value.size(); ++index) {
        const char32_t code_point = next_code_point(value, position);
        if (index >= hidden_from && index < hidden_to)
            results.text += partial.with;
        else
            append(results.text, code_point);
    }
    close_result(results, offset);
}

} // namespace

Mask mask_of(const PartialRule& rule)
{
    return [rule](const Batch& batch, Results& results) {
        for (const std::u16string_view value : batch.values) mask_value(rule, value, results);
    };
}

} // namespace velk::engine
