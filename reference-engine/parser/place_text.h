#pragma once

// Where in a masking string something stands, as a person reads it.

#include "text/failure.h"

#include <string>
#include <string_view>

namespace velk::engine {

// "line 2, column 9 (byte 41)", all counted from 1. Columns count code points.
std::string position_text(std::string_view source, std::size_t position);

// A part of the line where the place starts, and under it what marks the place:
//
//     email = emial(domain=example.com)
//             ^~~~~
//
// Secrets are shown as ***.
std::string excerpt_text(std::string_view source, const Place& place);

} // namespace velk::engine
