#pragma once

// FF1, the format-preserving encryption of NIST SP 800-38G: numerals in, as many numerals out.

#include "masking/aes.h"

#include <cstdint>
#include <span>
#include <vector>

namespace velk::engine {

// Numbers below the radix, the most significant first.
using Numerals = std::vector<std::uint16_t>;

inline constexpr std::uint32_t largest_radix = 65'536;
inline constexpr std::size_t fewest_numerals = 2;

class Ff1 {
public:
    // An AES key of 16, 24 or 32 bytes; a radix from 2 to largest_radix.
    Ff1(std::span<const std::uint8_t> key, std::uint32_t radix);

    // At least fewest_numerals. The cost grows with the square of their number. That there are values enough
    // to be worth encrypting is for the caller to see to.
    Numerals encrypt(const Numerals& plain, std::span<const std::uint8_t> tweak = {}) const;
    Numerals decrypt(const Numerals& cipher, std::span<const std::uint8_t> tweak = {}) const;

private:
    AesKey key_;
    std::uint32_t radix_;
};

} // namespace velk::engine
