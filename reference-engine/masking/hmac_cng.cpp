#include "masking/cng.h"
#include "masking/hmac.h"

#include <algorithm>

namespace velk::engine {

namespace {

// The state of a hash that has taken in some text.
class HashState {
public:
    HashState()
    {
        static const BCRYPT_ALG_HANDLE algorithm = open_algorithm(BCRYPT_SHA256_ALGORITHM);
        require(BCryptCreateHash(algorithm, &hash_, nullptr, 0, nullptr, 0, 0));
    }

    HashState(const HashState& other) { require(BCryptDuplicateHash(other.hash_, &hash_, nullptr, 0, 0)); }

    HashState& operator=(const HashState&) = delete;

    ~HashState() { BCryptDestroyHash(hash_); }

    void update(std::span<const std::uint8_t> text)
    {
        // The library counts in 32 bits.
        constexpr std::size_t most = 1u << 30;
        for (; !text.empty(); text = text.subspan(std::min(most, text.size())))
            require(BCryptHashData(hash_, const_cast<UCHAR*>(text.data()),
                                   static_cast<ULONG>(std::min(most, text.size())), 0));
    }

    // Ends the state: nothing can be added any more.
    Digest digest()
    {
        Digest result;
        require(BCryptFinishHash(hash_, result.data(), digest_size, 0));
        return result;
    }

private:
    BCRYPT_HASH_HANDLE hash_ = nullptr;
};

using Block = std::array<std::uint8_t, hash_block_size>;

void add_padded(HashState& state, const Block& key, std::uint8_t pad)
{
    Block block;
    std::transform(key.begin(), key.end(), block.begin(),
                   [pad](std::uint8_t byte) { return static_cast<std::uint8_t>(byte ^ pad); });
    state.update(block);
    SecureZeroMemory(block.data(), block.size());
}

} // namespace

struct HmacKey::States {
    HashState inner;
    HashState outer;
};

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
    SecureZeroMemory(block.data(), block.size());
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
