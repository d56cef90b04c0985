#include "masking/alphabet.h"

#include "text/excerpt.h"
#include "text/failure.h"
#include "text/unicode.h"

#include <algorithm>

namespace velk::engine {

namespace {

constexpr std::size_t largest_alphabet = 65'536;
constexpr std::size_t fewest_characters = 2;

struct NamedAlphabet {
    std::u16string_view name;
    std::u16string_view characters;
};

// Each name has a letter twice, so that none can be meant as an alphabet itself.
constexpr NamedAlphabet named_alphabets[] = {
    {u"alphanumeric", u"0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"},
    {u"digits", u"0123456789"},
    {u"letters", u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"},
};

std::u32string code_points(std::u16string_view text)
{
    std::u32string result;
    for (std::size_t position = 0; position < text.size();) result += next_code_point(text, position);
    return result;
}

std::u32string characters_of(const std::u16string& text)
{
    for (const auto& [name, characters] : named_alphabets)
        if (text == name) return code_points(characters);
    return code_points(text);
}

std::size_t fewest_for(std::size_t radix)
{
    std::size_t count = 1;
    for (std::size_t values = radix; values < fewest_encrypted_values; values *= radix) ++count;
    return std::max(count, fewest_characters);
}

[[noreturn]] void refuse_alphabet(const std::string& text, const char* reason)
{
    throw Failure{argument_unusable,
                  "alphabet=" + shown(text),
                  {},
                  std::string(reason) + " Named alphabets: alphanumeric, digits, letters."};
}

} // namespace

Alphabet make_alphabet(const std::string& text)
{
    Alphabet alphabet{characters_of(to_utf16(text)), {}, 0};
    const std::u32string& characters = alphabet.characters;
    if (characters.size() < 2 || characters.size() > largest_alphabet)
        refuse_alphabet(text, "An alphabet has 2 to 65536 characters.");
    const auto control = [](char32_t character) { return character < 0x20; };
    if (std::any_of(characters.begin(), characters.end(), control))
        refuse_alphabet(text, "Controls cannot be encrypted.");
    // A result has the length of its value, in units as well.
    const auto of_one_unit = [](char32_t character) { return character <= 0xFFFF; };
    if (!std::all_of(characters.begin(), characters.end(), of_one_unit) &&
        !std::none_of(characters.begin(), characters.end(), of_one_unit))
        refuse_alphabet(text, "Characters up to U+FFFF and above do not go together.");
    for (const char32_t character : characters) {
        const auto numeral = static_cast<std::uint16_t>(alphabet.numerals.size());
        if (!alphabet.numerals.emplace(character, numeral).second)
            refuse_alphabet(text, "Each character stands once.");
    }
    alphabet.fewest = fewest_for(characters.size());
    return alphabet;
}

} // namespace velk::engine
