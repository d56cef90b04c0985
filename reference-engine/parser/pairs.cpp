#include "parser/pairs.h"

#include "parser/findings.h"
#include "text/characters.h"
#include "text/excerpt.h"
#include "text/unicode.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace velk::engine {

namespace {

void require_text(std::string_view source)
{
    if (source.size() > longest_string)
        throw Failure{
            string_too_long, std::to_string(source.size()) + " bytes", {}, {}, Place{longest_string, 1}};
    for (std::size_t position = 0; position < source.size();) {
        const std::size_t start = position;
        const char32_t code_point = next_code_point(source, position);
        if (code_point == ill_formed || code_point == 0)
            throw Failure{text_ill_formed, {}, {}, {}, Place{start, 1}};
    }
}

void scan_comment(Scanner& scanner)
{
    scanner.position = std::min(scanner.text.find_first_of("\r\n", scanner.position), scanner.text.size());
}

// Whether there was a separator.
bool scan_separator(Scanner& scanner)
{
    const std::size_t start = scanner.position;
    while (!at_end(scanner)) {
        const std::size_t before = scanner.position;
        scan_blanks(scanner);
        if (next_is(scanner, '#')) scan_comment(scanner);
        if (!scan_character(scanner, ',') && !scan_character(scanner, ';') && scanner.position == before)
            break;
    }
    return scanner.position > start;
}

[[noreturn]] void fail_at_key(const Scanner& scanner)
{
    if (next_is(scanner, '('))
        fail(scanner, key_character_unexpected, "(",
             "No blank stands between a function and its parenthesis.");
    if (next_is(scanner, '#')) fail(scanner, key_character_unexpected, "#");
    if (next_is(scanner, '='))
        fail(scanner, key_character_unexpected, "=",
             "A key should stand before it. A value that is empty is written ''.");
    fail_at_character(scanner, key_character_unexpected);
}

KeyPart scan_part(Scanner& scanner)
{
    const std::size_t start = scanner.position;
    const bool quoted = next_is(scanner, '"');
    std::string text = quoted ? scan_value(scanner) : scan_column(scanner);
    if (scanner.position == start) at_end(scanner) ? fail(scanner, key_part_missing) : fail_at_key(scanner);
    return {std::move(text), quoted, {start, scanner.position - start}};
}

void scan_equals_sign(Scanner& scanner, std::string_view key)
{
    const std::size_t start = scanner.position;
    scan_blanks(scanner);
    if (scan_character(scanner, '=')) return;
    // What follows a name at once was meant to be a part of it.
    const bool belongs_to_key = scanner.position == start && !at_end(scanner) &&
                                std::string_view(",;#").find(scanner.text[start]) == std::string_view::npos;
    if (belongs_to_key) fail_at_key(scanner);
    if (!at_end(scanner) && is_white_space(peek(scanner))) fail_at_character(scanner);
    fail(scanner, equals_sign_missing, shown(key));
}

Pair scan_pair(Scanner& scanner)
{
    Pair pair;
    pair.key.start = scanner.position;
    scan_key(scanner);
    pair.key.length = scanner.position - pair.key.start;
    scan_equals_sign(scanner, scanner.text.substr(pair.key.start, pair.key.length));
    scan_blanks(scanner);
    pair.value.start = scanner.position;
    pair.kind = scan_pair_value(scanner);
    pair.value.length = scanner.position - pair.value.start;
    return pair;
}

// A pair, up to the next one.
void read_pair(Scanner& scanner, std::vector<Pair>& pairs)
{
    const Pair pair = scan_pair(scanner);
    if (pairs.size() == pair_limit) throw Failure{too_many_pairs, {}, {}, {}, pair.key};
    pairs.push_back(pair);
    if (scan_separator(scanner) || at_end(scanner)) return;
    if (next_is(scanner, '='))
        fail(scanner, character_unexpected, "=",
             "Quote the value. If it is the next key, the value before it is missing: an empty one is "
             "written ''.");
    fail_at_character(scanner);
}

// Whether nobody can tell what is meant by the text behind a failure, or it may be a key.
bool ends_reading(const Failure& failure, std::string_view before)
{
    return failure.code == number_sign_unquoted || failure.code == quote_not_closed ||
           failure.code == escape_unknown || failure.code == call_not_closed ||
           failure.code == too_many_pairs || ends_with_key(before);
}

// Goes on behind the line of a failure in the pair that starts there, and behind the call that it is in.
void skip_failure(Scanner& scanner, std::size_t start, const Failure& failure)
{
    const std::string_view text = scanner.text;
    const std::size_t place = failure.place->start;
    const std::string_view before = text.substr(start, place - start);
    std::size_t position = std::max(scanner.position, place + failure.place->length);
    // The place is where the sign was looked for, which may be lines away.
    if (failure.code == equals_sign_missing && text[start] != '"') position = start;
    if (before.find('(') != std::string_view::npos && before.find(')') == std::string_view::npos)
        position = text.find(')', position);
    position = text.find_first_of("\r\n", position);
    scanner.position = ends_reading(failure, before) ? text.size() : std::min(position, text.size());
    scan_separator(scanner);
}

// The free bytes of an entry: of its key in front, of its value behind.
struct Kept {
    std::uint32_t start;
    std::uint32_t length;
};
static_assert(sizeof(Kept) == sizeof(KVPA::reserved0) && sizeof(Kept) == sizeof(KVPA::reserved32));

void store(std::uint8_t (&bytes)[8], const Place& place)
{
    const Kept kept{static_cast<std::uint32_t>(place.start), static_cast<std::uint32_t>(place.length)};
    std::memcpy(bytes, &kept, sizeof kept);
}

Place stored(const std::uint8_t (&bytes)[8])
{
    Kept kept;
    std::memcpy(&kept, bytes, sizeof kept);
    return {kept.start, kept.length};
}

} // namespace

