#include "text/excerpt.h"

#include "text/argument.h"
#include "text/characters.h"
#include "text/key_source.h"
#include "text/unicode.h"

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <optional>
#include <utility>
#include <vector>

namespace velk::engine {

namespace {

constexpr std::string_view blanks = " \t\r\n";
constexpr std::string_view separators = " \t\r\n,;)";
constexpr std::string_view bare_end = " \t\r\n,;()='\"#";
constexpr std::string_view key_word = "key";

bool is_hard_to_see(char32_t code_point)
{
    return is_control(code_point) || code_point == 0x2028 || code_point == 0x2029;
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

// A part of a name, without regard to case. It is near by where one letter is another one, too many, missing,
// or exchanged with its neighbour.
bool resembles_key(std::string_view part)
{
    const std::string word = compared(part);
    if (word.find(key_word) != std::string::npos) return true;
    if (word.size() < key_word.size() - 1 || word.size() > key_word.size() + 1) return false;
    return edit_distance(word, key_word) <= 1 || word == "eky" || word == "kye";
}

std::size_t skip_blanks(std::string_view text, std::size_t position)
{
    return std::min(text.find_first_not_of(blanks, position), text.size());
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

bool is_quote(std::string_view text, std::size_t position)
{
    return position < text.size() && (text[position] == '\'' || text[position] == '"');
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

// White space inside quotes belongs to a word.
std::size_t word_end(std::string_view text, std::size_t position)
{
    while (position < text.size() && skip_white_space(text, position) == position)
        position = is_quote(text, position) ? quoted_end(text, position) : position + 1;
    return position;
}

// Whether `name=` or `name.attribute=` starts here. A name may be quoted.
bool starts_pair(std::string_view text, std::size_t position)
{
    const std::size_t start = position;
    while (position < text.size()) {
        if (text[position] == '"')
            position = quoted_end(text, position);
        else if (is_key_character(text[position]) || text[position] == '.')
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
        position = is_quote(text, position) ? quoted_end(text, position) : position + 1;
    }
    return position;
}

// A key's source with what of it is hidden all the same.
struct SourcePlace {
    std::size_t end;
    Place hidden;
};

// What stands at position, if it is a source and nothing but another pair or a comment follows.
std::optional<SourcePlace> source_at(std::string_view text, std::size_t position)
{
    const bool quoted = is_quote(text, position);
    const std::size_t end =
        quoted ? quoted_end(text, position) : std::min(text.find_first_of(bare_end, position), text.size());
    const std::size_t next = std::min(text.find_first_not_of(separators, end), text.size());
    const bool closed = !quoted || (end > position + 1 && text[end - 1] == text[position]);
    const bool whole = closed && (next > end || end == text.size()) &&
                       (next == text.size() || text[next] == '#' || starts_pair(text, next));
    if (!whole) return std::nullopt;
    const std::size_t quotes = quoted ? 1 : 0;
    const std::optional<KeySource> source =
        key_source(text.substr(position + quotes, end - position - 2 * quotes));
    const std::optional<std::size_t> length = source ? shown_length(*source) : std::nullopt;
    if (!length || (source->name.empty() && next < text.size() && text[next] == '#')) return std::nullopt;
    const std::size_t rest = source->name.size() - *length;
    return SourcePlace{end, {end - quotes - rest, rest}};
}

// The end of the first word that looks like `key` in what stands before a sign. Where a value comes first,
// that word is no name, unless it is the only one: the sign may be a part of it.
std::optional<std::size_t> suspicious_word_end(std::string_view text, bool value_first)
{
    std::size_t position = skip_white_space(text, 0);
    if (value_first) {
        const std::size_t second = skip_white_space(text, word_end(text, position));
        if (second < text.size()) position = second;
    }
    while (position < text.size()) {
        const std::size_t end = word_end(text, position);
        if (looks_like_key(text.substr(position, end - position))) return end;
        position = skip_white_space(text, end);
    }
    return std::nullopt;
}

// A text read for its secrets.
struct SecretScan {
    std::string_view text;
    std::vector<Place> secrets{};
    std::size_t position = 0;
    std::size_t name_start = 0; // of what may turn out to be a name
    bool value_first = false;   // the end of the pair before stands there, before the name
};

void start_name(SecretScan& scan, std::size_t start, bool value_first)
{
    scan.position = scan.name_start = start;
    scan.value_first = value_first;
}

void hide(SecretScan& scan, const Place& hidden, std::size_t end)
{
    if (hidden.length > 0) scan.secrets.push_back(hidden);
    start_name(scan, end, false);
}

// No sign has come: what stands behind a name that looks like `key` is hidden all the same.
void leave_name(SecretScan& scan, std::size_t next, bool value_first)
{
    const std::string_view words = scan.text.substr(scan.name_start, scan.position - scan.name_start);
    if (const std::optional<std::size_t> name_end = suspicious_word_end(words, scan.value_first)) {
        const std::size_t rest = skip_white_space(words, *name_end);
        const std::size_t end = std::min(words.find_last_not_of(blanks) + 1, words.size());
        if (rest < end) scan.secrets.push_back({scan.name_start + rest, end - rest});
    }
    start_name(scan, next, value_first);
}

// A name may be parted from its sign by the end of a line, but not from another word of its own.
void end_line(SecretScan& scan)
{
    const std::size_t next = skip_white_space(scan.text, scan.position);
    if (next < scan.text.size() && (scan.text[next] == '=' || scan.text[next] == ':')) {
        scan.position = next;
        return;
    }
    const bool was_blank = skip_white_space(scan.text, scan.name_start) >= scan.position;
    leave_name(scan, next, scan.value_first && was_blank);
}

// A parenthesis is a sign only where it stands at the name itself.
void read_sign(SecretScan& scan)
{
    const std::string_view before = scan.text.substr(scan.name_start, scan.position - scan.name_start);
    const bool call = scan.text[scan.position] == '(';
    const std::optional<std::size_t> name_end = suspicious_word_end(before, scan.value_first);
    if (!name_end || (call && *name_end < before.size())) return start_name(scan, scan.position + 1, !call);
    const std::size_t value = skip_white_space(scan.text, scan.position + 1);
    const std::size_t next = skip_white_space(before, *name_end);
    // The key itself may stand before the sign.
    const std::size_t start = next < before.size() ? scan.name_start + next : value;
    if (start == value)
        if (const std::optional<SourcePlace> source = source_at(scan.text, value))
            return hide(scan, source->hidden, source->end);
    const std::size_t end = value_end(scan.text, value);
    hide(scan, {start, end - start}, end);
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
        if (code_point != ill_formed && (is_hard_to_see(code_point) || code_point > 0xFFFF))
            result += "\\u{" + hexadecimal(code_point, 1, upper_case_digits) + "}";
        else
            append(result, code_point);
    }
    return result;
}

std::string code_point_name(char32_t code_point)
{
    return "U+" + hexadecimal(code_point, 4, upper_case_digits);
}

bool looks_like_key(std::string_view name)
{
    if (name.find("\\u") != std::string_view::npos) return true; // which may spell anything
    for (std::size_t position = 0; position < name.size();) {
        std::size_t end = position;
        while (end < name.size() && (is_letter(name[end]) || is_digit(name[end]))) ++end;
        if (end > position && resembles_key(name.substr(position, end - position))) return true;
        position = end + 1;
    }
    return false;
}

std::vector<Place> secret_places(std::string_view text)
{
    SecretScan scan{text};
    while ((scan.position = text.find_first_of("=:(\r\n),;#", scan.position)) < text.size()) {
        switch (text[scan.position]) {
        case '=':
        case ':':
        case '(':
            read_sign(scan);
            break;
        case '\r':
        case '\n':
            end_line(scan);
            break;
        default:
            leave_name(scan, scan.position + 1, false);
        }
    }
    scan.position = text.size();
    leave_name(scan, text.size(), false);
    return std::move(scan.secrets);
}

bool ends_with_key(std::string_view text)
{
    std::size_t end = text.size();
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t start = skip_white_space(text, position);
        if (start == text.size()) break;
        next_code_point(text, position = start);
        end = position;
    }
    std::size_t start = end;
    const auto belongs = [&](std::size_t position) {
        return is_key_character(text[position]) || text[position] == '.' || is_quote(text, position);
    };
    while (start > 0 && belongs(start - 1)) --start;
    const std::size_t before = text.find_last_not_of(blanks, start == 0 ? std::string_view::npos : start - 1);
    const bool is_value = start > 0 && before < start && (text[before] == '=' || text[before] == ':');
    return !is_value && looks_like_key(text.substr(start, end - start));
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
