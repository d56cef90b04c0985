#pragma once

#include <cstddef>

namespace velk::test {

// Two gigabytes and one page of room in the memory of a few megabytes: every chunk but the page at the end is
// the first one again.
class RepeatedMemory {
public:
    RepeatedMemory();
    ~RepeatedMemory();
    RepeatedMemory(const RepeatedMemory&) = delete;
    RepeatedMemory& operator=(const RepeatedMemory&) = delete;

    static constexpr std::size_t size = 0x80000000;
    static constexpr std::size_t chunk = 0x1000000;
    char* start;

private:
    static constexpr std::size_t page = 0x1000;
};

} // namespace velk::test
