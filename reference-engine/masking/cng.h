#pragma once

// Windows' crypto library, as far as hashes and ciphers share it.

#include <stdexcept>

#include <windows.h>

#include <bcrypt.h>

namespace velk::engine {

// Throws std::runtime_error where a call of the library failed.
inline void require(NTSTATUS status)
{
    if (status < 0) throw std::runtime_error("the crypto library failed");
}

// An algorithm's provider, open until the process ends.
inline BCRYPT_ALG_HANDLE open_algorithm(const wchar_t* name, ULONG flags = 0)
{
    BCRYPT_ALG_HANDLE algorithm;
    require(BCryptOpenAlgorithmProvider(&algorithm, name, nullptr, flags));
    return algorithm;
}

} // namespace velk::engine
