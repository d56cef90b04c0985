#pragma once

// How a failure travels inside the engine. It is thrown where the cause is known, gathers context on its
// way out, and ends at the operation's boundary as an error code: no exception leaves the engine.

#include "text/error_codes.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velk::engine {

// A part of a text, in bytes.
struct Place {
    std::size_t start = 0;
    std::size_t length = 0;
};

struct Failure {
    ErrorCode code;
    std::string subject{};         // what the heading quotes: a name, a number, a file
    std::string detail{};          // where it happened: lines of text
    std::string advice{};          // what may help in this very case
    std::optional<Place> place{};  // in the text that was read, where it is known
    std::vector<Failure> others{}; // found in the same text, in the order of their places
    std::size_t untold = 0;        // found beside those
};

inline void add_detail(Failure& failure, std::string_view line)
{
    if (!failure.detail.empty()) failure.detail += '\n';
    failure.detail += line;
}

} // namespace velk::engine
