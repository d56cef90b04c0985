#pragma once

// The readable text of a failed parse.

#include <cstdint>

namespace velk {

// Leaves the parser's own text of its last error in error_text; where it has none, the engine's text for the
// failing result; where that is missing too, what error_text held before.
void compose_parse_error_text(std::int32_t result);

} // namespace velk
