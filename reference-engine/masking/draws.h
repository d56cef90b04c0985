#pragma once

// Numbers drawn from the keyed hash of a value, as many as it takes.

#include "masking/hmac.h"

#include <cstdint>
#include <memory>

namespace velk::engine {

// Each number takes 32 bits: the first eight come from the hash of the value, the others from the hash of
// that hash and a counter. The hash must outlive the draws.
class Draws {
public:
    explicit Draws(const Digest& seed) : seed_(&seed), next_(seed.data()) {}
    explicit Draws(const Digest&&) = delete;
    Draws(const Draws&) = delete;
    Draws& operator=(const Draws&) = delete;

    std::uint32_t word()
    {
        if (left_ == 0) refill();
        const std::uint8_t* bytes = next_;
        next_ += 4;
        --left_;
        return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 |
               bytes[3];
    }

    // size is at least 1
    std::uint32_t below(std::uint32_t size)
    {
        return static_cast<std::uint32_t>(std::uint64_t{word()} * size >> 32);
    }

private:
    static constexpr std::size_t words_in_a_hash = digest_size / 4;

    void refill();

    const Digest* seed_;
    const std::uint8_t* next_; // in the seed or the block
    std::size_t left_ = words_in_a_hash;
    std::uint32_t counter_ = 0;
    std::unique_ptr<Digest> block_; // once the seed is used up
};

// Numbers below small sizes take no more bits than they need, so that a hash is enough for the letters of a
// name. 64 bits are read as a fraction: times the size, its whole part is the number drawn, and what is left
// behind the point is drawn from next, as long as it has 32 bits more than the number needs.
class SmallDraws {
public:
    explicit SmallDraws(const Digest& seed) : words_(seed) {}
    explicit SmallDraws(const Digest&&) = delete;

    // size is at least 1
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
