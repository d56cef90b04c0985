#include "masking/draws.h"

#include <algorithm>

namespace velk::engine {

void Draws::refill()
{
    ++counter_;
    SecretArray<digest_size + 4> counted;
    std::copy(seed_->begin(), seed_->end(), counted.begin());
    for (std::size_t i = 0; i < 4; ++i)
        counted[digest_size + i] = static_cast<std::uint8_t>(counter_ >> (24 - 8 * i));
    if (block_ == nullptr) block_ = std::make_unique<Digest>();
    *block_ = sha256(counted);
    next_ = block_->data();
    left_ = words_in_a_hash;
}

} // namespace velk::engine
