#include "engine_threads.h"

#include <cstdint>

#if defined(_WIN32)

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace {

using AllowsThreads = std::int32_t();

AllowsThreads* lookup()
{
    const HMODULE provider = GetModuleHandleA("VELKProvider.dll");
    if (provider == nullptr) return nullptr;
    // By way of a plain pointer to a function, for their types have nothing in common.
    using Any = void();
    return reinterpret_cast<AllowsThreads*>(
        reinterpret_cast<Any*>(GetProcAddress(provider, "Provider_AllowsThreads")));
}

} // namespace

#else

// A weak reference is null where the loaded provider library has no such export. To look it up by dlsym would
// ask for a C library later than everything else here does.
extern "C" std::int32_t Provider_AllowsThreads() __attribute__((weak));

static auto* lookup()
{
    return &Provider_AllowsThreads;
}

#endif

bool velk::bulk::engine_allows_threads()
{
    auto* const allows = lookup();
    return allows != nullptr && allows() != 0;
}
