#include "memory_search.h"

#if VELK_MEMORY_CAN_BE_SEARCHED

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>

#include <fcntl.h>
#include <unistd.h>

namespace velk::test {

namespace {

bool matches(const volatile char* memory, std::string_view masked, char pattern)
{
    for (std::size_t i = 0; i < masked.size(); ++i)
        if (static_cast<char>(memory[i] ^ pattern) != masked[i]) return false;
    return true;
}

std::size_t copies_between(std::uintptr_t start, std::uintptr_t end, std::string_view masked, char pattern)
{
    std::size_t copies = 0;
    const auto first = static_cast<unsigned char>(masked[0] ^ pattern);
    const auto* memory = reinterpret_cast<const char*>(start);
    const char* const last = reinterpret_cast<const char*>(end) - masked.size();
    while (memory <= last) {
        memory =
            static_cast<const char*>(std::memchr(memory, first, static_cast<std::size_t>(last - memory) + 1));
        if (memory == nullptr) break;
        if (matches(memory, masked, pattern)) ++copies;
        ++memory;
    }
    return copies;
}

} // namespace

std::size_t copies_in_memory(std::string_view masked, char pattern)
{
    std::size_t copies = 0;
    std::FILE* const maps = std::fopen("/proc/self/maps", "r");
    char line[512];
    while (std::fgets(line, sizeof line, maps) != nullptr) {
        unsigned long start = 0;
        unsigned long end = 0;
        char rights[5] = {};
        if (std::sscanf(line, "%lx-%lx %4s", &start, &end, rights) == 3 && std::strncmp(rights, "rw", 2) == 0)
            copies += copies_between(start, end, masked, pattern);
    }
    std::fclose(maps);
    return copies;
}

void write_unbuffered(const std::filesystem::path& path, const char* text)
{
    const int file = ::open(path.c_str(), O_CREAT | O_WRONLY | O_TRUNC, 0600);
    if (::write(file, text, std::strlen(text)) < 0) std::perror("write");
    ::close(file);
}

// Never zero: the bytes are also written as a text.
unsigned char byte_made_by_chance()
{
    static std::random_device device;
    return static_cast<unsigned char>(device() % 255 + 1);
}

} // namespace velk::test

#endif
