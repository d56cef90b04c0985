// `noise` moves a number by up to so many percent of itself, at least by one in its last place and never
// by nothing. Sign and scale stay, and the result is a number of the column's type.

#include "masking/draws.h"
#include "masking/keyed.h"
#include "masking/masks.h"

#include <algorithm>

namespace velk::engine {

namespace {

// Decimal digits, the most significant first. Those of one value have the same size, with room for what
// is computed on the way: the product with a number of 32 bits.
using Digits = std::vector<std::uint8_t>;
constexpr std::size_t spare_digits = 12;

Digits digits_of(std::u16string_view text)
{
    Digits digits(spare_digits);
    for (const char16_t unit : text)
        if (unit >= '0' && unit <= '9') digits.push_back(static_cast<std::uint8_t>(unit - '0'));
    return digits;
}

bool is_zero(const Digits& digits)
{
    return std::all_of(digits.begin(), digits.end(), [](std::uint8_t digit) { return digit == 0; });
}

// a + b * factor
Digits sum(Digits a, const Digits& b, std::uint32_t factor = 1)
{
    std::uint64_t carry = 0;
    for (std::size_t i = a.size(); i-- > 0;) {
        carry += a[i] + std::uint64_t{b[i]} * factor;
        a[i] = static_cast<std::uint8_t>(carry % 10);
        carry /= 10;
    }
    return a;
}

// a - b, which is not negative
Digits difference(Digits a, const Digits& b)
{
    int borrow = 0;
    for (std::size_t i = a.size(); i-- > 0;) {
        const int digit = a[i] - b[i] - borrow;
        borrow = digit < 0 ? 1 : 0;
        a[i] = static_cast<std::uint8_t>(digit + 10 * borrow);
    }
    return a;
}

// Divides by 2^32.
void drop_word(Digits& digits)
{
    std::uint64_t rest = 0;
    for (std::uint8_t& digit : digits) {
        rest = rest * 10 + digit;
        digit = static_cast<std::uint8_t>(rest >> 32);
        rest &= 0xFFFFFFFF;
    }
}

// A number below size, which is at least 1: size times a fraction of so many words that each number has
// the same chance, but for less than one in four billions.
Digits draw_below(const Digits& size, Draws& draws)
{
    const std::size_t words = size.size() / 9 + 1;
    Digits drawn(size.size());
    for (std::size_t i = 0; i < words; ++i) {
        drawn = sum(std::move(drawn), size, draws.word());
        drop_word(drawn);
    }
    return drawn;
}

Digits one(std::size_t size)
{
    Digits digits(size);
    digits.back() = 1;
    return digits;
}

// The part in hundred of a number, at least 1.
Digits largest_move(const Digits& number, std::uint32_t percent)
{
    Digits move = sum(Digits(number.size()), number, percent);
    std::rotate(move.begin(), move.end() - 2, move.end());
    std::fill_n(move.begin(), 2, std::uint8_t{0});
    return is_zero(move) ? one(number.size()) : move;
}

// The largest number without its sign and point that can stand in the place of a value with so many
// digits behind the point.
Digits largest_number(const ColumnType& type, bool negative, std::size_t fraction, std::size_t size)
{
    Digits digits(size);
    if (type.name == TypeName::integer) {
        const Digits largest = digits_of(negative ? u"9223372036854775808" : u"9223372036854775807");
        if (largest.size() > size) return Digits(size, 9); // out of reach
        std::copy(largest.rbegin(), largest.rend(), digits.rbegin());
        return digits;
    }
    const std::size_t nines = static_cast<std::size_t>(type.length - type.scale) + fraction;
    std::fill_n(digits.rbegin(), std::min(nines, size), std::uint8_t{9});
    return digits;
}

void append_number(std::u16string& text, const Digits& digits, bool negative, std::size_t fraction)
{
    if (negative && !is_zero(digits)) text += u'-';
    const auto first = std::find_if(digits.begin(), digits.end() - static_cast<std::ptrdiff_t>(fraction) - 1,
                                    [](std::uint8_t digit) { return digit != 0; });
    for (auto digit = first; digit != digits.end(); ++digit) {
        if (fraction > 0 && digits.end() - digit == static_cast<std::ptrdiff_t>(fraction)) text += u'.';
        text += static_cast<char16_t>('0' + *digit);
    }
}

void mask_value(const Digest& hash, const ColumnType& type, std::uint32_t percent, std::u16string_view value,
                Results& results)
{
    if (value.empty()) return add_result(results, value);
    const bool negative = value.starts_with(u'-');
    const std::size_t point = value.find(u'.');
    const std::size_t fraction = point == std::u16string_view::npos ? 0 : value.size() - point - 1;
    const Digits number = digits_of(value);
    const Digits move = largest_move(number, percent);
    const Digits first = is_zero(number) ? number : difference(number, move);
    const Digits last = std::min(sum(number, move), largest_number(type, negative, fraction, number.size()));
    const Digits choices = difference(last, first); // the number itself does not count
    if (is_zero(choices)) return add_error(results, result_does_not_fit);
    Draws draws(hash);
    Digits moved = sum(first, draw_below(choices, draws));
    if (moved >= number) moved = sum(moved, one(number.size()));
    const std::size_t offset = results.text.size();
    append_number(results.text, moved, negative, fraction);
    close_result(results, offset);
}

} // namespace

Mask mask_of(const NoiseRule& rule, const HmacKey& key)
{
    auto own_key = derive_key(key, rule.function, rule.scope, {std::to_string(rule.percent)});
    return [type = rule.type, percent = rule.percent, own_key](const Batch& batch, Results& results) {
        const std::vector<Digest> hashes = digests(*own_key, batch.values);
        for (std::size_t i = 0; i < hashes.size(); ++i)
            mask_value(hashes[i], type, percent, batch.values[i], results);
    };
}

} // namespace velk::engine
