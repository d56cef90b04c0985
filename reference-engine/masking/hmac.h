#pragma once

// HMAC-SHA-256 and AES by the platform's crypto library.

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

inline constexpr std::size_t cipher_block_size = 16;

using CipherBlock = std::array<std::uint8_t, cipher_block_size>;

// AES on single blocks. A key of 16, 24 or 32 bytes gives AES-128, -192 or -256.
class AesKey {
public:
    explicit AesKey(std::span<const std::uint8_t> key);
    AesKey(AesKey&&) noexcept;
    AesKey& operator=(AesKey&&) noexcept;
    ~AesKey();

    void encrypt(CipherBlock& block) const;

private:
    struct Schedule;
    std::unique_ptr<Schedule> schedule_;
};

} // namespace velk::engine
