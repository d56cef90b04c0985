#include "masking/key.h"

#include "masking/file.h"
#include "platform.h"
#include "text/excerpt.h"
#include "text/failure.h"

#include <string>

namespace velk::engine {

namespace {

std::string from_environment(std::string_view name)
{
    std::optional<std::string> value = environment_variable(std::string(name));
    if (!value) throw Failure{key_variable_unset, shown(name)};
    return std::move(*value);
}

std::string from_file(std::string_view path)
{
    std::optional<std::string> file = read_file(path);
    if (!file) throw Failure{key_file_unreadable, shown(path)};
    std::string& bytes = *file;
    if (bytes.ends_with("\r\n"))
        bytes.resize(bytes.size() - 2);
    else if (bytes.ends_with('\n'))
        bytes.pop_back();
    return std::move(bytes);
}

std::string key_bytes(std::string_view source)
{
    constexpr std::string_view environment = "env:";
    constexpr std::string_view file = "file:";
    if (source.starts_with(environment)) return from_environment(source.substr(environment.size()));
    if (source.starts_with(file)) return from_file(source.substr(file.size()));
    throw Failure{key_source_unknown}; // what stands here may be the key itself, so it is not shown
}

} // namespace

HmacKey read_key(std::string_view source)
{
    const std::string bytes = key_bytes(source);
    if (bytes.size() < shortest_key) throw Failure{key_too_short, shown(source)};
    return HmacKey({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
}

} // namespace velk::engine
