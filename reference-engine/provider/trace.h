#pragma once

// The trace facility: lends a record to every scope and writes what comes back as events. It lives as
// long as the framework and is off where no mask is set.

#include <cstdint>
#include <string>
#include <string_view>

namespace velk::engine {

// Throws a Failure if the file cannot be opened.
void trace_start(std::uint32_t mask, const std::string& path);

// Writes an event of the engine's own, where the trace is on: what a user should know, but nothing fails for.
void trace_note(std::string_view name, std::string_view text) noexcept;

// Closes every open span and the output. False if not everything could be written.
bool trace_stop() noexcept;

} // namespace velk::engine
