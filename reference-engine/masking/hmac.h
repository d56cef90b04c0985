#pragma once

// SHA-256 and HMAC-SHA-256 by the platform's crypto library.

#include "masking/secret.h"

#include <cstdint>
#include <memory>
#include <span>

namespace velk::engine {

inline constexpr std::size_t digest_size = 32;

using Digest = SecretArray<digest_size>;

Digest sha256(std::span<const std::uint8_t> message);

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
    struct States;
    std::unique_ptr<States> states_;
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
