#include "masking/aes.h"
#include "masking/cng.h"

#include <algorithm>

namespace velk::engine {

namespace {

// Block by block, so that what a block becomes depends on nothing but the key.
BCRYPT_ALG_HANDLE single_blocks()
{
    wchar_t mode[] = BCRYPT_CHAIN_MODE_ECB;
    const BCRYPT_ALG_HANDLE algorithm = open_algorithm(BCRYPT_AES_ALGORITHM);
    require(
        BCryptSetProperty(algorithm, BCRYPT_CHAINING_MODE, reinterpret_cast<UCHAR*>(mode), sizeof mode, 0));
    return algorithm;
}

// A key of the library, which wipes what it destroys.
struct KeyHandle {
    BCRYPT_KEY_HANDLE key = nullptr;

    ~KeyHandle()
    {
        if (key != nullptr) BCryptDestroyKey(key);
    }
};

} // namespace

struct AesKey::Schedule : KeyHandle {};

struct AesContext::State : KeyHandle {};

AesKey::AesKey(std::span<const std::uint8_t> key) : schedule_(std::make_unique<Schedule>())
{
    if (key.size() != 16 && key.size() != 24 && key.size() != 32)
        throw std::invalid_argument("an AES key has 16, 24 or 32 bytes");
    static const BCRYPT_ALG_HANDLE aes = single_blocks();
    require(BCryptGenerateSymmetricKey(aes, &schedule_->key, nullptr, 0, const_cast<UCHAR*>(key.data()),
                                       static_cast<ULONG>(key.size()), 0));
}

AesKey::AesKey(AesKey&&) noexcept = default;
AesKey& AesKey::operator=(AesKey&&) noexcept = default;
AesKey::~AesKey() = default;

// A key of its own, because the library lets one thread at a time encrypt with a key.
AesContext::AesContext(const AesKey& key) : state_(std::make_unique<State>())
{
    require(BCryptDuplicateKey(key.schedule_->key, &state_->key, nullptr, 0, 0));
}

AesContext::~AesContext() = default;

void AesContext::encrypt(std::span<CipherBlock> blocks)
{
    constexpr std::size_t most = 1u << 20; // the library counts bytes in 32 bits
    for (; !blocks.empty(); blocks = blocks.subspan(std::min(most, blocks.size()))) {
        const auto size = static_cast<ULONG>(std::min(most, blocks.size()) * cipher_block_size);
        std::uint8_t* bytes = blocks.front().data();
        ULONG written = 0;
        require(BCryptEncrypt(state_->key, bytes, size, nullptr, nullptr, 0, bytes, size, &written, 0));
        if (written != size) throw std::runtime_error("the crypto library left blocks out");
    }
}

} // namespace velk::engine
