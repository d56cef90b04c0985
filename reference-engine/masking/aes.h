#pragma once

// AES by the platform's crypto library.

#include <array>
#include <cstdint>
#include <memory>
#include <span>

namespace velk::engine {

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
