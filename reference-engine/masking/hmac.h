#pragma once

// SHA-256 and HMAC-SHA-256 by the platform's crypto library.

#include <array>
#include <cstdint>
#include <memory>
#include <span>

namespace velk::engine {

inline constexpr std::size_t digest_size = 32;
inline constexpr std::size_t hash_block_size = 64;

using Digest = std::array<std::uint8_t, digest_size>;

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
    struct States;
    std::unique_ptr<States> states_;
};

} // namespace velk::engine
