// `partial` shows the first and the last characters of a value and writes one character over the others.

#include "datacnv/unicode.h"
#include "failure.h"
#include "masking/functions.h"
#include "parser/excerpt.h"

namespace velk::engine {

namespace {

struct Partial {
    std::size_t keep_first; // code points
    std::size_t keep_last;
    char16_t with;
};

constexpr std::size_t most_kept = 1'000'000;

// One character of one unit, so that no result is longer than its value.
char16_t mask_character(RuleArguments& arguments)
{
    const std::u16string text = to_utf16(take_text(arguments, "with").value_or("*"));
    const bool control = text.size() == 1 && (text[0] < 0x20 || (text[0] >= 0x7F && text[0] < 0xA0));
    if (text.size() == 1 && !control) return text[0];
    throw Failure{
        argument_unusable, "with=" + shown(to_utf8(text)), {}, "One character up to U+FFFF, no control."};
}

void mask_value(const Partial& partial, std::u16string_view value, Results& results)
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

Mask make_partial(RuleArguments& arguments, const RuleContext&)
{
    Partial partial{};
    partial.keep_first = take_number(arguments, "keep_first", 0, 0, most_kept);
    partial.keep_last = take_number(arguments, "keep_last", 0, 0, most_kept);
    partial.with = mask_character(arguments);
    return [partial](Values values, Results& results) {
        for (const std::u16string_view value : values) mask_value(partial, value, results);
    };
}

} // namespace velk::engine
