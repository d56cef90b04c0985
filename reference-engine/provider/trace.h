#pragma once

// The trace facility: lends a record to every scope and writes what comes back as events. It lives as
// long as the framework and is off where no mask is set.

#include <cstdint>
#include <string>

namespace velk::engine {

// Throws a Failure if the file cannot be opened.
void trace_start(std::uint32_t mask, const std::string& path);

// Closes every open span and the output. False if not everything could be written.
bool trace_stop() noexcept;

} // namespace velk::engine
