#pragma once

// The hash state behind masking/hmac.h, by Windows' crypto library.

#include "masking/cng.h"
#include "masking/hmac.h"

#include <algorithm>

namespace velk::engine {

// A SHA-256 that has taken in some text. A copy goes on by itself. The library wipes what it ends.
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

inline void wipe(std::span<std::uint8_t> bytes)
{
    SecureZeroMemory(bytes.data(), bytes.size());
}

} // namespace velk::engine
