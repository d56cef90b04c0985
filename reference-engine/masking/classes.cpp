// `classes` exchanges every letter and digit for one of its class and script block; the rest stays. All
// choices of a value are drawn from the keyed hash of the whole value.

#include "datacnv/unicode.h"
#include "masking/draws.h"
#include "masking/functions.h"
#include "masking/unicode_classes.h"

#include <algorithm>

namespace velk::engine {

namespace {

// What a character may be exchanged for: the members of a class, or the digits 1 to 9.
struct Choice {
    Membership membership;
    bool leading_digit;
};

std::uint32_t size_of(const Choice& choice)
{
    return choice.leading_digit ? 9 : choice.membership.of->size;
}

char32_t character(const Choice& choice, std::uint32_t index)
{
    return choice.leading_digit ? '1' + index : member(*choice.membership.of, index);
}

// Only for a character that was not exchanged, so that a leading digit is none of 0.
char32_t another(const Choice& choice)
{
    const std::uint32_t index = choice.membership.index - (choice.leading_digit ? 1 : 0);
    return character(choice, (index + 1) % size_of(choice));
}

// Where the digits of a number start to count. Zeros before stay and the digit here gets no zero, so that
// a masked number is as wide as its value; of a zero the last digit is exchanged.
std::size_t leading_digit(std::u16string_view number)
{
    const std::size_t first = number.find_first_of(u"123456789");
    return first != std::u16string_view::npos ? first : number.find_last_of(u'0');
}

void mask_value(KeyedInput& input, std::u16string_view value, std::size_t start, Results& results)
{
    const std::size_t offset = results.text.size();
    Draws draws(input.digest(value));
    Choice first{{nullptr, 0}, false};
    std::size_t first_at = 0;
    std::size_t first_length = 0;
    for (std::size_t position = 0; position < value.size();) {
        const std::size_t at = position;
        const char32_t code_point = next_code_point(value, position);
        const bool exempt = start != std::u16string_view::npos && at < start;
        const Choice choice{exempt ? Membership{nullptr, 0} : membership(code_point), at == start};
        if (choice.membership.of == nullptr) {
            append(results.text, code_point);
            continue;
        }
        if (first.membership.of == nullptr) first = choice, first_at = at, first_length = position - at;
        append(results.text, character(choice, draws.below(size_of(choice))));
    }
    // Chance may draw every character anew as it was. A value never comes back unmasked where it need not.
    if (first.membership.of != nullptr && std::u16string_view(results.text).substr(offset) == value) {
        std::u16string replacement;
        append(replacement, another(first));
        results.text.replace(offset + first_at, first_length, replacement);
    }
    close_result(results, offset);
}

} // namespace

Mask make_classes(RuleArguments& arguments, const RuleContext& context)
{
    KeyedInput input(*context.key, "classes", take_scope(arguments, "classes"));
    const bool number = is_number_type(context.column.type);
    return [input, number](Values values, Results& results) mutable {
        for (const std::u16string_view value : values)
            mask_value(input, value, number ? leading_digit(value) : std::u16string_view::npos, results);
    };
}

} // namespace velk::engine