ValueKind scan_pair_value(Scanner& scanner)
{
    const std::size_t start = scanner.position;
    if (next_is(scanner, '\'')) return scan_value(scanner), ValueKind::single_quoted;
    if (next_is(scanner, '"')) return scan_value(scanner), ValueKind::double_quoted;
    scan_value(scanner);
    if (!next_is(scanner, '(')) return ValueKind::bare;
    Scanner name{scanner.text.substr(0, scanner.position), start};
    scan_name(name);
    if (!at_end(name)) fail_at_character(scanner); // only a name can be called
    scan_call(scanner);
    return ValueKind::call;
}

std::vector<KeyPart> scan_key(Scanner& scanner)
{
    std::vector<KeyPart> parts{scan_part(scanner)};
    while (scan_character(scanner, '.')) {
        parts.push_back(scan_part(scanner));
        if (parts.size() > 2)
            throw Failure{key_with_three_parts, shown(parts.back().text), {}, {}, parts.back().place};
    }
    return parts;
}

std::vector<Pair> parse_pairs(std::string_view source)
{
    require_text(source);
    Findings findings;
    std::vector<Pair> pairs;
    Scanner scanner{source, text_start(source)};
    scan_separator(scanner);
    while (!at_end(scanner) && !is_full(findings)) {
        const std::size_t start = scanner.position;
        try {
            read_pair(scanner, pairs);
        } catch (Failure& failure) {
            if (!failure.place) throw;
            skip_failure(scanner, start, failure);
            add(findings, std::move(failure));
        }
    }
    throw_any(findings);
    return pairs;
}

void store_place(KVPA& entry, const Pair& pair)
{
    store(entry.reserved0, pair.key);
    store(entry.reserved32, pair.value);
    entry.reserved24[0] = static_cast<std::uint8_t>(pair.kind);
}

Pair place_of(const KVPA& entry)
{
    return {stored(entry.reserved0), stored(entry.reserved32), static_cast<ValueKind>(entry.reserved24[0])};
}

} // namespace velk::engine
