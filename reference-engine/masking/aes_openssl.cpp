// The low-level cipher functions are deprecated, but they alone encrypt a block without a context to set up.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "masking/aes.h"

#include <stdexcept>

#include <openssl/aes.h>
#include <openssl/crypto.h>

namespace velk::engine {

struct AesKey::Schedule {
    AES_KEY rounds;
};

AesKey::AesKey(std::span<const std::uint8_t> key) : schedule_(std::make_unique<Schedule>())
{
    if (AES_set_encrypt_key(key.data(), static_cast<int>(8 * key.size()), &schedule_->rounds) != 0)
        throw std::invalid_argument("an AES key has 16, 24 or 32 bytes");
}

AesKey::AesKey(AesKey&&) noexcept = default;
AesKey& AesKey::operator=(AesKey&&) noexcept = default;

AesKey::~AesKey()
{
    if (schedule_ != nullptr) OPENSSL_cleanse(schedule_.get(), sizeof(Schedule));
}

void AesKey::encrypt(CipherBlock& block) const
{
    AES_encrypt(block.data(), block.data(), &schedule_->rounds);
}

} // namespace velk::engine
