// `ff1` encrypts the characters of an alphabet and keeps their number and places. Blanks and punctuation
// that are not of the alphabet stay where they are; any other character is an error, because it would be
// left readable.

#include "masking/ff1_cipher.h"

#include "datacnv/unicode.h"
#include "failure.h"
#include "masking/functions.h"
#include "masking/separator.h"
#include "parser/excerpt.h"

#include <algorithm>
#include <array>
#include <map>
#include <memory>

namespace velk::engine {

namespace {

constexpr std::size_t fewest_values = 1'000'000; // fewer are found by trying
constexpr std::size_t most_encrypted = 1'000;    // characters of one value

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

struct Alphabet {
    std::u32string characters;
    std::map<char32_t, std::uint16_t> numerals; // by character
    std::size_t fewest;                         // characters that have enough values
};

struct Encryption {
    Alphabet alphabet;
    Ff1 cipher;
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

std::size_t fewest_characters(std::size_t radix)
{
    std::size_t count = 1;
    for (std::size_t values = radix; values < fewest_values; values *= radix) ++count;
    return std::max(count, fewest_numerals);
}

[[noreturn]] void refuse_alphabet(const std::string& text, const char* reason)
{
    throw Failure{argument_unusable,
                  "alphabet=" + shown(text),
                  {},
                  std::string(reason) + " Named alphabets: alphanumeric, digits, letters."};
}

Alphabet make_alphabet(const std::string& text)
{
    Alphabet alphabet{characters_of(to_utf16(text)), {}, 0};
    const std::u32string& characters = alphabet.characters;
    if (characters.size() < 2 || characters.size() > largest_radix)
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
    alphabet.fewest = fewest_characters(characters.size());
    return alphabet;
}

// The code points of a value and the places of those that are encrypted.
struct Parts {
    std::u32string characters;
    std::vector<std::size_t> places;
    Numerals numerals;
};

// What keeps the value from being encrypted, if anything.
ErrorCode take_apart(const Alphabet& alphabet, std::u16string_view value, Parts& parts)
{
    parts.characters = code_points(value);
    for (std::size_t i = 0; i < parts.characters.size(); ++i) {
        const auto found = alphabet.numerals.find(parts.characters[i]);
        if (found == alphabet.numerals.end()) {
            if (!is_separator(parts.characters[i])) return value_outside_alphabet;
            continue;
        }
        parts.places.push_back(i);
        parts.numerals.push_back(found->second);
    }
    if (parts.numerals.size() < alphabet.fewest) return value_too_short_to_encrypt;
    return parts.numerals.size() <= most_encrypted ? ErrorCode{} : value_too_long_to_encrypt;
}

void mask_value(const Encryption& encryption, std::u16string_view value, Results& results)
{
    if (value.empty()) return add_result(results, value);
    Parts parts;
    const ErrorCode error = take_apart(encryption.alphabet, value, parts);
    if (error != 0) return add_error(results, error);
    const Numerals numerals = encryption.cipher.encrypt(parts.numerals);
    for (std::size_t i = 0; i < numerals.size(); ++i)
        parts.characters[parts.places[i]] = encryption.alphabet.characters[numerals[i]];
    const std::size_t offset = results.text.size();
    for (const char32_t character : parts.characters) append(results.text, character);
    close_result(results, offset);
}

} // namespace

Mask make_ff1(RuleArguments& arguments, const RuleContext& context)
{
    Alphabet alphabet = make_alphabet(take_text(arguments, "alphabet").value_or("digits"));
    const Digest key = KeyedInput(*context.key, "ff1", take_scope(arguments, "ff1")).digest({});
    const auto radix = static_cast<std::uint32_t>(alphabet.characters.size());
    // Masks are copied, keys are not.
    const auto encryption = std::make_shared<const Encryption>(std::move(alphabet), Ff1(key, radix));
    return [encryption](Values values, Results& results) {
        for (const std::u16string_view value : values) mask_value(*encryption, value, results);
    };
}

} // namespace velk::engine
