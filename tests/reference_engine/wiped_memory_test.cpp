#include "masking/secret.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace velk::test {
namespace {

using namespace engine;

// Looks at what is given back.
struct WatchedHeap {
    static inline std::size_t released = 0; // bytes
    static inline bool wiped = true;

    static void* allocate(std::size_t bytes) { return Heap::allocate(bytes); }
    static void release(void* memory, std::size_t bytes) noexcept
    {
        const auto* first = static_cast<const unsigned char*>(memory);
        wiped = wiped && std::all_of(first, first + bytes, [](unsigned char byte) { return byte == 0; });
        released += bytes;
        Heap::release(memory, bytes);
    }
};

TEST(Secret, bytes_are_wiped_where_they_grew_and_where_they_ended)
{
    WatchedHeap::released = 0;
    {
        std::vector<std::uint8_t, WipingAllocator<std::uint8_t, WatchedHeap>> bytes;
        for (int i = 0; i < 1000; ++i) bytes.push_back(0xAB);
        EXPECT_GE(WatchedHeap::released, 500u) << "it has grown";
        EXPECT_TRUE(WatchedHeap::wiped);
    }
    EXPECT_GE(WatchedHeap::released, 1500u);
    EXPECT_TRUE(WatchedHeap::wiped);
}

TEST(Secret, an_array_is_wiped_where_it_ends)
{
    using Array = SecretArray<32>;
    alignas(Array) unsigned char memory[sizeof(Array)];
    auto* array = new (memory) Array;
    array->fill(0xAB);
    array->~Array();
    EXPECT_TRUE(std::all_of(memory, memory + sizeof memory, [](unsigned char byte) { return byte == 0; }));
}

} // namespace
} // namespace velk::test
