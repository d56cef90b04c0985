#pragma once

// Where trace events go: a file in the Trace Event JSON format, one event a line, or readable lines on
// standard error.

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace velk::engine {

struct TraceArgument {
    std::string name;
    std::string text; // UTF-8
    bool is_number;
};

// The phases of the format.
enum class TracePhase : char { begin = 'B', end = 'E', instant = 'i' };

struct TraceEvent {
    TracePhase phase;
    std::string name;
    std::uint64_t nanoseconds; // since the start of the trace
    int thread;
    std::vector<TraceArgument> arguments{};
};

struct TraceOutput {
    std::FILE* file = nullptr; // null: closed
    bool is_json = false;
    bool is_empty = true; // no event yet
    bool failed = false;  // some event could not be written
};

// "-" is standard error. False if the file cannot be opened.
bool open_output(TraceOutput& output, const std::string& path);
void write_event(TraceOutput& output, const TraceEvent& event);
// False if not everything could be written.
bool close_output(TraceOutput& output);

} // namespace velk::engine
