// The functions that look at no value: `keep`, `null` and `fixed`.

#include "datacnv/unicode.h"
#include "masking/functions.h"

namespace velk::engine {

Mask make_keep(RuleArguments&, const RuleContext&)
{
    return [](Values values, Results& results) {
        for (const std::u16string_view value : values) add_result(results, value);
    };
}

Mask make_null(RuleArguments&, const RuleContext&)
{
    return [](Values values, Results& results) {
        for (std::size_t i = 0; i < values.size(); ++i) add_null(results);
    };
}

// An empty value gets the text as well: a rule that says the result says it for every value.
Mask make_fixed(RuleArguments& arguments, const RuleContext& context)
{
    std::u16string text = to_utf16(take_only(arguments, fixed_form));
    refuse_rest(arguments);
    require_fit(text, context.column);
    return [text = std::move(text)](Values values, Results& results) {
        for (std::size_t i = 0; i < values.size(); ++i) add_result(results, text);
    };
}

std::size_t longest_fixed(RuleArguments& arguments)
{
    return code_point_count(to_utf16(take_only(arguments, fixed_form)));
}

} // namespace velk::engine
