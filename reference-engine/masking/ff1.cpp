// `ff1` encrypts the characters of an alphabet and keeps their number and places. Blanks and punctuation
// that are not of the alphabet stay where they are; any other character is an error, because it would be
// left readable.
//
// It is the standard's: undone by whoever has the key, and with fixed points, about one in each domain.

#include "masking/ff1_cipher.h"

#include "masking/keyed.h"
#include "masking/masks.h"
#include "masking/separator.h"
#include "text/unicode.h"

#include <memory>

namespace velk::engine {

namespace {

constexpr std::size_t most_encrypted = 256; // characters of one value; the cost grows with their square

struct Encryption {
    std::shared_ptr<const Alphabet> alphabet;
    Ff1 cipher;
};

// What is encrypted of a value: where its numerals stand among those of the column.
struct Part {
    std::size_t start;
    std::size_t count;
    ErrorCode error; // what keeps the value from being encrypted, if anything
};

using SecretNumerals = std::vector<std::uint16_t, WipingAllocator<std::uint16_t>>;

struct Column {
    SecretNumerals numerals; // of all values, one behind the other
    std::vector<Part> parts;
};

char32_t next_character(std::u16string_view text, std::size_t& position)
{
    // Nearly every character is one unit.
    const char16_t unit = text[position];
    if (unit < 0xD800 || unit > 0xDFFF) return ++position, unit;
    return next_code_point(text, position);
}

void write_character(char32_t character, char16_t* units)
{
    if (character <= 0xFFFF)
        *units = static_cast<char16_t>(character);
    else
        encode(character, units);
}

ErrorCode read_numerals(const Alphabet& alphabet, std::u16string_view value, SecretNumerals& numerals)
{
    const std::size_t start = numerals.size();
    numerals.resize(start + value.size());
    std::size_t count = 0;
    for (std::size_t position = 0; position < value.size();) {
        const char32_t character = next_character(value, position);
        const std::int32_t numeral = alphabet.numeral_of(character);
        if (numeral >= 0)
            numerals[start + count++] = static_cast<std::uint16_t>(numeral);
        else if (!is_separator(character))
            return value_outside_alphabet;
    }
    numerals.resize(start + count);
    if (count < alphabet.fewest && !value.empty()) return value_too_short_to_encrypt;
    return count <= most_encrypted ? ErrorCode{} : value_too_long_to_encrypt;
}

Column take_apart(const Alphabet& alphabet, Values values)
{
    Column column;
    column.parts.reserve(values.size());
    for (const std::u16string_view value : values) {
        const std::size_t start = column.numerals.size();
        const ErrorCode error = read_numerals(alphabet, value, column.numerals);
        if (error != 0) column.numerals.resize(start);
        column.parts.push_back({start, column.numerals.size() - start, error});
    }
    return column;
}

// Most numbers go through the cipher together; what is left are the long ones.
void encrypt(const Ff1& cipher, Column& column)
{
    const auto numerals_of = [&column](const Part& part) {
        return std::span(column.numerals).subspan(part.start, part.count);
    };
    std::vector<SplitNumber> numbers;
    for (const Part& part : column.parts)
        if (part.count > 0 && cipher.can_split(part.count, 0))
            numbers.push_back(cipher.split(numerals_of(part)));
    cipher.encrypt(numbers);
    auto number = numbers.begin();
    for (const Part& part : column.parts) {
        const std::span<std::uint16_t> numerals = numerals_of(part);
        if (part.count == 0) continue;
        if (cipher.can_split(part.count, 0)) {
            cipher.join(*number++, numerals);
        } else {
            const Numerals image = cipher.encrypt(Numerals(numerals.begin(), numerals.end()));
            std::copy(image.begin(), image.end(), numerals.begin());
        }
    }
}

void add_encrypted(const Alphabet& alphabet, std::u16string_view value, const std::uint16_t* numeral,
                   Results& results)
{
    const std::size_t offset = results.text.size();
    results.text += value;
    for (std::size_t position = 0; position < value.size();) {
        char16_t* units = results.text.data() + offset + position;
        if (alphabet.numeral_of(next_character(value, position)) >= 0)
            write_character(alphabet.characters[*numeral++], units);
    }
    close_result(results, offset);
}

void mask_column(const Encryption& encryption, Values values, Results& results)
{
    make_room(results, values);
    Column column = take_apart(*encryption.alphabet, values);
    encrypt(encryption.cipher, column);
    for (std::size_t i = 0; i < values.size(); ++i) {
        const Part& part = column.parts[i];
        if (part.error != 0)
            add_error(results, part.error);
        else
            add_encrypted(*encryption.alphabet, values[i], column.numerals.data() + part.start, results);
    }
}

} // namespace

// The alphabet is part of the key: two that have characters in common show nothing of each other.
Mask mask_of(const Ff1Rule& rule, const HmacKey& key)
{
    const std::u32string& characters = rule.alphabet->characters;
    std::string alphabet;
    for (const char32_t character : characters) append(alphabet, character);
    const Digest secret = derive_secret(key, rule.function, rule.scope, {alphabet});
    const auto radix = static_cast<std::uint32_t>(characters.size());
    // Masks are copied, keys are not.
    return [encryption = std::make_shared<const Encryption>(rule.alphabet, Ff1(secret, radix))](
               const Batch& batch, Results& results) { mask_column(*encryption, batch.values, results); };
}

} // namespace velk::engine
