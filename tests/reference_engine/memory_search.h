#pragma once

// A search of all memory of this process that can be written: stacks, heaps and globals.

#include <cstddef>
#include <filesystem>
#include <string_view>

// A sanitizer's own memory is far too large to be searched, and reports what is read of the rest.
#if defined(_WIN32) || defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VELK_MEMORY_CAN_BE_SEARCHED 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define VELK_MEMORY_CAN_BE_SEARCHED 0
#endif
#endif
#if !defined(VELK_MEMORY_CAN_BE_SEARCHED)
#define VELK_MEMORY_CAN_BE_SEARCHED 1
#endif

namespace velk::test {

#if VELK_MEMORY_CAN_BE_SEARCHED

// How often bytes stand in memory that give the masked ones when each is combined with the pattern by
// exclusive or: so the bytes that are looked for are not there because of the search.
std::size_t copies_in_memory(std::string_view masked, char pattern);

// Writes a file without a copy of the text in this process.
void write_unbuffered(const std::filesystem::path& path, const char* text);

unsigned char byte_made_by_chance();

#endif

} // namespace velk::test
