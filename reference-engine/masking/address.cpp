#include "masking/address.h"

#include "text/unicode.h"

#include <array>
#include <optional>

namespace velk::engine {

namespace {

constexpr std::size_t longest_name = 64;
constexpr std::size_t longest_domain = 253;

// Neither blanks nor controls, and none of what separates addresses or quotes their parts.
constexpr auto ascii_address_characters = [] {
    std::array<bool, 0x80> characters{};
    for (std::size_t unit = 0x21; unit < 0x7F; ++unit) characters[unit] = true;
    for (const char unit : {'"', '(', ')', ',', ':', ';', '<', '>', '@', '[', '\\', ']'})
        characters[static_cast<std::size_t>(unit)] = false;
    return characters;
}();

bool is_address_character(char16_t unit)
{
    if (unit < ascii_address_characters.size()) return ascii_address_characters[unit];
    // Blanks, line ends and invisible marks.
    return unit > 0xA0 && unit != 0x3000 && (unit < 0x2000 || unit > 0x206F);
}

// Reads parts set apart by single dots up to the first character that is in none. Returns where that is, or
// nothing where a part is empty or they are too long together.
std::optional<std::size_t> end_of_parts(std::u16string_view text, std::size_t longest)
{
    std::size_t position = 0;
    std::size_t low_surrogates = 0;
    bool part_begins = true;
    for (; position < text.size(); ++position) {
        const char16_t unit = text[position];
        const bool dot = unit == u'.';
        if (dot && part_begins) return std::nullopt;
        if (!dot && !is_address_character(unit)) break;
        part_begins = dot;
        if (is_low_surrogate(unit)) ++low_surrogates;
    }
    if (part_begins || position - low_surrogates > longest) return std::nullopt;
    return position;
}

} // namespace

bool is_domain(std::u16string_view text)
{
    return end_of_parts(text, longest_domain) == text.size();
}

bool is_address(std::u16string_view text)
{
    const std::optional<std::size_t> at = end_of_parts(text, longest_name);
    return at && *at < text.size() && text[*at] == u'@' && is_domain(text.substr(*at + 1));
}

} // namespace velk::engine
