#pragma once

// What the operating systems do differently. All texts are UTF-8.

#include <cstdio>
#include <optional>
#include <string>

namespace velk::engine {

// The value of an environment variable; nothing if there is none of that name.
std::optional<std::string> environment_variable(const std::string& name);

// A new file for writing, a former one is emptied; null if it cannot be opened.
std::FILE* create_file(const std::string& path);

} // namespace velk::engine
