#pragma once

#include "records/requests.h"

#include <cstddef>

namespace velk::bulk {

// Three full texts, the marks between them and a terminator fit.
inline constexpr std::size_t error_text_units =
    (message_capacity1 + message_capacity2 + message_capacity3) / sizeof(char16_t) + 8;

// Writes the engine's text of an error code as the bridge gives it, on the thread that met the error. Its
// length in units, 0 where the engine has none.
std::size_t error_text(std::int32_t code, char16_t (&text)[error_text_units]);

} // namespace velk::bulk
