// `dict` puts an entry of a list in the place of a value, chosen by the value's keyed hash.

#include "datacnv/unicode.h"
#include "failure.h"
#include "masking/draws.h"
#include "masking/functions.h"
#include "masking/lists.h"

#include <algorithm>
#include <memory>

namespace velk::engine {

namespace {

Entries take_entries(RuleArguments& arguments)
{
    const std::optional<std::string> list = take_text(arguments, "list");
    const std::optional<std::string> file = take_text(arguments, "file");
    if (list && file) throw Failure{argument_unusable, "list and file", {}, "Name one of the two."};
    if (!list && !file) {
        refuse_rest(arguments);
        throw Failure{argument_missing, "list"};
    }
    return list ? built_in_list(*list) : list_file(*file);
}

std::size_t longest_of(const Entries& entries)
{
    std::size_t longest = 0;
    for (const std::u16string& entry : entries) longest = std::max(longest, code_point_count(entry));
    return longest;
}

// A value that is an entry itself gets another one: a list has at least two that differ.
const std::u16string& entry_for(const Entries& entries, KeyedInput& input, std::u16string_view value)
{
    std::size_t index = Draws(input.digest(value)).below(static_cast<std::uint32_t>(entries.size()));
    while (entries[index] == value) index = (index + 1) % entries.size();
    return entries[index];
}

} // namespace

Mask make_dict(RuleArguments& arguments, const RuleContext& context)
{
    // Masks are copied, lists need not be.
    const auto entries = std::make_shared<const Entries>(take_entries(arguments));
    KeyedInput input(*context.key, "dict", take_scope(arguments, "dict"));
    refuse_rest(arguments);
    require_length(longest_of(*entries), context.column);
    return [entries, input](Values values, Results& results) mutable {
        for (const std::u16string_view value : values)
            add_result(results, value.empty() ? value : entry_for(*entries, input, value));
    };
}

std::size_t longest_dict(RuleArguments& arguments)
{
    return longest_of(take_entries(arguments));
}

} // namespace velk::engine
