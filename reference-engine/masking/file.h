#pragma once

// Files that a rule or a key names.

#include <optional>
#include <string>
#include <string_view>

namespace velk::engine {

// All bytes of the file with that path in UTF-8; nothing if it cannot be read, is
// no regular file or is longer than 64 MiB.
std::optional<std::string> read_file(std::string_view path);

} // namespace velk::engine
