#pragma once

// HMAC-SHA-256 of many messages: short ones two at a time where the processor has instructions for it, all
// others by the crypto library. What comes out is the same.

#include "masking/hmac.h"
#include "masking/sha256_pair.h"

namespace velk::engine {

// Digests of one thread. The key must outlive them.
class HmacPairs {
public:
    // Pairs may be left out, never be asked for where the processor has none.
    explicit HmacPairs(const HmacKey& key, bool pairs = can_hash_pairs())
        : key_(&key), run_(key), pairs_(pairs)
    {
    }
    HmacPairs(const HmacPairs&) = delete;
    HmacPairs& operator=(const HmacPairs&) = delete;

    // The result is there at the latest when finish returns.
    void digest(std::span<const std::uint8_t> message, Digest& result);
    void finish();

private:
    // What a block has room for beside a one bit and the length.
    static constexpr std::size_t longest = sizeof(HashBlock) - 9;

    void hash_both(Digest& result);

    const HmacKey* key_;
    HmacRun run_;
    bool pairs_;
    Digest* waiting_ = nullptr; // the first one of a pair, whose message is in blocks_[0]
    HashBlock blocks_[2];
};

} // namespace velk::engine
