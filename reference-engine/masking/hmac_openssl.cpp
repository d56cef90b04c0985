// HMAC-SHA-256 by OpenSSL. The low-level hash functions are deprecated, but they alone give a state that is
// copied by assignment: the newer interface allocates for every message.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "masking/hmac.h"

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

HmacKey::HmacKey(std::span<const std::uint8_t> key) : states_(std::make_unique<States>()), pair_states_(key)
{
    states_->inner.update(padded_key(key, inner_pad));
    states_->outer.update(padded_key(key, outer_pad));
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
