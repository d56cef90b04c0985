#pragma once

// The pairs of a masking string:
//
//     string = [ sep ] [ pair { sep pair } [ sep ] ]
//     sep    = 1*( blank | "," | ";" | comment )        blank = space, tab, CR, LF
//     pair   = key ws "=" ws value                      comment = "#" to the end of the line
//     key    = part [ "." part ]                        part = name | pattern | position | dquoted
//     value  = bare | squoted | dquoted | call
//     call   = name "(" ws [ arg { ws "," ws arg } ws ] ")"    ws = any number of blanks
//
// What a name, a pattern, a position, an argument and a quoted text are stands in argument.h. A byte-order
// mark may come first.

#include "records/requests.h"
#include "text/argument.h"
#include "text/failure.h"

#include <string>
#include <string_view>
#include <vector>

namespace velk::engine {

inline constexpr std::size_t longest_string = 1024 * 1024; // bytes
inline constexpr std::size_t pair_limit = 20'000;

// What the buffers of all pairs may take: each pair gets room for the longest key and the longest value.
inline constexpr std::size_t largest_buffers = 256 * 1024 * 1024; // bytes

enum class ValueKind : char { bare = 'b', single_quoted = 's', double_quoted = 'd', call = 'c' };

// Key and value are parts of the source, with their quotes.
struct Pair {
    Place key;
    Place value;
    ValueKind kind = ValueKind::bare;
};

// Throws a Failure with its place where the text is no masking string.
std::vector<Pair> parse_pairs(std::string_view source);

// One part of a key.
struct KeyPart {
    std::string text; // quotes and escapes resolved
    bool quoted = false;
    Place place{};
};

// The value that starts here, bare, quoted or a call.
ValueKind scan_pair_value(Scanner& scanner);

// The one or two parts of the key that starts here.
std::vector<KeyPart> scan_key(Scanner& scanner);

// Where in the source an entry's key and value stand, and the value's kind: kept in bytes of the entry that
// are free for it.
void store_place(KVPA& entry, const Pair& pair);
Pair place_of(const KVPA& entry);

} // namespace velk::engine
