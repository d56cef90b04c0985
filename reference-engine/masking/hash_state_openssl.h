#pragma once

// The hash state behind masking/hmac.h, by OpenSSL.

// The low-level hash functions are deprecated, but they alone give a state that is copied by assignment:
// the newer interface allocates for every message.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "masking/hmac.h"

#include <openssl/crypto.h>
#include <openssl/sha.h>

namespace velk::engine {

// A SHA-256 that has taken in some text. A copy goes on by itself.
class HashState {
public:
    HashState() { SHA256_Init(&state_); }

    HashState(const HashState&) = default;
    HashState& operator=(const HashState&) = delete;

    ~HashState() { OPENSSL_cleanse(&state_, sizeof state_); }

    void update(std::span<const std::uint8_t> text) { SHA256_Update(&state_, text.data(), text.size()); }

    // Ends the state: nothing can be added any more.
    Digest digest()
    {
        Digest result;
        SHA256_Final(result.data(), &state_);
        return result;
    }

private:
    SHA256_CTX state_;
};

inline void wipe(std::span<std::uint8_t> bytes)
{
    OPENSSL_cleanse(bytes.data(), bytes.size());
}

} // namespace velk::engine
