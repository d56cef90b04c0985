#pragma once

// Numbers drawn from the keyed hash of a value, as many as it takes.

#include "masking/hmac.h"

#include <cstdint>

namespace velk::engine {

// Each number takes 32 bits: the first eight come from the hash of the value, the others from the hash of
// that hash and a counter.
class Draws {
public:
    explicit Draws(const Digest& seed) : seed_(seed), block_(seed) {}

    std::uint32_t word()
    {
        if (used_ == digest_size) refill();
        std::uint32_t bits = 0;
        for (const std::size_t end = used_ + 4; used_ < end; ++used_) bits = bits << 8 | block_[used_];
        return bits;
    }

    // size is at least 1
    std::uint32_t below(std::uint32_t size)
    {
        return static_cast<std::uint32_t>(std::uint64_t{word()} * size >> 32);
    }

private:
    void refill();

    Digest seed_;
    Digest block_;
    std::size_t used_ = 0;
    std::uint32_t counter_ = 0;
};

// Numbers below small sizes take no more bits than they need, so that a hash is enough for the letters of a
// name. 64 bits are read as a fraction: times the size, its whole part is the number drawn, and what is left
// behind the point is drawn from next, as long as it has 32 bits more than the number needs.
class SmallDraws {
public:
    static constexpr std::uint32_t largest_size = 1u << 31;

    explicit SmallDraws(const Digest& seed) : words_(seed) {}

    // size is from 1 to largest_size
    std::uint32_t below(std::uint32_t size)
    {
        if (spent_ * size > spendable) refill();
        spent_ *= size;
        const std::uint64_t low = (fraction_ & 0xFFFFFFFF) * size;
        const std::uint64_t high = (fraction_ >> 32) * size + (low >> 32);
        fraction_ = high << 32 | (low & 0xFFFFFFFF);
        return static_cast<std::uint32_t>(high >> 32);
    }

private:
    static constexpr std::uint64_t spendable = std::uint64_t{1} << 32;

    void refill()
    {
        fraction_ = std::uint64_t{words_.word()} << 32;
        fraction_ |= words_.word();
        spent_ = 1;
    }

    Draws words_;
    std::uint64_t fraction_ = 0;
    std::uint64_t spent_ = spendable + 1; // product of the sizes drawn from the fraction
};

} // namespace velk::engine
