// `card` replaces the digits of a card number behind those that it keeps and makes the last one a right
// check digit. Blanks and punctuation stay; a letter or any other character is an error, because what
// stands there is no card number and would be left readable.
//
// The digits between are a number x below 10^n and become P'(P(x) + 1), where P is a keyed permutation
// and P' its inverse: a permutation again, of which no number is its own image.

#include "masking/ff1_cipher.h"
#include "masking/keyed.h"
#include "masking/masks.h"
#include "masking/separator.h"

#include <algorithm>
#include <memory>

namespace velk::engine {

namespace {

struct Card {
    Ff1 permutation;
    std::size_t keep_first; // digits
};

bool is_digit(char16_t unit)
{
    return unit >= '0' && unit <= '9';
}

// The digit that makes the sum of all a multiple of ten: of the others every second counts twice, from
// the last one on, and a double of two digits counts as their sum.
std::uint16_t check_digit(const Numerals& others)
{
    unsigned sum = 0;
    bool twice = true;
    for (auto digit = others.rbegin(); digit != others.rend(); ++digit, twice = !twice)
        sum += twice ? *digit * 2u / 10 + *digit * 2u % 10 : *digit;
    return static_cast<std::uint16_t>((10 - sum % 10) % 10);
}

void increment(Numerals& digits)
{
    for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit) {
        *digit = static_cast<std::uint16_t>((*digit + 1) % 10);
        if (*digit != 0) return;
    }
}

// The digits of a card number become those of another.
void exchange(const Card& card, Numerals& digits)
{
    const auto first = digits.begin() + static_cast<std::ptrdiff_t>(card.keep_first);
    const std::vector<std::uint8_t> kept(digits.begin(), first); // of each beginning another permutation
    Numerals image = card.permutation.encrypt({first, digits.end() - 1}, kept);
    increment(image);
    image = card.permutation.decrypt(image, kept);
    std::copy(image.begin(), image.end(), first);
    digits.pop_back();
    digits.push_back(check_digit(digits));
}

void mask_value(const Card& card, std::u16string_view value, Results& results)
{
    if (value.empty()) return add_result(results, value);
    Numerals digits;
    for (const char16_t unit : value) {
        if (is_digit(unit))
            digits.push_back(static_cast<std::uint16_t>(unit - '0'));
        else if (!is_separator(unit))
            return add_error(results, value_no_card_number);
    }
    if (digits.size() < card.keep_first + fewest_numerals + 1)
        return add_error(results, value_no_card_number);
    exchange(card, digits);
    const std::size_t offset = results.text.size();
    auto digit = digits.begin();
    for (const char16_t unit : value)
        results.text += is_digit(unit) ? static_cast<char16_t>('0' + *digit++) : unit;
    close_result(results, offset);
}

} // namespace

Mask mask_of(const CardRule& rule, const HmacKey& key)
{
    const Digest secret = derive_secret(key, rule.function, rule.scope, {std::to_string(rule.keep_first)});
    // Masks are copied, keys are not.
    return [card = std::make_shared<const Card>(Ff1(secret, 10), rule.keep_first)](const Batch& batch,
                                                                                   Results& results) {
        for (const std::u16string_view value : batch.values) mask_value(*card, value, results);
    };
}

} // namespace velk::engine
