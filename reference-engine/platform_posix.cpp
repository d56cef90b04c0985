#include "platform.h"

#include <cstdlib>

namespace velk::engine {

std::optional<std::string> environment_variable(const std::string& name)
{
    const char* value = std::getenv(name.c_str());
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

std::FILE* create_file(const std::string& path)
{
    return std::fopen(path.c_str(), "wb");
}

} // namespace velk::engine
