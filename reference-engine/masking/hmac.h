#pragma once

// SHA-256 and HMAC-SHA-256 by the platform's crypto library.

#include "masking/secret.h"

#include <cstdint>
#include <memory>
#include <span>

namespace velk::engine {

inline constexpr std::size_t digest_size = 32;

using Digest = SecretArray<digest_size>;
using HashBlock = SecretArray<64>;

Digest sha256(std::span<const std::uint8_t> message);

// The key as it fills a block: as its digest where it is longer, with zeros behind it, each byte combined
// with the pad.
HashBlock padded_key(std::span<const std::uint8_t> key, std::uint8_t pad);
inline constexpr std::uint8_t inner_pad = 0x36;
inline constexpr std::uint8_t outer_pad = 0x5C;

// The hashes of the two padded keys, for HmacPairs; nothing where this processor hashes no pairs.
struct PairStates {
    explicit PairStates(std::span<const std::uint8_t> key);

    Digest inner{};
    Digest outer{};
};

// A key, held as the two hash states that it leads to, so that a short message costs two compressions.
class HmacKey {
public:
    explicit HmacKey(std::span<const std::uint8_t> key);
    HmacKey(HmacKey&&) noexcept;
    HmacKey& operator=(HmacKey&&) noexcept;
    ~HmacKey();

    Digest digest(std::span<const std::uint8_t> message) const;

private:
    friend class HmacRun;
    friend class HmacPairs;
    struct States;
    std::unique_ptr<States> states_;
    PairStates pair_states_;
};

// Digests of one thread, one after the other. Any number of threads may have such runs of one key at the same
// time; the key must outlive them.
class HmacRun {
public:
    explicit HmacRun(const HmacKey& key);
    HmacRun(const HmacRun&) = delete;
    HmacRun& operator=(const HmacRun&) = delete;
    ~HmacRun();

    void digest(std::span<const std::uint8_t> message, Digest& result);

private:
    const HmacKey* key_;
    [[maybe_unused]] void* hash_ = nullptr; // of this run alone, where a thread needs a hash of its own
};

} // namespace velk::engine
