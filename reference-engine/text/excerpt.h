#pragma once

// Text of the user as it may appear in a message or a trace.

#include "text/failure.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velk::engine {

inline constexpr std::size_t name_excerpt = 40; // code points
inline constexpr std::size_t rule_excerpt = 60;

// At most limit code points of the text, "..." behind a cut. Controls and characters above U+FFFF are
// shown as \u{...}: messages cross the JVM as modified UTF-8, which knows no four-byte characters.
// The value of a key is never shown.
std::string shown(std::string_view user_text, std::size_t limit = name_excerpt);

// "U+00A0"
std::string code_point_name(char32_t code_point);

// A secret that was written where only its source may stand must not be repeated. What stands as the value of
// a name that looks like `key` becomes ***, up to the next pair; so does what else stands between such a name
// and its sign. The sign is =, : or an opening parenthesis. What a source shows is said in key_source.h.
std::string without_key(std::string_view text);
std::vector<Place> secret_places(std::string_view text); // what becomes ***, in order

// Whether a part of the name is `key`, has it inside, or is a single slip away from it, whatever its case.
bool looks_like_key(std::string_view name);
bool ends_with_key(std::string_view text); // with such a name, white space behind it aside

// The known name that resembles the given one most, empty if none does. Neither case nor what stands in
// parentheses counts.
std::string_view nearest(std::string_view name, std::span<const std::string_view> known);

// "Did you mean "email"? Functions: card, classes, ..."
std::string advice(std::string_view name, std::string_view kind, std::span<const std::string_view> known);

} // namespace velk::engine
