#include "masking/large_number.h"

#include <algorithm>

namespace velk::engine {

namespace {

constexpr std::uint32_t base = 1'000'000'000;
constexpr std::size_t base_digits = 9;
constexpr std::size_t spare_parts = 2; // more than a number of 32 bits

std::uint32_t number_of(std::u16string_view digits)
{
    std::uint32_t number = 0;
    for (const char16_t digit : digits) number = number * 10 + (digit - u'0');
    return number;
}

std::size_t parts_of(std::size_t digits)
{
    return (digits + base_digits - 1) / base_digits;
}

} // namespace

LargeNumber::LargeNumber(std::u16string_view digits, std::size_t parts) : parts_(parts)
{
    for (auto part = parts_.rbegin(); !digits.empty(); ++part) {
        const std::size_t size = std::min(base_digits, digits.size());
        *part = number_of(digits.substr(digits.size() - size));
        digits.remove_suffix(size);
    }
}

LargeNumber::LargeNumber(std::u16string_view digits)
    : LargeNumber(digits, parts_of(digits.size()) + spare_parts)
{
}

LargeNumber::LargeNumber(std::u16string_view digits, const LargeNumber& like)
    : LargeNumber(digits, like.parts_.size())
{
}

LargeNumber LargeNumber::nines(std::size_t count, const LargeNumber& like)
{
    const std::size_t enough = (like.parts_.size() - spare_parts) * base_digits + 1;
    return {std::u16string(std::min(count, enough), u'9'), like};
}

LargeNumber LargeNumber::operator+(const LargeNumber& other) const
{
    LargeNumber result = *this;
    result.add_product(other, 1);
    return result;
}

LargeNumber LargeNumber::operator+(std::uint32_t number) const
{
    LargeNumber result = *this;
    std::uint64_t carry = number;
    for (auto part = result.parts_.rbegin(); carry > 0; ++part, carry /= base) {
        carry += *part;
        *part = static_cast<std::uint32_t>(carry % base);
    }
    return result;
}

LargeNumber LargeNumber::operator-(const LargeNumber& other) const
{
    LargeNumber result = *this;
    std::uint32_t borrow = 0;
    for (std::size_t i = parts_.size(); i-- > 0;) {
        const std::uint32_t taken = other.parts_[i] + borrow;
        borrow = parts_[i] < taken ? 1 : 0;
        result.parts_[i] = parts_[i] + borrow * base - taken;
    }
    return result;
}

void LargeNumber::add_product(const LargeNumber& other, std::uint32_t factor)
{
    std::uint64_t carry = 0;
    for (std::size_t i = parts_.size(); i-- > 0;) {
        carry += parts_[i] + std::uint64_t{other.parts_[i]} * factor;
        parts_[i] = static_cast<std::uint32_t>(carry % base);
        carry /= base;
    }
}

// By at most 2^32.
void LargeNumber::divide(std::uint64_t divisor)
{
    std::uint64_t rest = 0;
    for (std::uint32_t& part : parts_) {
        rest = rest * base + part;
        part = static_cast<std::uint32_t>(rest / divisor);
        rest %= divisor;
    }
}

LargeNumber hundredths(const LargeNumber& number, std::uint32_t count)
{
    LargeNumber result = number - number;
    result.add_product(number, count);
    result.divide(100);
    return result;
}

// The size times a fraction of so many words, of which the first drawn counts most: so numbers of other sizes
// are drawn at the same place between nothing and their size.
LargeNumber draw_below(const LargeNumber& size, Draws& draws)
{
    std::vector<std::uint32_t> words(size.parts_.size());
    for (std::uint32_t& word : words) word = draws.word();
    LargeNumber drawn = size - size;
    for (auto word = words.rbegin(); word != words.rend(); ++word) {
        drawn.add_product(size, *word);
        drawn.divide(std::uint64_t{1} << 32);
    }
    return drawn;
}

std::u16string digits_of(const LargeNumber& number)
{
    std::u16string digits;
    for (const std::uint32_t part : number.parts_)
        for (std::uint32_t place = base / 10; place > 0; place /= 10)
            digits += static_cast<char16_t>('0' + part / place % 10);
    return digits.erase(0, std::min(digits.find_first_not_of(u'0'), digits.size()));
}

} // namespace velk::engine
