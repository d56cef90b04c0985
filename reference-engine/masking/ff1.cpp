// `ff1` encrypts the characters of an alphabet and keeps their number and places. Blanks and punctuation
// that are not of the alphabet stay where they are; any other character is an error, because it would be
// left readable.

#include "masking/ff1_cipher.h"

#include "masking/keyed.h"
#include "masking/masks.h"
#include "masking/separator.h"
#include "text/unicode.h"

#include <algorithm>
#include <array>
#include <map>
#include <memory>

namespace velk::engine {

namespace {

constexpr std::size_t most_encrypted = 1'000; // characters of one value

struct Encryption {
    std::shared_ptr<const Alphabet> alphabet;
    Ff1 cipher;
};

std::u32string code_points(std::u16string_view text)
{
    std::u32string result;
    for (std::size_t position = 0; position < text.size();) result += next_code_point(text, position);
    return result;
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
    const ErrorCode error = take_apart(*encryption.alphabet, value, parts);
    if (error != 0) return add_error(results, error);
    const Numerals numerals = encryption.cipher.encrypt(parts.numerals);
    for (std::size_t i = 0; i < numerals.size(); ++i)
        parts.characters[parts.places[i]] = encryption.alphabet->characters[numerals[i]];
    const std::size_t offset = results.text.size();
    for (const char32_t character : parts.characters) append(results.text, character);
    close_result(results, offset);
}

} // namespace

Mask mask_of(const Ff1Rule& rule, const HmacKey& key)
{
    const std::u32string& characters = rule.alphabet->characters;
    std::string alphabet;
    for (const char32_t character : characters) append(alphabet, character);
    const Digest secret = derive_secret(key, rule.function, rule.scope, {alphabet});
    const auto radix = static_cast<std::uint32_t>(characters.size());
    // Masks are copied, keys are not.
    return [encryption = std::make_shared<const Encryption>(rule.alphabet, Ff1(secret, radix))](
               const Batch& batch, Results& results) {
        for (const std::u16string_view value : batch.values) mask_value(*encryption, value, results);
    };
}

} // namespace velk::engine
