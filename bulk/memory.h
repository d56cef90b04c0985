#pragma once

// Memory that holds values: it grows, and is overwritten before it is let go of. Sizes are in bytes.

#include <cstddef>

namespace velk::bulk {

struct Memory {
    char* start = nullptr;
    std::size_t capacity = 0;
};

// Overwrites with zeros, even where nobody reads them any more.
void wipe(void* start, std::size_t bytes);

// Takes room for so many bytes, the first kept ones of the former memory in front. False: there is no such
// memory, and the former one stays as it is.
bool reserve(Memory& memory, std::size_t bytes, std::size_t kept);

// As reserve, and at least half as much again as there was, for what grows step by step.
inline bool grow(Memory& memory, std::size_t bytes, std::size_t kept)
{
    if (bytes <= memory.capacity) return true;
    const std::size_t larger = memory.capacity + memory.capacity / 2;
    return reserve(memory, bytes < larger ? larger : bytes, kept);
}

// Wipes and frees it.
void release(Memory& memory);

// A list of plain records in such memory.
template <typename Record> struct List {
    Memory memory{};
    std::size_t size = 0;

    Record* data() { return reinterpret_cast<Record*>(memory.start); }
    const Record* data() const { return reinterpret_cast<const Record*>(memory.start); }
    Record& operator[](std::size_t i) { return data()[i]; }
    const Record& operator[](std::size_t i) const { return data()[i]; }
};

// False: out of memory, and the list stays as it is.
template <typename Record> bool append(List<Record>& list, const Record& record)
{
    if (!grow(list.memory, (list.size + 1) * sizeof(Record), list.size * sizeof(Record))) return false;
    list[list.size++] = record;
    return true;
}

// Makes the list so long. Its records are not set.
template <typename Record> bool resize(List<Record>& list, std::size_t size)
{
    if (!reserve(list.memory, size * sizeof(Record), list.size * sizeof(Record))) return false;
    list.size = size;
    return true;
}

template <typename Record> void release(List<Record>& list)
{
    release(list.memory);
    list.size = 0;
}

} // namespace velk::bulk
