#include "text/excerpt.h"

#include "text/argument.h"
#include "text/unicode.h"

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <utility>
#include <vector>

namespace velk::engine {

namespace {

constexpr std::string_view separators = " \t\r\n,;)";
constexpr std::string_view bare_end = " \t\r\n,;()='\"#";
constexpr std::string_view key_word = "key";

std::string hexadecimal(char32_t code_point, std::size_t width)
{
    std::string digits;
    for (; code_point != 0 || digits.size() < width; code_point >>= 4)
        digits.insert(digits.begin(), "0123456789ABCDEF"[code_point & 0xF]);
    return digits;
}

bool is_control(char32_t code_point)
{
    return code_point < 0x20 || (code_point >= 0x7F && code_point < 0xA0) || code_point == 0x2028 ||
           code_point == 0x2029;
}

bool is_name_character(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '_' || character == '-';
}

std::size_t skip_blanks(std::string_view text, std::size_t position)
{
    return std::min(text.find_first_not_of(" \t\r\n", position), text.size());
}

// Of every kind: a key stands behind a no-break space just as well.
std::size_t skip_white_space(std::string_view text, std::size_t position)
{
    while ((position = skip_blanks(text, position)) < text.size()) {
        std::size_t next = position;
        if (!is_white_space(next_code_point(text, next))) break;
        position = next;
    }
    return position;
}

// Behind the closing quote of what opens at position.
std::size_t quoted_end(std::string_view text, std::size_t position)
{
    const char quote = text[position++];
    for (; position < text.size(); ++position) {
        if (quote == '"' && text[position] == '\\')
            ++position;
        else if (text[position] == quote)
            return position + 1; // a doubled quote opens the next part of the same value
    }
    return text.size();
}

// Whether `name=` or `name.attribute=` starts here. A name may be quoted.
bool starts_pair(std::string_view text, std::size_t position)
{
    const std::size_t start = position;
    while (position < text.size()) {
        if (text[position] == '"')
            position = quoted_end(text, position);
        else if (is_name_character(text[position]) || text[position] == '.')
            ++position;
        else
            break;
    }
    const std::size_t sign = skip_blanks(text, position);
    return position > start && sign < text.size() && text[sign] == '=';
}

// Where the value that starts at position ends. A secret may hold separators and quotes like any other
// character, so only a new pair or the end of the text, outside its parentheses, tells that it is over.
std::size_t value_end(std::string_view text, std::size_t position)
{
    std::size_t depth = 0;
    while (position < text.size()) {
        const std::size_t next =
            depth > 0 ? position : std::min(text.find_first_not_of(separators, position), text.size());
        if (next > position) {
            if (next == text.size() || starts_pair(text, next)) break;
            position = next;
            continue;
        }
        const char character = text[position];
        if (character == '(') ++depth;
        if (character == ')') --depth;
        const bool quoted = character == '\'' || character == '"';
        position = quoted ? quoted_end(text, position) : position + 1;
    }
    return position;
}

// Where the key's source that stands at position ends; the position itself if what stands there is none.
std::size_t source_end(std::string_view text, std::size_t position)
{
    if (!names_key_source(text.substr(position))) return position;
    const bool quoted = text[position] == '\'' || text[position] == '"';
    const std::size_t end =
        quoted ? quoted_end(text, position) : std::min(text.find_first_of(bare_end, position), text.size());
    const bool whole = end == text.size() || separators.find(text[end]) != std::string_view::npos;
    return whole ? end : position;
}

// Where the value of the next `key` starts, at or behind position; the text's size if there is none. A colon
// may have been meant as the sign.
std::size_t next_key_value(std::string_view text, std::size_t position)
{
    while ((position = text.find(key_word, position)) != std::string_view::npos) {
        const bool starts = position == 0 || !is_name_character(text[position - 1]);
        position += key_word.size();
        const std::size_t sign = skip_white_space(text, position);
        if (starts && sign < text.size() && (text[sign] == '=' || text[sign] == ':'))
            return skip_white_space(text, sign + 1);
    }
    return text.size();
}

// What is compared of a word: not its case, nor what stands in parentheses behind it.
std::string compared(std::string_view word)
{
    std::string result(word.substr(0, word.find('(')));
    for (char& character : result)
        if (character >= 'A' && character <= 'Z') character = static_cast<char>(character - 'A' + 'a');
    return result;
}

// The least number of single-character edits that turn one text into the other.
std::size_t edit_distance(std::string_view a, std::string_view b)
{
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

} // namespace

std::string shown(std::string_view user_text, std::size_t limit)
{
    const std::string text = without_key(user_text); // before the cut, which could hide that it is a key
    std::string result;
    std::size_t count = 0;
    for (std::size_t position = 0; position < text.size(); ++count) {
        if (count == limit) return result + "...";
        const char32_t code_point = next_code_point(text, position);
        if (code_point != ill_formed && (is_control(code_point) || code_point > 0xFFFF))
            result += "\\u{" + hexadecimal(code_point, 1) + "}";
        else
            append(result, code_point);
    }
    return result;
}

std::string code_point_name(char32_t code_point)
{
    return "U+" + hexadecimal(code_point, 4);
}

bool names_key_source(std::string_view value)
{
    if (!value.empty() && (value[0] == '\'' || value[0] == '"')) value.remove_prefix(1);
    return value.starts_with("env:") || value.starts_with("file:");
}

std::vector<Place> secret_places(std::string_view text)
{
    std::vector<Place> places;
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t start = next_key_value(text, position);
        position = source_end(text, start);
        if (position > start) continue;
        position = value_end(text, start);
        if (position > start) places.push_back({start, position - start});
    }
    return places;
}

bool ends_with_key(std::string_view text)
{
    const std::size_t word = text.rfind(key_word);
    if (word == std::string_view::npos || (word > 0 && is_name_character(text[word - 1]))) return false;
    return skip_white_space(text, word + key_word.size()) == text.size();
}

std::string without_key(std::string_view text)
{
    std::string result;
    std::size_t copied = 0;
    for (const Place& secret : secret_places(text)) {
        result.append(text.substr(copied, secret.start - copied)).append("***");
        copied = secret.start + secret.length;
    }
    return result.append(text.substr(copied));
}

std::string_view nearest(std::string_view name, std::span<const std::string_view> known)
{
    std::string_view best;
    const std::string word = compared(name);
    std::size_t best_distance = std::max<std::size_t>(2, word.size() / 3) + 1;
    if (word.size() > 2 * name_excerpt) return best;
    for (const std::string_view candidate : known) {
        const std::string other = compared(candidate);
        const std::size_t distance = edit_distance(word, other);
        if (distance < best_distance && distance < other.size()) {
            best = candidate;
            best_distance = distance;
        }
    }
    return best;
}

std::string advice(std::string_view name, std::string_view kind, std::span<const std::string_view> known)
{
    std::string result;
    if (const std::string_view near = nearest(name, known); !near.empty() && near != name)
        result = "Did you mean \"" + std::string(near) + "\"? ";
    result += kind;
    result += ": ";
    for (std::size_t i = 0; i < known.size(); ++i) result.append(i == 0 ? "" : ", ").append(known[i]);
    return result + ".";
}

} // namespace velk::engine
