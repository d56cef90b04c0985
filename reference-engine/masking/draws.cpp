#include "masking/draws.h"

#include <algorithm>

namespace velk::engine {

Draws::Draws(const Digest& seed) : block_(seed)
{
    std::copy(seed.begin(), seed.end(), counted_.begin());
}

std::uint32_t Draws::word()
{
    if (used_ == digest_size) refill();
    std::uint32_t bits = 0;
    for (const std::size_t end = used_ + 4; used_ < end; ++used_) bits = bits << 8 | block_[used_];
    return bits;
}

std::uint32_t Draws::below(std::uint32_t size)
{
    return static_cast<std::uint32_t>(std::uint64_t{word()} * size >> 32);
}

void Draws::refill()
{
    ++counter_;
    for (std::size_t i = 0; i < 4; ++i)
        counted_[digest_size + i] = static_cast<std::uint8_t>(counter_ >> (24 - 8 * i));
    block_ = sha256(counted_);
    used_ = 0;
}

} // namespace velk::engine
