#include "masking/address.h"

#include "text/unicode.h"

#include <algorithm>

namespace velk::engine {

namespace {

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

} // namespace

bool is_domain(std::u16string_view text)
{
    return is_dotted(text, longest_domain);
}

bool is_address(std::u16string_view text)
{
    const std::size_t at = text.find(u'@');
    return at != std::u16string_view::npos && is_dotted(text.substr(0, at), longest_name) &&
           is_domain(text.substr(at + 1));
}

} // namespace velk::engine
