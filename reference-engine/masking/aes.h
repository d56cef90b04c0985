#pragma once

// AES by the platform's crypto library, which uses the processor's own instructions for it where there are
// any.

#include <array>
#include <cstdint>
#include <memory>
#include <span>

namespace velk::engine {

inline constexpr std::size_t cipher_block_size = 16;

using CipherBlock = std::array<std::uint8_t, cipher_block_size>;

// A key of 16, 24 or 32 bytes gives AES-128, -192 or -256. It does not change: any number of threads may use
// it.
class AesKey {
public:
    // Throws std::invalid_argument for a key of another size.
    explicit AesKey(std::span<const std::uint8_t> key);
    AesKey(AesKey&&) noexcept;
    AesKey& operator=(AesKey&&) noexcept;
    ~AesKey();

private:
    friend class AesContext;
    struct Schedule;
    std::unique_ptr<Schedule> schedule_;
};

// What one thread encrypts with: the key must outlive it. Made for a column, not for a block, because making
// one costs as much as some fifty blocks.
class AesContext {
public:
    explicit AesContext(const AesKey& key);
    AesContext(const AesContext&) = delete;
    AesContext& operator=(const AesContext&) = delete;
    ~AesContext();

    // Each block by itself, in place.
    void encrypt(std::span<CipherBlock> blocks);
    void encrypt(CipherBlock& block) { encrypt(std::span(&block, 1)); }

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace velk::engine
