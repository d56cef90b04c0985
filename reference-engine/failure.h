#pragma once

// How a failure travels inside the engine. It is thrown where the cause is known, gathers context on its
// way out, and ends at the operation's boundary as an error code: no exception leaves the engine.

#include "error_codes.h"

#include <string>
#include <string_view>

namespace velk::engine {

struct Failure {
    ErrorCode code;
    std::string subject{}; // what the heading quotes: a name, a number, a file
    std::string detail{};  // where it happened: lines of text
    std::string advice{};  // what may help in this very case
};

inline void add_detail(Failure& failure, std::string_view line)
{
    if (!failure.detail.empty()) failure.detail += '\n';
    failure.detail += line;
}

} // namespace velk::engine
