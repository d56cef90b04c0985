// `email` replaces an address: its name by drawn letters and digits, its domain by one that the rule says.
// Unsaid, that is example.com, which is reserved and receives nothing, so that no masked address reaches
// anyone.

#include "datacnv/unicode.h"
#include "failure.h"
#include "masking/draws.h"
#include "masking/functions.h"
#include "parser/excerpt.h"

#include <algorithm>

namespace velk::engine {

namespace {

constexpr std::u16string_view name_characters = u"abcdefghijklmnopqrstuvwxyz0123456789";
constexpr std::uint32_t letter_count = 26;
constexpr std::size_t name_length = 12; // 26 * 36^11 names: even among millions two hardly ever meet
constexpr std::size_t longest_name = 64;
constexpr std::size_t longest_domain = 253;

// Neither blanks nor controls, and none of what separates addresses or quotes their parts.
bool is_address_character(char16_t unit)
{
    if (unit <= 0x20 || (unit >= 0x7F && unit <= 0xA0) || unit == 0x3000) return false;
    if (unit >= 0x2000 && unit <= 0x206F) return false; // blanks, line ends and invisible marks
    return std::u16string_view(u"\"(),:;<>@[\\]").find(unit) == std::u16string_view::npos;
}

// Parts set apart by single dots.
bool is_dotted(std::u16string_view text, std::size_t longest)
{
    return !text.empty() && code_point_count(text) <= longest && !text.starts_with(u'.') &&
           !text.ends_with(u'.') && text.find(u"..") == std::u16string_view::npos &&
           std::all_of(text.begin(), text.end(), is_address_character);
}

bool is_address(std::u16string_view text)
{
    const std::size_t at = text.find(u'@');
    return at != std::u16string_view::npos && is_dotted(text.substr(0, at), longest_name) &&
           is_dotted(text.substr(at + 1), longest_domain);
}

std::u16string take_domain(RuleArguments& arguments)
{
    std::u16string domain = to_utf16(take_text(arguments, "domain").value_or("example.com"));
    if (is_dotted(domain, longest_domain)) return domain;
    throw Failure{argument_unusable,
                  "domain=" + shown(to_utf8(domain)),
                  {},
                  "A domain as it stands behind the @ of an address."};
}

std::size_t length_with(std::u16string_view domain)
{
    return name_length + 1 + code_point_count(domain);
}

void mask_value(KeyedInput& input, std::u16string_view domain, std::u16string_view value, Results& results)
{
    if (value.empty()) return add_result(results, value);
    if (!is_address(value)) return add_error(results, value_no_address);
    Draws draws(input.digest(value));
    const std::size_t offset = results.text.size();
    results.text += name_characters[draws.below(letter_count)];
    for (std::size_t i = 1; i < name_length; ++i)
        results.text += name_characters[draws.below(static_cast<std::uint32_t>(name_characters.size()))];
    results.text.append(u"@").append(domain);
    close_result(results, offset);
}

} // namespace

Mask make_email(RuleArguments& arguments, const RuleContext& context)
{
    const std::u16string domain = take_domain(arguments);
    KeyedInput input(*context.key, "email", take_scope(arguments, "email"));
    refuse_rest(arguments);
    require_length(length_with(domain), context.column);
    return [domain, input](Values values, Results& results) mutable {
        for (const std::u16string_view value : values) mask_value(input, domain, value, results);
    };
}

std::size_t longest_email(RuleArguments& arguments)
{
    return length_with(take_domain(arguments));
}

} // namespace velk::engine
