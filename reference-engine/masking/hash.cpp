// `hash` writes the first digits of the value's keyed hash.

#include "masking/functions.h"

namespace velk::engine {

namespace {

constexpr std::size_t whole_hash = 2 * digest_size; // hexadecimal digits
constexpr std::size_t usual_hash = 32;

void add_digits(Results& results, const Digest& digest, std::size_t length)
{
    const std::size_t offset = results.text.size();
    for (std::size_t i = 0; i < length; ++i) {
        const unsigned digit = (i % 2 == 0 ? digest[i / 2] >> 4 : digest[i / 2]) & 0xFu;
        results.text += u"0123456789abcdef"[digit];
    }
    close_result(results, offset);
}

} // namespace

Mask make_hash(RuleArguments& arguments, const RuleContext& context)
{
    const std::size_t length = longest_hash(arguments);
    KeyedInput input(*context.key, "hash", take_scope(arguments, "hash"));
    refuse_rest(arguments);
    require_length(length, context.column);
    return [length, input](Values values, Results& results) mutable {
        for (const std::u16string_view value : values) {
            if (value.empty())
                add_result(results, value); // empty stays empty
            else
                add_digits(results, input.digest(value), length);
        }
    };
}

// Every result is as long as the arguments say.
std::size_t longest_hash(RuleArguments& arguments)
{
    return take_number(arguments, "length", usual_hash, 1, whole_hash);
}

} // namespace velk::engine
