#pragma once

// Whole numbers of any size, as far as `noise` computes with them.

#include "masking/draws.h"

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velk::engine {

// Numbers that are computed with each other have one size: that of the number they go back to, with room for
// the product with a number of 32 bits.
class LargeNumber {
public:
    explicit LargeNumber(std::u16string_view digits);
    // Digits that fit the other's size.
    LargeNumber(std::u16string_view digits, const LargeNumber& like);
    // So many nines, or fewer that are still more than twice the other.
    static LargeNumber nines(std::size_t count, const LargeNumber& like);

    LargeNumber operator+(const LargeNumber& other) const;
    LargeNumber operator+(std::uint32_t number) const;
    LargeNumber operator-(const LargeNumber& other) const; // of one that is not larger

    std::strong_ordering operator<=>(const LargeNumber& other) const = default;

    friend LargeNumber hundredths(const LargeNumber& number, std::uint32_t count);
    friend LargeNumber draw_below(const LargeNumber& size, Draws& draws);
    friend std::u16string digits_of(const LargeNumber& number);

private:
    LargeNumber(std::u16string_view digits, std::size_t parts);
    void add_product(const LargeNumber& other, std::uint32_t factor);
    void divide(std::uint64_t divisor);

    // Of nine digits each, the most significant first.
    std::vector<std::uint32_t, WipingAllocator<std::uint32_t>> parts_;
};

// The number of hundredths of a number, its fraction left out.
LargeNumber hundredths(const LargeNumber& number, std::uint32_t count);

// Each number below size has the same chance, but for less than one in 2^64.
LargeNumber draw_below(const LargeNumber& size, Draws& draws);

// Without leading zeros; of zero nothing.
std::u16string digits_of(const LargeNumber& number);

} // namespace velk::engine
