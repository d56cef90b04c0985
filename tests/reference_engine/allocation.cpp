#include "allocation.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace {

thread_local std::size_t left = std::numeric_limits<std::size_t>::max();

[[maybe_unused]] void* allocate(std::size_t size)
{
    if (left == 0) throw std::bad_alloc();
    if (left != std::numeric_limits<std::size_t>::max()) --left;
    if (void* block = std::malloc(size == 0 ? 1 : size)) return block;
    throw std::bad_alloc();
}

} // namespace

namespace velk::test {

void fail_allocations_after(std::size_t count)
{
    left = count;
}

void allow_allocations()
{
    left = std::numeric_limits<std::size_t>::max();
}

} // namespace velk::test

// The thread sanitizer has operators of its own and takes no others: with it no allocation fails.
#if defined(__has_feature)
#define VELK_OWN_OPERATORS (!__has_feature(thread_sanitizer))
#else
#define VELK_OWN_OPERATORS 1
#endif
#if VELK_OWN_OPERATORS

void* operator new(std::size_t size)
{
    return allocate(size);
}
void* operator new[](std::size_t size)
{
    return allocate(size);
}
void operator delete(void* block) noexcept
{
    std::free(block);
}
void operator delete[](void* block) noexcept
{
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept
{
    std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept
{
    std::free(block);
}

#endif
