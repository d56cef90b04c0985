#include "masking/aes.h"

#include <algorithm>
#include <stdexcept>

#include <openssl/crypto.h>
#include <openssl/evp.h>

namespace velk::engine {

namespace {

struct ContextDeleter {
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); } // wipes the key
};

using Context = std::unique_ptr<EVP_CIPHER_CTX, ContextDeleter>;

void require(bool success)
{
    if (!success) throw std::runtime_error("the crypto library failed");
}

// The library's objects are this engine's own and live as long as the process: no configuration file of the
// machine changes what they do, and no end of the process takes them from a thread that still masks.
struct Ciphers {
    OSSL_LIB_CTX* library = nullptr;
    EVP_CIPHER* aes128 = nullptr;
    EVP_CIPHER* aes192 = nullptr;
    EVP_CIPHER* aes256 = nullptr;

    Ciphers()
    {
        require(OPENSSL_init_crypto(OPENSSL_INIT_NO_LOAD_CONFIG | OPENSSL_INIT_NO_ATEXIT, nullptr) == 1);
        library = OSSL_LIB_CTX_new();
        require(library != nullptr);
        aes128 = EVP_CIPHER_fetch(library, "AES-128-ECB", nullptr);
        aes192 = EVP_CIPHER_fetch(library, "AES-192-ECB", nullptr);
        aes256 = EVP_CIPHER_fetch(library, "AES-256-ECB", nullptr);
        require(aes128 != nullptr && aes192 != nullptr && aes256 != nullptr);
    }
};

// Block by block, so that what a block becomes depends on nothing but the key.
const EVP_CIPHER* single_blocks(std::size_t key_size)
{
    static const Ciphers& ciphers = *new Ciphers;
    switch (key_size) {
    case 16:
        return ciphers.aes128;
    case 24:
        return ciphers.aes192;
    case 32:
        return ciphers.aes256;
    default:
        throw std::invalid_argument("an AES key has 16, 24 or 32 bytes");
    }
}

Context new_context()
{
    Context context(EVP_CIPHER_CTX_new());
    require(context != nullptr);
    return context;
}

} // namespace

struct AesKey::Schedule {
    Context context = new_context();
};

struct AesContext::State {
    Context context = new_context();
};

AesKey::AesKey(std::span<const std::uint8_t> key) : schedule_(std::make_unique<Schedule>())
{
    EVP_CIPHER_CTX* context = schedule_->context.get();
    require(EVP_EncryptInit_ex2(context, single_blocks(key.size()), key.data(), nullptr, nullptr) == 1);
    require(EVP_CIPHER_CTX_set_padding(context, 0) == 1);
}

AesKey::AesKey(AesKey&&) noexcept = default;
AesKey& AesKey::operator=(AesKey&&) noexcept = default;
AesKey::~AesKey() = default;

AesContext::AesContext(const AesKey& key) : state_(std::make_unique<State>())
{
    require(EVP_CIPHER_CTX_copy(state_->context.get(), key.schedule_->context.get()) == 1);
}

AesContext::~AesContext() = default;

void AesContext::encrypt(std::span<CipherBlock> blocks)
{
    constexpr std::size_t most = 1u << 20; // the library counts bytes in an int
    for (; !blocks.empty(); blocks = blocks.subspan(std::min(most, blocks.size()))) {
        const int size = static_cast<int>(std::min(most, blocks.size()) * cipher_block_size);
        std::uint8_t* bytes = blocks.front().data();
        int written = 0;
        require(EVP_EncryptUpdate(state_->context.get(), bytes, &written, bytes, size) == 1);
        require(written == size);
    }
}

} // namespace velk::engine
