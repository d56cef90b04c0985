#include "bulk/engine_threads.h"

#if !defined(_WIN32)

#include <cstdint>

static std::int32_t allowed = 0;

// In the place of the engine's: the program's own symbols come first.
extern "C" std::int32_t Provider_AllowsThreads()
{
    return allowed;
}

namespace velk::bulk::test {
namespace {

TEST(EngineThreads, are_allowed_where_the_engine_says_so)
{
    EXPECT_FALSE(engine_allows_threads());
    allowed = 1;
    EXPECT_TRUE(engine_allows_threads());
    allowed = -1;
    EXPECT_TRUE(engine_allows_threads());
    allowed = 0;
}

} // namespace
} // namespace velk::bulk::test

#else

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace velk::bulk::test {
namespace {

TEST(EngineThreads, are_allowed_only_where_the_provider_library_has_the_export)
{
    const HMODULE provider = GetModuleHandleA("VELKProvider.dll");
    ASSERT_NE(provider, nullptr);
    const bool exported = GetProcAddress(provider, "Provider_AllowsThreads") != nullptr;
    EXPECT_EQ(engine_allows_threads(), exported);
}

} // namespace
} // namespace velk::bulk::test
#endif
