#include "masking/hmac.h"

#if defined(_WIN32)
#include "masking/hash_state_cng.h"
#else
#include "masking/hash_state_openssl.h"
#endif

#include <algorithm>

namespace velk::engine {

struct HmacKey::States {
    HashState inner;
    HashState outer;
};

namespace {

using Block = std::array<std::uint8_t, hash_block_size>;

void add_padded(HashState& state, const Block& key, std::uint8_t pad)
{
    Block block;
    std::transform(key.begin(), key.end(), block.begin(),
                   [pad](std::uint8_t byte) { return static_cast<std::uint8_t>(byte ^ pad); });
    state.update(block);
    wipe(block);
}

} // namespace

Digest sha256(std::span<const std::uint8_t> message)
{
    HashState state;
    state.update(message);
    return state.digest();
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
    wipe(block);
}

HmacKey::HmacKey(HmacKey&&) noexcept = default;
HmacKey& HmacKey::operator=(HmacKey&&) noexcept = default;
HmacKey::~HmacKey() = default;

Digest HmacKey::digest(std::span<const std::uint8_t> message) const
{
    HashState inner(states_->inner);
    inner.update(message);
    HashState outer(states_->outer);
    outer.update(inner.digest());
    return outer.digest();
}

} // namespace velk::engine
