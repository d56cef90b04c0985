#include "parser/argument.h"

#include "datacnv/unicode.h"
#include "failure.h"
#include "parser/excerpt.h"

namespace velk::engine {

namespace {

[[noreturn]] void fail(const Scanner& scanner, ErrorCode code, std::string subject = {})
{
    Failure failure{code, std::move(subject)};
    add_detail(failure, "at byte " + std::to_string(scanner.position + 1));
    throw failure;
}

bool is_letter(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

bool is_digit(char character)
{
    return character >= '0' && character <= '9';
}

bool is_white_space(char32_t code_point)
{
    return code_point == 0x0B || code_point == 0x0C || code_point == 0x85 || code_point == 0xA0 ||
           code_point == 0x1680 || (code_point >= 0x2000 && code_point <= 0x200A) || code_point == 0x2028 ||
           code_point == 0x2029 || code_point == 0x202F || code_point == 0x205F || code_point == 0x3000;
}

bool ends_bare(char32_t code_point)
{
    if (code_point < 0x20 || (code_point >= 0x7F && code_point < 0xA0)) return true;
    return code_point < 0x80 &&
           std::string_view(" ,;()='\"#").find(static_cast<char>(code_point)) != std::string_view::npos;
}

// The character here, without moving on. A NUL is as unusable as an ill-formed byte: later texts end there.
char32_t peek(const Scanner& scanner)
{
    std::size_t position = scanner.position;
    const char32_t code_point = next_code_point(scanner.text, position);
    if (code_point == ill_formed || code_point == 0) fail(scanner, text_ill_formed);
    return code_point;
}

void move_on(Scanner& scanner)
{
    next_code_point(scanner.text, scanner.position);
}

// Why no value can start or go on here.
[[noreturn]] void fail_at_character(const Scanner& scanner)
{
    if (at_end(scanner)) fail(scanner, value_missing);
    const char32_t code_point = peek(scanner);
    if (code_point == '#') fail(scanner, number_sign_unquoted);
    if (is_white_space(code_point)) fail(scanner, white_space_unquoted, code_point_name(code_point));
    std::string character;
    append(character, code_point);
    fail(scanner, character_unexpected, shown(character));
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
            throw Failure{argument_repeated, shown(argument.name)};
    if (arguments.size() == argument_limit) throw Failure{too_many_arguments};
}

} // namespace

bool at_end(const Scanner& scanner)
{
    return scanner.position >= scanner.text.size();
}

bool scan_character(Scanner& scanner, char character)
{
    if (at_end(scanner) || scanner.text[scanner.position] != character) return false;
    ++scanner.position;
    return true;
}

void scan_blanks(Scanner& scanner)
{
    while (scan_character(scanner, ' ') || scan_character(scanner, '\t') || scan_character(scanner, '\r') ||
           scan_character(scanner, '\n')) {
    }
}

std::string scan_name(Scanner& scanner)
{
    const std::size_t start = scanner.position;
    if (at_end(scanner) || !is_letter(scanner.text[start])) return {};
    while (!at_end(scanner)) {
        const char character = scanner.text[scanner.position];
        if (!is_letter(character) && !is_digit(character) && character != '_' && character != '-') break;
        ++scanner.position;
    }
    return std::string(scanner.text.substr(start, scanner.position - start));
}

std::string scan_value(Scanner& scanner)
{
    if (at_end(scanner)) fail_at_character(scanner);
    if (scanner.text[scanner.position] == '\'') return scan_squoted(scanner);
    if (scanner.text[scanner.position] == '"') return scan_dquoted(scanner);
    return scan_bare(scanner);
}

Argument scan_argument(Scanner& scanner)
{
    // What looks like a name is a bare value, unless a "=" follows.
    const Scanner start = scanner;
    std::string name = scan_name(scanner);
    scan_blanks(scanner);
    if (name.empty() || !scan_character(scanner, '=')) {
        scanner = start;
        return {{}, scan_value(scanner)};
    }
    scan_blanks(scanner);
    return {std::move(name), scan_value(scanner)};
}

std::vector<Argument> parse_arguments(std::string_view text)
{
    std::vector<Argument> arguments;
    Scanner scanner{text};
    scan_blanks(scanner);
    while (!at_end(scanner)) {
        Argument argument = scan_argument(scanner);
        refuse_repetition(arguments, argument);
        arguments.push_back(std::move(argument));
        scan_blanks(scanner);
        if (at_end(scanner)) break;
        if (!scan_character(scanner, ',')) fail_at_character(scanner);
        scan_blanks(scanner);
        if (at_end(scanner)) fail_at_character(scanner); // nothing behind the comma
    }
    return arguments;
}

} // namespace velk::engine
