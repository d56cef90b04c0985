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
#include "text/unicode.h"

#include <array>
#include <memory>

namespace velk::engine {

namespace {

// What card numbers have. Beside the check digit, which follows from the others, so many are hidden that
// trying them all tells nobody anything.
constexpr std::size_t fewest_digits = 12;
constexpr std::size_t most_digits = 19;
constexpr std::size_t fewest_hidden = 6;

struct Card {
    Ff1 permutation;
    std::size_t keep_first; // digits
};

struct CardDigits {
    std::array<std::uint16_t, most_digits> digits;
    std::size_t count = 0;
};

// Whether a value is a card number of which enough is hidden; reads no further than it can be one.
bool read_digits(std::u16string_view value, std::size_t keep_first, CardDigits& card)
{
    for (const char16_t unit : value) {
        if (is_digit(unit)) {
            if (card.count == most_digits) return false;
            card.digits[card.count++] = static_cast<std::uint16_t>(unit - '0');
        } else if (!is_separator(unit)) {
            return false;
        }
    }
    return card.count >= fewest_digits && card.count >= keep_first + fewest_hidden + 1;
}

// The digit that makes the sum of all a multiple of ten: of the others every second counts twice, from
// the last one on, and a double of two digits counts as their sum.
std::uint16_t check_digit(std::span<const std::uint16_t> others)
{
    constexpr unsigned doubled[] = {0, 2, 4, 6, 8, 1, 3, 5, 7, 9};
    unsigned sum = 0;
    for (std::size_t i = 0; i < others.size(); ++i) {
        const std::uint16_t digit = others[others.size() - 1 - i];
        sum += i % 2 == 0 ? doubled[digit] : digit;
    }
    return static_cast<std::uint16_t>((10 - sum % 10) % 10);
}

// The hidden digits as a number. Those that are kept are its tweak, so that each beginning, and each number
// of digits kept, has another permutation.
SplitNumber hidden_number(const Card& card, const CardDigits& value)
{
    const std::span<const std::uint16_t> digits(value.digits.data(), value.count - 1);
    SplitNumber number = card.permutation.split(digits.subspan(card.keep_first));
    for (const std::uint16_t digit : digits.first(card.keep_first)) number.tweak = number.tweak << 8 | digit;
    number.tweak_size = card.keep_first;
    return number;
}

void exchange(const Card& card, std::span<SplitNumber> numbers)
{
    card.permutation.encrypt(numbers);
    for (SplitNumber& number : numbers) card.permutation.increment(number);
    card.permutation.decrypt(numbers);
}

void add_card(const Card& card, std::u16string_view value, CardDigits& read, const SplitNumber& number,
              Results& results)
{
    const std::span<std::uint16_t> others(read.digits.data(), read.count - 1);
    card.permutation.join(number, others.subspan(card.keep_first));
    read.digits[read.count - 1] = check_digit(others);
    const std::size_t offset = results.text.size();
    results.text += value;
    const std::uint16_t* digit = read.digits.data();
    for (char16_t& unit : std::span(results.text).subspan(offset))
        if (is_digit(unit)) unit = static_cast<char16_t>('0' + *digit++);
    close_result(results, offset);
}

void mask_cards(const Card& card, Values values, Results& results)
{
    make_room(results, values);
    std::vector<CardDigits, WipingAllocator<CardDigits>> cards(
        values.size()); // with a count of 0 where there is no number
    std::vector<SplitNumber> numbers;
    numbers.reserve(values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (read_digits(values[i], card.keep_first, cards[i]))
            numbers.push_back(hidden_number(card, cards[i]));
        else
            cards[i].count = 0;
    }
    exchange(card, numbers);
    auto number = numbers.begin();
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (cards[i].count > 0)
            add_card(card, values[i], cards[i], *number++, results);
        else if (values[i].empty())
            add_result(results, values[i]);
        else
            add_error(results, value_no_card_number);
    }
}

} // namespace

Mask mask_of(const CardRule& rule, const HmacKey& key)
{
    const Digest secret = derive_secret(key, rule.function, rule.scope, {std::to_string(rule.keep_first)});
    // Masks are copied, keys are not.
    return [card = std::make_shared<const Card>(Ff1(secret, 10), rule.keep_first)](
               const Batch& batch, Results& results) { mask_cards(*card, batch.values, results); };
}

} // namespace velk::engine
