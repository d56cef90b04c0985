#pragma once

// What the scripted engine's conversions do where a test does not say otherwise. Each writes as much as
// fits, whole characters only, and gives the units or bytes it wrote. No terminator is written.

#include <cstdint>

namespace velk::test {

std::int64_t utf16_to_utf8(char* destination, std::int64_t capacity, const char16_t* source,
                           std::int64_t length);
std::int64_t utf8_to_utf16(char16_t* destination, std::int64_t capacity, const char* source,
                           std::int64_t length);
std::int64_t copy_units(char16_t* destination, std::int64_t capacity, const char16_t* source,
                        std::int64_t length);

} // namespace velk::test
