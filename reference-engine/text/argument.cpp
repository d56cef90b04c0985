#include "text/argument.h"

#include "text/characters.h"
#include "text/excerpt.h"
#include "text/failure.h"
#include "text/unicode.h"

#include <algorithm>

namespace velk::engine {

namespace {

bool ends_bare(char32_t code_point)
{
    return is_control(code_point) ||
           (code_point < 0x80 &&
            std::string_view(" ,;()='\"#").find(static_cast<char>(code_point)) != std::string_view::npos);
}

void move_on(Scanner& scanner)
{
    next_code_point(scanner.text, scanner.position);
}

std::string scan_bare(Scanner& scanner)
{
    const std::size_t start = scanner.position;
    while (!at_end(scanner)) {
        const char32_t code_point = peek(scanner);
        if (is_white_space(code_point)) fail_at_character(scanner);
        if (ends_bare(code_point)) break;
        move_on(scanner);
    }
    if (scanner.position == start) fail_at_character(scanner);
    return std::string(scanner.text.substr(start, scanner.position - start));
}

std::string scan_squoted(Scanner& scanner)
{
    const Scanner opening = scanner;
    std::string value;
    ++scanner.position;
    while (!at_end(scanner)) {
        const char32_t code_point = peek(scanner);
        move_on(scanner);
        if (code_point == '\'' && !scan_character(scanner, '\'')) return value;
        append(value, code_point);
    }
    fail(opening, quote_not_closed, "'");
}

int hex_digit(char character)
{
    if (is_digit(character)) return character - '0';
    if (character >= 'a' && character <= 'f') return character - 'a' + 10;
    if (character >= 'A' && character <= 'F') return character - 'A' + 10;
    return -1;
}

// The {1-6 hex} behind \u. Surrogates are no characters; NUL would end the text it stands in.
char32_t scan_code_point(Scanner& scanner, const Scanner& escape)
{
    char32_t code_point = 0;
    std::size_t digits = 0;
    bool valid = scan_character(scanner, '{');
    while (valid && !at_end(scanner) && hex_digit(scanner.text[scanner.position]) >= 0 && digits++ < 6)
        code_point = code_point * 16 + static_cast<char32_t>(hex_digit(scanner.text[scanner.position++]));
    valid = valid && digits >= 1 && scan_character(scanner, '}') && code_point != 0 &&
            code_point <= 0x10FFFF && (code_point < 0xD800 || code_point > 0xDFFF);
    if (!valid) fail(escape, escape_unknown, "\\u");
    return code_point;
}

char32_t scan_escape(Scanner& scanner)
{
    const Scanner escape = scanner;
    ++scanner.position;
    if (at_end(scanner)) fail(escape, escape_unknown, "\\");
    const char32_t letter = peek(scanner);
    move_on(scanner);
    switch (letter) {
    case '\\':
    case '"':
        return letter;
    case 'n':
        return '\n';
    case 'r':
        return '\r';
    case 't':
        return '\t';
    case 'u':
        return scan_code_point(scanner, escape);
    default: {
        std::string text = "\\";
        append(text, letter);
        fail(escape, escape_unknown, shown(text));
    }
    }
}

std::string scan_dquoted(Scanner& scanner)
{
    const Scanner opening = scanner;
    std::string value;
    ++scanner.position;
    while (!at_end(scanner)) {
        const char32_t code_point = peek(scanner);
        if (code_point == '\\') {
            append(value, scan_escape(scanner));
            continue;
        }
        move_on(scanner);
        if (code_point == '"') return value;
        append(value, code_point);
    }
    fail(opening, quote_not_closed, "\"");
}

void refuse_repetition(const std::vector<Argument>& arguments, const Argument& argument)
{
    for (const Argument& earlier : arguments)
        if (!argument.name.empty() && earlier.name == argument.name)
            throw Failure{argument_repeated, shown(argument.name), {}, {}, argument.place};
    if (arguments.size() == argument_limit) throw Failure{too_many_arguments, {}, {}, {}, argument.place};
}

// Up to the end of the text, or to the closing character.
std::vector<Argument> scan_arguments(Scanner& scanner, char closing)
{
    const auto ends = [&] { return at_end(scanner) || (closing != 0 && next_is(scanner, closing)); };
    std::vector<Argument> arguments;
    scan_blanks(scanner);
    while (!ends()) {
        Argument argument = scan_argument(scanner);
        refuse_repetition(arguments, argument);
        arguments.push_back(std::move(argument));
        scan_blanks(scanner);
        if (ends()) break;
        if (!scan_character(scanner, ',')) fail_at_character(scanner);
        scan_blanks(scanner);
        if (ends()) fail_at_character(scanner); // nothing behind the comma
    }
    return arguments;
}

} // namespace

bool is_white_space(char32_t code_point)
{
    return code_point == 0x0B || code_point == 0x0C || code_point == 0x85 || code_point == 0xA0 ||
           code_point == 0x1680 || (code_point >= 0x2000 && code_point <= 0x200A) || code_point == 0x2028 ||
           code_point == 0x2029 || code_point == 0x202F || code_point == 0x205F || code_point == 0x3000;
}

bool is_name_character(char character)
{
    return is_letter(character) || is_digit(character) || character == '_' || character == '-';
}

bool is_key_character(char character)
{
    return is_name_character(character) || character == '*' || character == '$';
}

bool at_end(const Scanner& scanner)
{
    return scanner.position >= scanner.text.size();
}

bool next_is(const Scanner& scanner, char character)
{
    return !at_end(scanner) && scanner.text[scanner.position] == character;
}

bool scan_character(Scanner& scanner, char character)
{
    if (!next_is(scanner, character)) return false;
    ++scanner.position;
    return true;
}

void scan_blanks(Scanner& scanner)
{
    while (scan_character(scanner, ' ') || scan_character(scanner, '\t') || scan_character(scanner, '\r') ||
           scan_character(scanner, '\n')) {
    }
}

// A NUL is as unusable as an ill-formed byte: later texts end there.
char32_t peek(const Scanner& scanner)
{
    std::size_t position = scanner.position;
    const char32_t code_point = next_code_point(scanner.text, position);
    if (code_point == ill_formed || code_point == 0) fail(scanner, text_ill_formed);
    return code_point;
}

void fail(const Scanner& scanner, ErrorCode code, std::string subject, std::string advice)
{
    std::size_t end = scanner.position;
    if (!at_end(scanner)) next_code_point(scanner.text, end);
    Failure failure{
        code, std::move(subject), {}, std::move(advice), Place{scanner.position, end - scanner.position}};
    add_detail(failure, "at byte " + std::to_string(scanner.position + 1));
    throw failure;
}

void fail_at_character(const Scanner& scanner, ErrorCode unexpected)
{
    if (at_end(scanner)) fail(scanner, value_missing);
    const char32_t code_point = peek(scanner);
    if (code_point == '#') fail(scanner, number_sign_unquoted);
    if (is_white_space(code_point)) fail(scanner, white_space_unquoted, code_point_name(code_point));
    std::string character;
    append(character, code_point);
    fail(scanner, unexpected, shown(character));
}

std::string scan_name(Scanner& scanner)
{
    const std::size_t start = scanner.position;
    if (at_end(scanner) || !is_letter(scanner.text[start])) return {};
    while (!at_end(scanner)) {
        if (!is_name_character(scanner.text[scanner.position])) break;
        ++scanner.position;
    }
    return std::string(scanner.text.substr(start, scanner.position - start));
}

std::string scan_column(Scanner& scanner)
{
    const std::size_t start = scanner.position;
    std::size_t end = start;
    while (end < scanner.text.size() && is_key_character(scanner.text[end])) ++end;
    const std::string_view name = scanner.text.substr(start, end - start);
    if (!stands_for_columns(name)) return scan_name(scanner);
    scanner.position = end;
    return std::string(name);
}

bool stands_for_columns(std::string_view name)
{
    if (name.starts_with('$'))
        return name.size() > 1 && name[1] != '0' && std::all_of(name.begin() + 1, name.end(), is_digit<char>);
    const auto fits = [](char character) { return is_name_character(character) || character == '*'; };
    return name.find('*') != std::string_view::npos && std::all_of(name.begin(), name.end(), fits);
}

std::string scan_value(Scanner& scanner)
{
    if (next_is(scanner, '\'')) return scan_squoted(scanner);
    if (next_is(scanner, '"')) return scan_dquoted(scanner);
    return scan_bare(scanner);
}

Argument scan_argument(Scanner& scanner)
{
    // What looks like a name is a bare value, unless a "=" follows.
    const Scanner start = scanner;
    std::string name = scan_name(scanner);
    scan_blanks(scanner);
    if (!name.empty() && scan_character(scanner, '=')) {
        scan_blanks(scanner);
    } else {
        name.clear();
        scanner = start;
    }
    std::string value = scan_value(scanner);
    return {std::move(name), std::move(value), {start.position, scanner.position - start.position}};
}

void scan_call(Scanner& scanner)
{
    const Scanner opening = scanner;
    scan_character(scanner, '(');
    scan_arguments(scanner, ')');
    if (!scan_character(scanner, ')')) fail(opening, call_not_closed);
}

std::string value_of(std::string_view text)
{
    Scanner scanner{text};
    std::string value = scan_value(scanner);
    if (!at_end(scanner)) fail_at_character(scanner);
    return value;
}

std::vector<Argument> parse_arguments(std::string_view text)
{
    Scanner scanner{text};
    return scan_arguments(scanner, 0);
}

} // namespace velk::engine
