// HMAC-SHA-256 by OpenSSL. The low-level hash functions are deprecated, but they alone give a state that is
// copied by assignment: the newer interface allocates for every message.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "masking/hmac.h"

#include <algorithm>

#include <openssl/sha.h>

namespace velk::engine {

namespace {

// A SHA-256 that has taken in some text. A copy goes on by itself.
class HashState {
public:
    HashState() { SHA256_Init(&state_); }
    HashState(const HashState&) = default;
    HashState& operator=(const HashState&) = delete;
    ~HashState() { wipe(&state_, sizeof state_); }

    void update(std::span<const std::uint8_t> text) { SHA256_Update(&state_, text.data(), text.size()); }

    // Ends the state: nothing can be added any more.
    void finish(Digest& digest) { SHA256_Final(digest.data(), &state_); }

private:
    SHA256_CTX state_;
};

using Block = SecretArray<SHA256_CBLOCK>;

void add_padded(HashState& state, const Block& key, std::uint8_t pad)
{
    Block block;
    std::transform(key.begin(), key.end(), block.begin(),
                   [pad](std::uint8_t byte) { return static_cast<std::uint8_t>(byte ^ pad); });
    state.update(block);
}

} // namespace

// Nobody changes them once the key is made, so that all threads may copy them.
struct HmacKey::States {
    HashState inner;
    HashState outer;
};

Digest sha256(std::span<const std::uint8_t> message)
{
    HashState state;
    state.update(message);
    Digest result;
    state.finish(result);
    return result;
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
    add_padded(states_->inner, block, 0x36);
    add_padded(states_->outer, block, 0x5C);
}

HmacKey::HmacKey(HmacKey&&) noexcept = default;
HmacKey& HmacKey::operator=(HmacKey&&) noexcept = default;
HmacKey::~HmacKey() = default;

Digest HmacKey::digest(std::span<const std::uint8_t> message) const
{
    Digest result;
    HmacRun(*this).digest(message, result);
    return result;
}

HmacRun::HmacRun(const HmacKey& key) : key_(&key) {}

HmacRun::~HmacRun() = default;

void HmacRun::digest(std::span<const std::uint8_t> message, Digest& result)
{
    HashState inner(key_->states_->inner);
    inner.update(message);
    HashState outer(key_->states_->outer);
    inner.finish(result);
    outer.update(result);
    outer.finish(result);
}

} // namespace velk::engine
