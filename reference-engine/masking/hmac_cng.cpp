// HMAC-SHA-256 by Windows' crypto library. Its hashes belong to one thread at a time: a key keeps those that
// its runs are done with for the next ones.

#include "masking/cng.h"
#include "masking/hmac.h"

#include <algorithm>
#include <mutex>
#include <vector>

namespace velk::engine {

namespace {

void update(BCRYPT_HASH_HANDLE hash, std::span<const std::uint8_t> text)
{
    constexpr std::size_t most = 1u << 30; // the library counts in 32 bits
    for (; !text.empty(); text = text.subspan(std::min(most, text.size())))
        require(BCryptHashData(hash, const_cast<UCHAR*>(text.data()),
                               static_cast<ULONG>(std::min(most, text.size())), 0));
}

Digest finish(BCRYPT_HASH_HANDLE hash)
{
    Digest result;
    require(BCryptFinishHash(hash, result.data(), digest_size, 0));
    return result;
}

struct Destroy {
    void operator()(void* hash) const { BCryptDestroyHash(hash); }
};
using Hash = std::unique_ptr<void, Destroy>;

} // namespace

struct HmacKey::States {
    SecretBytes key;
    std::vector<BCRYPT_HASH_HANDLE> idle{}; // hashes that no run uses; the library wipes what it ends
    std::size_t hashes = 0;                 // idle or not
    std::mutex mutex{};                     // held over each use of the two

    ~States()
    {
        for (const BCRYPT_HASH_HANDLE hash : idle) BCryptDestroyHash(hash);
    }

    BCRYPT_HASH_HANDLE take()
    {
        const std::lock_guard lock(mutex);
        if (idle.empty()) {
            idle.reserve(hashes + 1); // so that giving back allocates nothing
            return make();
        }
        const BCRYPT_HASH_HANDLE hash = idle.back();
        idle.pop_back();
        return hash;
    }

    void give_back(BCRYPT_HASH_HANDLE hash) noexcept
    {
        const std::lock_guard lock(mutex);
        idle.push_back(hash);
    }

    BCRYPT_HASH_HANDLE make()
    {
        static const BCRYPT_ALG_HANDLE algorithm =
            open_algorithm(BCRYPT_SHA256_ALGORITHM, BCRYPT_ALG_HANDLE_HMAC_FLAG);
        BCRYPT_HASH_HANDLE hash;
        require(BCryptCreateHash(algorithm, &hash, nullptr, 0, key.data(), static_cast<ULONG>(key.size()),
                                 BCRYPT_HASH_REUSABLE_FLAG));
        ++hashes;
        return hash;
    }
};

Digest sha256(std::span<const std::uint8_t> message)
{
    static const BCRYPT_ALG_HANDLE algorithm = open_algorithm(BCRYPT_SHA256_ALGORITHM);
    BCRYPT_HASH_HANDLE hash;
    require(BCryptCreateHash(algorithm, &hash, nullptr, 0, nullptr, 0, 0));
    const Hash owner(hash);
    update(hash, message);
    return finish(hash);
}

HmacKey::HmacKey(std::span<const std::uint8_t> key)
    : states_(new States{SecretBytes(key.begin(), key.end())}), pair_states_(key)
{
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

HmacRun::HmacRun(const HmacKey& key) : key_(&key), hash_(key.states_->take()) {}

HmacRun::~HmacRun()
{
    if (hash_ != nullptr) key_->states_->give_back(hash_);
}

// What is finished starts anew with the key. A hash that failed on its way is used for nothing else.
void HmacRun::digest(std::span<const std::uint8_t> message, Digest& result)
{
    Hash hash(hash_);
    hash_ = nullptr;
    update(hash.get(), message);
    result = finish(hash.get());
    hash_ = hash.release();
}

} // namespace velk::engine
