#pragma once

// Numbers drawn from the keyed hash of a value, as many as it takes.

#include "masking/hmac.h"

namespace velk::engine {

// Each number takes 32 bits: the first eight come from the hash of the value, the others from the hash of
// that hash and a counter.
class Draws {
public:
    explicit Draws(const Digest& seed);

    std::uint32_t word();
    std::uint32_t below(std::uint32_t size); // size is at least 1

private:
    void refill();

    Digest block_;
    std::array<std::uint8_t, digest_size + 4> counted_{};
    std::size_t used_ = 0;
    std::uint32_t counter_ = 0;
};

} // namespace velk::engine
