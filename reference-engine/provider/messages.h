#pragma once

// The texts of the error codes. Each has three parts: a heading that says what failed, a detail that says
// more or where, and a trailing part that says what to do.

#include "error_codes.h"

#include <span>
#include <string_view>

namespace velk::engine {

struct Message {
    ErrorCode code;
    std::string_view heading;
    std::string_view detail;
    std::string_view trailing;
};

std::span<const Message> messages();

} // namespace velk::engine
