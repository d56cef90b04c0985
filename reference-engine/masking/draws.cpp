#include "masking/draws.h"

#include <algorithm>

namespace velk::engine {

void Draws::refill()
{
    ++counter_;
    std::array<std::uint8_t, digest_size + 4> counted;
    std::copy(seed_.begin(), seed_.end(), counted.begin());
    for (std::size_t i = 0; i < 4; ++i)
        counted[digest_size + i] = static_cast<std::uint8_t>(counter_ >> (24 - 8 * i));
    block_ = sha256(counted);
    wipe(counted.data(), counted.size());
    used_ = 0;
}

} // namespace velk::engine
