#include "support/allocation.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <new>
#include <utility>

namespace velk::test {

namespace {

Allocations* watch = nullptr;

} // namespace

Allocations::Allocations()
{
    EXPECT_EQ(watch, nullptr) << "the heap is watched already";
    watch = this;
}

Allocations::~Allocations()
{
    watch = nullptr;
    for (const Allocation& leak : held()) ADD_FAILURE() << leak.size << " bytes leaked at " << leak.address;
}

std::vector<Allocation> Allocations::held() const
{
    std::vector<std::pair<std::size_t, Allocation>> ordered;
    for (const auto& [address, block] : blocks)
        ordered.push_back({block.serial, {const_cast<void*>(address), block.size}});
    std::sort(ordered.begin(), ordered.end(), [](auto& a, auto& b) { return a.first < b.first; });
    std::vector<Allocation> result;
    for (const auto& entry : ordered) result.push_back(entry.second);
    return result;
}

std::vector<std::size_t> Allocations::sizes() const
{
    std::vector<std::size_t> result;
    for (const Allocation& block : held()) result.push_back(block.size);
    return result;
}

std::size_t Allocations::size_of(const void* address) const
{
    const auto block = blocks.find(address);
    return block == blocks.end() ? 0 : block->second.size;
}

bool Allocations::refuses(std::size_t size)
{
    ++allocated;
    if (countdown == 0 || --countdown != 0) return false;
    refused = size;
    failed = true;
    return true;
}

void* Allocations::take_loan()
{
    if (loan != nullptr) on_loan = loan;
    return std::exchange(loan, nullptr);
}

bool Allocations::take_back(const void* address)
{
    if (address == nullptr || address != on_loan) return false;
    on_loan = nullptr;
    return true;
}

void Allocations::add(void* address, std::size_t size)
{
    if (address != nullptr) blocks[address] = {size, allocated};
}

void Allocations::remove(void* address)
{
    released += blocks.erase(address);
}

namespace {

constexpr int new_memory = 0x5A;

bool refused(std::size_t size)
{
    return watch != nullptr && watch->refuses(size);
}

void* watched(void* address, std::size_t size)
{
    if (watch != nullptr) watch->add(address, size);
    return address;
}

} // namespace
} // namespace velk::test

using namespace velk::test;

extern "C" {

void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* address, std::size_t size);
void __real_free(void* address);

void* __wrap_malloc(std::size_t size)
{
    if (refused(size)) return nullptr;
    if (void* lent = watch != nullptr ? watch->take_loan() : nullptr) return watched(lent, size);
    void* block = watched(__real_malloc(size), size);
    // New memory holds anything; never let it be zero by chance.
    if (watch != nullptr && block != nullptr) std::memset(block, new_memory, size);
    return block;
}

void* __wrap_calloc(std::size_t count, std::size_t size)
{
    return refused(count * size) ? nullptr : watched(__real_calloc(count, size), count * size);
}

void* __wrap_realloc(void* address, std::size_t size)
{
    if (refused(size)) return nullptr;
    if (watch != nullptr) watch->remove(address);
    return watched(__real_realloc(address, size), size);
}

void __wrap_free(void* address)
{
    const bool lent = watch != nullptr && watch->take_back(address);
    if (watch != nullptr && address != nullptr) watch->remove(address);
    if (!lent) __real_free(address);
}

} // extern "C"

#if defined(_WIN32)
// The C++ library is linked statically here, so that its malloc is the watched one too. These keep operator
// new out of the watch.

void* operator new(std::size_t size)
{
    if (void* block = __real_malloc(size == 0 ? 1 : size)) return block;
    throw std::bad_alloc();
}

void operator delete(void* block) noexcept
{
    __real_free(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    __real_free(block);
}
#endif
