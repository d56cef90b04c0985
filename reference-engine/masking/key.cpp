#include "masking/key.h"

#include "platform.h"
#include "text/characters.h"
#include "text/excerpt.h"
#include "text/failure.h"
#include "text/key_source.h"

#include <algorithm>
#include <string>

namespace velk::engine {

namespace {

[[noreturn]] void refuse(ErrorCode code, std::string_view source)
{
    throw Failure{code, shown(shown_key_source(source))};
}

SecretBytes from_environment(const std::string& name, std::string_view source)
{
    SecretBytes bytes(256);
    while (true) {
        const std::optional<std::size_t> size = environment_variable(name, bytes);
        if (!size) refuse(key_variable_unset, source);
        const bool whole = *size <= bytes.size();
        bytes.resize(*size);
        if (whole) return bytes;
    }
}

SecretBytes from_file(const std::string& path, std::string_view source)
{
    InputFile file(path);
    if (!file.is_open() || file.size() > largest_key_file) refuse(key_file_unreadable, source);
    if (file.others_may_write()) refuse(key_file_writable, source);
    SecretBytes bytes(largest_key_file);
    std::size_t size = 0;
    while (size < bytes.size()) {
        const std::optional<std::size_t> count = file.read(std::span(bytes).subspan(size));
        if (!count) refuse(key_file_unreadable, source);
        if (*count == 0) break;
        size += *count;
    }
    bytes.resize(size);
    return bytes;
}

std::span<const std::uint8_t> without_line_end(std::span<const std::uint8_t> bytes)
{
    if (!bytes.empty() && bytes.back() == '\n') {
        bytes = bytes.first(bytes.size() - 1);
        if (!bytes.empty() && bytes.back() == '\r') bytes = bytes.first(bytes.size() - 1);
    }
    return bytes;
}

} // namespace

std::span<const std::uint8_t> usable_key(std::span<const std::uint8_t> bytes, std::string_view source)
{
    const auto* text = reinterpret_cast<const char*>(bytes.data());
    if (text_start({text, bytes.size()}) > 0) refuse(key_with_byte_order_mark, source);
    const std::span<const std::uint8_t> key = without_line_end(bytes);
    if (key.size() < shortest_key) refuse(key_too_short, source);
    if (std::all_of(key.begin(), key.end(), [key](std::uint8_t byte) { return byte == key.front(); }))
        refuse(key_of_one_byte, source);
    return key;
}

HmacKey read_key(std::string_view source)
{
    const std::optional<KeySource> named = key_source(source);
    if (!named) throw Failure{key_source_unknown}; // what stands here may be the key itself
    const std::string name(named->name);
    const SecretBytes bytes =
        named->kind == KeySource::Kind::variable ? from_environment(name, source) : from_file(name, source);
    return HmacKey(usable_key(bytes, source));
}

bool others_may_read_key(std::string_view source)
{
    const std::optional<KeySource> named = key_source(source);
    if (!named || named->kind != KeySource::Kind::file) return false;
    const InputFile file{std::string(named->name)};
    return file.is_open() && file.others_may_read();
}

} // namespace velk::engine
