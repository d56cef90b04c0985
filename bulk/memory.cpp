#include "memory.h"

#include <cstdlib>
#include <cstring>

namespace velk::bulk {

// Called through a variable that anybody might change, or the compiler leaves out what nobody reads.
static void* (*const volatile set)(void*, int, std::size_t) = std::memset;

void wipe(void* start, std::size_t bytes)
{
    if (bytes > 0) set(start, 0, bytes);
}

bool reserve(Memory& memory, std::size_t bytes, std::size_t kept)
{
    if (bytes <= memory.capacity) return true;
    auto* start = static_cast<char*>(std::malloc(bytes));
    if (start == nullptr) return false;
    if (kept > 0) std::memcpy(start, memory.start, kept);
    release(memory);
    memory = {start, bytes};
    return true;
}

void release(Memory& memory)
{
    wipe(memory.start, memory.capacity);
    std::free(memory.start);
    memory = {};
}

} // namespace velk::bulk
