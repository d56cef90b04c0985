#include "text/key_source.h"

#include "text/characters.h"

#include <algorithm>

namespace velk::engine {

namespace {

constexpr std::string_view variable_prefix = "env:";
constexpr std::string_view file_prefix = "file:";
constexpr std::size_t most_shown = 8; // characters: half of the shortest key
constexpr std::size_t longest_variable = 64;
constexpr std::string_view hidden = "***";

bool is_variable_name(std::string_view name)
{
    return name.size() <= longest_variable && (name.empty() || !is_digit(name[0])) &&
           std::all_of(name.begin(), name.end(), [](char character) {
               return (is_letter(character) && character <= 'Z') || is_digit(character) || character == '_';
           });
}

} // namespace

std::optional<KeySource> key_source(std::string_view text)
{
    if (text.starts_with(variable_prefix))
        return KeySource{KeySource::Kind::variable, text.substr(variable_prefix.size())};
    if (text.starts_with(file_prefix))
        return KeySource{KeySource::Kind::file, text.substr(file_prefix.size())};
    return std::nullopt;
}

std::optional<std::size_t> shown_length(const KeySource& source)
{
    const bool is_path =
        source.kind == KeySource::Kind::file && source.name.find_first_of("/\\.") != std::string_view::npos;
    if (is_path) return source.name.size();
    if (!is_variable_name(source.name)) return std::nullopt;
    return std::min(source.name.size(), most_shown);
}

std::string shown_key_source(std::string_view text)
{
    const std::optional<KeySource> source = key_source(text);
    const std::optional<std::size_t> length = source ? shown_length(*source) : std::nullopt;
    if (!length) return std::string(hidden);
    std::string shown(text.substr(0, text.size() - source->name.size() + *length));
    return *length == source->name.size() ? shown : shown.append(hidden);
}

} // namespace velk::engine
