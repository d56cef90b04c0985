#pragma once

// Where a key comes from: env:NAME, a variable of the environment, or file:PATH.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velk::engine {

struct KeySource {
    enum class Kind : std::uint8_t { variable, file };

    Kind kind;
    std::string_view name; // of the variable, or the file's path; a part of the text that was read
};

// Nothing: the text does not start like a source.
std::optional<KeySource> key_source(std::string_view text);

// How much of the name may be shown, from its start: a key itself may have been written there. Of a variable
// the first characters, where the name is one that a person would choose: upper-case letters, digits and _.
// Of a file all, where it looks like a path. Nothing: it must not be told apart from a key.
std::optional<std::size_t> shown_length(const KeySource& source);

// The text of a source as a message or a trace may show it; *** for what is none.
std::string shown_key_source(std::string_view text);

} // namespace velk::engine
