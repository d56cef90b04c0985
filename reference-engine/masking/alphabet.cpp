#include "masking/alphabet.h"

#include "masking/graphemes.h"
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

bool is_white_space(char32_t character)
{
    constexpr std::u32string_view single = U" \u00A0\u1680\u202F\u205F\u3000";
    return single.find(character) != single.npos || (character >= 0x2000 && character <= 0x200A);
}

// Whether a reader sees a character where it stands, and it alone: any other could show a value in another
// order, join its neighbour or not be seen at all.
bool is_shown_by_itself(char32_t character)
{
    return stands_alone(character) && !is_white_space(character);
}

[[noreturn]] void refuse_alphabet(const std::string& text, const char* reason)
{
    throw Failure{argument_unusable,
                  "alphabet=" + shown(text),
                  {},
                  std::string(reason) + " Named alphabets: alphanumeric, digits, letters."};
}

// A result has the length of its value, in units as well.
bool have_one_length(const std::u32string& characters)
{
    const auto has_one_unit = [](char32_t character) { return character <= 0xFFFF; };
    return std::all_of(characters.begin(), characters.end(), has_one_unit) ||
           std::none_of(characters.begin(), characters.end(), has_one_unit);
}

// Whether each stands once.
bool number_characters(Alphabet& alphabet)
{
    const auto [lowest, highest] =
        std::minmax_element(alphabet.characters.begin(), alphabet.characters.end());
    alphabet.lowest = *lowest;
    alphabet.numerals.assign(*highest - *lowest + 1, -1);
    std::int32_t count = 0;
    for (const char32_t character : alphabet.characters) {
        std::int32_t& numeral = alphabet.numerals[character - alphabet.lowest];
        if (numeral >= 0) return false;
        numeral = count++;
    }
    return true;
}

} // namespace

Alphabet make_alphabet(const std::string& text)
{
    Alphabet alphabet{characters_of(to_utf16(text)), 0, 0, {}};
    const std::u32string& characters = alphabet.characters;
    if (characters.size() < 2 || characters.size() > largest_alphabet)
        refuse_alphabet(text, "An alphabet has 2 to 65536 characters.");
    if (!std::all_of(characters.begin(), characters.end(), is_shown_by_itself))
        refuse_alphabet(text, "White space, marks, controls and format characters cannot be encrypted.");
    if (!have_one_length(characters))
        refuse_alphabet(text, "Characters up to U+FFFF and above do not go together.");
    if (!number_characters(alphabet)) refuse_alphabet(text, "Each character stands once.");
    alphabet.fewest = fewest_for(characters.size());
    return alphabet;
}

} // namespace velk::engine
