#pragma once

// Memory that wipes itself: for keys, what is derived from them, and values on their way into a hash.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

namespace velk::engine {

// Zeroes bytes that nobody reads any more; no compiler leaves it out.
inline void wipe(void* bytes, std::size_t size) noexcept
{
#if defined(__GNUC__)
    if (size > 0) std::memset(bytes, 0, size);
    asm volatile("" : : "r"(bytes) : "memory");
#else
    for (volatile char* byte = static_cast<char*>(bytes); size > 0; --size) *byte++ = 0;
#endif
}

struct Heap {
    static void* allocate(std::size_t bytes) { return ::operator new(bytes); }
    static void release(void* memory, std::size_t) noexcept { ::operator delete(memory); }
};

// Wipes whatever it frees: all that a vector held, also where it has grown out of it.
template <typename T, typename Memory = Heap> struct WipingAllocator {
    using value_type = T;

    WipingAllocator() = default;
    template <typename Other> WipingAllocator(const WipingAllocator<Other, Memory>&) noexcept {}

    T* allocate(std::size_t count) { return static_cast<T*>(Memory::allocate(count * sizeof(T))); }

    void deallocate(T* items, std::size_t count) noexcept
    {
        wipe(items, count * sizeof(T));
        Memory::release(items, count * sizeof(T));
    }

    friend bool operator==(const WipingAllocator&, const WipingAllocator&) { return true; }
};

using SecretBytes = std::vector<std::uint8_t, WipingAllocator<std::uint8_t>>;

template <std::size_t size> struct SecretArray : std::array<std::uint8_t, size> {
    ~SecretArray() { wipe(this->data(), size); }
};

} // namespace velk::engine
