#include "masking/address.h"

#include "text/unicode.h"

#include <array>

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

// Parts set apart by single dots.
bool is_dotted(std::u16string_view text, std::size_t longest)
{
    std::size_t code_points = 0;
    bool part_begins = true;
    unsigned wrong = 0; // and no branch on each dot: where they stand cannot be foreseen
    for (const char16_t unit : text) {
        const bool dot = unit == u'.';
        wrong |= static_cast<unsigned>(!is_address_character(unit)) | (unsigned{dot} & unsigned{part_begins});
        part_begins = dot;
        code_points += is_low_surrogate(unit) ? 0 : 1;
    }
    return wrong == 0 && !part_begins && code_points <= longest;
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
