// The low-level hash functions are deprecated, but they alone give a state that is copied by assignment:
// the newer interface allocates for every message.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "masking/hmac.h"

#include <algorithm>

#include <openssl/crypto.h>
#include <openssl/sha.h>

namespace velk::engine {

struct HmacKey::States {
    SHA256_CTX inner;
    SHA256_CTX outer;
};

namespace {

using Block = std::array<std::uint8_t, hash_block_size>;

SHA256_CTX state_after(const Block& key, std::uint8_t pad)
{
    Block block;
    std::transform(key.begin(), key.end(), block.begin(),
                   [pad](std::uint8_t byte) { return static_cast<std::uint8_t>(byte ^ pad); });
    SHA256_CTX state;
    SHA256_Init(&state);
    SHA256_Update(&state, block.data(), block.size());
    OPENSSL_cleanse(block.data(), block.size());
    return state;
}

} // namespace

Digest sha256(std::span<const std::uint8_t> message)
{
    SHA256_CTX state;
    Digest digest;
    SHA256_Init(&state);
    SHA256_Update(&state, message.data(), message.size());
    SHA256_Final(digest.data(), &state);
    return digest;
}

HmacKey::HmacKey(std::span<const std::uint8_t> key) : states_(std::make_unique<States>())
{
    Block block{};
    if (key.size() > block.size()) {
        const Digest digest = sha256(key);
        std::copy(digest.begin(), digest.end(), block.begin());
    } else {
        std::copy(key.begin(), key.end(), block.begin());
    }
    states_->inner = state_after(block, 0x36);
    states_->outer = state_after(block, 0x5C);
    OPENSSL_cleanse(block.data(), block.size());
}

HmacKey::HmacKey(HmacKey&&) noexcept = default;
HmacKey& HmacKey::operator=(HmacKey&&) noexcept = default;

HmacKey::~HmacKey()
{
    if (states_ != nullptr) OPENSSL_cleanse(states_.get(), sizeof(States));
}

Digest HmacKey::digest(std::span<const std::uint8_t> message) const
{
    Digest digest;
    SHA256_CTX state = states_->inner;
    SHA256_Update(&state, message.data(), message.size());
    SHA256_Final(digest.data(), &state);
    state = states_->outer;
    SHA256_Update(&state, digest.data(), digest.size());
    SHA256_Final(digest.data(), &state);
    return digest;
}

} // namespace velk::engine
