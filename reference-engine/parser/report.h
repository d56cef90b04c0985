#pragma once

// How the adapter reports an error: through an operation of the parser that is no part of the contract, so
// that every error of a masking string is read in one place.

#include "engine/linkage.h"

#include <cstdint>

namespace velk {

// Puts an error into the parser's slot. The texts are UTF-8, zero-terminated.
VELK_ENGINE_OPERATION void Parser_ReportError(std::int32_t code, const char* heading, const char* detail,
                                              const char* trailing);

} // namespace velk
