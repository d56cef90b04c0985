#include "masking/aes.h"
#include "masking/cng.h"

namespace velk::engine {

struct AesKey::Schedule {
    BCRYPT_KEY_HANDLE key = nullptr;

    ~Schedule()
    {
        if (key != nullptr) BCryptDestroyKey(key);
    }
};

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

} // namespace

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

void AesKey::encrypt(CipherBlock& block) const
{
    ULONG written = 0;
    require(BCryptEncrypt(schedule_->key, block.data(), cipher_block_size, nullptr, nullptr, 0, block.data(),
                          cipher_block_size, &written, 0));
    if (written != cipher_block_size) throw std::runtime_error("the crypto library gave no block");
}

} // namespace velk::engine
