#pragma once

// Operations of the engine library VELKDataCnvLib: conversions between UTF-8, UTF-16 and wide text.
// Wide text is 16 bits a unit on every platform. Lengths and capacities are in units of the text
// they stand beside (bytes of UTF-8, 16-bit units else) and 64 bits wide. The address of the output
// length may be null. The order of the arguments differs by operation.

#include "engine/linkage.h"

#include <cstdint>

namespace velk {

VELK_ENGINE_OPERATION std::int32_t Cnv_Utf16ToUtf8(char* destination, std::int64_t capacity,
                                                   const char16_t* source, std::int64_t length,
                                                   std::int64_t* output_length);

VELK_ENGINE_OPERATION std::int32_t Cnv_WideToUtf8(char* destination, std::int64_t capacity,
                                                  const char16_t* source, std::int64_t length,
                                                  std::int64_t* output_length);

VELK_ENGINE_OPERATION std::int32_t Cnv_Utf8ToUtf16(char16_t* destination, std::int64_t capacity,
                                                   const char* source, std::int64_t length,
                                                   std::int64_t* output_length);

VELK_ENGINE_OPERATION std::int32_t Cnv_Utf16ToWide(const char16_t* source, std::int64_t length,
                                                   char16_t* destination, std::int64_t capacity,
                                                   std::int64_t* output_length);

VELK_ENGINE_OPERATION std::int32_t Cnv_WideToUtf16(const char16_t* source, std::int64_t length,
                                                   char16_t* destination, std::int64_t capacity,
                                                   std::int64_t* output_length);

} // namespace velk
